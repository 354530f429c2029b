// The encoder's frame driver: the silence flag in the parity bit's place, the frame counter,
// the open-loop pitch range, the taming clip, and the whole bundled speech coded frame by frame.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <vector>

#include "g729/coder_ld8k.h"
#include "g729_test_signals.h"

using namespace g729test;

namespace {

// The encoder's memory is process-wide: a forked child codes from an exact copy of it, so the
// coding here after it can be compared fairly. Returns the child's `count` words.
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

// The words of g729coder_run over the whole speech from a fresh record whose counter starts
// at `counter`, frame f coded with silence flag `flags | f % 2` (or 0), then the final counter.
std::vector<Word16> codeSpeech(Word16 counter, int flags) {
  const auto speech = loadSpeech8k();
  auto state = freshState();
  state->frame_counter = counter;
  const size_t frames = speech.size() / 80;
  std::vector<Word16> out(5 * frames + 1);
  for (size_t f = 0; f < frames; ++f) {
    const int silence = flags == 0 ? 0 : flags | static_cast<int>(f % 2);
    EXPECT_EQ(g729coder_run(state.get(), speech.data() + 80 * f,
                            reinterpret_cast<UWord16*>(&out[5 * f]), silence),
              0);
  }
  out.back() = state->frame_counter;
  return out;
}

TEST(CoderDriver, SilenceFlagTakesTheParityPlaceAndTheCounterWrapsWithoutEffect) {
  // The flag's low 16 bits reach the parity bit (bit 10 of word 1) only; all other bits occur.
  const size_t frames = loadSpeech8k().size() / 80;
  ASSERT_GE(frames, 1000u);
  const auto plain = inChildProcess(5 * frames + 1, [] { return codeSpeech(0, 0); });
  auto flagged = codeSpeech(32767, 0x30000);
  std::array<UWord16, 5> seen{};
  for (size_t f = 0; f < frames; ++f) {
    Word16& parityWord = flagged[5 * f + 1];
    EXPECT_EQ((parityWord >> 10) & 1, static_cast<int>(f % 2)) << f;
    parityWord = static_cast<Word16>(parityWord & ~(1 << 10));
    for (int w = 0; w < 5; ++w) seen[w] |= static_cast<UWord16>(flagged[5 * f + w]);
  }
  EXPECT_EQ(seen, (std::array<UWord16, 5>{0xFFFF, 0xFBFF, 0xFFFF, 0xFFFF, 0xFFFF}));
  EXPECT_TRUE(std::equal(plain.begin(), plain.end() - 1, flagged.begin()));
  EXPECT_EQ(plain.back(), static_cast<Word16>(frames));
  EXPECT_EQ(flagged.back(), static_cast<Word16>(32767 + frames));
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

}  // namespace
