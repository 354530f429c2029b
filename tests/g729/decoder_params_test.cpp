// The decoder's parameter decoding against the encoder's coding: delays, pulse positions and
// signs, LSPs and gains.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>

#include "g729/tab_gain.h"
#include "g729/tab_ld8k.h"
#include "kestrune/g729_coder.h"
#include "kestrune/g729_decoder.h"
#include "kestrune/g729_gain.h"
#include "kestrune/g729_pitch.h"

namespace {

TEST(DecoderParameters, Dec_lag3InvertsEveryDelayIndex) {
  for (Word16 index = 0; index < 256; ++index) {
    Word16 T0 = 0, frac = 0, T0_min = 0, T0_max = 0;
    Dec_lag3(index, 20, 143, 0, &T0, &frac);
    ASSERT_TRUE(frac >= -1 && frac <= 1) << index;
    ASSERT_EQ(Enc_lag3(T0, frac, &T0_min, &T0_max, 20, 143, 0), index);

    // Every 5-bit index of the second subframe, relative to this first delay.
    for (Word16 relative = 0; relative < 32; ++relative) {
      Word16 T1 = T0, frac1 = 0, min1 = T0_min, max1 = T0_max;
      Dec_lag3(relative, 20, 143, 40, &T1, &frac1);
      ASSERT_TRUE(frac1 >= -1 && frac1 <= 1) << index << " " << relative;
      EXPECT_EQ(Enc_lag3(T1, frac1, &min1, &max1, 20, 143, 40), relative) << index;
    }
  }
}

TEST(DecoderParameters, Decod_ACELPPlacesTheFourPulses) {
  // Pulse k on track k: positions 5i + k, pulse 3 on 5i + 3 or 5i + 4. The index composes as
  // i0/5 + (i1/5) 2^3 + (i2/5) 2^6 + (2 (i3/5) + i3 mod 5 - 3) 2^9.
  int signs = 0;
  for (int i0 = 0; i0 < 40; i0 += 5) {
    for (int i1 = 1; i1 < 40; i1 += 5) {
      for (int i2 = 2; i2 < 40; i2 += 5) {
        for (int i3 = 3; i3 < 40; i3 += (i3 % 5 == 3 ? 1 : 4)) {
          const int index =
              i0 / 5 + ((i1 / 5) << 3) + ((i2 / 5) << 6) + ((2 * (i3 / 5) + i3 % 5 - 3) << 9);
          const auto sign = static_cast<Word16>(signs++ % 16);
          std::array<Word16, 40> expected{};
          const int pos[4] = {i0, i1, i2, i3};
          for (int k = 0; k < 4; ++k) expected[pos[k]] = (sign >> k) & 1 ? 8191 : -8192;
          std::array<Word16, 40> code;
          code.fill(1);
          Decod_ACELP(sign, static_cast<Word16>(index), code.data());
          ASSERT_EQ(code, expected) << index;
        }
      }
    }
  }
}

TEST(DecoderParameters, D_lspFollowsTheEncodersQuantizer) {
  // A few frames of LSP vectors quantized by the encoder's quantizer with its memory, decoded
  // from the indices with the decoder's: the same vectors, frame after frame.
  Word16 freq_prev[4][10];
  for (auto& row : freq_prev) std::copy_n(freq_prev_reset, 10, row);
  LspDecoderMemory memory;
  Lsp_decw_reset(&memory);
  for (int frame = 0; frame < 6; ++frame) {
    Word16 lsp[10], lsp_q[10], ana[2], decoded[10];
    for (int i = 0; i < 10; ++i)
      lsp[i] = static_cast<Word16>(lsp_old_tab[i] - 700 * frame + 90 * i);
    Qua_lsp(lsp, lsp_q, ana, freq_prev);
    D_lsp(ana, decoded, 0, &memory);
    EXPECT_TRUE(std::equal(decoded, decoded + 10, lsp_q)) << frame;
  }
  Word16 x[4][10];
  Get_decfreq_prev(x, &memory);
  EXPECT_TRUE(std::equal(&x[0][0], &x[0][0] + 40, &freq_prev[0][0]));

  // A lost frame repeats the last good vector.
  Word16 good[10], lost[10], prm[2] = {0x55, 0x2AA};
  D_lsp(prm, good, 0, &memory);
  D_lsp(prm, lost, 1, &memory);
  EXPECT_TRUE(std::equal(lost, lost + 10, good));
}

TEST(DecoderParameters, Dec_gainPredictsFromItsOwnMemoryAsTheEncoderDoes) {
  // Lost subframes pull the process-wide memory down to its floor of -14 dB; from there the
  // code gain follows the encoder's prediction, and each decoded gain moves the memory on.
  Word16 gain_pit = 16384, gain_cod = 1000;
  Dec_gain(0, nullptr, 40, 1, &gain_pit, &gain_cod);
  EXPECT_EQ(gain_pit, 14745);  // times 0.9
  EXPECT_EQ(gain_cod, 979);    // times 0.98
  for (int i = 0; i < 60; ++i) Dec_gain(0, nullptr, 40, 1, &gain_pit, &gain_cod);

  std::array<Word16, 40> code{};
  code[3] = 8191;
  code[17] = -8192;
  code[26] = 8191;
  code[39] = -8192;
  Word16 memory[4] = {-14336, -14336, -14336, -14336};
  const Word16 index = 0x5A;  // first stage 5, second stage 10
  const Word16 row1 = imap1[5], row2 = imap2[10];
  const Word32 L_gbk12 = gbk1[row1][1] + gbk2[row2][1];
  for (int subframe = 0; subframe < 3; ++subframe) {
    Word16 gcode0, exp_gcode0;
    Gain_predict(memory, code.data(), 40, &gcode0, &exp_gcode0);
    // gain (Q1) = predicted gain (Q exp_gcode0) times the correction (Q12), shifted to Q1.
    const int64_t product = int64_t{gcode0} * (L_gbk12 >> 1) * 2;
    const int shift = 4 - exp_gcode0;
    const auto expected =
        static_cast<Word16>((shift >= 0 ? product << shift : product >> -shift) >> 16);
    Dec_gain(index, code.data(), 40, 0, &gain_pit, &gain_cod);
    EXPECT_EQ(gain_pit, gbk1[row1][0] + gbk2[row2][0]);
    EXPECT_EQ(gain_cod, expected) << subframe;
    Gain_update(memory, L_gbk12);
  }
}

}  // namespace
