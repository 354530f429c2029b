// Adaptive postfilter of the decoded speech, one 40-sample subframe at a time: a harmonic
// filter on the residual of A(z/0.55), the formant filter A(z/0.55) / A(z/0.7), a first-order
// tilt compensation and an automatic gain control that keeps the subframe's level. Its memory
// is process-wide, as the standard's is.
#include <algorithm>
#include <iterator>

#include "g729/basic_op_inline.h"
#include "g729/post_filter_ltp.h"
#include "kestrune/g729_coder.h"
#include "kestrune/g729_decoder.h"
#include "kestrune/g729_filter.h"

using namespace g729ops;

namespace {

constexpr int kSubframe = 40;
constexpr int kOrder = 10;
constexpr int kImpulse = 20;             // LONG_H_ST: truncated impulse response
constexpr Word16 kGammaDen = 22938;      // 0.7, Q15: A(z/gamma) of the denominator
constexpr Word16 kGammaNum = 18022;      // 0.55, Q15: A(z/gamma) of the numerator
constexpr Word16 kTiltPositive = 6554;   // 0.2, Q15: tilt factor for a positive parcor
constexpr Word16 kTiltNegative = 29491;  // 0.9, Q15: tilt factor for a negative parcor
constexpr Word16 kAgc = 32358;           // 0.9875, Q15: smoothing of the gain control
constexpr Word16 kAgc1 = 32768 - kAgc;   // its complement

struct PostFilterMemory {
  Word16 apond2[kImpulse];  // numerator A(z/0.55), then zeros: the impulse response's input
  Word16 mem_stp[kOrder];   // 1/A(z/0.7)
  Word16 mem_zero[kOrder];  // always zero: the impulse response starts from rest
  Word16 res2[MEM_RES2 + kSubframe];  // residual of A(z/0.55): past, then the subframe
  Word16 gain_prec;                   // gain control of the last sample, Q14
};

PostFilterMemory pst;

// First reflection coefficient (Q15) of the filter with impulse response h: -r1 / r0.
Word16 calc_rc0_h(const Word16 h[kImpulse]) {
  Word32 L_acc = 0;
  for (int i = 0; i < kImpulse; ++i) L_acc = L_mac(L_acc, h[i], h[i]);
  const Word16 sh_acf = norm_l(L_acc);
  const Word16 acf0 = extract_h(L_shl(L_acc, sh_acf));
  L_acc = 0;
  for (int i = 0; i < kImpulse - 1; ++i) L_acc = L_mac(L_acc, h[i], h[i + 1]);
  const Word16 acf1 = extract_h(L_shl(L_acc, sh_acf));
  if (sub(acf0, abs_s(acf1)) < 0) return 0;
  const Word16 rc0 = div_s(abs_s(acf1), acf0);
  return acf1 > 0 ? negate(rc0) : rc0;
}

// The formant filter's first parcor, and its input scaled down by the sum of the magnitudes of
// its impulse response when that exceeds 1.
Word16 calc_st_filt(Word16* apond2, Word16* apond1, Word16* sig_ltp) {
  Word16 h[kImpulse];
  Syn_filt(apond1, apond2, h, kImpulse, pst.mem_zero, 0);
  const Word16 parcor0 = calc_rc0_h(h);

  Word32 L_g0 = 0;
  for (int i = 0; i < kImpulse; ++i) L_g0 = L_add(L_g0, L_deposit_l(abs_s(h[i])));
  const Word16 g0 = extract_h(L_shl(L_g0, 14));
  if (sub(g0, 1024) > 0) {
    const Word16 inverse = div_s(1024, g0);
    for (int i = 0; i < kSubframe; ++i) sig_ltp[i] = mult_r(sig_ltp[i], inverse);
  }
  return parcor0;
}

// Tilt compensation: y[n] = (x[n] + mu x[n-1]) / (1 - |mu|), mu = parcor0 times the tilt
// factor. sig_in starts at x[-1].
void filt_mu(const Word16* sig_in, Word16* sig_out, Word16 parcor0) {
  Word16 mu, fact, sh_fact1;
  Word32 L_fact;
  if (parcor0 > 0) {
    mu = mult_r(parcor0, kTiltPositive);
    sh_fact1 = 15;
    fact = 0x4000;
    L_fact = 0x4000;
  } else {
    mu = mult_r(parcor0, kTiltNegative);
    sh_fact1 = 12;
    fact = 0x0800;
    L_fact = 0x0800;
  }
  const Word16 mu2 = add(32767, sub(1, abs_s(mu)));  // 2^15 (1 - |mu|)
  const Word16 ga = div_s(fact, mu2);                // 2^sh_fact / (1 - |mu|)
  mu = shr(mu, 1);
  for (int n = 0; n < kSubframe; ++n) {
    Word32 L_temp = L_mac(L_shl(L_deposit_l(sig_in[n + 1]), 15), mu, sig_in[n]);
    L_temp = L_add(L_temp, 0x00004000);
    const Word16 temp = extract_l(L_shr(L_temp, 15));
    L_temp = L_shr(L_add(L_mult(temp, ga), L_fact), sh_fact1);
    sig_out[n] = saturate(L_temp);
  }
}

// Sum of |x[i]| over the subframe.
Word32 magnitude(const Word16* x) {
  Word32 L_acc = 0;
  for (int i = 0; i < kSubframe; ++i) L_acc = L_add(L_acc, L_abs(L_deposit_l(x[i])));
  return L_acc;
}

// Gain control: the output is scaled sample by sample by a gain that moves smoothly towards the
// ratio of the input's magnitude to the output's.
void scale_st(const Word16* sig_in, Word16* sig_out, Word16* gain_prec) {
  Word16 g0 = 0;
  Word32 L_acc = magnitude(sig_in);
  if (L_acc != 0) {
    const Word16 scal_in = norm_l(L_acc);
    const Word16 s_g_in = extract_h(L_shl(L_acc, scal_in));
    L_acc = magnitude(sig_out);
    if (L_acc == 0) {
      *gain_prec = 0;
      return;
    }
    const Word16 scal_out = norm_l(L_acc);
    const Word16 s_g_out = extract_h(L_shl(L_acc, scal_out));
    Word16 sh_g0 = sub(add(scal_in, 1), scal_out);
    if (sub(s_g_in, s_g_out) < 0) {
      g0 = div_s(s_g_in, s_g_out);  // Q15
    } else {
      g0 = add(shr(div_s(sub(s_g_in, s_g_out), s_g_out), 1), 0x4000);  // Q14
      sh_g0 = sub(sh_g0, 1);
    }
    g0 = mult_r(shr(g0, sh_g0), kAgc1);  // gain in / gain out, Q14, times 1 - AGC
  }

  Word16 gain = *gain_prec;
  for (int i = 0; i < kSubframe; ++i) {
    gain = add(mult_r(kAgc, gain), g0);
    sig_out[i] = round_fx(L_shl(L_mult(gain, sig_out[i]), 1));
  }
  *gain_prec = gain;
}

}  // namespace

