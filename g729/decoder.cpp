// Entry points of a decoding job: its initial state, and one frame from words to samples.
#include <algorithm>
#include <cstring>

#include "kestrune/g729_bits.h"
#include "kestrune/g729_decoder.h"
#include "kestrune/g729_pitch.h"

namespace {

constexpr int kFrame = 80;
constexpr int kSubframe = 40;
constexpr int kOrder = 10;
constexpr Word16 kFirstVoicing = 60;

}  // namespace

extern "C" {

int g729dec_init(DecoderState* state) {
  std::memset(state, 0, sizeof *state);
  state->synth = state->synth_buf + kOrder;
  Init_Decod_ld8k(state);
  Init_Post_Filter();
  Init_Post_Process();
  state->voicing = kFirstVoicing;
  return 0;
}

Word16* g729_dec_run(DecoderState* state, UWord16 frame[]) {
  // A good speech frame, always: [0] bad-frame flag, [1] frame type, [2..12] the parameters.
  Word16 parm[2 + PRM_SIZE];
  parm[0] = 0;
  parm[1] = 1;
  bits2prm_ld8k(frame, &parm[1]);
  // The bit after the first delay is read as its parity; 1 from here on means the check failed.
  parm[5] = Check_Parity_Pitch(parm[4], parm[5]);

  Decod_ld8k(state, parm, state->voicing, state->synth, state->Az_dec, &state->T0_first);

  // Postfilter each subframe; the last voiced subframe's delay is the next frame's voicing.
  state->voicing = 0;
  for (int i = 0; i < kFrame; i += kSubframe) {
    Word16 sf_voic;
    Post(state->T0_first, state->synth + i, state->Az_dec + (kOrder + 1) * (i / kSubframe),
         state->pst_out + i, &sf_voic);
    if (sf_voic != 0) state->voicing = sf_voic;
  }
  std::copy_n(state->synth_buf + kFrame, kOrder, state->synth_buf);

  Post_Process(state, state->pst_out, kFrame);
  return state->pst_out;
}

}  // extern "C"
