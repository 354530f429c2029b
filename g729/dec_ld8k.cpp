// The decoder's frame: LSPs and the two subframes' LP filters, then for each subframe the
// adaptive-codebook vector at the decoded delay, the fixed-codebook vector, the gains, the
// excitation and its synthesis. The arithmetic is the encoder's wherever the encoder computes
// the same quantity, so that both keep the same past excitation.
#include <algorithm>
#include <cstdint>

#include "g729/basic_op_inline.h"
#include "g729/pitch_sharpening.h"
#include "g729/tab_ld8k.h"
#include "kestrune/g729_coder.h"
#include "kestrune/g729_decoder.h"
#include "kestrune/g729_filter.h"
#include "kestrune/g729_pitch.h"

using namespace g729ops;

namespace {

constexpr Word16 kFrame = 80;
constexpr Word16 kSubframe = 40;
constexpr Word16 kOrder = 10;
constexpr Word16 kPitchMin = 20;
constexpr Word16 kPitchMax = 143;
constexpr int kPastExcitation = 154;  // PIT_MAX + L_INTERPOL: what the adaptive codebook reads
constexpr Word16 kSharpMin = 3277;    // 0.2, Q14
constexpr Word16 kSharpMax = 13017;   // 0.8, Q14
constexpr Word16 kFirstDelay = 60;    // the delay assumed before the first good one
constexpr Word16 kSeed = 21845;       // the standard's first random seed

// A subframe whose delay cannot be trusted (a lost frame, or a failed parity check) takes the
// last good delay without fraction, and the fallback creeps up one sample for the next.
void repeat_delay(DecoderState* s, Word16* T0, Word16* T0_frac) {
  *T0 = s->old_T0;
  *T0_frac = 0;
  s->old_T0 = std::min(add(s->old_T0, 1), kPitchMax);
}

// The subframe's delay from its index, or the fallback when the index cannot be trusted.
void decode_delay(DecoderState* s, Word16 index, bool trusted, int i_subfr, Word16* T0,
                  Word16* T0_frac) {
  if (trusted) {
    Dec_lag3(index, kPitchMin, kPitchMax, static_cast<Word16>(i_subfr), T0, T0_frac);
    s->old_T0 = *T0;
  } else {
    repeat_delay(s, T0, T0_frac);
  }
}

// Total excitation exc = g_p exc + g_c code, rounded from Q14 and kept to 16 bits, exactly as
// the encoder forms it (without saturation).
void mix_excitation(Word16 exc[], const Word16 code[], Word16 g_p, Word16 g_c) {
  for (int i = 0; i < kSubframe; ++i) {
    exc[i] = static_cast<Word16>((int64_t{g_p} * exc[i] + int64_t{g_c} * code[i] + 8192) >> 14);
  }
}

// Synthesis of one subframe through 1/A(z). When it clips, the whole past excitation is scaled
// down by 4 and the subframe synthesized again, so that the overflow does not persist.
void synthesize(DecoderState* s, Word16* Az, Word16 exc[], Word16 synth[]) {
  Overflow = 0;
  Syn_filt(Az, exc, synth, kSubframe, s->mem_syn, 0);
  if (Overflow != 0) {
    for (Word16& sample : s->old_exc) sample = shr(sample, 2);
    Syn_filt(Az, exc, synth, kSubframe, s->mem_syn, 1);
  } else {
    std::copy_n(synth + kSubframe - kOrder, kOrder, s->mem_syn);
  }
}

}  // namespace

extern "C" {

void Init_Decod_ld8k(DecoderState* s) {
  s->exc = s->old_exc + kPastExcitation;
  std::fill_n(s->old_exc, kPastExcitation, 0);
  std::fill_n(s->mem_syn, kOrder, 0);
  std::copy_n(lsp_old_tab, kOrder, s->lsp_old);
  s->sharp = kSharpMin;
  s->old_T0 = kFirstDelay;
  s->gain_code = 0;
  s->gain_pitch = 0;
  s->seed = kSeed;
  Lsp_decw_reset(&s->lsp);
}

void Decod_ld8k(DecoderState* s, Word16 parm[], Word16 voicing, Word16 synth[], Word16 A_t[],
                Word16* T0_first) {
  const Word16 bfi = parm[0];
  Word16* prm = parm + 2;  // after the frame type

  Word16 lsp_new[kOrder];
  D_lsp(prm, lsp_new, bfi, &s->lsp);
  prm += 2;
  Int_qlpc(s->lsp_old, lsp_new, A_t);
  std::copy_n(lsp_new, kOrder, s->lsp_old);

  Word16 T0 = 0, T0_frac = 0;
  for (int i_subfr = 0; i_subfr < kFrame; i_subfr += kSubframe) {
    Word16* Az = A_t + (kOrder + 1) * (i_subfr / kSubframe);
    Word16* exc = s->exc + i_subfr;

    // Delay: the first subframe's index is also distrusted when its parity check failed.
    const Word16 index = *prm++;
    bool trusted = bfi == 0;
    if (i_subfr == 0) trusted = add(bfi, *prm++) == 0;
    decode_delay(s, index, trusted, i_subfr, &T0, &T0_frac);
    if (i_subfr == 0) *T0_first = T0;
    Pred_lt_3(exc, T0, T0_frac, kSubframe);

    // Fixed codebook, random in a lost frame, sharpened by the previous pitch gain.
    if (bfi != 0) {
      prm[0] = static_cast<Word16>(Random(&s->seed) & 0x1fff);
      prm[1] = static_cast<Word16>(Random(&s->seed) & 0x000f);
    }
    Word16 code[kSubframe];
    Decod_ACELP(prm[1], prm[0], code);
    prm += 2;
    pitch_sharpen(code, T0, static_cast<Word16>(s->sharp * 2));

    Dec_gain(*prm++, code, kSubframe, bfi, &s->gain_pitch, &s->gain_code);
    s->sharp = std::clamp(s->gain_pitch, kSharpMin, kSharpMax);

    // A lost frame keeps only the part its predecessor's voicing makes likely.
    Word16 g_p = s->gain_pitch, g_c = s->gain_code;
    if (bfi != 0) (voicing == 0 ? g_p : g_c) = 0;
    mix_excitation(exc, code, g_p, g_c);
    synthesize(s, Az, exc, synth + i_subfr);
  }

  std::copy(s->old_exc + kFrame, s->old_exc + kFrame + kPastExcitation, s->old_exc);
}

}  // extern "C"
