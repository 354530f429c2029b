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
  Word16 random16() { return static_cast<Word16>(rng()); }
  Word32 random32() { return static_cast<Word32>(rng()); }
};

// The ITU-T L_shl: one doubling at a time, saturating as soon as a step would overflow.
Word32 stepwiseLShl(Word32 value, int count, bool* saturated) {
  int64_t v = value;
  *saturated = false;
  for (; count > 0; --count) {
    if (v > 0x3fffffff || v < -0x40000000) {
      *saturated = true;
      return v > 0 ? kMax32 : kMin32;
    }
    v *= 2;
  }
  return static_cast<Word32>(v);
}

// The ITU-T div_s: fifteen steps of restoring division.
Word16 stepwiseDivS(Word16 num, Word16 den) {
  if (num == den) return 32767;
  int32_t rest = num, quotient = 0;
  for (int i = 0; i < 15; ++i) {
    quotient <<= 1;
    rest <<= 1;
    if (rest >= den) {
      rest -= den;
      quotient += 1;
    }
  }
  return static_cast<Word16>(quotient);
}

// Leading sign bits counted one shift at a time, as the ITU-T norm_l does.
Word16 stepwiseNormL(Word32 value) {
  if (value == 0) return 0;
  if (value == -1) return 31;
  uint32_t v = static_cast<uint32_t>(value < 0 ? ~value : value);
  Word16 n = 0;
  for (; v < 0x40000000u; v <<= 1) ++n;
  return n;
}

TEST_F(BasicOp, ThirtyTwoBitSaturationNeverTouchesOverflow) {
  EXPECT_EQ(L_mult(-32768, -32768), kMax32);
  EXPECT_EQ(L_add(kMax32, 1), kMax32);
  EXPECT_EQ(L_sub(kMin32, 1), kMin32);
  EXPECT_EQ(L_mac(kMax32, 1, 1), kMax32);
  EXPECT_EQ(L_msu(kMin32, 1, 1), kMin32);
  EXPECT_EQ(L_mac(0, -32768, -32768), kMax32);
  EXPECT_EQ(L_mac0(kMax32, 2, 3), kMax32);
  EXPECT_EQ(L_msu0(kMin32, 2, 3), kMin32);
  EXPECT_EQ(round_fx(0x7fff8000), 32767);
  EXPECT_EQ(mac_r(kMax32, 100, 100), 32767);
  EXPECT_EQ(msu_r(kMin32, 100, 100), -32768);
  EXPECT_EQ(L_mls(kMin32, -32768), kMax32);
  EXPECT_EQ(Overflow, 0);
  // Nor do they clear it.
  Overflow = 1;
  EXPECT_EQ(L_add(1, 2), 3);
  EXPECT_EQ(L_mult(-32768, -32768), kMax32);
  EXPECT_EQ(Overflow, 1);
}

// One 16-bit operation, its expected result and the Overflow flag it leaves behind when the
// flag starts clear.
struct FlagCase {
  const char* what;
  Word16 (*op)();
  Word16 expected;
  Flag overflow;
};

