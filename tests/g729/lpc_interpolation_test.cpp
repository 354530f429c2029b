// Bandwidth expansion and the interpolation of the LP filters between two frames.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>

#include "kestrune/g729_coder.h"

namespace {

using Filter = std::array<Word16, 11>;

TEST(WeightAz, EachPowerOfGammaIsRoundedFromThePreviousOne) {
  // Factors rounded from the previous one: 24576, ..., 2461, 1846 (0.75^10 is 1845.3).
  const Word16 a[12] = {1234, 4096, -4096, 4096, 4096, 4096, 4096, -4096, 4096, 4096, 32767, 777};
  Word16 ap[12];
  ap[11] = -1;
  Weight_Az(a, 24576, 10, ap);
  // ap[i] = (a[i] * f + 16384) >> 15 = floor(+-f / 8 + 0.5), and ap[10] = 1846.
  const Word16 expected[12] = {1234, 3072, -2304, 1728, 1296, 972, 729, -547, 410, 308, 1846, -1};
  EXPECT_TRUE(std::equal(expected, expected + 12, ap));
}

// All odd: the exact midpoint is one above (old >> 1) + (new >> 1), whatever the sign.
constexpr Word16 kOld[10] = {30001, 26001, 21001, 15001, 8001, 1, -7999, -14999, -20999, -25999};
constexpr Word16 kNew[10] = {31001, 27001, 22001, 16001, 9001, 1001, -6999, -13999, -19999, -24999};
constexpr Word16 kMid[10] = {30501, 26501, 21501, 15501, 8501, 501, -7499, -14499, -20499, -25499};

TEST(LspInterpolation, BothSidesUseTheExactMidpoint) {
  Filter mid, midOfHalves, fromNew;
  Lsp_Az(kMid, mid.data());
  Lsp_Az(kNew, fromNew.data());
  Word16 halves[10];
  for (int i = 0; i < 10; ++i) halves[i] = static_cast<Word16>(kMid[i] - 1);
  Lsp_Az(halves, midOfHalves.data());
  ASSERT_NE(mid, midOfHalves);  // the two roundings give different filters here

  // Quantized: both subframes' filters.
  Word16 Az[22];
  Int_qlpc(kOld, kNew, Az);
  EXPECT_TRUE(std::equal(mid.begin(), mid.end(), Az));
  EXPECT_TRUE(std::equal(fromNew.begin(), fromNew.end(), Az + 11));

  // Unquantized: subframe 1's filter (subframe 2 is the LP analysis' own) and both LSF sets.
  Word16 lsfMid[10], lsfNew[10], lsf_int[10], lsf_new[10];
  Lsp_lsf(kMid, lsfMid, 10);
  Lsp_lsf(kNew, lsfNew, 10);
  std::fill_n(Az, 22, Word16{-7});
  Int_lpc(kOld, kNew, lsf_int, lsf_new, Az);
  EXPECT_TRUE(std::equal(mid.begin(), mid.end(), Az));
  EXPECT_TRUE(std::all_of(Az + 11, Az + 22, [](Word16 v) { return v == -7; }));
  EXPECT_TRUE(std::equal(lsfMid, lsfMid + 10, lsf_int));
  EXPECT_TRUE(std::equal(lsfNew, lsfNew + 10, lsf_new));
}

}  // namespace
