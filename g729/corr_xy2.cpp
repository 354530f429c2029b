// Correlations of the filtered fixed-codebook vector with the target and with the filtered
// adaptive-codebook vector, for the joint gain quantizer.
#include <cstdint>

#include "g729/basic_op_inline.h"
#include "kestrune/g729_filter.h"

using namespace g729ops;

namespace {

constexpr int kSubframe = 40;

// 1 + 2 * sum of x[i] * y[i], saturating at every step as L_mac() does, split into a rounded
// mantissa and the shift that normalised it.
Word16 normalised_correlation(const Word16* x, const Word16* y, Word16* norm) {
  // No partial sum can leave the 32-bit range while 1 + the sum of the terms' magnitudes stays
  // inside it; the plain sum is then the saturating one.
  int64_t plain = 1;
  int64_t bound = 1;
  for (int i = 0; i < kSubframe; ++i) {
    const int64_t term = 2 * (Word32{x[i]} * y[i]);
    plain += term;
    bound += term < 0 ? -term : term;
  }
  Word32 acc = static_cast<Word32>(plain);
  if (bound > kMax32) {
    acc = 1;  // keeps an all-zero vector away from zero
    for (int i = 0; i < kSubframe; ++i) acc = L_mac(acc, x[i], y[i]);
  }
  *norm = norm_l(acc);
  return round_fx(L_shl(acc, *norm));
}

}  // namespace

extern "C" {

void Corr_xy2(Word16 xn[], Word16 y1[], Word16 y2[], Word16 g_coeff[], Word16 exp_g_coeff[]) {
  // y2 from Q12 down to Q9 so that its energy cannot overflow.
  Word16 scaled_y2[kSubframe];
  for (int i = 0; i < kSubframe; ++i) scaled_y2[i] = shr(y2[i], 3);

  Word16 norm;
  g_coeff[2] = normalised_correlation(scaled_y2, scaled_y2, &norm);  // <y2,y2>, Q19
  exp_g_coeff[2] = static_cast<Word16>(norm + 19 - 16);

  const Word16 xny2 = normalised_correlation(xn, scaled_y2, &norm);  // <xn,y2>, Q10
  g_coeff[3] = negate(xny2);
  exp_g_coeff[3] = static_cast<Word16>(norm + 10 - 16 - 1);  // -2<xn,y2>

  g_coeff[4] = normalised_correlation(y1, scaled_y2, &norm);  // <y1,y2>, Q10
  exp_g_coeff[4] = static_cast<Word16>(norm + 10 - 16 - 1);   // 2<y1,y2>
}

}  // extern "C"
