// Plain (not doubled, not saturated) inner products of 16-bit vectors, wrapping in 32 bits.
//
// Wrapping sums do not depend on the order of their terms, so the loops are blocked in fixed
// sizes that the compiler turns into vector multiply-adds without changing any result.
#pragma once

#include <cstdint>

#include "kestrune/g729_types.h"

namespace g729dsp {

// x * y as a wrapping 32-bit term (the product of two 16-bit values always fits).
inline uint32_t product(Word16 x, Word16 y) {
  return static_cast<uint32_t>(Word32{x} * y);
}

template <int N>
inline uint32_t dot_block(const Word16* x, const Word16* y) {
  uint32_t sum = 0;
  for (int i = 0; i < N; ++i) sum += product(x[i], y[i]);
  return sum;
}

// Sum of x[i] * y[i] for i < n, wrapping.
inline Word32 wrapping_dot(const Word16* x, const Word16* y, int n) {
  uint32_t sum = 0;
  int i = 0;
  for (; i + 40 <= n; i += 40) sum += dot_block<40>(x + i, y + i);
  for (; i + 8 <= n; i += 8) sum += dot_block<8>(x + i, y + i);
  for (; i < n; ++i) sum += product(x[i], y[i]);
  return static_cast<Word32>(sum);
}

// 64-bit energy of x[0..n-1], for the overflow tests that decide on scaling.
inline int64_t energy64(const Word16* x, int n) {
  int64_t sum = 0;
  for (int i = 0; i < n; ++i) sum += int64_t{x[i]} * x[i];
  return sum;
}

}  // namespace g729dsp
