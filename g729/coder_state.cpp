// Entry points of an encoding job: its initial state, and one frame from samples to words.
#include <cstring>

#include "g729/tab_ld8k.h"
#include "kestrune/g729_bits.h"
#include "kestrune/g729_coder.h"

extern "C" {

// The second argument is accepted for the callers' sake and not used.
void g729_coder_init(CoderState* state, int /*mode*/) {
  std::memset(state, 0, sizeof *state);

  state->new_speech = state->old_speech + 160;
  state->speech = state->old_speech + 120;
  state->p_window = state->old_speech;
  state->wsp = state->old_wsp + 143;
  state->exc = state->old_exc + 154;
  state->zero = state->ai_zero + 11;
  state->error = state->mem_err + 10;

  state->init_4096[0] = 4096;

  std::memcpy(state->lsp_old, lsp_old_tab, sizeof state->lsp_old);
  std::memcpy(state->lsp_old_q, lsp_old_tab, sizeof state->lsp_old_q);

  state->sharp = 3277;  // SHARPMIN, 0.2 in Q14

  for (auto& row : state->freq_prev) std::memcpy(row, freq_prev_reset, sizeof row);

  for (Word32& estimate : state->L_exc_err) estimate = 16384;  // 1.0 in Q14

  state->smooth_unused = 1;
}

Word16 g729coder_run(CoderState* state, const Word16 pcm[], UWord16 out[], int silence) {
  Word16 ana[12];
  Pre_Process(state, pcm);
  Coder_ld8k(state, ana, 0, state->frame_counter, 0, 0, static_cast<Word16>(silence));
  prm2bits_ld8k(ana, out);
  state->frame_counter = static_cast<Word16>(state->frame_counter + 1);  // wraps at 16 bits
  return 0;
}

}  // extern "C"
