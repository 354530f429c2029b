// Order-10 LP filters (A(z) and 1/A(z)) and the convolution with an impulse response, in
// plain 32-bit integer arithmetic.
//
// Sums wrap in 32 bits (unsigned arithmetic, so nothing relies on signed overflow) and their
// order does not change them: the sums of a chunk of outputs are built tap by tap (input by
// input) in loops that run along the outputs, which the compiler vectorises. Only the final
// 16-bit stores saturate.
#include <algorithm>
#include <cstdint>

#include "g729/wrapping_dot.h"
#include "kestrune/g729_filter.h"
#include "kestrune/g729_types.h"

using g729dsp::product;

namespace {

constexpr int M = 10;       // LP order
constexpr int kBlock = 8;   // outputs per vectorised block of the saturating stores
constexpr int kChunk = 40;  // outputs per pass, and the span of Syn_filt's 32-bit history

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

// Residual of n <= kChunk samples; a[0] is taken as 4096 without being read. The taps are the
// outer loop, so that each inner loop runs along the samples and vectorises.
bool residu_chunk(const Word16* a, const Word16* x, Word16* y, int n) {
  uint32_t sum[kChunk];
  for (int k = 0; k < n; ++k) sum[k] = product(x[k], 4096);
  for (int j = 1; j <= M; ++j) {
    for (int k = 0; k < n; ++k) sum[k] += product(a[j], x[k - j]);
  }
  Word32 v[kChunk];
  for (int k = 0; k < n; ++k) v[k] = round_q12(sum[k]);
  return store_saturated(v, y, n);
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
  for (int start = 0; start < lg; start += kChunk) {
    clipped |= residu_chunk(a, x + start, y + start, std::min(kChunk, lg - start));
  }
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
  // Outputs kChunk at a time, each input sample added into every output of the chunk, so that
  // the inner loops run the whole chunk and vectorise. Within the chunk's own inputs the
  // response is read from a copy behind kChunk zeros, which give the outputs an input sample
  // does not reach.
  Word16 behind_zeros[2 * kChunk] = {};
  std::copy_n(h, std::min<int>(L, kChunk), behind_zeros + kChunk);
  for (int n0 = 0; n0 < L; n0 += kChunk) {
    const int n1 = std::min<int>(L, n0 + kChunk);
    uint32_t sum[kChunk] = {};
    for (int i = 0; i < n0; ++i) {
      for (int n = n0; n < n1; ++n) sum[n - n0] += product(x[i], h[n - i]);
    }
    for (int i = n0; i < n1; ++i) {
      const Word16* taps = behind_zeros + kChunk - i;
      for (int n = n0; n < n1; ++n) sum[n - n0] += product(x[i], taps[n]);
    }
    for (int n = n0; n < n1; ++n) y[n] = static_cast<Word16>(round_q12(sum[n - n0]));
  }
}

}  // extern "C"
