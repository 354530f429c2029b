// Initial contents of the encoder state.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <iterator>
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

  const Word16 fallback[11] = {4096};
  EXPECT_TRUE(std::equal(fallback, fallback + 11, state->init_4096));
  EXPECT_EQ(lsp_old_tab[0], 30000);
  EXPECT_EQ(lsp_old_tab[9], -26000);
  EXPECT_TRUE(std::equal(lsp_old_tab, lsp_old_tab + 10, state->lsp_old));
  EXPECT_TRUE(std::equal(lsp_old_tab, lsp_old_tab + 10, state->lsp_old_q));
  for (const auto& row : state->freq_prev) {
    EXPECT_TRUE(std::equal(freq_prev_reset, freq_prev_reset + 10, row));
  }
  EXPECT_EQ(state->sharp, 3277);
  for (Word32 estimate : state->L_exc_err) EXPECT_EQ(estimate, 16384);
  EXPECT_EQ(state->smooth_unused, 1);
  EXPECT_EQ(state->frame_counter, 0);

  // Everything else starts at zero: buffers, memories and the LP work area.
  const auto allZero = [](const auto&... arrays) {
    return (std::all_of(std::begin(arrays), std::end(arrays), [](auto v) { return v == 0; }) &&
            ...);
  };
  EXPECT_EQ(state->x0 | state->x1 | state->hp_y1 | state->hp_y2, 0);
  EXPECT_TRUE(allZero(state->old_speech, state->old_wsp, state->old_exc, state->ai_zero,
                      state->mem_syn, state->mem_w0, state->mem_w, state->mem_err, state->rc,
                      state->A_t, state->Aq_t, state->lp_autocorr, state->lp_pred,
                      state->lp_rc_saved, state->synth, state->lar_old_unused));
}