TEST_F(BasicOp, SixteenBitOperatorsSetOverflowExactlyWhenTheyClip) {
  const FlagCase cases[] = {
      {"add(32766, 1)", [] { return add(32766, 1); }, 32767, 0},
      {"add(32767, 1)", [] { return add(32767, 1); }, 32767, 1},
      {"add(-32768, -1)", [] { return add(-32768, -1); }, -32768, 1},
      {"sub(-32767, 1)", [] { return sub(-32767, 1); }, -32768, 0},
      {"sub(0, -32768)", [] { return sub(0, -32768); }, 32767, 1},
      {"saturate(32768)", [] { return saturate(32768); }, 32767, 1},
      {"saturate(-32769)", [] { return saturate(-32769); }, -32768, 1},
      {"saturate(-32768)", [] { return saturate(-32768); }, -32768, 0},
      {"mult(-32768, -32768)", [] { return mult(-32768, -32768); }, 32767, 1},
      {"mult(-32768, 32767)", [] { return mult(-32768, 32767); }, -32767, 0},
      {"mult(-1, 1)", [] { return mult(-1, 1); }, -1, 0},
      {"mult_r(32767, 32767)", [] { return mult_r(32767, 32767); }, 32766, 0},
      {"mult_r(-32768, -32768)", [] { return mult_r(-32768, -32768); }, 32767, 1},
      {"i_mult(-181, 181)", [] { return i_mult(-181, 181); }, -32761, 0},
      {"i_mult(300, 300)", [] { return i_mult(300, 300); }, 32767, 1},
      {"i_mult(-300, 300)", [] { return i_mult(-300, 300); }, -32768, 1},
      {"shl(16383, 1)", [] { return shl(16383, 1); }, 32766, 0},
      {"shl(16384, 1)", [] { return shl(16384, 1); }, 32767, 1},
      {"shl(-16384, 1)", [] { return shl(-16384, 1); }, -32768, 0},
      {"shl(-16385, 1)", [] { return shl(-16385, 1); }, -32768, 1},
      {"shl(0, 20)", [] { return shl(0, 20); }, 0, 0},
      {"shl(1, 16)", [] { return shl(1, 16); }, 32767, 1},
      {"shl(-1, 15)", [] { return shl(-1, 15); }, -32768, 0},
      {"shl(-2, 15)", [] { return shl(-2, 15); }, -32768, 1},
      {"shl(-7, 32767)", [] { return shl(-7, 32767); }, -32768, 1},
      {"shl(-32768, -32768)", [] { return shl(-32768, -32768); }, -1, 0},
      {"shr(-32768, 15)", [] { return shr(-32768, 15); }, -1, 0},
      {"shr(32767, 32767)", [] { return shr(32767, 32767); }, 0, 0},
      {"shr(-5, 1)", [] { return shr(-5, 1); }, -3, 0},
      {"shr(1, -16)", [] { return shr(1, -16); }, 32767, 1},
      {"shr(1, -32768)", [] { return shr(1, -32768); }, 32767, 1},
      {"shr_r(3, 1)", [] { return shr_r(3, 1); }, 2, 0},
      {"shr_r(-3, 1)", [] { return shr_r(-3, 1); }, -1, 0},
      {"shr_r(-32768, 15)", [] { return shr_r(-32768, 15); }, -1, 0},
      {"shr_r(-32768, 16)", [] { return shr_r(-32768, 16); }, 0, 0},
      {"shr_r(16384, -1)", [] { return shr_r(16384, -1); }, 32767, 1},
      {"abs_s(-32768)", [] { return abs_s(-32768); }, 32767, 0},
      {"negate(-32768)", [] { return negate(-32768); }, -32768, 0},
      {"negate(32767)", [] { return negate(32767); }, -32767, 0},
      {"round_fx(0x7fff8000)", [] { return round_fx(0x7fff8000); }, 32767, 0},
      {"round_fx(0x12347fff)", [] { return round_fx(0x12347fff); }, 0x1234, 0},
      {"round_fx(INT32_MIN)", [] { return round_fx(INT32_MIN); }, -32768, 0},
  };
  for (const FlagCase& c : cases) {
    Overflow = 0;
    EXPECT_EQ(c.op(), c.expected) << c.what;
    EXPECT_EQ(Overflow, c.overflow) << c.what;
  }
}

