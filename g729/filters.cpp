// Order-10 LP filters (A(z) and 1/A(z)) and the convolution with an impulse response, in
// plain 32-bit integer arithmetic.
//
// Sums wrap in 32 bits (unsigned arithmetic, so nothing relies on signed overflow) and their
// order does not change them: outputs are computed in blocks of eight that the compiler
// vectorises. Only the final 16-bit stores saturate.
#include <algorithm>
#include <cstdint>

#include "g729/wrapping_dot.h"
#include "kestrune/g729_filter.h"
#include "kestrune/g729_types.h"

using g729dsp::product;

namespace {

constexpr int M = 10;           // LP order
constexpr int kBlock = 8;       // outputs per vectorised block
constexpr int kChunk = 40;      // Syn_filt's 32-bit working history covers this many outputs
constexpr int kMaxPadded = 80;  // longest response that Convolve takes through its blocks

// (sum + 2048) >> 12 on the wrapped 32-bit sum: Q12 back to Q0, rounded.
inline Word32 round_q12(uint32_t sum) {
  return static_cast<Word32>(sum + 2048u) >> 12;
}

// y[k] = v[k] saturated to 16 bits; true when any sample clipped.
template <int N>
inline bool store_saturated(const Word32* v, Word16* y) {
  uint32_t out_of_range = 0;  // non-zero once a value is outside [-32768, 32767]
  for (int k = 0; k < N; ++k) {
    out_of_range |= (static_cast<uint32_t>(v[k]) + 32768u) >> 16;
    y[k] = static_cast<Word16>(std::min(std::max(v[k], Word32{INT16_MIN}), Word32{INT16_MAX}));
  }
  return out_of_range != 0;
}

bool store_saturated(const Word32* v, Word16* y, int n) {
  bool clipped = false;
  int k = 0;
  for (; k + kBlock <= n; k += kBlock) clipped |= store_saturated<kBlock>(v + k, y + k);
  for (; k < n; ++k) clipped |= store_saturated<1>(v + k, y + k);
  return clipped;
}

// N residual samples; a[0] is taken as 4096 without being read.
template <int N>
inline bool residu_block(const Word16* a, const Word16* x, Word16* y) {
  uint32_t sum[N];
  for (int k = 0; k < N; ++k) sum[k] = product(x[k], 4096);
  for (int j = 1; j <= M; ++j) {
    for (int k = 0; k < N; ++k) sum[k] += product(a[j], x[k - j]);
  }
  Word32 v[N];
  for (int k = 0; k < N; ++k) v[k] = round_q12(sum[k]);
  return store_saturated<N>(v, y);
}

// a * v as a wrapping 32-bit term, v being a full 32-bit filter state.
inline uint32_t wide_product(Word32 a, Word32 v) {
  return static_cast<uint32_t>(a) * static_cast<uint32_t>(v);
}

// n outputs of 1/A(z) into yy[0..n-1], yy[-10..-1] holding the previous ones. The state is
// carried in registers, and the terms of the older outputs are summed before the newest one
// joins, so that only one multiply-add lies on the recursion's critical path.
void synthesis(const Word16* a, const Word16* x, Word32* yy, int n) {
  Word32 coef[M + 1];
#pragma GCC unroll 11
  for (int j = 0; j <= M; ++j) coef[j] = a[j];
  Word32 past[M];  // past[k] = yy[i - 1 - k]
#pragma GCC unroll 10
  for (int k = 0; k < M; ++k) past[k] = yy[-1 - k];
  for (int i = 0; i < n; ++i) {
    // The rounding constant joins the older terms too: (older + 2048 - a1 y) >> 12.
    uint32_t older = wide_product(coef[0], x[i]) + 2048u;
#pragma GCC unroll 10
    for (int k = M - 1; k >= 1; --k) older -= wide_product(coef[k + 1], past[k]);
    const Word32 out = static_cast<Word32>(older - wide_product(coef[1], past[0])) >> 12;
#pragma GCC unroll 10
    for (int k = M - 1; k >= 1; --k) past[k] = past[k - 1];
    past[0] = out;
    yy[i] = out;
  }
}

}  // namespace

extern "C" {

void Residu(Word16 a[], Word16 x[], Word16 y[], Word16 lg) {
  bool clipped = false;
  int i = 0;
  for (; i + kBlock <= lg; i += kBlock) clipped |= residu_block<kBlock>(a, x + i, y + i);
  for (; i < lg; ++i) clipped |= residu_block<1>(a, x + i, y + i);
  if (clipped) Overflow = 1;
}

void Syn_filt(Word16 a[], Word16 x[], Word16 y[], Word16 lg, Word16 mem[], Word16 update) {
  // The recursion runs on unclipped 32-bit outputs: the 10 previous ones, then the chunk's.
  Word32 history[M + kChunk];
  std::copy_n(mem, M, history);
  bool clipped = false;
  for (int start = 0; start < lg; start += kChunk) {
    const int n = std::min(kChunk, lg - start);
    synthesis(a, x + start, history + M, n);
    // All of the chunk's input is read before y, which may be x, is written.
    clipped |= store_saturated(history + M, y + start, n);
    std::copy(history + n, history + n + M, history);
  }
  if (clipped) Overflow = 1;
  if (update != 0) std::copy_n(y + lg - M, M, mem);
}

void Convolve(Word16 x[], Word16 h[], Word16 y[], Word16 L) {
  // h behind zeros: each block of eight outputs takes every input it needs against eight
  // consecutive taps, the zeros standing in for the taps before h[0].
  Word16 padded[kBlock + kMaxPadded];
  std::fill_n(padded, kBlock, 0);
  int n0 = 0;
  if (L <= kMaxPadded) {
    std::copy_n(h, L, padded + kBlock);
    for (; n0 + kBlock <= L; n0 += kBlock) {
      uint32_t sum[kBlock] = {};
      for (int i = 0; i < n0 + kBlock; ++i) {
        const Word16* taps = padded + kBlock + n0 - i;
        for (int k = 0; k < kBlock; ++k) sum[k] += product(x[i], taps[k]);
      }
      for (int k = 0; k < kBlock; ++k) y[n0 + k] = static_cast<Word16>(round_q12(sum[k]));
    }
  }
  for (int n = n0; n < L; ++n) {
    uint32_t sum = 0;
    for (int i = 0; i <= n; ++i) sum += product(x[i], h[n - i]);
    y[n] = static_cast<Word16>(round_q12(sum));
  }
}

}  // extern "C"