extern "C" {

void Init_Post_Filter(void) {
  std::fill(std::begin(pst.res2), std::end(pst.res2), 0);
  std::fill(std::begin(pst.mem_stp), std::end(pst.mem_stp), 0);
  std::fill(std::begin(pst.apond2) + kOrder + 1, std::end(pst.apond2), 0);
  std::fill(std::begin(pst.mem_zero), std::end(pst.mem_zero), 0);
  pst.gain_prec = 16384;  // 1.0, Q14
}

void Post(Word16 t0, Word16* signal_ptr, Word16* coeff, Word16* sig_out, Word16* vo) {
  Word16 apond1[kOrder + 1];
  Weight_Az(coeff, kGammaDen, kOrder, apond1);
  Weight_Az(coeff, kGammaNum, kOrder, pst.apond2);

  Word16* res2 = pst.res2 + MEM_RES2;
  Residu(pst.apond2, signal_ptr, res2, kSubframe);

  // sig_ltp[0] is the last output of 1/A(z/0.7) of the previous subframe, for the tilt filter.
  Word16 sig_ltp[kSubframe + 1];
  pst_ltp(t0, res2, sig_ltp + 1, vo);
  sig_ltp[0] = pst.mem_stp[kOrder - 1];

  const Word16 parcor0 = calc_st_filt(pst.apond2, apond1, sig_ltp + 1);
  Syn_filt(apond1, sig_ltp + 1, sig_ltp + 1, kSubframe, pst.mem_stp, 1);
  filt_mu(sig_ltp, sig_out, parcor0);
  scale_st(signal_ptr, sig_out, &pst.gain_prec);

  std::copy(pst.res2 + kSubframe, pst.res2 + kSubframe + MEM_RES2, pst.res2);
}

}  // extern "C"
