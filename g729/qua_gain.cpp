// Joint quantization of the pitch and code gains of a subframe: the unquantized optimum
// pair is worked out from the five correlations, a pre-selection keeps 4 x 8 of the 8 x 16
// two-stage codebook pairs around it, and the pair of least weighted error wins.
#include <algorithm>
#include <cstdint>

#include "g729/basic_op_inline.h"
#include "g729/oper_32b_inline.h"
#include "g729/tab_gain.h"
#include "kestrune/g729_gain.h"

using namespace g729ops;

namespace {

constexpr Word16 kTamedBestGain = 481;     // 0.94 in Q9: limit of the unquantized pitch gain
constexpr Word16 kTamedPitchGain = 16382;  // highest quantized pitch gain (Q14) when tamed
constexpr Word16 kInvCoef = -17103;        // -1 / |coef line|, Q19

// The predictor memory of the encoder: shared by every encoder in the process, never reset.
Word16 past_qua_en[4] = {-14336, -14336, -14336, -14336};  // -14 dB in Q10

// Plain wrapping 2ab, a - b and a + b.
Word32 twice(Word32 a, Word32 b) {
  return wrap32(int64_t{a} * b * 2);
}
Word32 minus(Word32 a, Word32 b) {
  return wrap32(int64_t{a} - b);
}
Word32 plus(Word32 a, Word32 b) {
  return wrap32(int64_t{a} + b);
}

// A value mantissa * 2^-exp with the mantissa normalised to 16 bits.
struct Normalised {
  Word16 mantissa;
  int exp;
};

// a * 2^-ea - b * 2^-eb at the smaller exponent, both terms first shifted down by headroom.
Normalised difference(Word32 a, int ea, Word32 b, int eb, int headroom) {
  const int e = std::min(ea, eb);
  const Word32 d = minus(L_shr(a, static_cast<Word16>(ea - e + headroom)),
                         L_shr(b, static_cast<Word16>(eb - e + headroom)));
  const Word16 sft = norm_l(d);
  return {extract_h(L_shl(d, sft)), e - headroom + sft - 16};
}

}  // namespace

