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

using Params = std::array<Word16, 12>;

// Pre_Process and Coder_ld8k on `frames` frames of the bundled speech from a fresh record, the
// silence flag of each frame given by `silence(frame)`.
template <typename Silence>
std::vector<Params> codeSpeech(size_t frames, Silence silence) {
  const auto speech = loadSpeech8k();
  auto state = freshState();
  std::vector<Params> out(frames);
  for (size_t f = 0; f < frames; ++f) {
    Pre_Process(state.get(), speech.data() + 80 * f);
    Coder_ld8k(state.get(), out[f].data(), 0, static_cast<Word16>(f), 0, 0, silence(f));
  }
  return out;
}

// The encoder keeps process-wide memory (the perceptual weighting's, the gain predictor's, the
// arithmetic flags), so two codings run one after the other in this process start from
// different memory and may differ for that reason alone. To compare fairly, one coding runs in
// a forked child, which starts with an exact copy of that memory, and the other here after it:
// both begin from the same state. Returns the child's result.
template <typename T, typename Code>
std::vector<T> inChildProcess(size_t count, Code code) {
  int fds[2];
  EXPECT_EQ(pipe(fds), 0);
  const pid_t pid = fork();
  if (pid == 0) {
    close(fds[0]);
    const std::vector<T> result = code();
    const ssize_t bytes = static_cast<ssize_t>(result.size() * sizeof(T));
    _exit(write(fds[1], result.data(), static_cast<size_t>(bytes)) == bytes ? 0 : 1);
  }
  close(fds[1]);
  std::vector<T> result(count);
  auto* bytes = reinterpret_cast<char*>(result.data());
  size_t got = 0;
  for (ssize_t n;
       got < count * sizeof(T) && (n = read(fds[0], bytes + got, count * sizeof(T) - got)) > 0;) {
    got += static_cast<size_t>(n);
  }
  close(fds[0]);
  int status = 0;
  waitpid(pid, &status, 0);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  EXPECT_EQ(got, count * sizeof(T));
  return result;
}

constexpr size_t kFrames = 60;

TEST(CoderDriver, ElementZeroIsOneAndElementFourTheSilenceFlag) {
  const Word16 flags[] = {0, 1, -21555, 32767, -32768};
  const auto params = codeSpeech(kFrames, [&](size_t f) { return flags[f % 5]; });
  for (size_t f = 0; f < kFrames; ++f) {
    EXPECT_EQ(params[f][0], 1) << f;
    EXPECT_EQ(params[f][4], flags[f % 5]) << f;
  }
}

TEST(CoderDriver, SilenceFlagChangesNothingElse) {
  const auto silent =
      inChildProcess<Params>(kFrames, [] { return codeSpeech(kFrames, [](size_t) { return 1; }); });
  const auto spoken = codeSpeech(kFrames, [](size_t) { return 0; });
  for (size_t f = 0; f < kFrames; ++f) {
    EXPECT_EQ(silent[f][4], 1);
    Params expected = spoken[f];
    expected[4] = 1;
    EXPECT_EQ(silent[f], expected) << "frame " << f;
  }
}

// Words of g729coder_run over the speech, from a fresh record whose counter starts at `counter`.
std::vector<UWord16> runFrom(Word16 counter, std::vector<Word16>* counters = nullptr) {
  const auto speech = loadSpeech8k();
  auto state = freshState();
  state->frame_counter = counter;
  std::vector<UWord16> words(5 * kFrames);
  for (size_t f = 0; f < kFrames; ++f) {
    EXPECT_EQ(g729coder_run(state.get(), speech.data() + 80 * f, &words[5 * f], 0), 0);
    if (counters) counters->push_back(state->frame_counter);
  }
  return words;
}

TEST(CoderDriver, FrameCounterWrapsWithoutEffectOnTheCode) {
  const auto fromZero = inChildProcess<UWord16>(5 * kFrames, [] { return runFrom(0); });
  std::vector<Word16> counters;
  const auto fromTop = runFrom(32767, &counters);
  EXPECT_EQ(counters.front(), -32768);
  EXPECT_EQ(counters.back(), -32768 + static_cast<int>(kFrames) - 1);
  EXPECT_EQ(fromTop, fromZero);
}

TEST(CoderDriver, PackedParityBitIsTheSilenceFlag) {
  // Bit 10 of word 1 holds element 4; g729coder_run stores the flag's low 16 bits there.
  const auto speech = loadSpeech8k();
  auto state = freshState();
  const int flags[] = {0, 1, 0x30001, 0x30000};
  for (size_t f = 0; f < 8; ++f) {
    UWord16 words[5];
    g729coder_run(state.get(), speech.data() + 80 * f, words, flags[f % 4]);
    EXPECT_EQ((words[1] >> 10) & 1, flags[f % 4] & 1) << f;
  }
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
  // The whole sample, in the sanitizer builds too; the code must use every field width.
  const auto speech = loadSpeech8k();
  auto state = freshState();
  const size_t frames = speech.size() / 80;
  ASSERT_GE(frames, 200u);
  std::array<UWord16, 5> seen{};
  for (size_t f = 0; f < frames; ++f) {
    UWord16 words[5];
    ASSERT_EQ(g729coder_run(state.get(), speech.data() + 80 * f, words, 0), 0);
    for (int w = 0; w < 5; ++w) seen[w] |= words[w];
  }
  EXPECT_EQ(state->frame_counter, static_cast<Word16>(frames));
  // Every field but the parity bit (silence flag 0 throughout) has been non-zero somewhere.
  EXPECT_EQ(seen, (std::array<UWord16, 5>{0xFFFF, 0xFBFF, 0xFFFF, 0xFFFF, 0xFFFF}));
}

}  // namespace
