// The fixed-point basic operators: where they depart from the ITU-T operators (flags
// included), their saturation boundaries, and the carry and extra operators.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>

#include "kestrune/g729.h"

namespace {

constexpr Word32 kMax32 = INT32_MAX;
constexpr Word32 kMin32 = INT32_MIN;

class BasicOp : public ::testing::Test {
 protected:
  void SetUp() override { Overflow = Carry = 0; }
  std::mt19937 rng{729};
};

// One operation, its expected result and the Overflow flag it leaves when the flag starts
// clear; carry operators also take and leave Carry.
struct OpCase {
  const char* what;
  int64_t (*op)();
  int64_t expected;
  Flag overflow, carryIn = 0, carryOut = 0;
};
#define OP_CASE(expr, ...) (OpCase{#expr, [] { return static_cast<int64_t>(expr); }, __VA_ARGS__})

TEST_F(BasicOp, ResultsAndOverflowAtTheBoundaries) {
  const OpCase cases[] = {
      // 32-bit saturation is silent.
      OP_CASE(L_mult(-32768, -32768), kMax32, 0), OP_CASE(L_add(kMax32, 1), kMax32, 0),
      OP_CASE(L_sub(kMin32, 1), kMin32, 0), OP_CASE(L_mac(kMax32, 1, 1), kMax32, 0),
      OP_CASE(L_msu(kMin32, 1, 1), kMin32, 0), OP_CASE(L_mac(0, -32768, -32768), kMax32, 0),
      OP_CASE(L_mac0(kMax32, 2, 3), kMax32, 0), OP_CASE(L_msu0(kMin32, 2, 3), kMin32, 0),
      OP_CASE(mac_r(kMax32, 100, 100), 32767, 0), OP_CASE(msu_r(kMin32, 100, 100), -32768, 0),
      OP_CASE(L_mls(kMin32, -32768), kMax32, 0), OP_CASE(round_fx(0x7fff8000), 32767, 0),
      OP_CASE(round_fx(0x12347fff), 0x1234, 0), OP_CASE(round_fx(kMin32), -32768, 0),
      OP_CASE(negate(-32768), -32768, 0),
      // div_s never stops the program.
      OP_CASE(div_s(5, 4), 32767, 0), OP_CASE(div_s(0, 0), 32767, 0),
      OP_CASE(div_s(-1, 4), 32767, 0), OP_CASE(div_s(1, -4), 32767, 0),
      OP_CASE(div_s(3, 3), 32767, 0),
      // 16-bit operators flag exactly when they clip.
      OP_CASE(add(32766, 1), 32767, 0), OP_CASE(add(32767, 1), 32767, 1),
      OP_CASE(add(-32768, -1), -32768, 1), OP_CASE(sub(-32767, 1), -32768, 0),
      OP_CASE(sub(0, -32768), 32767, 1), OP_CASE(saturate(32768), 32767, 1),
      OP_CASE(saturate(-32769), -32768, 1), OP_CASE(saturate(-32768), -32768, 0),
      OP_CASE(mult(-32768, -32768), 32767, 1), OP_CASE(mult(-32768, 32767), -32767, 0),
      OP_CASE(mult(-1, 1), -1, 0), OP_CASE(mult_r(32767, 32767), 32766, 0),
      OP_CASE(mult_r(-32768, -32768), 32767, 1), OP_CASE(i_mult(-181, 181), -32761, 0),
      OP_CASE(i_mult(300, 300), 32767, 1), OP_CASE(i_mult(-300, 300), -32768, 1),
      OP_CASE(abs_s(-32768), 32767, 0),
      // Shifts, at the saturation boundaries and with extreme counts.
      OP_CASE(shl(16383, 1), 32766, 0), OP_CASE(shl(16384, 1), 32767, 1),
      OP_CASE(shl(-16384, 1), -32768, 0), OP_CASE(shl(-16385, 1), -32768, 1),
      OP_CASE(shl(0, 20), 0, 0), OP_CASE(shl(1, 16), 32767, 1), OP_CASE(shl(-1, 15), -32768, 0),
      OP_CASE(shl(-2, 15), -32768, 1), OP_CASE(shl(-7, 32767), -32768, 1),
      OP_CASE(shl(-32768, -32768), -1, 0), OP_CASE(shr(-32768, 15), -1, 0),
      OP_CASE(shr(32767, 32767), 0, 0), OP_CASE(shr(1, -16), 32767, 1),
      OP_CASE(shr(1, -32768), 32767, 1), OP_CASE(shr_r(-3, 1), -1, 0),
      OP_CASE(shr_r(-32768, 15), -1, 0), OP_CASE(shr_r(-32768, 16), 0, 0),
      OP_CASE(shr_r(16384, -1), 32767, 1), OP_CASE(L_shl(0x3fffffff, 1), 0x7ffffffe, 0),
      OP_CASE(L_shl(-0x40000000, 1), kMin32, 0), OP_CASE(L_shl(0x40000000, 1), kMax32, 1),
      OP_CASE(L_shl(-0x40000001, 1), kMin32, 1), OP_CASE(L_shl(kMin32, -32768), -1, 0),
      OP_CASE(L_shr(kMax32, 32767), 0, 0), OP_CASE(L_shr(1, -31), kMax32, 1),
      OP_CASE(L_shr_r(kMax32, 31), 1, 0), OP_CASE(L_shr_r(kMin32, 31), -1, 0),
      OP_CASE(L_shr_r(-1, 32), 0, 0), OP_CASE(L_shr_r(-3, 1), -1, 0),
      // Normalisation, negation, deposit and extraction.
      OP_CASE(norm_s(0), 0, 0), OP_CASE(norm_s(-1), 15, 0), OP_CASE(norm_s(-32768), 0, 0),
      OP_CASE(norm_s(-16384), 1, 0), OP_CASE(norm_s(-16385), 0, 0), OP_CASE(norm_l(0), 0, 0),
      OP_CASE(norm_l(-1), 31, 0), OP_CASE(norm_l(kMin32), 0, 0), OP_CASE(norm_l(-0x40000000), 1, 0),
      OP_CASE(norm_l(-0x40000001), 0, 0), OP_CASE(L_negate(kMin32), kMax32, 0),
      OP_CASE(L_abs(kMin32), kMax32, 0), OP_CASE(L_deposit_h(-32768), kMin32, 0),
      OP_CASE(L_deposit_l(-1), -1, 0),
      OP_CASE(extract_h(static_cast<Word32>(0x8001ffffu)), -32767, 0),
      OP_CASE(extract_l(static_cast<Word32>(0x8001ffffu)), -1, 0),
      OP_CASE(L_mult0(-32768, -32768), 0x40000000, 0),
      // The extra operators: div_l cuts its quotient to 16 bits, shl_sat does not saturate,
      // SHIFT_SAT_INST takes its count modulo 64.
      OP_CASE(div_l((7 << 16) - 1, 7), -1, 0), OP_CASE(shl_sat(1, 40), int64_t{1} << 40, 0),
      OP_CASE(shl32_sat(-1, 40), kMin32, 0), OP_CASE(SHIFT_SAT_INST(3, 66), 12, 0),
      OP_CASE(win32_negs(kMin32), kMax32, 0)};
  for (const OpCase& c : cases) {
    Overflow = 0;
    EXPECT_EQ(c.op(), c.expected) << c.what;
    EXPECT_EQ(Overflow, c.overflow) << c.what;
    Overflow = 1;  // and none of them clears a pending overflow
    EXPECT_EQ(c.op(), c.expected) << c.what;
    EXPECT_EQ(Overflow, 1) << c.what << " cleared Overflow";
  }
}

TEST_F(BasicOp, LShlAndDivSMatchTheStepwiseStandard) {
  for (int i = 0; i < 20000; ++i) {
    // L_shl as the standard does it: one doubling at a time, saturating at the first overflow.
    const Word32 value = static_cast<Word32>(rng()) >> (i % 3 ? rng() % 31 : 0);
    const int count = static_cast<int>(rng() % 40);
    int64_t shifted = value;
    bool saturated = false;
    for (int n = count; n > 0 && !saturated; --n) {
      saturated = shifted > 0x3fffffff || shifted < -0x40000000;
      shifted = saturated ? (shifted > 0 ? kMax32 : kMin32) : 2 * shifted;
    }
    Overflow = 0;
    ASSERT_EQ(L_shl(value, static_cast<Word16>(count)), shifted) << value << " << " << count;
    ASSERT_EQ(Overflow, saturated ? 1 : 0) << value << " << " << count;
    ASSERT_EQ(L_shr(value, static_cast<Word16>(-count)), shifted) << value << " << " << count;
    ASSERT_EQ(L_shr(value, static_cast<Word16>(count)), value >> std::min(count, 31));

    // The standard div_s on 0 <= num < den: fifteen steps of restoring division.
    const Word16 den = static_cast<Word16>(1 + rng() % (i % 2 ? 32767 : 16));
    const Word16 num = static_cast<Word16>(rng() % den);
    int32_t rest = num, quotient = 0;
    for (int step = 0; step < 15; ++step) {
      rest *= 2;
      quotient = 2 * quotient + (rest >= den);
      rest -= rest >= den ? den : 0;
    }
    ASSERT_EQ(div_s(num, den), quotient) << num << "/" << den;
  }
}

TEST_F(BasicOp, CarryOperatorsAndLSat) {
  const OpCase cases[] = {
      // L_add_c is the unsigned sum with carry in and out; L_sub_c computes a - b - 1 + Carry;
      // the Ns forms take the silently saturated product.
      OP_CASE(L_add_c(kMax32, 1), kMin32, 1, 0, 0), OP_CASE(L_add_c(kMin32, kMin32), 0, 1, 0, 1),
      OP_CASE(L_add_c(-2, 1), 0, 0, 1, 1), OP_CASE(L_sub_c(5, 3), 1, 0, 0, 1),
      OP_CASE(L_sub_c(3, 5), -3, 0, 0, 0), OP_CASE(L_sub_c(kMin32, 1), kMax32 - 1, 1, 0, 1),
      OP_CASE(L_sub_c(1, kMin32), kMin32 + 1, 1, 1, 0),
      OP_CASE(L_macNs(0, -32768, -32768), kMax32, 0, 0, 0), OP_CASE(L_msuNs(20, 2, 3), 8, 0, 1, 1),
      // L_sat resolves only a pending overflow.
      OP_CASE(L_sat(-7), -7, 0, 1, 1), OP_CASE((Overflow = 1, L_sat(-7)), kMin32, 0, 1, 0),
      OP_CASE((Overflow = 1, L_sat(-7)), kMax32, 0, 0, 0)};
  for (const OpCase& c : cases) {
    Overflow = 0;
    Carry = c.carryIn;
    EXPECT_EQ(c.op(), c.expected) << c.what << " carry in " << c.carryIn;
    EXPECT_EQ(Overflow, c.overflow) << c.what << " carry in " << c.carryIn;
    EXPECT_EQ(Carry, c.carryOut) << c.what << " carry in " << c.carryIn;
  }
}

}  // namespace
