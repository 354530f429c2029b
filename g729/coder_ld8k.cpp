// The encoder's frame: LP analysis and quantization once, then for each 40-sample subframe the
// adaptive codebook (pitch), the fixed codebook and the gains, by analysis-by-synthesis on the
// perceptually weighted error.
#include "g729/coder_ld8k.h"

#include <algorithm>
#include <cstdint>

#include "g729/ld8k_lp.h"
#include "kestrune/g729_acelp.h"
#include "kestrune/g729_coder.h"
#include "kestrune/g729_filter.h"
#include "kestrune/g729_gain.h"
#include "kestrune/g729_pitch.h"

namespace {

constexpr Word16 kTamedGain = 15565;  // pitch gains from here up are limited under taming
constexpr Word16 kGainClip = 15564;   // 0.95, Q14

// The driver's own arithmetic is plain and wrapping: a result keeps its low 16 bits.
Word16 low16(int64_t value) {
  return static_cast<Word16>(value);
}

// Perceptually weighted speech of the whole frame, for the open-loop pitch search.
void weighted_speech(CoderState* s, const Word16 gamma1[2], const Word16 gamma2[2]) {
  for (int k = 0; k < 2; ++k) {
    const int offset = L_SUBFR * k;
    Weight_Az(s->A_t + 11 * k, gamma1[k], M, s->Ap1);
    Weight_Az(s->A_t + 11 * k, gamma2[k], M, s->Ap2);
    Residu(s->Ap1, s->speech + offset, s->wsp + offset, L_SUBFR);
    Syn_filt(s->Ap2, s->wsp + offset, s->wsp + offset, L_SUBFR, s->mem_w, 1);
  }
}

// Impulse response h1 of the weighted synthesis filter A(z/gamma1) / (A(z) A(z/gamma2)), and the
// target of the pitch search: the speech's LP residual (left in exc, where the adaptive codebook
// will replace it) run through 1/A(z) from the error memory, then weighted.
void target_and_impulse_response(CoderState* s, int i_subfr, Word16* Aq) {
  std::copy_n(s->Ap1, M + 1, s->ai_zero);
  Syn_filt(Aq, s->ai_zero, s->h1, L_SUBFR, s->zero, 0);
  Syn_filt(s->Ap2, s->h1, s->h1, L_SUBFR, s->zero, 0);

  Residu(Aq, s->speech + i_subfr, s->exc + i_subfr, L_SUBFR);
  Syn_filt(Aq, s->exc + i_subfr, s->error, L_SUBFR, s->mem_err, 0);
  Residu(s->Ap1, s->error, s->xn, L_SUBFR);
  Syn_filt(s->Ap2, s->xn, s->xn, L_SUBFR, s->mem_w0, 0);
}

// The five correlations of the gain quantizer: <y1,y1> and -2<xn,y1> from the pitch gain's terms,
// the three of the fixed codebook from Corr_xy2.
void gain_correlations(CoderState* s, const Word16 g_coeff[4], Word16 g_coeff_cs[5],
                       Word16 exp_g_coeff_cs[5]) {
  Corr_xy2(s->xn, s->y1, s->y2, g_coeff_cs, exp_g_coeff_cs);
  g_coeff_cs[0] = g_coeff[0];
  exp_g_coeff_cs[0] = low16(-int64_t{g_coeff[1]});
  g_coeff_cs[1] = low16(-int64_t{g_coeff[2]});
  exp_g_coeff_cs[1] = low16(-(int64_t{g_coeff[3]} + 1));
}

// Total excitation of the subframe, its local synthesis, and the memories of the error and
// weighting filters for the next subframe, taken from the last ten samples rather than by filtering
// the error again. The weighting memory rounds both products.
void update_memories(CoderState* s, int i_subfr, Word16* Aq, Word16 T0, Word16 gain_pit,
                     Word16 gain_code) {
  Word16* exc = s->exc + i_subfr;
  for (int i = 0; i < L_SUBFR; ++i) {
    exc[i] = low16((int64_t{gain_pit} * exc[i] + int64_t{gain_code} * s->code[i] + 8192) >> 14);
  }
  update_exc_err(gain_pit, T0, s->L_exc_err);
  Syn_filt(Aq, exc, s->synth + i_subfr, L_SUBFR, s->mem_syn, 1);

  for (int j = 0; j < M; ++j) {
    const int i = L_SUBFR - M + j;
    s->mem_err[j] = low16(int64_t{s->speech[i_subfr + i]} - s->synth[i_subfr + i]);
    // Each product keeps 32 bits before its rounding shift; only the low 16 bits of the result
    // survive, so the wrap of the product does not change them.
    const Word32 pitch_part =
        static_cast<Word32>(static_cast<uint32_t>(int64_t{s->y1[i]} * gain_pit * 4 + 32768)) >> 16;
    const Word32 code_part =
        static_cast<Word32>(static_cast<uint32_t>(int64_t{s->y2[i]} * gain_code * 8 + 32768)) >> 16;
    s->mem_w0[j] = low16(int64_t{s->xn[i]} - (int64_t{pitch_part} + code_part));
  }
}

// One subframe: closed-loop pitch, fixed codebook and gains; writes its parameters to ana and
// returns the position after them.
Word16* code_subframe(CoderState* s, int i_subfr, Word16* A, Word16* Aq, Word16 gamma1,
                      Word16 gamma2, Word16* T0_min, Word16* T0_max, Word16 silence, Word16* ana) {
  Weight_Az(A, gamma1, M, s->Ap1);
  Weight_Az(A, gamma2, M, s->Ap2);
  target_and_impulse_response(s, i_subfr, Aq);

  Word16* exc = s->exc + i_subfr;
  Word16 T0_frac;
  const Word16 T0 = Pitch_fr3(exc, s->xn, s->h1, L_SUBFR, *T0_min, *T0_max,
                              static_cast<Word16>(i_subfr), &T0_frac);
  *ana++ = Enc_lag3(T0, T0_frac, T0_min, T0_max, PIT_MIN, PIT_MAX, static_cast<Word16>(i_subfr));
  // The first subframe's parity bit carries the caller's silence flag instead.
  if (i_subfr == 0) *ana++ = silence;

  Pred_lt_3(exc, T0, T0_frac, L_SUBFR);
  Convolve(exc, s->h1, s->y1, L_SUBFR);
  Word16 g_coeff[4];
  Word16 gain_pit = G_pitch(s->xn, s->y1, g_coeff, L_SUBFR);

  const Word16 taming = test_err(T0, T0_frac, s->L_exc_err);
  gain_pit = tamed_pitch_gain(gain_pit, taming);

  for (int i = 0; i < L_SUBFR; ++i) {
    s->xn2[i] = low16(s->xn[i] - ((int64_t{gain_pit} * s->y1[i]) >> 14));
  }

  Word16 sign;
  *ana++ = ACELP_Codebook(s->xn2, s->h1, T0, s->sharp, static_cast<Word16>(i_subfr), s->code, s->y2,
                          &sign);
  *ana++ = sign;

  Word16 g_coeff_cs[5], exp_g_coeff_cs[5];
  gain_correlations(s, g_coeff, g_coeff_cs, exp_g_coeff_cs);
  Word16 gain_code;
  *ana++ = Qua_gain(s->code, g_coeff_cs, exp_g_coeff_cs, L_SUBFR, &gain_pit, &gain_code, taming);

  s->sharp = std::clamp(gain_pit, SHARPMIN, SHARPMAX);
  update_memories(s, i_subfr, Aq, T0, gain_pit, gain_code);
  return ana;
}

}  // namespace

