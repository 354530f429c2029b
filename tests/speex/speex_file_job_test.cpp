// File decoding: the output file, the completion and the missing-file report.
#include <filesystem>
#include <optional>
#include <thread>

#include "speex_test_support.h"

namespace {

using namespace speex_test;
using SpeexFileJob = SpeexTest;

struct CompletionLog {
  int calls = 0;
  std::optional<std::string> path;
  std::optional<TZError> error;
  std::thread::id thread;

  TZCompletion callback() {
    return [this](const std::string* outputPath, const TZError* failure) {
      ++calls;
      if (outputPath != nullptr) path = *outputPath;
      if (failure != nullptr) error = *failure;
      thread = std::this_thread::get_id();
    };
  }
};

TEST_F(SpeexFileJob, EveryFrameOfAJobStartedWhileTheFileFlagIsUpIsWritten) {
  // The file flag goes up after the feed, so a worker that is awake may decode a job's first
  // frames before it does. A job whose input holds no complete block never wakes the worker,
  // which leaves the flag up for the next job: all its frames go to the file, and the
  // completion is the later job's.
  writeFile(path("partial.spx"), {1, 2, 3, 4, 5});
  settle(*decoder);  // past the worker's first pass, which would end the job at once
  CompletionLog first, second;
  decoder->speexConvertToPcm(path("partial.spx"), nullptr, first.callback());
  settle(*decoder);

  const size_t blocks = 6;
  const auto frames = encodeSpeech(5 * blocks);
  writeFile(path("in.spx"), TZSpeexFramedEncoder::frameBlocks(frames));
  const std::string output = path("out.pcm");
  decoder->speexConvertToPcm(path("in.spx"), &output, second.callback());
  settle(*decoder);
  EXPECT_EQ(first.calls, 0);
  EXPECT_EQ(second.calls, 1);
  EXPECT_EQ(second.path, output);
  EXPECT_FALSE(second.error);
  EXPECT_EQ(second.thread, std::this_thread::get_id());  // on the main queue
  const TZBytes written = readFile(output);
  EXPECT_EQ(written.size(), 5 * blocks * kFrameBytes);
  EXPECT_TRUE(written == directDecode(frames)) << "file differs from the direct decode";
  EXPECT_TRUE(collector->pcm == written) << "delegate and file differ";
}

TEST_F(SpeexFileJob, MissingInputIsReportedAtOnceAndLeavesAnEmptyOutput) {
  // The output file is made before the input is looked at: first in Documents, then at the
  // path given, which later jobs without one keep using.
  const std::string fallback = path("speex.pcm"), chosen = path("chosen.pcm");
  decoder->speexConvertToPcm(path("absent.spx"), nullptr, nullptr);
  EXPECT_TRUE(std::filesystem::exists(fallback));
  std::filesystem::remove(fallback);

  CompletionLog done;
  writeFile(chosen, {1, 2, 3});
  decoder->speexConvertToPcm(path("absent.spx"), &chosen, done.callback());
  EXPECT_EQ(done.calls, 1);  // before returning, on this thread
  EXPECT_FALSE(done.path);
  const TZError expected{"Speex file is not exist.", 0, {{"error", "Speex file is not exist."}}};
  EXPECT_EQ(done.error, expected);
  EXPECT_EQ(std::filesystem::file_size(chosen), 0u);

  std::filesystem::remove(chosen);
  decoder->speexConvertToPcm(path("absent.spx"), nullptr, nullptr);
  EXPECT_TRUE(std::filesystem::exists(chosen));
  EXPECT_FALSE(std::filesystem::exists(fallback));
  settle(*decoder);
  EXPECT_EQ(done.calls, 1);
  EXPECT_NE(readTextFile(path("TZ_Log.txt")).find("TZ[WARN]  Speex file is not exist.\n"),
            std::string::npos);
}

}  // namespace
