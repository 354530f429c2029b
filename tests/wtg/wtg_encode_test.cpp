// The WTG file encoder: frames counted from whole 80-sample blocks, the silence flag's rule
// and the process exit on a file that cannot be opened.
#include "kestrune/wtg_encode.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <vector>

#include "tests/support/test_files.h"

namespace {

TZBytes bytesOf(const std::vector<int16_t>& samples) {
  TZBytes bytes(samples.size() * 2);
  std::memcpy(bytes.data(), samples.data(), bytes.size());
  return bytes;
}

// The silence flag of each frame: bit 10 of the frame's second word.
std::vector<int> flagsOf(const TZBytes& wtg) {
  std::vector<int> flags;
  for (size_t at = 0; at + 10 <= wtg.size(); at += 10) flags.push_back((wtg[at + 3] >> 2) & 1);
  return flags;
}

class WtgEncode : public ::testing::Test {
 protected:
  TZBytes convert(const TZBytes& pcm) {
    writeFile(documents_.file("in.pcm"), pcm);
    EXPECT_EQ(wtg_encode_fun(documents_.file("in.pcm").c_str(), documents_.file("out.wtg").c_str()),
              0);
    return readFile(documents_.file("out.wtg"));
  }
  TempDocuments documents_;
};

TEST_F(WtgEncode, OneFramePerWholeEightySamples) {
  // Sizes in bytes: a trailing partial frame, and an odd last byte, are dropped.
  for (const auto& [bytes, frames] :
       {std::pair{158, 0}, {160, 1}, {318, 1}, {320, 2}, {161, 1}, {319, 1}, {0, 0}, {1, 0}}) {
    std::vector<int16_t> speech(bytes / 2 + 1);
    for (size_t i = 0; i < speech.size(); ++i)
      speech[i] = static_cast<int16_t>((i * 397) % 2001 - 1000);
    TZBytes pcm = bytesOf(speech);
    pcm.resize(static_cast<size_t>(bytes));
    EXPECT_EQ(convert(pcm).size(), static_cast<size_t>(10 * frames)) << bytes << " bytes";
  }
}

TEST_F(WtgEncode, SilenceFlagMarksExactZerosInAFileWithAPositiveSample) {
  // Frames 1 and 3 are digital silence; frame 2 is far below a fifth of the peak (900) but not
  // zero, and is coded as speech.
  std::vector<int16_t> mixed(5 * 80, 0);
  for (int i = 0; i < 80; ++i) mixed[i] = static_cast<int16_t>((i % 7 - 3) * 300);
  for (int i = 160; i < 240; ++i) mixed[i] = -1;
  for (int i = 320; i < 400; ++i) mixed[i] = static_cast<int16_t>(200 - i);
  EXPECT_EQ(flagsOf(convert(bytesOf(mixed))), (std::vector<int>{0, 1, 0, 1, 0}));

  // No positive sample anywhere: peak 0, so no frame is flagged, silent ones included.
  std::vector<int16_t> negative(3 * 80, 0);
  for (int i = 80; i < 160; ++i) negative[i] = -5;
  EXPECT_EQ(flagsOf(convert(bytesOf(negative))), (std::vector<int>{0, 0, 0}));
  EXPECT_EQ(flagsOf(convert(bytesOf(std::vector<int16_t>(3 * 80, 0)))),
            (std::vector<int>{0, 0, 0}));
}

TEST_F(WtgEncode, MissingFilesEndTheProcessWithTheirMessage) {
  writeFile(documents_.file("in.pcm"), TZBytes(320, 0));
  const std::string missing = documents_.file("missing.pcm");
  const std::string unwritable = documents_.file("no/such/dir/out.wtg");
  const struct {
    std::string input, output, message;
  } cases[] = {
      {missing, documents_.file("out.wtg"), "Error opening file  " + missing + " !!\n"},
      {documents_.file("in.pcm"), unwritable, " Error opening file  " + unwritable + " !!\n"}};
  for (const auto& c : cases) {
    int pipeEnds[2];
    ASSERT_EQ(pipe(pipeEnds), 0);
    const pid_t child = fork();
    if (child == 0) {
      dup2(pipeEnds[1], STDOUT_FILENO);
      wtg_encode_fun(c.input.c_str(), c.output.c_str());
      _exit(3);  // not reached: the encoder ends the process itself
    }
    close(pipeEnds[1]);
    std::string printed;
    char buffer[256];
    for (ssize_t n; (n = read(pipeEnds[0], buffer, sizeof buffer)) > 0;) printed.append(buffer, n);
    close(pipeEnds[0]);
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << c.message;
    EXPECT_EQ(printed, c.message);
  }
}

}  // namespace
