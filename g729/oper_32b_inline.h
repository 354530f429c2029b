// Double-precision routines of G.729 on the basic operators, inline for the codec (see the
// usage note at the top of basic_op_inline.h).
//
// A double-precision value is hi (upper 16 bits) and lo (the next 15 bits, signed):
// L = hi * 2^16 + lo * 2.
#pragma once

#include "g729/basic_op_inline.h"

namespace g729ops {

inline void L_Extract(Word32 L_32, Word16* hi, Word16* lo) {
  *hi = extract_h(L_32);
  *lo = extract_l(L_msu(L_shr(L_32, 1), *hi, 16384));
}

inline Word32 L_Comp(Word16 hi, Word16 lo) {
  return L_mac(L_deposit_h(hi), lo, 1);
}

// Product of two double-precision values, divided by 2^31.
inline Word32 Mpy_32(Word16 hi1, Word16 lo1, Word16 hi2, Word16 lo2) {
  Word32 L_32 = L_mult(hi1, hi2);
  L_32 = L_mac(L_32, mult(hi1, lo2), 1);
  return L_mac(L_32, mult(lo1, hi2), 1);
}

// Product of a double-precision value and a 16-bit value, divided by 2^15.
inline Word32 Mpy_32_16(Word16 hi, Word16 lo, Word16 n) {
  return L_mac(L_mult(hi, n), mult(lo, n), 1);
}

// L_num / L_denom for 0 < L_num < L_denom, with L_denom = denom_hi, denom_lo normalised;
// the result is Q31. One Newton step refines 1/denom_hi to 1/L_denom.
inline Word32 Div_32(Word32 L_num, Word16 denom_hi, Word16 denom_lo) {
  const Word16 approx = div_s(0x3fff, denom_hi);  // 1/denom_hi in Q14
  Word32 L_32 = L_sub(0x7fffffff, Mpy_32_16(denom_hi, denom_lo, approx));
  Word16 hi, lo;
  L_Extract(L_32, &hi, &lo);
  L_32 = Mpy_32_16(hi, lo, approx);  // 1/L_denom in Q29
  Word16 n_hi, n_lo;
  L_Extract(L_32, &hi, &lo);
  L_Extract(L_num, &n_hi, &n_lo);
  return L_shl(Mpy_32(n_hi, n_lo, hi, lo), 2);
}

}  // namespace g729ops
