// The decoder's postfilter and output filter.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <vector>

#include "g729/tab_dec.h"
#include "kestrune/g729_decoder.h"

namespace {

// Post_Process over n samples of x(i), from a cleared memory, in calls of `chunk` samples.
std::vector<Word16> postProcess(int n, int chunk, Word16 (*x)(int)) {
  Init_Post_Process();
  std::vector<Word16> y(n);
  for (int i = 0; i < n; ++i) y[i] = x(i);
  for (int i = 0; i < n; i += chunk)
    Post_Process(nullptr, y.data() + i, static_cast<Word16>(chunk));
  return y;
}

TEST(PostProcess, HighPassWithAGainOfTwo) {
  // Steady-state gain, doubled: 2 (b0 - b1 + b2) / (1 + a1 - a2) at 4 kHz, 0 at DC.
  const double nyquist = 2.0 * (b100[0] - b100[1] + b100[2]) / (8192.0 + a100[1] - a100[2]);
  const auto alternating =
      postProcess(400, 80, [](int i) -> Word16 { return i % 2 ? -1000 : 1000; });
  for (int i = 300; i < 400; ++i) EXPECT_NEAR(std::abs(alternating[i]), 1000 * nyquist, 3) << i;
  const auto constant = postProcess(400, 80, [](int) -> Word16 { return 1000; });
  for (int i = 300; i < 400; ++i) EXPECT_LE(std::abs(constant[i]), 1) << i;
}

TEST(PostProcess, MemoryCarriesAcrossCallsAndTheOutputIsRounded) {
  const auto ramp = [](int i) -> Word16 { return static_cast<Word16>((i * 977) % 6000 - 2000); };
  const auto whole = postProcess(160, 160, ramp);
  EXPECT_EQ(whole[0], -3759);  // 2 * -2000 * 7699 / 8192 = -3759.3, rounded
  EXPECT_EQ(postProcess(160, 80, ramp), whole);
  EXPECT_EQ(postProcess(160, 40, ramp), whole);
}

// The voicing Post reports for each of `subframes` subframes of signal(n), through a flat LP
// filter (A(z) = 1) and around the delay t0.
std::vector<Word16> voicing(int subframes, Word16 t0, Word16 (*signal)(int)) {
  Init_Post_Filter();
  std::vector<Word16> x(10 + 40 * subframes);
  for (int n = 0; n < 40 * subframes; ++n) x[10 + n] = signal(n);
  Word16 a[11] = {4096};
  std::vector<Word16> vo(subframes);
  for (int k = 0; k < subframes; ++k) {
    Word16 out[40];
    Post(t0, x.data() + 10 + 40 * k, a, out, &vo[k]);
  }
  return vo;
}

TEST(PostFilter, FindsThePeriodOfAPulseTrainAndNoneInNoise) {
  // Pulses every 50 samples: after a period, each subframe with a pulse is voiced at 50.
  const auto vo = voicing(8, 49, [](int n) -> Word16 { return n % 50 == 0 ? 8000 : 0; });
  for (int k = 1; k < 8; ++k) {
    const bool pulse = (40 * k) / 50 != (40 * k + 39) / 50 || (40 * k) % 50 == 0;
    EXPECT_EQ(vo[k], pulse ? 50 : 0) << k;
  }
  const auto noise = voicing(10, 50, [](int n) -> Word16 {
    return static_cast<Word16>((static_cast<unsigned>(n) * 2654435761u >> 16) % 2001 - 1000);
  });
  EXPECT_EQ(noise, std::vector<Word16>(10, 0));
}

}  // namespace
