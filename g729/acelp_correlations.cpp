// Correlations that the fixed-codebook search works from: the autocorrelation matrix of the
// impulse response (Cor_h) and the target filtered backwards through it (Cor_h_X).
//
// Both accumulate with the saturating L_mac. Whenever a bound shows that no partial sum can
// reach the 32-bit limits, they take the same sums in plain 32-bit arithmetic, which gives
// identical results and lets the compiler vectorise the loops.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>

#include "g729/acelp_layout.h"
#include "g729/basic_op_inline.h"
#include "kestrune/g729_acelp.h"

using namespace g729ops;
using namespace acelp;

namespace {

// For each entry of rr, which running sum holds it: the correlation of positions i <= j sums
// h[n] h[n + j - i] for n = 0..39-j, entry [39 - j][j - i] of the table that Cor_h builds.
constexpr std::array<int16_t, DIM_RR> kSource = [] {
  std::array<int16_t, DIM_RR> source{};
  for (int i = 0; i < kSubframe; ++i) {
    for (int j = i; j < kSubframe; ++j) {
      int a = i % kStep, b = j % kStep;
      int row = i / kStep, column = j / kStep;
      if (a > b) {
        std::swap(a, b);
        std::swap(row, column);
      }
      int slot = -1;
      if (i == j) {
        slot = energies(a) + row;
      } else if (a != b && !(a == 3 && b == 4)) {  // else never read
        slot = matrix(a, b) + row * kPositions + column;
      }
      if (slot >= 0) source[slot] = static_cast<int16_t>((kSubframe - 1 - j) * kSubframe + j - i);
    }
  }
  return source;
}();

// Largest energy that the correlation scaling shifts up rather than down: twice the energy has
// its upper half at 32000 or below.
constexpr int64_t kScaleUpLimit = 0x3E808000;

// sums[n][d] = upper half of 2 * (h[0] h[d] + ... + h[n] h[n + d]), h taken as 0 past 39.
template <bool kSaturating>
void runningCorrelations(const Word16 h[], Word16 sums[kSubframe][kSubframe]) {
  Word16 padded[2 * kSubframe] = {};
  std::copy_n(h, kSubframe, padded);
  Word32 acc[kSubframe] = {};
  for (int n = 0; n < kSubframe; ++n) {
    for (int d = 0; d < kSubframe; ++d) {
      if constexpr (kSaturating) {
        acc[d] = L_mac(acc[d], h[n], padded[n + d]);
      } else {
        acc[d] += 2 * h[n] * padded[n + d];
      }
      sums[n][d] = extract_h(acc[d]);
    }
  }
}

// y32[i] = 2 * sum of X[j] h[j - i], j = i..39.
template <bool kSaturating>
void backwardFiltered(const Word16 h[], const Word16 X[], Word32 y32[]) {
  for (int i = 0; i < kSubframe; ++i) {
    Word32 s = 0;
    for (int j = i; j < kSubframe; ++j) {
      if constexpr (kSaturating) {
        s = L_mac(s, X[j], h[j - i]);
      } else {
        s += 2 * X[j] * h[j - i];
      }
    }
    y32[i] = s;
  }
}

}  // namespace

extern "C" {

void Cor_h(const Word16* H, Word16* rr) {
  // Scale h so that its energy uses the 32-bit range.
  int64_t energy = 0;
  for (int i = 0; i < kSubframe; ++i) energy += Word32{H[i]} * H[i];
  Word16 h[kSubframe];
  if (energy < kScaleUpLimit) {
    const auto k = static_cast<Word16>((norm_l(static_cast<Word32>(energy)) - 1) >> 1);
    for (int i = 0; i < kSubframe; ++i) h[i] = shl(H[i], k);
  } else {
    for (int i = 0; i < kSubframe; ++i) h[i] = static_cast<Word16>(H[i] >> 1);
  }

  // Every partial correlation is at most the energy of the scaled h (Cauchy-Schwarz), so
  // twice that energy below 2^31 rules out saturation; only a halved h can exceed it.
  int64_t scaled = 0;
  for (int i = 0; i < kSubframe; ++i) scaled += Word32{h[i]} * h[i];
  Word16 sums[kSubframe][kSubframe];
  if (2 * scaled <= kMax32) {
    runningCorrelations<false>(h, sums);
  } else {
    runningCorrelations<true>(h, sums);
  }
  const Word16* flat = &sums[0][0];
  for (int k = 0; k < DIM_RR; ++k) rr[k] = flat[kSource[k]];
}

void Cor_h_X(const Word16 h[], const Word16 X[], Word16 D[]) {
  // No partial sum exceeds 2 * sum |X| * max |h|.
  int64_t sum_x = 0;
  Word32 max_h = 0;
  for (int i = 0; i < kSubframe; ++i) {
    sum_x += std::abs(Word32{X[i]});
    max_h = std::max(max_h, std::abs(Word32{h[i]}));
  }
  Word32 y32[kSubframe];
  if (2 * sum_x * max_h <= kMax32) {
    backwardFiltered<false>(h, X, y32);
  } else {
    backwardFiltered<true>(h, X, y32);
  }

  Word32 max = 0;
  for (int i = 0; i < kSubframe; ++i) max = std::max(max, L_abs(y32[i]));
  // Shift so that the largest magnitude takes 13 bits (at least a shift of 2).
  const auto shift = static_cast<Word16>(18 - std::min<Word16>(norm_l(max), 16));
  for (int i = 0; i < kSubframe; ++i) D[i] = extract_l(L_shr(y32[i], shift));
}

}  // extern "C"
