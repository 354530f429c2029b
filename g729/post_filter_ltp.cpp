// Harmonic postfilter: the subframe's residual is mixed with itself one pitch period earlier,
// the period searched around the decoder's delay in eighths of a sample, which deepens the
// valleys between the pitch harmonics.
#include "g729/post_filter_ltp.h"

#include <algorithm>

#include "g729/basic_op_inline.h"
#include "g729/ld8k_lp.h"
#include "g729/oper_32b_inline.h"
#include "g729/tab_dec.h"

using namespace g729ops;

namespace {

constexpr int kSubframe = 40;
constexpr int kSubframeP1 = kSubframe + 1;
constexpr int kSizeRes2 = MEM_RES2 + kSubframe;
constexpr int kShortCentre = LH2_S / 2 - 1;  // LH_UP_SM1
constexpr int kLongCentre = LH2_L / 2;       // LH_UP_L
constexpr Word16 kShortestDelay = 19;        // Dec_lag3 of the first subframe's index 0
constexpr Word16 kMinGain = 21845;           // gl when the gain b reaches 1 (b = 0.5), Q15

// A gain num * 2^sh_num / (den * 2^sh_den) of the harmonic filter; num 0 means none.
struct LtpGain {
  Word16 num = 0;
  Word16 den = 1;
  Word16 sh_num = 0;
  Word16 sh_den = 0;
};

// Outcome of the delay search: the delay is ltpdel - phase / 8.
struct DelayChoice {
  Word16 ltpdel = 0;
  Word16 phase = 0;
  Word16 off_yup = 0;  // 1 when the choice is the later of a phase's two candidates
  LtpGain gain;
};

// Sum of x[n] y[n] over the subframe, doubled and saturated as L_mac has it.
Word32 correlation(const Word16* x, const Word16* y) {
  Word32 acc = 0;
  for (int n = 0; n < kSubframe; ++n) acc = L_mac(acc, x[n], y[n]);
  return acc;
}

// Best of the three integer delays t0 - 1, t0, t0 + 1, then of the fractional delays within a
// sample around it (7 phases, each giving two candidates, built with the short interpolation
// filters into y_up). sig_in is the scaled residual.
DelayChoice search_del(Word16 t0, const Word16* sig_in, Word16* y_up) {
  const DelayChoice unvoiced;

  Word32 L_acc = correlation(sig_in, sig_in);
  if (L_acc == 0) return unvoiced;
  Word16 sh_ener = sub(16, norm_l(L_acc));
  Word16 ener;
  if (sh_ener > 0) {
    ener = extract_l(L_shr(L_acc, sh_ener));
  } else {
    sh_ener = 0;
    ener = extract_l(L_acc);
  }

  // Largest non-negative correlation of the three integer delays; ties keep the shorter.
  Word16 lambda = sub(t0, 1);
  Word32 L_num_int = -1;
  Word16 i_max = 0;
  for (Word16 i = 0; i < 3; ++i) {
    L_acc = std::max(correlation(sig_in, sig_in - lambda - i), Word32{0});
    if (L_sub(L_acc, L_num_int) > 0) {
      L_num_int = L_acc;
      i_max = i;
    }
  }
  if (L_num_int == 0) return unvoiced;
  lambda = add(lambda, i_max);
  const Word32 L_den_int = correlation(sig_in - lambda, sig_in - lambda);
  if (L_den_int == 0) return unvoiced;

  // The signal delayed by lambda + 1 - phi/8 (y[0..39]) and lambda - phi/8 (y[1..40]), with
  // their energies, and the largest energy of the candidates the search will weigh.
  Word32 L_den0[F_UP_PST - 1], L_den1[F_UP_PST - 1];
  Word32 L_den_max = L_den_int;
  const Word16* past = sig_in - (lambda - kShortCentre);
  for (int phi = 1; phi < F_UP_PST; ++phi) {
    Word16* y = y_up + (phi - 1) * kSubframeP1;
    const Word16* h = tab_hup_s + (phi - 1) * LH2_S;
    for (int n = 0; n <= kSubframe; ++n) {
      L_acc = 0;
      for (int i = 0; i < LH2_S; ++i) L_acc = L_mac(L_acc, h[i], past[n - i]);
      y[n] = round_fx(L_acc);
    }
    Word32 common = 0;
    for (int n = 1; n < kSubframe; ++n) common = L_mac(common, y[n], y[n]);
    L_den0[phi - 1] = L_mac(common, y[0], y[0]);
    L_den1[phi - 1] = L_mac(common, y[kSubframe], y[kSubframe]);
    const Word32 larger =
        sub(abs_s(y[0]), abs_s(y[kSubframe])) > 0 ? L_den0[phi - 1] : L_den1[phi - 1];
    if (L_sub(larger, L_den_max) > 0) L_den_max = larger;
  }
  if (L_den_max == 0) return unvoiced;
  const Word16 sh_den = sub(16, norm_l(L_den_max));
  if (sh_den <= 0) return unvoiced;  // too wide a range between the subframe and its past
  const Word16 sh_num = sub(sh_den, sh_ener) >= 0 ? sh_den : sh_ener;

  // The candidate of largest num^2 / den, starting from the integer delay.
  DelayChoice best;
  Word16 num_max = extract_l(L_shr(L_num_int, sh_num));
  Word16 den_max = extract_l(L_shr(L_den_int, sh_den));
  Word16 hi_max, lo_max;
  L_Extract(L_mult(num_max, num_max), &hi_max, &lo_max);
  best.off_yup = 1;
  const auto consider = [&](const Word16* y, Word32 L_den, Word16 phi, Word16 ioff) {
    const Word32 L_num = L_shr(correlation(sig_in, y), sh_num);
    const Word16 num = L_num < 0 ? Word16{0} : extract_l(L_num);
    Word16 hi, lo;
    L_Extract(L_mult(num, num), &hi, &lo);
    const Word16 den = extract_l(L_shr(L_den, sh_den));
    if (L_sub(Mpy_32_16(hi, lo, den_max), Mpy_32_16(hi_max, lo_max, den)) > 0) {
      num_max = num;
      hi_max = hi;
      lo_max = lo;
      den_max = den;
      best.off_yup = ioff;
      best.phase = phi;
    }
  };
  for (Word16 phi = 1; phi < F_UP_PST; ++phi) {
    const Word16* y = y_up + (phi - 1) * kSubframeP1;
    consider(y, L_den0[phi - 1], phi, 0);
    consider(y + 1, L_den1[phi - 1], phi, 1);
  }
  if (num_max == 0 || sub(den_max, 1) <= 0) return unvoiced;

  // Voiced when num^2 / den reaches half the subframe's energy.
  Word32 L_temp1 = L_mult(den_max, ener);
  Word32 L_temp0 = L_Comp(hi_max, lo_max);
  const Word16 temp = add(sub(sub(shl(sh_num, 1), sh_den), sh_ener), 1);
  if (temp < 0) {
    L_temp0 = L_shr(L_temp0, negate(temp));
  } else if (temp > 0) {
    L_temp1 = L_shr(L_temp1, temp);
  }
  if (L_sub(L_temp0, L_temp1) < 0) return unvoiced;
  best.ltpdel = sub(add(lambda, 1), best.off_yup);
  best.gain = {num_max, den_max, sh_num, sh_den};
  return best;
}

// The signal at the chosen fractional delay through the long interpolation filter, into y_up,
// with the gain it gives.
LtpGain compute_ltp_l(const Word16* s_in, Word16 ltpdel, Word16 phase, Word16* y_up) {
  const Word16* h = tab_hup_l + (phase - 1) * LH2_L;
  const Word16* past = s_in + (kLongCentre - ltpdel);
  for (int n = 0; n < kSubframe; ++n) {
    Word32 L_acc = 0;
    for (int i = 0; i < LH2_L; ++i) L_acc = L_mac(L_acc, h[i], past[n - i]);
    y_up[n] = round_fx(L_acc);
  }

  LtpGain gain;
  Word32 L_acc = correlation(y_up, s_in);
  if (L_acc >= 0) {
    gain.sh_num = std::max(sub(16, norm_l(L_acc)), Word16{0});
    gain.num = extract_l(L_shr(L_acc, gain.sh_num));
  }
  L_acc = correlation(y_up, y_up);
  gain.sh_den = std::max(sub(16, norm_l(L_acc)), Word16{0});
  gain.den = extract_l(L_shr(L_acc, gain.sh_den));
  return gain;
}

// True when the second gain's num^2 / den is the larger.
bool second_is_better(const LtpGain& g1, const LtpGain& g2) {
  if (g2.den == 0) return false;
  Word16 hi, lo;
  L_Extract(L_mult(g1.num, g1.num), &hi, &lo);
  Word32 L_temp1 = Mpy_32_16(hi, lo, g2.den);
  L_Extract(L_mult(g2.num, g2.num), &hi, &lo);
  Word32 L_temp2 = Mpy_32_16(hi, lo, g1.den);
  const Word16 temp1 = add(shl(g1.sh_num, 1), g2.sh_den);
  const Word16 temp2 = add(shl(g2.sh_num, 1), g1.sh_den);
  if (sub(temp2, temp1) > 0) {
    L_temp1 = L_shr(L_temp1, sub(temp2, temp1));
  } else if (sub(temp1, temp2) > 0) {
    L_temp2 = L_shr(L_temp2, sub(temp1, temp2));
  }
  return L_sub(L_temp2, L_temp1) > 0;
}

// s_out = gain s_in + (1 - gain) s_ltp, gain in Q15.
void filt_plt(const Word16* s_in, const Word16* s_ltp, Word16* s_out, Word16 gain_plt) {
  const Word16 gain_plt_1 = add(sub(32767, gain_plt), 1);
  for (int n = 0; n < kSubframe; ++n) {
    s_out[n] = round_fx(L_mac(L_mult(gain_plt, s_in[n]), gain_plt_1, s_ltp[n]));
  }
}

// gl = 1 / (1 + b) with b = 0.5 num / den, at most 1.
Word16 filter_gain(LtpGain g) {
  const Word16 temp = sub(g.sh_num, g.sh_den);
  if (temp >= 0) {
    g.den = shr(g.den, temp);
  } else {
    g.num = shl(g.num, temp);
  }
  if (sub(g.num, g.den) >= 0) return kMinGain;
  const Word16 num = shr(g.num, 2);
  const Word16 den = shr(g.den, 1);
  return div_s(den, add(den, num));
}

}  // namespace

