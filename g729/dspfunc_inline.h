// Table-interpolated functions of G.729 (Log2, Pow2, Inv_sqrt), inline for the codec (see the
// usage note at the top of basic_op_inline.h).
#pragma once

#include "g729/basic_op_inline.h"
#include "g729/tab_ld8k.h"

namespace g729ops {

// Interpolates table[i] - (table[i] - table[i + 1]) * a / 2^15 in Q16, a being the 15
// fraction bits below the index.
inline Word32 interpolate_table(const Word16* table, Word16 i, Word16 a) {
  return L_msu(L_deposit_h(table[i]), sub(table[i], table[i + 1]), a);
}

// log2(L_x) = exponent + fraction (Q15); both 0 when L_x <= 0.
inline void Log2(Word32 L_x, Word16* exponent, Word16* fraction) {
  if (L_x <= 0) {
    *exponent = 0;
    *fraction = 0;
    return;
  }
  const Word16 exp = norm_l(L_x);
  L_x = L_shl(L_x, exp);
  *exponent = sub(30, exp);
  const Word16 i = sub(extract_h(L_shr(L_x, 9)), 32);  // bits 25-30 of the normalised value
  const Word16 a = static_cast<Word16>(extract_l(L_shr(L_x, 10)) & 0x7fff);  // bits 10-24
  *fraction = extract_h(interpolate_table(tablog, i, a));
}

// 1/sqrt(L_x) in Q30; 0x3fffffff (1.0) when L_x <= 0.
inline Word32 Inv_sqrt(Word32 L_x) {
  if (L_x <= 0) return 0x3fffffff;
  Word16 exp = norm_l(L_x);
  L_x = L_shl(L_x, exp);
  exp = sub(30, exp);
  if ((exp & 1) == 0) L_x = L_shr(L_x, 1);  // an even exponent halves the mantissa
  exp = add(shr(exp, 1), 1);
  const Word16 i = sub(extract_h(L_shr(L_x, 9)), 16);
  const Word16 a = static_cast<Word16>(extract_l(L_shr(L_x, 10)) & 0x7fff);
  return L_shr(interpolate_table(tabsqr, i, a), exp);
}

// 2^(exponent + fraction), fraction in Q15. The final shift truncates (no rounding), its
// count is taken modulo 32 and nothing saturates. A fraction outside [0, 1) is taken modulo 1
// (its low 15 bits), which keeps the table index in range.
inline Word32 Pow2(Word16 exponent, Word16 fraction) {
  const int i = (fraction & 0x7fff) >> 10;
  const int32_t a = (fraction & 0x3ff) << 6;
  const uint32_t top = static_cast<uint32_t>(tabpow[i]) << 16;
  const Word32 L_x =
      static_cast<Word32>(top - static_cast<uint32_t>(a * (tabpow[i] - tabpow[i + 1])));
  return L_x >> ((30 - exponent) & 31);
}

}  // namespace g729ops
