// Pre-processing high-pass filter against the recurrence computed directly over the whole
// signal, across frame boundaries and through output clipping.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "g729_test_signals.h"

using namespace g729test;

namespace {

// y[n] = (1899 x[n] - 3798 x[n-1] + 1899 x[n-2] + 7807 y[n-1] - 3733 y[n-2]) / 4096, rounded
// half up and clipped to 16 bits; the clipped y is what feeds back.
std::vector<Word16> highPass(const std::vector<Word16>& x) {
  std::vector<Word16> y(x.size());
  const auto at = [](const std::vector<Word16>& v, size_t n, size_t back) -> int64_t {
    return n >= back ? v[n - back] : 0;
  };
  for (size_t n = 0; n < x.size(); ++n) {
    const int64_t acc = 1899 * at(x, n, 0) - 3798 * at(x, n, 1) + 1899 * at(x, n, 2) +
                        7807 * at(y, n, 1) - 3733 * at(y, n, 2);
    const int64_t rounded = (acc + 2048) / 4096 - ((acc + 2048) % 4096 < 0 ? 1 : 0);
    y[n] = static_cast<Word16>(std::clamp<int64_t>(rounded, INT16_MIN, INT16_MAX));
  }
  return y;
}

TEST(PreProcess, MatchesTheRecurrenceAcrossFramesAndClipping) {
  // Full-scale steps clip the output at the end of frame 1 and early in frame 2; then speech.
  std::vector<Word16> x(49, INT16_MAX);
  x.insert(x.end(), 30, INT16_MIN);
  x.insert(x.end(), 81, INT16_MAX);
  const auto speech = loadSpeech8k();
  ASSERT_GE(speech.size(), 8000u);
  x.insert(x.end(), speech.begin() + 4000, speech.begin() + 4000 + 240);

  const std::vector<Word16> expected = highPass(x);
  ASSERT_EQ(expected[79], INT16_MAX);
  auto state = freshState();
  for (size_t frame = 0; frame * 80 < x.size(); ++frame) {
    Pre_Process(state.get(), x.data() + 80 * frame);
    EXPECT_TRUE(std::equal(state->new_speech, state->new_speech + 80, &expected[80 * frame]))
        << "frame " << frame;
  }
}

}  // namespace
