// Order-10 LP filters (A(z) and 1/A(z)) and the convolution with an impulse response, in
// plain 32-bit integer arithmetic.
//
// Sums wrap in 32 bits (unsigned arithmetic, so nothing relies on signed overflow) and their
// order does not change them: outputs are computed in blocks of eight that the compiler
// vectorises. Only the final 16-bit stores saturate.
#include <algorithm>
#include <cstdint>

#include "g729/basic_op_inline.h"
#include "g729/wrapping_dot.h"
#include "kestrune/g729_filter.h"

using g729dsp::product;

namespace {

constexpr int M = 10;       // LP order
constexpr int kBlock = 8;   // outputs per vectorised block
constexpr int kChunk = 40;  // Syn_filt's 32-bit working history covers this many outputs

// (sum + 2048) >> 12 on the wrapped 32-bit sum: Q12 back to Q0, rounded.
inline Word32 round_q12(uint32_t sum) {
  return static_cast<Word32>(sum + 2048u) >> 12;
}

// y[k] = v[k] saturated to 16 bits; true when any sample clipped.
template <int N>
inline bool store_saturated(const Word32* v, Word16* y) {
  bool clipped = false;
  for (int k = 0; k < N; ++k) {
    const Word32 c = std::clamp<Word32>(v[k], INT16_MIN, INT16_MAX);
    clipped |= c != v[k];
    y[k] = static_cast<Word16>(c);
  }
  return clipped;
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

// a[j] * v as a wrapping 32-bit term, v being a full 32-bit filter state.
inline uint32_t wide_product(Word16 a, Word32 v) {
  return static_cast<uint32_t>(Word32{a}) * static_cast<uint32_t>(v);
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
    Word32* yy = history + M;
    for (int i = 0; i < n; ++i) {
      uint32_t s = product(a[0], x[start + i]);
      for (int j = 1; j <= M; ++j) s -= wide_product(a[j], yy[i - j]);
      yy[i] = round_q12(s);
    }
    // All of the chunk's input is read before y, which may be x, is written.
    clipped |= store_saturated(yy, y + start, n);
    std::copy(history + n, history + n + M, history);
  }
  if (clipped) Overflow = 1;
  if (update != 0) std::copy_n(y + lg - M, M, mem);
}

void Convolve(Word16 x[], Word16 h[], Word16 y[], Word16 L) {
  int n0 = 0;
  for (; n0 + kBlock <= L; n0 += kBlock) {
    // Outputs n0..n0+7: every x[i] with i <= n0 meets eight consecutive taps ...
    uint32_t sum[kBlock] = {};
    for (int i = 0; i <= n0; ++i) {
      const Word16* taps = h + (n0 - i);
      for (int k = 0; k < kBlock; ++k) sum[k] += product(x[i], taps[k]);
    }
    // ... and the last seven inputs reach only the block's later outputs.
    for (int i = n0 + 1; i < n0 + kBlock; ++i) {
      for (int k = i - n0; k < kBlock; ++k) sum[k] += product(x[i], h[n0 + k - i]);
    }
    for (int k = 0; k < kBlock; ++k) y[n0 + k] = static_cast<Word16>(round_q12(sum[k]));
  }
  for (int n = n0; n < L; ++n) {
    uint32_t sum = 0;
    for (int i = 0; i <= n; ++i) sum += product(x[i], h[n - i]);
    y[n] = static_cast<Word16>(round_q12(sum));
  }
}

}  // extern "C"
