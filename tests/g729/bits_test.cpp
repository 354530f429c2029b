// Packing of the eleven frame parameters into the dense 80-bit frame and back.
#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cstring>
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

// First string bit of parameter k (1-based), from the field widths.
int fieldStart(int k) {
  return std::accumulate(bitsno, bitsno + k - 1, 0);
}

bool stringBit(const Frame& bits, int n) {
  return (bits[n / 16] >> (n % 16)) & 1;
}

Params randomParams(std::mt19937& rng) {
  Params prm{};
  prm[0] = 1;
  for (int k = 1; k <= PRM_SIZE; ++k)
    prm[k] = static_cast<Word16>(rng() & ((1u << bitsno[k - 1]) - 1));
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

TEST(Bits, EachFieldOccupiesOnlyItsOwnStringBits) {
  for (int k = 1; k <= PRM_SIZE; ++k) {
    SCOPED_TRACE(k);
    Params prm{};
    prm[k] = static_cast<Word16>((1 << bitsno[k - 1]) - 1);
    const Frame bits = pack(prm);
    const int start = fieldStart(k);
    for (int n = 0; n < 80; ++n) {
      EXPECT_EQ(stringBit(bits, n), n >= start && n < start + bitsno[k - 1]) << "bit " << n;
    }
    // Least significant bit first: a value of 1 sets the field's first string bit only.
    prm[k] = 1;
    const Frame one = pack(prm);
    for (int n = 0; n < 80; ++n) EXPECT_EQ(stringBit(one, n), n == start) << "bit " << n;
  }
}

TEST(Bits, OverwideValuesLoseTheirHighBitsWithoutTouchingNeighbours) {
  std::mt19937 rng(5);
  const Params base = randomParams(rng);
  for (int k = 1; k <= PRM_SIZE; ++k) {
    SCOPED_TRACE(k);
    for (Word16 wide : {Word16(-1), Word16(-32768), Word16(1 << bitsno[k - 1]), Word16(32767)}) {
      Params prm = base;
      prm[k] = wide;
      Params expected = base;
      expected[k] = static_cast<Word16>(static_cast<UWord16>(wide) & ((1 << bitsno[k - 1]) - 1));
      EXPECT_EQ(unpack(pack(prm)), expected) << wide;
    }
  }
  Params prm{};
  prm[4] = 3;       // P0 of 3 keeps its low bit
  prm[5] = 0x2000;  // C1 one bit too wide vanishes
  EXPECT_EQ(unpack(pack(prm)), (Params{1, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0}));
}

TEST(Bits, RoundTripsOfRandomFramesAndParameters) {
  std::mt19937 rng(729);
  for (int i = 0; i < 5000; ++i) {
    const Params prm = randomParams(rng);
    ASSERT_EQ(unpack(pack(prm)), prm);
    Frame bits;
    for (auto& word : bits) word = static_cast<UWord16>(rng());
    const Params decoded = unpack(bits);
    for (int k = 1; k <= PRM_SIZE; ++k) {
      ASSERT_GE(decoded[k], 0);
      ASSERT_LT(decoded[k], 1 << bitsno[k - 1]);
    }
    ASSERT_EQ(pack(decoded), bits);
  }
}

TEST(Bits, FrameTypeIsNeitherPackedNorWritten) {
  std::mt19937 rng(11);
  Params prm = randomParams(rng);
  const Frame speech = pack(prm);
  for (Word16 type : {0, 2, 3, -1}) {
    prm[0] = type;
    EXPECT_EQ(pack(prm), speech) << type;
    EXPECT_EQ(unpack(speech, type)[0], type);
  }
}

TEST(Bits, FrameBytesFormOneLittleEndianNumber) {
  if constexpr (std::endian::native != std::endian::little) GTEST_SKIP() << "big-endian host";
  std::mt19937 rng(3);
  const Params prm = randomParams(rng);
  // Lay the fields down bit by bit into bytes, least significant first.
  std::array<uint8_t, 10> expected{};
  int n = 0;
  for (int k = 1; k <= PRM_SIZE; ++k) {
    for (int b = 0; b < bitsno[k - 1]; ++b, ++n) {
      if ((prm[k] >> b) & 1) expected[n / 8] |= static_cast<uint8_t>(1 << (n % 8));
    }
  }
  const Frame bits = pack(prm);
  std::array<uint8_t, 10> bytes;
  std::memcpy(bytes.data(), bits.data(), bytes.size());
  EXPECT_EQ(bytes, expected);
}

TEST(Bits, PackingLeavesTheArithmeticFlagsAlone) {
  for (Flag flag : {0, 1}) {
    Overflow = flag;
    Carry = flag;
    Params prm{};
    prm.fill(-1);
    const Frame bits = pack(prm);
    unpack(bits);
    EXPECT_EQ(Overflow, flag);
    EXPECT_EQ(Carry, flag);
  }
  Overflow = Carry = 0;
}

}  // namespace