extern "C" {

Word16 Qua_gain(const Word16 code[], const Word16 g_coeff[], const Word16 exp_coeff[],
                Word16 L_subfr, Word16* gain_pit, Word16* gain_cod, Word16 tameflag) {
  Word16 gcode0, exp_gcode0;
  Gain_predict(past_qua_en, code, L_subfr, &gcode0, &exp_gcode0);

  // Unquantized optimum, with c = g_coeff:
  //   pitch = (2 c2 c1 - c3 c4) / -(4 c0 c2 - c4^2), code = (2 c0 c3 - c1 c4) / -(4 c0 c2 - c4^2).
  const Word16* g = g_coeff;
  const Word16* e = exp_coeff;
  const Normalised denom =
      difference(twice(g[0], g[2]), e[0] + e[2] - 1, twice(g[4], g[4]), 2 * e[4] + 1, 0);
  const Word32 inv_denom = denom.mantissa == 0 ? 0 : -(0x20000000 / denom.mantissa);
  const int exp_inv_denom = 29 - denom.exp;
  const auto quotient = [&](Normalised nume, int q) {
    const auto sft = static_cast<Word16>(nume.exp + exp_inv_denom - (q + 15));
    return extract_h(L_shr(twice(nume.mantissa, inv_denom), sft));
  };
  Word16 best_gain[2];
  best_gain[0] = quotient(
      difference(twice(g[2], g[1]), e[2] + e[1], twice(g[3], g[4]), e[3] + e[4] + 1, 1), 9);
  if (tameflag == 1) best_gain[0] = std::min(best_gain[0], kTamedBestGain);
  best_gain[1] = quotient(
      difference(twice(g[0], g[3]), e[0] + e[3], twice(g[1], g[4]), e[1] + e[4] + 1, 1), 2);

  // Pre-selection, with the predicted gain in Q4.
  const Word16 gcode0_q4 = exp_gcode0 >= 4
                               ? shr(gcode0, static_cast<Word16>(exp_gcode0 - 4))
                               : extract_h(L_shl(gcode0, static_cast<Word16>(20 - exp_gcode0)));
  Word16 cand1, cand2;
  Gbk_presel(best_gain, &cand1, &cand2, gcode0_q4);

  // The error to minimise is c0 gp^2 + c1 gp + c2 gc^2 + c3 gc + c4 gp gc; each correlation is
  // brought to the common exponent of its term and split into double precision.
  const int exp_min[5] = {e[0] + 13, e[1] + 14, e[2] + 2 * exp_gcode0 - 21, e[3] + exp_gcode0 - 3,
                          e[4] + exp_gcode0 - 4};
  const int e_min = *std::min_element(exp_min, exp_min + 5);
  Word16 hi[5], lo[5];
  for (int i = 0; i < 5; ++i) {
    L_Extract(L_shr(L_deposit_h(g[i]), static_cast<Word16>(exp_min[i] - e_min)), &hi[i], &lo[i]);
  }

  Word32 dist_min = kMax32;
  int index1 = cand1, index2 = cand2;
  for (int i = cand1; i < cand1 + NCAN1; ++i) {
    for (int j = cand2; j < cand2 + NCAN2; ++j) {
      const Word32 g_pitch = gbk1[i][0] + gbk2[j][0];  // Q14
      if (tameflag == 1 && g_pitch > kTamedPitchGain) continue;
      const Word32 g_code = (gcode0 * ((gbk1[i][1] + gbk2[j][1]) >> 1)) >> 15;
      const auto g2_pitch = static_cast<Word16>((g_pitch * g_pitch) >> 15);
      const auto g2_code = static_cast<Word16>((g_code * g_code) >> 15);
      const auto g_pit_cod = static_cast<Word16>((g_code * g_pitch) >> 15);
      Word32 dist = Mpy_32_16(hi[0], lo[0], g2_pitch);
      dist = plus(dist, Mpy_32_16(hi[1], lo[1], static_cast<Word16>(g_pitch)));
      dist = plus(dist, Mpy_32_16(hi[2], lo[2], g2_code));
      dist = plus(dist, Mpy_32_16(hi[3], lo[3], static_cast<Word16>(g_code)));
      dist = plus(dist, Mpy_32_16(hi[4], lo[4], g_pit_cod));
      if (dist < dist_min) {
        dist_min = dist;
        index1 = i;
        index2 = j;
      }
    }
  }

  *gain_pit = static_cast<Word16>(gbk1[index1][0] + gbk2[index2][0]);
  const Word32 L_gbk12 = gbk1[index1][1] + gbk2[index2][1];  // Q13
  const Word32 L_acc = twice(gcode0, L_gbk12 >> 1);          // Q(exp_gcode0 + 13)
  *gain_cod = extract_h(L_shl(L_acc, static_cast<Word16>(4 - exp_gcode0)));
  Gain_update(past_qua_en, L_gbk12);
  return static_cast<Word16>(map1[index1] * NCODE2 + map2[index2]);
}

void Gbk_presel(const Word16 best_gain[], Word16* cand1, Word16* cand2, Word16 gcode0) {
  // Coordinates of the optimum across (x) and along (y) the line through the codebook
  // centroids, both in Q(thr) * gcode0.
  const Word32 L_cfbg = twice(coef[0][0], best_gain[0]);  // Q20
  Word16 acc_h = extract_h(plus(L_cfbg, L_shr(L_coef[1][1], 15)));
  Word32 L_acc = minus(L_shl(best_gain[1], 7), twice(acc_h, gcode0));
  const Word32 x = twice(extract_h(L_shl(L_acc, 2)), kInvCoef);

  acc_h = extract_h(minus(L_cfbg, L_shr(L_coef[0][1], 10)));
  acc_h = static_cast<Word16>((acc_h * gcode0) >> 15);
  L_acc = minus(twice(acc_h, coef[1][0]), twice(coef[0][0], best_gain[1]) >> 3);
  const Word32 y = twice(extract_h(L_shl(L_acc, 2)), kInvCoef);

  // Each stage starts at the first threshold the coordinate does not pass; with a non-positive
  // predicted gain the thresholds are non-positive and the comparison turns round.
  Word16 c1 = 0, c2 = 0;
  const auto beyond = [gcode0](Word32 v, Word32 threshold) {
    return gcode0 > 0 ? v > threshold : v < threshold;
  };
  while (c1 < NCODE1 - NCAN1 && beyond(y, (thr1[c1] * gcode0) >> 2)) ++c1;
  while (c2 < NCODE2 - NCAN2 && beyond(x, (thr2[c2] * gcode0) >> 4)) ++c2;
  *cand1 = c1;
  *cand2 = c2;
}

}  // extern "C"
