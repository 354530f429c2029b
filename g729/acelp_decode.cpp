// Fixed-codebook vector of a subframe from its position index and sign bits, the inverse of
// ACELP_Codebook's index.
#include <algorithm>

#include "kestrune/g729_decoder.h"

namespace {

constexpr int kSubframe = 40;
constexpr Word16 kPlusOne = 8191;    // Q13
constexpr Word16 kMinusOne = -8192;  // Q13

}  // namespace

extern "C" {

void Decod_ACELP(Word16 sign, Word16 index, Word16 cod[]) {
  // Three bits per track for pulses 0 to 2 (positions 5i, 5i + 1, 5i + 2); pulse 3 takes one
  // bit for the choice between positions 5i + 3 and 5i + 4, then three for i.
  const int bits = static_cast<UWord16>(index);
  int pos[4];
  pos[0] = 5 * (bits & 7);
  pos[1] = 5 * ((bits >> 3) & 7) + 1;
  pos[2] = 5 * ((bits >> 6) & 7) + 2;
  pos[3] = 5 * ((bits >> 10) & 7) + 3 + ((bits >> 9) & 1);

  std::fill_n(cod, kSubframe, 0);
  for (int j = 0; j < 4; ++j) cod[pos[j]] = ((sign >> j) & 1) != 0 ? kPlusOne : kMinusOne;
}

}  // extern "C"