TEST_F(BasicOp, ShiftsFollowTheStandardOverTheirWholeRange) {
  for (int value = -32768; value <= 32767; value += 7) {
    for (int count = 0; count <= 17; ++count) {
      const int64_t exact = int64_t{value} << count;
      const bool clips = exact > 32767 || exact < -32768;
      Overflow = 0;
      EXPECT_EQ(shl(static_cast<Word16>(value), static_cast<Word16>(count)),
                clips ? (value > 0 ? 32767 : -32768) : exact);
      EXPECT_EQ(Overflow, clips ? 1 : 0);
      EXPECT_EQ(shr(static_cast<Word16>(value), static_cast<Word16>(count)),
                value >> std::min(count, 15));
    }
  }
  for (int i = 0; i < 20000; ++i) {
    const Word32 value = i % 3 ? random32() >> (rng() % 31) : random32();
    const int count = static_cast<int>(rng() % 40);
    bool saturated = false;
    const Word32 expected = stepwiseLShl(value, count, &saturated);
    Overflow = 0;
    ASSERT_EQ(L_shl(value, static_cast<Word16>(count)), expected) << value << " << " << count;
    ASSERT_EQ(Overflow, saturated ? 1 : 0) << value << " << " << count;
    ASSERT_EQ(L_shr(value, static_cast<Word16>(-count)), expected);
    ASSERT_EQ(L_shr(value, static_cast<Word16>(count)), value >> std::min(count, 31));
    ASSERT_EQ(norm_l(value), stepwiseNormL(value));
  }
  for (int value = -32768; value <= 32767; ++value) {
    ASSERT_EQ(norm_s(static_cast<Word16>(value)), value == 0 ? 0 : stepwiseNormL(value) - 16)
        << value;
  }
}

TEST_F(BasicOp, LongShiftBoundaries) {
  EXPECT_EQ(L_shl(0x3fffffff, 1), 0x7ffffffe);
  EXPECT_EQ(L_shl(-0x40000000, 1), kMin32);
  EXPECT_EQ(L_shl(-1, 31), kMin32);
  EXPECT_EQ(L_shl(1, 30), 0x40000000);
  EXPECT_EQ(Overflow, 0);
  EXPECT_EQ(L_shl(0x40000000, 1), kMax32);
  EXPECT_EQ(Overflow, 1);
  Overflow = 0;
  EXPECT_EQ(L_shl(-0x40000001, 1), kMin32);
  EXPECT_EQ(Overflow, 1);
  Overflow = 0;
  EXPECT_EQ(L_shl(0, 32767), 0);
  EXPECT_EQ(L_shl(kMin32, -32768), -1);
  EXPECT_EQ(L_shr(kMin32, 30), -2);
  EXPECT_EQ(L_shr(kMax32, 32767), 0);
  EXPECT_EQ(L_shr_r(kMax32, 31), 1);
  EXPECT_EQ(L_shr_r(kMin32, 31), -1);
  EXPECT_EQ(L_shr_r(-1, 32), 0);
  EXPECT_EQ(L_shr_r(-3, 1), -1);
  EXPECT_EQ(L_shr_r(5, 0), 5);
  EXPECT_EQ(Overflow, 0);
  EXPECT_EQ(L_shr(1, -31), kMax32);
  EXPECT_EQ(Overflow, 1);
}

TEST_F(BasicOp, NegationAndAbsoluteValues) {
  EXPECT_EQ(L_negate(kMin32), kMax32);
  EXPECT_EQ(L_negate(kMax32), -kMax32);
  EXPECT_EQ(win32_negs(kMin32), kMax32);
  EXPECT_EQ(win32_negs(7), -7);
  EXPECT_EQ(L_abs(kMin32), kMax32);
  EXPECT_EQ(L_abs(-5), 5);
  EXPECT_EQ(abs_s(-32767), 32767);
  EXPECT_EQ(Overflow, 0);
}

TEST_F(BasicOp, DivSNeverStopsAndMatchesTheStandardOnValidInput) {
  EXPECT_EQ(div_s(5, 4), 32767);
  EXPECT_EQ(div_s(0, 0), 32767);
  EXPECT_EQ(div_s(-1, 4), 32767);
  EXPECT_EQ(div_s(1, -4), 32767);
  EXPECT_EQ(div_s(3, 3), 32767);
  EXPECT_EQ(div_s(1, 2), 16384);
  EXPECT_EQ(div_s(0, 7), 0);
  EXPECT_EQ(div_s(32766, 32767), 32766);
  for (Word16 den : {1, 2, 3, 7, 100, 255, 16383, 16384, 32767}) {
    for (int num = 0; num < den; num += 1 + num / 64) {
      ASSERT_EQ(div_s(static_cast<Word16>(num), den), stepwiseDivS(static_cast<Word16>(num), den))
          << num << "/" << den;
    }
  }
  for (int i = 0; i < 100000; ++i) {
    const Word16 den = static_cast<Word16>(1 + rng() % 32767);
    const Word16 num = static_cast<Word16>(rng() % den);
    ASSERT_EQ(div_s(num, den), stepwiseDivS(num, den)) << num << "/" << den;
  }
  EXPECT_EQ(Overflow, 0);
}

