// LP filters, convolution and the fixed-codebook correlations: against direct computations
// and hand-worked values, with the clipping and Overflow rules of the synthesis filter.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <random>

#include "kestrune/g729.h"

namespace {

class Filters : public ::testing::Test {
 protected:
  void SetUp() override { Overflow = 0; }
  std::mt19937 rng{729};
  Word16 random(int limit) {
    return static_cast<Word16>(std::uniform_int_distribution<int>(-limit, limit)(rng));
  }
};

TEST_F(Filters, ResiduIgnoresTheFirstCoefficientAndSaturates) {
  // Against a 64-bit sum over lengths of several chunks, the first coefficient taken as 1.0.
  std::array<Word16, 10 + 97> x;
  for (auto& s : x) s = random(20000);
  Word16 a[11] = {-1234};
  for (int j = 1; j <= 10; ++j) a[j] = random(3000);
  for (const Word16 length : {1, 40, 97}) {
    std::array<Word16, 97> y{};
    Residu(a, x.data() + 10, y.data(), length);
    for (int i = 0; i < length; ++i) {
      int64_t sum = 4096 * int64_t{x[10 + i]} + 2048;
      for (int j = 1; j <= 10; ++j) sum += int64_t{a[j]} * x[10 + i - j];
      EXPECT_EQ(y[i], std::clamp<int64_t>(sum >> 12, -32768, 32767)) << length << ":" << i;
    }
  }
  EXPECT_EQ(Overflow, 1);  // inputs this loud clip somewhere
}

TEST_F(Filters, SynFiltClipsItsOutputButRecursesOnFullValues) {
  // An integrator from a memory of 100: 40100 is clipped in y while 10100 follows it.
  Word16 a[11] = {4096, -4096};
  std::array<Word16, 20> x{}, y;
  x[12] = 20000;
  x[13] = 20000;
  x[14] = -30000;
  x[15] = -5000;
  Word16 mem[10] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 100};
  const std::array<Word16, 20> expected = {100,   100,  100,  100,  100,  100,   100,
                                           100,   100,  100,  100,  100,  20100, 32767,
                                           10100, 5100, 5100, 5100, 5100, 5100};
  Syn_filt(a, x.data(), y.data(), 20, mem, 0);
  EXPECT_EQ(y, expected);
  EXPECT_EQ(Overflow, 1);
  EXPECT_EQ(mem[9], 100);  // no update asked

  // In place, the memory taking the last ten (clipped) outputs.
  Syn_filt(a, x.data(), x.data(), 20, mem, 1);
  EXPECT_EQ(x, expected);
  EXPECT_TRUE(std::equal(mem, mem + 10, expected.begin() + 10));
}

TEST_F(Filters, SynFiltStateWrapsInThirtyTwoBits) {
  // yy[i] = 2 yy[i-1] from an impulse: 8192 * 2^18 wraps to -2^31, then 8192 * -2^19 to 0.
  Word16 a[11] = {4096, -8192};
  std::array<Word16, 40> x{1}, y;
  Word16 mem[10] = {};
  Syn_filt(a, x.data(), y.data(), 40, mem, 0);
  for (int i = 0; i < 40; ++i) {
    EXPECT_EQ(y[i], i < 15 ? 1 << i : i < 19 ? 32767 : i == 19 ? -32768 : 0) << i;
  }
}

TEST_F(Filters, ConvolveRoundsAndWraps) {
  // Full-scale inputs: sums rounded, wrapping in 32 bits, cut to 16; blocked length and a tail.
  std::array<Word16, 40> x, h, y;
  for (auto& s : x) s = random(32767);
  for (auto& s : h) s = random(32767);
  for (const Word16 length : {40, 37}) {
    y.fill(0);
    Convolve(x.data(), h.data(), y.data(), length);
    for (int n = 0; n < length; ++n) {
      uint32_t sum = 2048;
      for (int i = 0; i <= n; ++i) sum += static_cast<uint32_t>(x[i] * h[n - i]);
      EXPECT_EQ(y[n], static_cast<Word16>(static_cast<int32_t>(sum) >> 12)) << length << ":" << n;
    }
  }
}

TEST_F(Filters, CorrXy2HandWorkedAndSaturated) {
  // y2 = 8: <y2,y2> = 1 + 2 * 40 = 81 << 24 = 0x5100, exponent 27; <y1,y2> = 161 << 23.
  std::array<Word16, 40> xn, y1, y2;
  xn.fill(1);
  y1.fill(2);
  y2.fill(8);
  Word16 g[5] = {}, e[5] = {};
  Corr_xy2(xn.data(), y1.data(), y2.data(), g, e);
  EXPECT_EQ(g[2], 0x5100);
  EXPECT_EQ(e[2], 27);
  EXPECT_EQ(g[3], -0x5100);
  EXPECT_EQ(e[3], 17);
  EXPECT_EQ(g[4], 0x5080);
  EXPECT_EQ(e[4], 16);

  // A cross term past 2^31 saturates silently: 32767 unnormalised, exponent -7.
  xn.fill(32767);
  y2.fill(32767);
  Corr_xy2(xn.data(), y1.data(), y2.data(), g, e);
  EXPECT_EQ(g[3], -32767);
  EXPECT_EQ(e[3], -7);
  EXPECT_EQ(Overflow, 0);
}

}  // namespace
