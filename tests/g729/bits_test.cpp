// Packing of the eleven frame parameters into the dense 80-bit frame and back.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <random>

#include "g729/tab_ld8k.h"
#include "kestrune/g729.h"

namespace {

using Params = std::array<Word16, 12>;  // element 0: frame type, 1..11: the parameters
using Frame = std::array<UWord16, SERIAL_WORDS>;

Frame pack(Params prm) {
  Frame bits{};
  prm2bits_ld8k(prm.data(), bits.data());
  return bits;
}

Params unpack(Frame bits, Word16 frameType = 1) {
  Params prm{};
  prm[0] = frameType;
  bits2prm_ld8k(bits.data(), prm.data());
  return prm;
}

int fieldMask(int k) {
  return (1 << bitsno[k - 1]) - 1;
}

TEST(Bits, RandomFramesAreLaidDownLeastSignificantBitFirstAndRoundTrip) {
  std::mt19937 rng(729);
  Overflow = Carry = 1;  // which packing leaves alone
  for (int i = 0; i < 5000; ++i) {
    Params prm{static_cast<Word16>(rng())};  // the frame type is neither packed nor unpacked
    for (int k = 1; k <= PRM_SIZE; ++k) prm[k] = static_cast<Word16>(rng() & fieldMask(k));
    // The fields in order, each least significant bit first; string bit n is bit n % 16 of
    // word n / 16.
    Frame expected{};
    for (int k = 1, n = 0; k <= PRM_SIZE; ++k) {
      for (int b = 0; b < bitsno[k - 1]; ++b, ++n) {
        if ((prm[k] >> b) & 1) expected[n / 16] |= static_cast<UWord16>(1 << (n % 16));
      }
    }
    ASSERT_EQ(pack(prm), expected);
    ASSERT_EQ(unpack(expected, prm[0]), prm);
    // Bits above a field's width are cut off, never spilled into its neighbours.
    for (int k = 1; k <= PRM_SIZE; ++k) prm[k] = static_cast<Word16>(prm[k] | ~fieldMask(k));
    ASSERT_EQ(pack(prm), expected);

    Frame bits;
    for (auto& word : bits) word = static_cast<UWord16>(rng());
    const Params decoded = unpack(bits);
    for (int k = 1; k <= PRM_SIZE; ++k) ASSERT_EQ(decoded[k] & ~fieldMask(k), 0) << k;
    ASSERT_EQ(pack(decoded), bits);
  }
  EXPECT_EQ(Overflow & Carry, 1);
  Overflow = Carry = 0;
}

}  // namespace
