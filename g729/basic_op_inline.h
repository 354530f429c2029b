// The fixed-point basic operators of the speech codec, defined once as inline functions.
//
// Usage inside the codec: a codec source includes this header (and oper_32b_inline.h /
// dspfunc_inline.h for the double-precision and table routines) plus the non-operator
// declarations it needs (kestrune/g729_types.h, kestrune/g729_bits.h, kestrune/g729_coder.h,
// g729/tab_ld8k.h), then writes `using namespace g729ops;` and calls add(), L_mac(), Log2()...
// unqualified. Such a source must NOT include kestrune/g729.h or kestrune/g729_basic_op.h:
// those declare the exported out-of-line operators under the same names with C linkage, and
// every unqualified call would become ambiguous. The exported operators (basic_op.cpp,
// oper_32b.cpp, dspfunc.cpp) are thin wrappers that call these, so each operator has exactly
// one definition.
//
// Arithmetic is done in a wider type and narrowed explicitly, so nothing relies on signed
// overflow; shift counts are kept inside the width of the shifted type.
#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>

#include "kestrune/g729_types.h"

namespace g729ops {

inline constexpr Word16 kMax16 = INT16_MAX;
inline constexpr Word16 kMin16 = INT16_MIN;
inline constexpr Word32 kMax32 = INT32_MAX;
inline constexpr Word32 kMin32 = INT32_MIN;

// Clips to the 32-bit range without touching Overflow.
inline Word32 clip32(int64_t value) {
  return static_cast<Word32>(std::clamp<int64_t>(value, kMin32, kMax32));
}

// Two's-complement wrap of a 32-bit sum or difference.
inline Word32 wrap32(int64_t value) {
  return static_cast<Word32>(static_cast<uint32_t>(value));
}

// 32 to 16 bits with saturation; sets Overflow when it clips.
inline Word16 saturate(Word32 L_var1) {
  if (L_var1 > kMax16) {
    Overflow = 1;
    return kMax16;
  }
  if (L_var1 < kMin16) {
    Overflow = 1;
    return kMin16;
  }
  return static_cast<Word16>(L_var1);
}

inline Word16 add(Word16 var1, Word16 var2) {
  return saturate(Word32{var1} + var2);
}
inline Word16 sub(Word16 var1, Word16 var2) {
  return saturate(Word32{var1} - var2);
}

// sub() for loops: the same result, with a clip noted in `clips` (all ones once any clipped)
// instead of setting Overflow, so that the loop raises the flag once at its end and keeps the
// global store out of its body. Computed in 16-bit lanes so that it vectorises: the wrapped
// difference has overflowed exactly when the operands differ in sign and the difference's sign
// differs from var1's, and the limit it saturates to then has var1's sign.
inline Word16 sub_noting(Word16 var1, Word16 var2, uint16_t& clips) {
  const auto wrapped = static_cast<uint16_t>(static_cast<uint16_t>(var1) - var2);
  const auto overflowed = static_cast<uint16_t>(
      static_cast<Word16>((var1 ^ var2) & (var1 ^ wrapped)) >> 15);  // 0 or all ones
  const auto limit = static_cast<uint16_t>((var1 >> 15) ^ kMax16);
  clips |= overflowed;
  return static_cast<Word16>((wrapped & ~overflowed) | (limit & overflowed));
}

inline Word16 abs_s(Word16 var1) {
  return var1 == kMin16 ? kMax16 : static_cast<Word16>(var1 < 0 ? -var1 : var1);
}

// Two's-complement negation cut to 16 bits: negate(-32768) stays -32768.
inline Word16 negate(Word16 var1) {
  return static_cast<Word16>(-Word32{var1});
}

inline Word16 extract_h(Word32 L_var1) {
  return static_cast<Word16>(L_var1 >> 16);
}
inline Word16 extract_l(Word32 L_var1) {
  return static_cast<Word16>(L_var1);
}

inline Word32 L_deposit_h(Word16 var1) {
  return static_cast<Word32>(static_cast<uint32_t>(var1) << 16);
}
inline Word32 L_deposit_l(Word16 var1) {
  return var1;
}

inline Word16 shl(Word16 var1, Word16 var2);

// Arithmetic right shift; a negative count (limited to -16) shifts left through shl.
inline Word16 shr(Word16 var1, Word16 var2) {
  if (var2 < 0) return shl(var1, static_cast<Word16>(-std::max<Word16>(var2, -16)));
  if (var2 >= 15) return var1 < 0 ? -1 : 0;
  return static_cast<Word16>(var1 >> var2);
}

// Left shift with 16-bit saturation (sets Overflow); a zero value never saturates.
inline Word16 shl(Word16 var1, Word16 var2) {
  if (var2 < 0) return shr(var1, static_cast<Word16>(-std::max<Word16>(var2, -16)));
  if (var1 == 0) return 0;
  if (var2 <= 15) {
    const Word32 result = Word32{var1} * (Word32{1} << var2);
    if (result == static_cast<Word16>(result)) return static_cast<Word16>(result);
  }
  Overflow = 1;
  return var1 > 0 ? kMax16 : kMin16;
}

// (a*b) >> 15; only -32768 * -32768 saturates, with Overflow.
inline Word16 mult(Word16 var1, Word16 var2) {
  return saturate((Word32{var1} * var2) >> 15);
}

inline Word16 mult_r(Word16 var1, Word16 var2) {
  return saturate((Word32{var1} * var2 + 0x4000) >> 15);
}

// a*b saturated to 16 bits, with Overflow.
inline Word16 i_mult(Word16 var1, Word16 var2) {
  return saturate(Word32{var1} * var2);
}

// The 32-bit saturating operators clip silently: they never write Overflow.
inline Word32 L_mult(Word16 var1, Word16 var2) {
  return clip32(int64_t{var1} * var2 * 2);
}
inline Word32 L_mult0(Word16 var1, Word16 var2) {
  return Word32{var1} * var2;
}
inline Word32 L_add(Word32 L_var1, Word32 L_var2) {
  return clip32(int64_t{L_var1} + L_var2);
}
inline Word32 L_sub(Word32 L_var1, Word32 L_var2) {
  return clip32(int64_t{L_var1} - L_var2);
}
inline Word32 L_mac(Word32 L_var3, Word16 var1, Word16 var2) {
  return L_add(L_var3, L_mult(var1, var2));
}
inline Word32 L_msu(Word32 L_var3, Word16 var1, Word16 var2) {
  return L_sub(L_var3, L_mult(var1, var2));
}
inline Word32 L_mac0(Word32 L_var3, Word16 var1, Word16 var2) {
  return L_add(L_var3, L_mult0(var1, var2));
}
inline Word32 L_msu0(Word32 L_var3, Word16 var1, Word16 var2) {
  return L_sub(L_var3, L_mult0(var1, var2));
}

// Rounds to the upper 16 bits; 32767 when L + 0x8000 passes the 32-bit range, no flag.
inline Word16 round_fx(Word32 L_var1) {
  return extract_h(L_add(L_var1, 0x8000));
}
inline Word16 mac_r(Word32 L_var3, Word16 var1, Word16 var2) {
  return round_fx(L_mac(L_var3, var1, var2));
}
inline Word16 msu_r(Word32 L_var3, Word16 var1, Word16 var2) {
  return round_fx(L_msu(L_var3, var1, var2));
}

inline Word32 L_negate(Word32 L_var1) {
  return L_var1 == kMin32 ? kMax32 : -L_var1;
}
inline Word32 L_abs(Word32 L_var1) {
  return L_var1 == kMin32 ? kMax32 : (L_var1 < 0 ? -L_var1 : L_var1);
}

// Left shifts that normalise the value: 0 gives 0, -1 gives 15 (31 for norm_l).
inline Word16 norm_s(Word16 var1) {
  if (var1 == 0) return 0;
  const auto magnitude = static_cast<uint16_t>(var1 < 0 ? ~var1 : var1);
  return static_cast<Word16>(std::countl_zero(magnitude) - 1);
}
inline Word16 norm_l(Word32 L_var1) {
  if (L_var1 == 0) return 0;
  const auto magnitude = static_cast<uint32_t>(L_var1 < 0 ? ~L_var1 : L_var1);
  return static_cast<Word16>(std::countl_zero(magnitude) - 1);
}

inline Word32 L_shl(Word32 L_var1, Word16 var2);

// Arithmetic right shift; a negative count (limited to -32) shifts left through L_shl.
inline Word32 L_shr(Word32 L_var1, Word16 var2) {
  if (var2 < 0) return L_shl(L_var1, static_cast<Word16>(-std::max<Word16>(var2, -32)));
  if (var2 >= 31) return L_var1 < 0 ? -1 : 0;
  return L_var1 >> var2;
}

// Left shift saturating as soon as a doubling would leave the 32-bit range, with Overflow.
// Shifting one place at a time saturates exactly when the count exceeds norm_l, which is
// what is tested here.
inline Word32 L_shl(Word32 L_var1, Word16 var2) {
  if (var2 <= 0) return L_shr(L_var1, static_cast<Word16>(-std::max<Word16>(var2, -32)));
  if (L_var1 == 0) return 0;
  if (var2 <= norm_l(L_var1)) {
    return static_cast<Word32>(static_cast<uint32_t>(L_var1) << var2);
  }
  Overflow = 1;
  return L_var1 > 0 ? kMax32 : kMin32;
}

// Right shifts rounding by the last bit shifted out; counts above 15 (31) give 0.
inline Word16 shr_r(Word16 var1, Word16 var2) {
  if (var2 > 15) return 0;
  Word16 result = shr(var1, var2);
  if (var2 > 0 && (var1 & (1 << (var2 - 1))) != 0) ++result;
  return result;
}
inline Word32 L_shr_r(Word32 L_var1, Word16 var2) {
  if (var2 > 31) return 0;
  Word32 result = L_shr(L_var1, var2);
  if (var2 > 0 && (L_var1 & (Word32{1} << (var2 - 1))) != 0) ++result;
  return result;
}

// Division of fractions 0 <= num < den: (num * 32768) / den, truncated. Never stops the
// program: equal operands, a zero or smaller denominator and negative operands give 32767.
inline Word16 div_s(Word16 var1, Word16 var2) {
  if (var1 >= var2 || var1 < 0 || var2 <= 0) return kMax16;
  return static_cast<Word16>((Word32{var1} << 15) / var2);
}

// 32-bit add with carry in and out and overflow, as the ITU-T operator defines them.
inline Word32 L_add_c(Word32 L_var1, Word32 L_var2) {
  const Word32 L_var_out = wrap32(int64_t{L_var1} + L_var2 + Carry);
  const Word32 L_test = wrap32(int64_t{L_var1} + L_var2);
  Flag carry_int = 0;
  if (L_var1 > 0 && L_var2 > 0 && L_test < 0) {
    Overflow = 1;
    carry_int = 0;
  } else if (L_var1 < 0 && L_var2 < 0) {
    Overflow = L_test >= 0 ? 1 : 0;
    carry_int = 1;
  } else {
    Overflow = 0;
    carry_int = ((L_var1 ^ L_var2) < 0 && L_test >= 0) ? 1 : 0;
  }
  if (Carry && L_test == kMax32) {
    Overflow = 1;
    Carry = carry_int;
  } else if (Carry && L_test == -1) {
    Carry = 1;
  } else {
    Carry = carry_int;
  }
  return L_var_out;
}

// 32-bit subtract with borrow in and out and overflow, as the ITU-T operator defines them.
inline Word32 L_sub_c(Word32 L_var1, Word32 L_var2) {
  if (Carry) {
    Carry = 0;
    if (L_var2 != kMin32) return L_add_c(L_var1, -L_var2);
    if (L_var1 > 0) {
      Overflow = 1;
      Carry = 0;
    }
    return wrap32(int64_t{L_var1} - L_var2);
  }
  const Word32 L_var_out = wrap32(int64_t{L_var1} - L_var2 - 1);
  const Word32 L_test = wrap32(int64_t{L_var1} - L_var2);
  Flag carry_int = 0;
  if (L_test < 0 && L_var1 > 0 && L_var2 < 0) {
    Overflow = 1;
    carry_int = 0;
  } else if (L_test > 0 && L_var1 < 0 && L_var2 > 0) {
    Overflow = 1;
    carry_int = 1;
  } else if (L_test > 0 && (L_var1 ^ L_var2) > 0) {
    Overflow = 0;
    carry_int = 1;
  }
  if (L_test == kMin32) Overflow = 1;
  Carry = carry_int;
  return L_var_out;
}

inline Word32 L_macNs(Word32 L_var3, Word16 var1, Word16 var2) {
  return L_add_c(L_var3, L_mult(var1, var2));
}
inline Word32 L_msuNs(Word32 L_var3, Word16 var1, Word16 var2) {
  return L_sub_c(L_var3, L_mult(var1, var2));
}

// Resolves a pending overflow of the carry operators: MIN_32 after a borrow, else MAX_32;
// clears both flags.
inline Word32 L_sat(Word32 L_var1) {
  if (!Overflow) return L_var1;
  const Word32 result = Carry ? kMin32 : kMax32;
  Carry = 0;
  Overflow = 0;
  return result;
}

}  // namespace g729ops