TEST_F(BasicOp, CarryOperators) {
  // L_add_c: the result and the carry are those of the unsigned 32-bit sum with carry in.
  for (int i = 0; i < 20000; ++i) {
    const Word32 a = random32(), b = random32();
    const Flag carryIn = static_cast<Flag>(rng() & 1);
    Carry = carryIn;
    const Word32 sum = L_add_c(a, b);
    const uint64_t wide = uint64_t{static_cast<uint32_t>(a)} + static_cast<uint32_t>(b) + carryIn;
    ASSERT_EQ(static_cast<uint32_t>(sum), static_cast<uint32_t>(wide));
    ASSERT_EQ(Carry, wide >> 32 ? 1 : 0) << a << " + " << b << " + " << carryIn;
  }
  Carry = 0;
  EXPECT_EQ(L_add_c(kMax32, 1), kMin32);
  EXPECT_EQ(Overflow, 1);
  EXPECT_EQ(Carry, 0);
  Carry = 0;
  EXPECT_EQ(L_add_c(kMin32, kMin32), 0);
  EXPECT_EQ(Overflow, 1);
  EXPECT_EQ(Carry, 1);
  Carry = 0;
  EXPECT_EQ(L_add_c(-1, 1), 0);
  EXPECT_EQ(Overflow, 0);
  EXPECT_EQ(Carry, 1);
  Carry = 1;
  EXPECT_EQ(L_add_c(0x7ffffffe, 1), kMin32);
  EXPECT_EQ(Overflow, 1);
  EXPECT_EQ(Carry, 0);
  Carry = 1;
  EXPECT_EQ(L_add_c(-2, 1), 0);
  EXPECT_EQ(Carry, 1);

  // L_sub_c computes a - b - 1 + Carry.
  Carry = 0;
  EXPECT_EQ(L_sub_c(5, 3), 1);
  EXPECT_EQ(Carry, 1);
  EXPECT_EQ(Overflow, 0);
  Carry = 1;
  EXPECT_EQ(L_sub_c(5, 3), 2);
  EXPECT_EQ(Carry, 1);
  Carry = 0;
  EXPECT_EQ(L_sub_c(3, 5), -3);
  EXPECT_EQ(Carry, 0);
  Carry = 0;
  EXPECT_EQ(L_sub_c(kMax32, -1), kMax32);
  EXPECT_EQ(Overflow, 1);
  EXPECT_EQ(Carry, 0);
  Overflow = 0;
  Carry = 0;
  EXPECT_EQ(L_sub_c(kMin32, 1), kMax32 - 1);
  EXPECT_EQ(Overflow, 1);
  EXPECT_EQ(Carry, 1);
  Overflow = 0;
  Carry = 1;
  EXPECT_EQ(L_sub_c(1, kMin32), kMin32 + 1);
  EXPECT_EQ(Overflow, 1);
  EXPECT_EQ(Carry, 0);

  // The Ns forms take the silently saturated product.
  Overflow = Carry = 0;
  EXPECT_EQ(L_macNs(0, -32768, -32768), kMax32);
  EXPECT_EQ(Overflow, 0);
  EXPECT_EQ(L_macNs(1, 2, 3), 13);
  Carry = 1;
  EXPECT_EQ(L_msuNs(20, 2, 3), 8);
}

TEST_F(BasicOp, LSatResolvesOnlyAPendingOverflow) {
  EXPECT_EQ(L_sat(12345), 12345);
  Carry = 1;
  EXPECT_EQ(L_sat(-7), -7);
  EXPECT_EQ(Carry, 1);
  Overflow = 1;
  EXPECT_EQ(L_sat(-7), kMin32);
  EXPECT_EQ(Overflow, 0);
  EXPECT_EQ(Carry, 0);
  Overflow = 1;
  EXPECT_EQ(L_sat(-7), kMax32);
  EXPECT_EQ(Overflow, 0);
}

