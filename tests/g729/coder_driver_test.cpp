// The encoder's frame driver: the fixed elements of the parameter array, the silence flag, the
// frame counter, the open-loop pitch range, the taming clip, and real speech coded frame by
// frame.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <vector>

#include "g729/coder_ld8k.h"
#include "g729_test_signals.h"

using namespace g729test;

namespace {

constexpr size_t kFrames = 60;

// The parameters of kFrames frames of the bundled speech from a fresh record, the silence
// flag of frame f being silence(f), all in one vector.
template <typename Silence>
std::vector<Word16> codeSpeech(Silence silence) {
  const auto speech = loadSpeech8k();
  auto state = freshState();
  std::vector<Word16> ana(12 * kFrames);
  for (size_t f = 0; f < kFrames; ++f) {
    Pre_Process(state.get(), speech.data() + 80 * f);
    Coder_ld8k(state.get(), &ana[12 * f], 0, static_cast<Word16>(f), 0, 0, silence(f));
  }
  return ana;
}

// The encoder keeps process-wide memory (the perceptual weighting's, the gain predictor's, the
// arithmetic flags), so two codings run one after the other in this process start from
// different memory and differ for that reason alone. To compare fairly, one coding runs in a
// forked child, which starts with an exact copy of that memory, and the other here after it.
// Returns the child's result, `count` words.
template <typename Code>
std::vector<Word16> inChildProcess(size_t count, Code code) {
  int fds[2];
  EXPECT_EQ(pipe(fds), 0);
  const pid_t pid = fork();
  if (pid == 0) {
    const std::vector<Word16> result = code();
    const auto bytes = static_cast<ssize_t>(result.size() * sizeof(Word16));
    _exit(write(fds[1], result.data(), static_cast<size_t>(bytes)) == bytes ? 0 : 1);
  }
  close(fds[1]);
  std::vector<Word16> result(count);
  const size_t wanted = count * sizeof(Word16);
  size_t got = 0;
  for (ssize_t n; got < wanted && (n = read(fds[0], reinterpret_cast<char*>(result.data()) + got,
                                            wanted - got)) > 0;) {
    got += static_cast<size_t>(n);
  }
  close(fds[0]);
  int status = 0;
  waitpid(pid, &status, 0);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0 && got == wanted);
  return result;
}

TEST(CoderDriver, ElementZeroIsOneAndElementFourTheSilenceFlag) {
  const Word16 flags[] = {0, 1, -21555, 32767, -32768};
  const auto ana = codeSpeech([&](size_t f) { return flags[f % 5]; });
  for (size_t f = 0; f < kFrames; ++f) {
    EXPECT_EQ(ana[12 * f], 1) << f;
    EXPECT_EQ(ana[12 * f + 4], flags[f % 5]) << f;
  }
}

TEST(CoderDriver, SilenceFlagChangesNothingElse) {
  const auto silent =
      inChildProcess(12 * kFrames, [] { return codeSpeech([](size_t) { return 1; }); });
  auto expected = codeSpeech([](size_t) { return 0; });
  for (size_t f = 0; f < kFrames; ++f) expected[12 * f + 4] = 1;
  EXPECT_EQ(silent, expected);
}

// Words of g729coder_run over kFrames frames of the speech from a fresh record whose counter
// starts at `counter`, followed by the counter after each frame.
std::vector<Word16> runFrom(Word16 counter) {
  const auto speech = loadSpeech8k();
  auto state = freshState();
  state->frame_counter = counter;
  std::vector<Word16> out(6 * kFrames);
  for (size_t f = 0; f < kFrames; ++f) {
    EXPECT_EQ(g729coder_run(state.get(), speech.data() + 80 * f,
                            reinterpret_cast<UWord16*>(&out[5 * f]), 0),
              0);
    out[5 * kFrames + f] = state->frame_counter;
  }
  return out;
}

TEST(CoderDriver, FrameCounterWrapsWithoutEffectOnTheCode) {
  const auto fromZero = inChildProcess(6 * kFrames, [] { return runFrom(0); });
  const auto fromTop = runFrom(32767);
  const auto words = [](const std::vector<Word16>& v) {
    return std::vector<Word16>(v.begin(), v.begin() + 5 * kFrames);
  };
  EXPECT_EQ(words(fromTop), words(fromZero));
  EXPECT_EQ(fromTop[5 * kFrames], -32768);
  EXPECT_EQ(fromTop.back(), -32768 + static_cast<int>(kFrames) - 1);
  EXPECT_EQ(fromZero.back(), static_cast<Word16>(kFrames));
}

TEST(CoderDriver, FirstSubframeSearchRangeAroundTheOpenLoopDelay) {
  const struct {
    Word16 T_op, min, max;
  } cases[] = {{21, 20, 26},    {20, 20, 26},    {23, 20, 26},   {80, 77, 83},
               {140, 137, 143}, {141, 137, 143}, {143, 137, 143}};
  for (const auto& c : cases) {
    Word16 T0_min = 0, T0_max = 0;
    first_subframe_pitch_range(c.T_op, &T0_min, &T0_max);
    EXPECT_EQ(T0_min, c.min) << c.T_op;
    EXPECT_EQ(T0_max, c.max) << c.T_op;
  }
}

TEST(CoderDriver, TamingClipsThePitchGainFrom15565) {
  EXPECT_EQ(tamed_pitch_gain(15565, 1), 15564);
  EXPECT_EQ(tamed_pitch_gain(19661, 1), 15564);
  EXPECT_EQ(tamed_pitch_gain(15564, 1), 15564);
  EXPECT_EQ(tamed_pitch_gain(15565, 0), 15565);
}

TEST(CoderDriver, CodesTheBundledSpeechFrameByFrame) {
  // The whole sample, in the sanitizer builds too. The flag's low 16 bits reach the frame's
  // parity position (bit 10 of word 1); every other bit of the frame is set somewhere.
  const auto speech = loadSpeech8k();
  auto state = freshState();
  const size_t frames = speech.size() / 80;
  ASSERT_GE(frames, 200u);
  std::array<UWord16, 5> seen{};
  for (size_t f = 0; f < frames; ++f) {
    const int silence = 0x30000 | static_cast<int>(f % 2);
    UWord16 words[5];
    ASSERT_EQ(g729coder_run(state.get(), speech.data() + 80 * f, words, silence), 0);
    EXPECT_EQ((words[1] >> 10) & 1, static_cast<int>(f % 2)) << f;
    for (int w = 0; w < 5; ++w) seen[w] |= words[w];
  }
  EXPECT_EQ(seen, (std::array<UWord16, 5>{0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF}));
}

}  // namespace
