// Packing of the eleven frame parameters into the dense 80-bit frame and back.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <numeric>
#include <random>

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

Params randomParams(std::mt19937& rng) {
  Params prm{1};
  for (int k = 1; k <= PRM_SIZE; ++k) prm[k] = static_cast<Word16>(rng() & fieldMask(k));
  return prm;
}

TEST(Bits, WidthTablesAreTheStandardOnes) {
  const Word16 expected[] = {8, 10, 8, 1, 13, 4, 7, 5, 13, 4, 7};
  EXPECT_TRUE(std::equal(bitsno, bitsno + PRM_SIZE, expected));
  EXPECT_EQ(std::accumulate(bitsno, bitsno + PRM_SIZE, 0), 80);
  const Word16 sid[] = {1, 5, 4, 5};
  EXPECT_TRUE(std::equal(bitsno2, bitsno2 + PRM_SIZE_SID, sid));
}

TEST(Bits, AllOnesAndAllZeroFrames) {
  Frame ones;
  ones.fill(0xffff);
  EXPECT_EQ(unpack(ones), (Params{1, 255, 1023, 255, 1, 8191, 15, 127, 31, 8191, 15, 127}));
  EXPECT_EQ(pack(unpack(ones)), ones);
  EXPECT_EQ(unpack(Frame{}), (Params{1}));
  EXPECT_EQ(pack(Params{1}), Frame{});
}

TEST(Bits, RandomFramesAreLaidDownLeastSignificantBitFirstAndRoundTrip) {
  std::mt19937 rng(729);
  for (int i = 0; i < 5000; ++i) {
    const Params prm = randomParams(rng);
    // The fields in order, each least significant bit first; string bit n is bit n % 16 of
    // word n / 16.
    Frame expected{};
    for (int k = 1, n = 0; k <= PRM_SIZE; ++k) {
      for (int b = 0; b < bitsno[k - 1]; ++b, ++n) {
        if ((prm[k] >> b) & 1) expected[n / 16] |= static_cast<UWord16>(1 << (n % 16));
      }
    }
    ASSERT_EQ(pack(prm), expected);
    ASSERT_EQ(unpack(expected), prm);

    Frame bits;
    for (auto& word : bits) word = static_cast<UWord16>(rng());
    const Params decoded = unpack(bits);
    for (int k = 1; k <= PRM_SIZE; ++k) ASSERT_EQ(decoded[k] & ~fieldMask(k), 0) << k;
    ASSERT_EQ(pack(decoded), bits);
  }
}

TEST(Bits, OverwideValuesLoseTheirHighBitsWithoutTouchingNeighbours) {
  std::mt19937 rng(5);
  const Params base = randomParams(rng);
  for (int k = 1; k <= PRM_SIZE; ++k) {
    for (Word16 wide : {Word16(-1), Word16(-32768), Word16(fieldMask(k) + 1), Word16(32767)}) {
      Params prm = base, expected = base;
      prm[k] = wide;
      expected[k] = static_cast<Word16>(static_cast<UWord16>(wide) & fieldMask(k));
      EXPECT_EQ(unpack(pack(prm)), expected) << "field " << k << " value " << wide;
    }
  }
}

TEST(Bits, FrameTypeAndFlagsAreLeftAlone) {
  std::mt19937 rng(11);
  Params prm = randomParams(rng);
  const Frame speech = pack(prm);
  Overflow = Carry = 1;
  for (Word16 type : {0, 2, 3, -1}) {
    prm[0] = type;
    EXPECT_EQ(pack(prm), speech) << type;
    EXPECT_EQ(unpack(speech, type)[0], type);
  }
  EXPECT_EQ(Overflow & Carry, 1);
  Overflow = Carry = 0;
}

}  // namespace