void pst_ltp(Word16 t0, const Word16* sig_in, Word16* sig_out, Word16* vo) {
  // Delays the decoder gives a good frame lie in 19..143. A damaged frame can leave 144 (the
  // second subframe's codes 29-31 reach one past PIT_MAX and a failed parity check repeats
  // it), which would take the search one sample before the kept residual; any delay outside
  // the range is searched from its nearer end.
  t0 = std::clamp(t0, kShortestDelay, PIT_MAX);
  // The residual and its past, scaled to 13 significant bits for the search.
  const Word16* sig = sig_in - MEM_RES2;
  Word16 peak = 0;
  for (int i = 0; i < kSizeRes2; ++i) peak = static_cast<Word16>(peak | abs_s(sig[i]));
  const Word16 nb_sh_sig = sub(3, norm_s(peak));
  Word16 sig_cadr[kSizeRes2];
  for (int i = 0; i < kSizeRes2; ++i) sig_cadr[i] = shr(sig[i], nb_sh_sig);
  const Word16* scaled = sig_cadr + MEM_RES2;

  Word16 y_up[(F_UP_PST - 1) * kSubframeP1];
  const DelayChoice choice = search_del(t0, scaled, y_up);
  *vo = choice.ltpdel;
  if (choice.gain.num == 0) {
    std::copy_n(sig_in, kSubframe, sig_out);
    return;
  }

  LtpGain gain = choice.gain;
  const Word16* delayed = sig_in - choice.ltpdel;
  if (choice.phase != 0) {
    // The long filter's version, written to sig_out, replaces the search's when it is better.
    const LtpGain long_gain = compute_ltp_l(scaled, choice.ltpdel, choice.phase, sig_out);
    Word16* y = sig_out;
    if (second_is_better(gain, long_gain)) {
      gain = long_gain;
    } else {
      y = y_up + (choice.phase - 1) * kSubframeP1 + choice.off_yup;
    }
    for (int i = 0; i < kSubframe; ++i) y[i] = shl(y[i], nb_sh_sig);  // back to the input's scale
    delayed = y;
  }
  filt_plt(sig_in, delayed, sig_out, filter_gain(gain));
}