TEST_F(BasicOp, DepositExtractAndPlainProducts) {
  EXPECT_EQ(L_deposit_h(-1), static_cast<Word32>(0xffff0000u));
  EXPECT_EQ(L_deposit_h(-32768), kMin32);
  EXPECT_EQ(L_deposit_l(-1), -1);
  EXPECT_EQ(extract_h(static_cast<Word32>(0x8001ffffu)), -32767);
  EXPECT_EQ(extract_l(static_cast<Word32>(0x8001ffffu)), -1);
  EXPECT_EQ(L_mult0(-32768, -32768), 0x40000000);
  EXPECT_EQ(L_mult(-32768, 32767), -2147418112);
  for (int i = 0; i < 10000; ++i) {
    const Word16 a = random16(), b = random16();
    const int64_t product = int64_t{a} * b;
    ASSERT_EQ(L_mult0(a, b), product);
    ASSERT_EQ(L_mult(a, b), std::min<int64_t>(2 * product, kMax32));
    ASSERT_EQ(mult(a, b), std::min<int64_t>(product >> 15, 32767));
  }
  // L_mls: low half times var2 >> 15, plus the doubled product of the high half.
  EXPECT_EQ(L_mls(0x00018000, 16384), 0x8000 / 2 + 2 * 16384);
  EXPECT_EQ(L_mls(-65536, 32767), -65534);
  // div_l: integer quotient, 32767 where it does not fit or is undefined.
  EXPECT_EQ(div_l(100, 7), 14);
  EXPECT_EQ(div_l(-1, 7), 32767);
  EXPECT_EQ(div_l(100, 0), 32767);
  EXPECT_EQ(div_l(7 << 16, 7), 32767);
  EXPECT_EQ(div_l((7 << 16) - 1, 7), -1);  // 458751 / 7 = 65535, cut to 16 bits
  EXPECT_EQ(Overflow, 0);
}

TEST_F(BasicOp, WideShiftsDoNotSaturateUntilClipped) {
  EXPECT_EQ(shl_sat(1, 40), int64_t{1} << 40);
  EXPECT_EQ(shl_sat(-8, -2), -2);
  EXPECT_EQ(shl_sat(5, 0), 5);
  EXPECT_EQ(shl_sat(3, 64), 0);
  EXPECT_EQ(shl_sat(-3, -100), -1);
  EXPECT_EQ(shl32_sat(1, 40), kMax32);
  EXPECT_EQ(shl32_sat(-1, 40), kMin32);
  EXPECT_EQ(shl32_sat(-1, 31), kMin32);
  EXPECT_EQ(shl32_sat(1, 30), 0x40000000);
  EXPECT_EQ(SHIFT_SAT_INST(1, 64), 1);
  EXPECT_EQ(SHIFT_SAT_INST(1, 31), kMax32);
  EXPECT_EQ(SHIFT_SAT_INST(-1, 31), kMin32);
  EXPECT_EQ(SHIFT_SAT_INST(3, 66), 12);
  EXPECT_EQ(SHIFT_SAT_INST(1, -1), kMin32);  // count 63: the sign bit of the 64-bit value
  EXPECT_EQ(Overflow, 0);
}

TEST_F(BasicOp, ComplexityCountersAreInert) {
  setCounter(getCounterId("coder"));
  Init_WMOPS_counter();
  Reset_WMOPS_counter();
  incrementNbTimeObjectIsCalled(0);
  ClearNbTimeObjectsAreCalled();
  WMOPS_output(0);
  generic_WMOPS_output(0, "file");
  EXPECT_EQ(add(1, 2), 3);
  EXPECT_EQ(TotalWeightedOperation(), 0);
  EXPECT_EQ(DeltaWeightedOperation(), 0);
  EXPECT_EQ(fwc(), 0);
}

}  // namespace