void first_subframe_pitch_range(Word16 T_op, Word16* T0_min, Word16* T0_max) {
  *T0_min = std::max(static_cast<Word16>(T_op - 3), PIT_MIN);
  *T0_max = static_cast<Word16>(*T0_min + 6);
  if (*T0_max >= PIT_MAX + 1) {
    *T0_max = PIT_MAX;
    *T0_min = PIT_MAX - 6;
  }
}

Word16 tamed_pitch_gain(Word16 gain_pit, Word16 taming) {
  return taming == 1 && gain_pit >= kTamedGain ? kGainClip : gain_pit;
}

extern "C" {

void Coder_ld8k(CoderState* s, Word16 ana[], Word16 /*a3*/, Word16 /*a4*/, Word16 /*a5*/,
                Word16 /*a6*/, Word16 silence) {
  // LP analysis of the window, unquantized filters of both subframes and their weighting.
  Forwad_linearPrediction(s);
  Az_lsp(s);
  Int_lpc(s->lsp_old, s->lsp_new, s->lsf_int, s->lsf_new, s->A_t);
  std::copy_n(s->lsp_new, M, s->lsp_old);
  Word16 gamma1[2], gamma2[2];
  perc_var(gamma1, gamma2, s->lsf_int, s->lsf_new, s->rc, s->lar_old_unused, &s->smooth_unused);
  weighted_speech(s, gamma1, gamma2);

  // Quantized LSPs and the filters the decoder will use.
  ana[0] = 1;  // speech frame
  Qua_lsp(s->lsp_new, s->lsp_new_q, ana + 1, s->freq_prev);
  Int_qlpc(s->lsp_old_q, s->lsp_new_q, s->Aq_t);
  std::copy_n(s->lsp_new_q, M, s->lsp_old_q);

  Word16 T0_min, T0_max;
  first_subframe_pitch_range(Pitch_ol(s->wsp, PIT_MIN, PIT_MAX, L_FRAME), &T0_min, &T0_max);

  Word16* next = ana + 3;
  for (int k = 0; k < 2; ++k) {
    next = code_subframe(s, L_SUBFR * k, s->A_t + 11 * k, s->Aq_t + 11 * k, gamma1[k], gamma2[k],
                         &T0_min, &T0_max, silence, next);
  }

  // Slide the buffers by one frame.
  std::copy(s->old_speech + L_FRAME, s->old_speech + 240, s->old_speech);
  std::copy(s->old_wsp + L_FRAME, s->old_wsp + L_FRAME + PIT_MAX, s->old_wsp);
  std::copy(s->old_exc + L_FRAME, s->old_exc + 234, s->old_exc);
}

}  // extern "C"
