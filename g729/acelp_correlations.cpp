// Correlations that the fixed-codebook search works from: the autocorrelation matrix of the
// impulse response (Cor_h) and the target filtered backwards through it (Cor_h_X).
#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

#include "g729/acelp_layout.h"
#include "g729/basic_op_inline.h"
#include "kestrune/g729_acelp.h"

using namespace g729ops;
using namespace acelp;

namespace {

// For positions i < j, where Cor_h stores their correlation in rr, or -1 when the search never
// reads it (two positions of one track). Diagonal entries i == j go to the energies.
constexpr std::array<std::array<int16_t, kSubframe>, kSubframe> kSlot = [] {
  std::array<std::array<int16_t, kSubframe>, kSubframe> slot{};
  for (int i = 0; i < kSubframe; ++i) {
    for (int j = i; j < kSubframe; ++j) {
      int a = i % kStep, b = j % kStep;
      int row = i / kStep, column = j / kStep;
      if (a > b) {
        std::swap(a, b);
        std::swap(row, column);
      }
      if (i == j) {
        slot[i][j] = static_cast<int16_t>(energies(a) + row);
      } else if (a == b || (a == 3 && b == 4)) {
        slot[i][j] = -1;
      } else {
        slot[i][j] = static_cast<int16_t>(matrix(a, b) + row * kPositions + column);
      }
    }
  }
  return slot;
}();

// Largest energy that the correlation scaling shifts up rather than down: twice the energy has
// its upper half at 32000 or below.
constexpr int64_t kScaleUpLimit = 0x3E808000;

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

  // The correlation of positions i <= j = i + d sums h[n] h[n + d] for n = 0..39-j: along each
  // lag d the running sum, from n = 0 upwards, passes through every such pair, nearest the end
  // of the subframe first. Lags that are multiples of 5 (but 0) join positions of one track.
  for (int d = 0; d < kSubframe; ++d) {
    if (d % kStep == 0 && d != 0) continue;
    Word32 cor = 0;
    for (int n = 0; n + d < kSubframe; ++n) {
      cor = L_mac(cor, h[n], h[n + d]);
      const int j = kSubframe - 1 - n;
      const int slot = kSlot[j - d][j];
      if (slot >= 0) rr[slot] = extract_h(cor);
    }
  }
}

void Cor_h_X(const Word16 h[], const Word16 X[], Word16 D[]) {
  Word32 y32[kSubframe];
  Word32 max = 0;
  for (int i = 0; i < kSubframe; ++i) {
    Word32 s = 0;
    for (int j = i; j < kSubframe; ++j) s = L_mac(s, X[j], h[j - i]);
    y32[i] = s;
    max = std::max(max, L_abs(s));
  }
  // Shift so that the largest magnitude takes 13 bits (at least a shift of 2).
  const auto shift = static_cast<Word16>(18 - std::min<Word16>(norm_l(max), 16));
  for (int i = 0; i < kSubframe; ++i) D[i] = extract_l(L_shr(y32[i], shift));
}

}  // extern "C"
