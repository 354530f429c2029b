// Initial contents of the encoder state.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <type_traits>

#include "g729/tab_ld8k.h"
#include "kestrune/g729_coder.h"

static_assert(std::is_standard_layout_v<CoderState>, "CoderState is shared with C code");
static_assert(std::is_trivially_copyable_v<CoderState>);

TEST(CoderInit, SetsEveryFieldOfAFreshJob) {
  auto state = std::make_unique<CoderState>();
  std::memset(state.get(), 0xA5, sizeof(CoderState));  // leftovers of an earlier job
  g729_coder_init(state.get(), 1200);

  EXPECT_EQ(state->speech, state->old_speech + 120);
  EXPECT_EQ(state->p_window, state->old_speech);
  EXPECT_EQ(state->new_speech, state->old_speech + 160);
  EXPECT_EQ(state->wsp, state->old_wsp + 143);
  EXPECT_EQ(state->exc, state->old_exc + 154);
  EXPECT_EQ(state->zero, state->ai_zero + 11);
  EXPECT_EQ(state->error, state->mem_err + 10);

  EXPECT_EQ(state->init_4096[0], 4096);
  for (int i = 1; i < 11; ++i) EXPECT_EQ(state->init_4096[i], 0) << i;
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(state->lsp_old[i], lsp_old_tab[i]) << i;
    EXPECT_EQ(state->lsp_old_q[i], lsp_old_tab[i]) << i;
    for (int row = 0; row < 4; ++row) EXPECT_EQ(state->freq_prev[row][i], freq_prev_reset[i]);
  }
  EXPECT_EQ(state->lsp_old[0], 30000);
  EXPECT_EQ(state->lsp_old[9], -26000);
  EXPECT_EQ(state->sharp, 3277);
  for (Word32 estimate : state->L_exc_err) EXPECT_EQ(estimate, 16384);
  EXPECT_EQ(state->smooth_unused, 1);
  EXPECT_EQ(state->frame_counter, 0);

  // Everything else starts at zero: buffers, memories and the LP work area.
  const auto allZero = [](const auto& array) {
    for (const auto& value : array) {
      if (value != 0) return false;
    }
    return true;
  };
  EXPECT_EQ(state->x0 | state->x1, 0);
  EXPECT_EQ(state->hp_y1 | state->hp_y2, 0);
  EXPECT_TRUE(allZero(state->old_speech));
  EXPECT_TRUE(allZero(state->old_wsp));
  EXPECT_TRUE(allZero(state->old_exc));
  EXPECT_TRUE(allZero(state->ai_zero));
  EXPECT_TRUE(allZero(state->mem_syn));
  EXPECT_TRUE(allZero(state->mem_w0));
  EXPECT_TRUE(allZero(state->mem_w));
  EXPECT_TRUE(allZero(state->mem_err));
  EXPECT_TRUE(allZero(state->rc));
  EXPECT_TRUE(allZero(state->A_t));
  EXPECT_TRUE(allZero(state->Aq_t));
  EXPECT_TRUE(allZero(state->lp_autocorr));
  EXPECT_TRUE(allZero(state->lp_pred));
  EXPECT_TRUE(allZero(state->lp_rc_saved));
  EXPECT_TRUE(allZero(state->synth));
  EXPECT_TRUE(allZero(state->lar_old_unused));
}
