// File decoding: the output file, the completion and the missing-file report.
#include <gtest/gtest.h>

#include <optional>
#include <thread>

#include "speex/TZSpeexBlocks.h"
#include "speex_test_support.h"

namespace {

using namespace speex_test;

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

class SpeexFileJob : public SpeexTest {
 protected:
  void SetUp() override {
    SpeexTest::SetUp();
    collector = std::make_shared<FrameCollector>();
    decoder = TZSpeexDecoder::initWithDelegate(collector);
    ASSERT_NE(decoder, nullptr);
  }
  void TearDown() override {
    decoder.reset();
    SpeexTest::TearDown();
  }
  std::string writeStream(size_t blocks) {
    frames = encodeSpeech(5 * blocks);
    writeFile(path("in.spx"), TZSpeexFramedEncoder::frameBlocks(frames));
    return path("in.spx");
  }

  std::shared_ptr<FrameCollector> collector;
  std::shared_ptr<TZSpeexDecoder> decoder;
  std::vector<TZBytes> frames;
};

TEST_F(SpeexFileJob, FileGetsTheFramesDecodedOnceTheJobIsUnderWay) {
  const std::string input = writeStream(30);
  const std::string output = path("out.pcm");
  CompletionLog done;
  decoder->speexConvertToPcm(input, &output, done.callback());
  ASSERT_TRUE(waitForFrames(*collector, frames.size()));
  settle(*decoder);

  // Every frame reaches the delegate. The file flag goes up after the feed, so a worker
  // that gets the processor first may decode some or all frames before it: the file holds
  // the frames decoded after that. The job completes once if the worker saw the flag, which
  // it did if it wrote anything.
  const TZBytes expected = directDecode(frames);
  EXPECT_TRUE(collector->pcm == expected);
  const TZBytes written = readFile(output);
  ASSERT_EQ(written.size() % kFrameBytes, 0u);
  EXPECT_TRUE(std::equal(written.begin(), written.end(),
                         expected.end() - static_cast<long>(written.size())));
  EXPECT_LE(done.calls, 1);
  if (!written.empty()) {
    EXPECT_EQ(done.calls, 1);
  }
  if (done.calls == 1) {
    EXPECT_EQ(done.path, output);
    EXPECT_FALSE(done.error);
    EXPECT_EQ(done.thread, std::this_thread::get_id());
  }
}

TEST_F(SpeexFileJob, AJobStartedWhileTheFileFlagIsUpWritesEveryFrame) {
  // A job whose input holds no complete block never wakes the worker, so its file flag
  // is still up when the next job feeds its frames: every one of them goes to the file,
  // and the completion is the later job's.
  // (Five bytes are too few for a header; they stay held and are skipped on the next feed.)
  writeFile(path("partial.spx"), {1, 2, 3, 4, 5});
  settle(*decoder);  // past the worker's first passes, which would end the job at once
  CompletionLog first;
  decoder->speexConvertToPcm(path("partial.spx"), nullptr, first.callback());
  settle(*decoder);
  EXPECT_EQ(first.calls, 0);

  const std::string input = writeStream(6);
  const std::string output = path("out.pcm");
  CompletionLog second;
  decoder->speexConvertToPcm(input, &output, second.callback());
  ASSERT_TRUE(TZMainQueue::runUntil([&] { return second.calls > 0; }, std::chrono::seconds(30)));
  settle(*decoder);
  EXPECT_EQ(second.path, output);
  EXPECT_EQ(first.calls, 0);
  EXPECT_EQ(second.calls, 1);
  const TZBytes written = readFile(output);
  EXPECT_EQ(written.size(), 5u * 6u * kFrameBytes);
  EXPECT_TRUE(written == directDecode(frames));
}

TEST_F(SpeexFileJob, MissingInputIsReportedAtOnceAndLeavesAnEmptyOutput) {
  const std::string output = path("out.pcm");
  CompletionLog done;
  decoder->speexConvertToPcm(path("absent.spx"), &output, done.callback());
  EXPECT_EQ(done.calls, 1);  // before returning, on this thread
  EXPECT_FALSE(done.path);
  const TZError expected{"Speex file is not exist.", 0, {{"error", "Speex file is not exist."}}};
  EXPECT_EQ(done.error, expected);
  EXPECT_TRUE(std::filesystem::exists(output));
  EXPECT_EQ(std::filesystem::file_size(output), 0u);
  settle(*decoder);
  EXPECT_EQ(done.calls, 1);
  const TZBytes log = readFile(path("TZ_Log.txt"));
  EXPECT_NE(std::string(log.begin(), log.end()).find("TZ[WARN]  Speex file is not exist.\n"),
            std::string::npos);
}

TEST_F(SpeexFileJob, OutputPathDefaultsToDocumentsAndIsRemembered) {
  // The output file is made before the input is looked at, so missing inputs show where
  // each job writes without waiting for the worker.
  const std::string fallback = path("speex.pcm");
  const std::string chosen = path("chosen.pcm");
  decoder->speexConvertToPcm(path("absent.spx"), nullptr, nullptr);
  EXPECT_TRUE(std::filesystem::exists(fallback));
  decoder->speexConvertToPcm(path("absent.spx"), &chosen, nullptr);
  EXPECT_TRUE(std::filesystem::exists(chosen));

  std::filesystem::remove(fallback);
  std::filesystem::remove(chosen);
  decoder->speexConvertToPcm(path("absent.spx"), nullptr, nullptr);
  EXPECT_TRUE(std::filesystem::exists(chosen));
  EXPECT_FALSE(std::filesystem::exists(fallback));
}

TEST_F(SpeexFileJob, BundledSampleIsTheDevicesFraming) {
  const TZBytes sample = readFile(std::string(KESTRUNE_SAMPLE_DIR) + "/speech-16k.spx-framed");
  constexpr size_t kBlock = kTZSpeexBlockHeaderSize + 5 * 42;
  ASSERT_FALSE(sample.empty());
  ASSERT_EQ(sample.size() % kBlock, 0u);
  std::vector<TZBytes> sampleFrames;
  for (size_t at = 0; at < sample.size(); at += kBlock) {
    ASSERT_TRUE(std::equal(kTZSpeexBlockMarker.begin(), kTZSpeexBlockMarker.end(),
                           sample.begin() + static_cast<long>(at)));
    ASSERT_EQ(sample[at + 4], 42);
    ASSERT_EQ(sample[at + 5], 0);
    for (size_t i = 0; i < 5; ++i) {
      const auto start = sample.begin() + static_cast<long>(at + 6 + 42 * i);
      sampleFrames.emplace_back(start, start + 42);
    }
  }
  decoder->speexInputData(sample);
  ASSERT_TRUE(waitForFrames(*collector, sampleFrames.size()));
  EXPECT_TRUE(collector->pcm == directDecode(sampleFrames));
}

}  // namespace
