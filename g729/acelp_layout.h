// Layout of the fixed-codebook search: the pulse tracks and where Cor_h puts each correlation
// in its DIM_RR array (see kestrune/g729_acelp.h).
#pragma once

#include "kestrune/g729_acelp.h"

namespace acelp {

inline constexpr int kSubframe = 40;  // samples of a subframe
inline constexpr int kStep = 5;       // spacing of the positions of one track
inline constexpr int kPositions = 8;  // positions of each of the five position sets
inline constexpr int kMatrix = kPositions * kPositions;

// Offset of the energies of position set t (t = 0..4) and of the cross-correlation matrix of
// sets a < b. Sets 3 and 4 are both pulse 3's, so they have no matrix between them.
inline constexpr int energies(int t) {
  return t * kPositions;
}
inline constexpr int matrix(int a, int b) {
  constexpr int first[3] = {0, 4, 7};  // first matrix of the pairs starting with set 0, 1, 2
  return 5 * kPositions + (first[a] + b - a - 1) * kMatrix;
}

static_assert(matrix(2, 4) + kMatrix == DIM_RR);

}  // namespace acelp
