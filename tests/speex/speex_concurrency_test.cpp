// Input, delegate changes, release and destruction racing each other: run under TSan.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "speex_test_support.h"

namespace {

using namespace speex_test;

class SpeexConcurrency : public SpeexTest {};

TEST_F(SpeexConcurrency, InputAndReleaseFromOtherThreads) {
  const auto frames = encodeSpeech(200);
  const TZBytes stream = TZSpeexFramedEncoder::frameBlocks(frames);
  auto collector = std::make_shared<FrameCollector>();
  auto decoder = TZSpeexDecoder::initWithDelegate(collector);
  ASSERT_NE(decoder, nullptr);

  std::atomic<size_t> fed{0};
  std::atomic<int> running{2};
  std::atomic<bool> finished{false};
  std::thread feeder([&] {
    for (size_t at = 0; at < stream.size(); at += 7) {
      decoder->speexInputData(
          {stream.begin() + static_cast<long>(at),
           stream.begin() + static_cast<long>(std::min(at + 7, stream.size()))});
      fed = at;
    }
    --running;
  });
  std::thread releaser([&] {
    while (fed < stream.size() / 2) std::this_thread::yield();
    decoder->speexOnRelease();
    --running;
  });
  std::thread delegateSetter([&] {
    while (!finished) {
      decoder->setDelegate(collector);
      std::this_thread::yield();
    }
  });
  // Deliveries run on this thread meanwhile, racing the release.
  while (running > 0) {
    TZMainQueue::runPending();
    std::this_thread::yield();
  }
  feeder.join();
  releaser.join();
  finished = true;
  delegateSetter.join();
  TZMainQueue::runPending();

  // Whatever came out before release is the stream's beginning, in order, decoded once.
  const TZBytes expected = directDecode(frames);
  ASSERT_LE(collector->pcm.size(), expected.size());
  EXPECT_TRUE(std::equal(collector->pcm.begin(), collector->pcm.end(), expected.begin()));
}

TEST_F(SpeexConcurrency, DecodersDroppedWhileBusy) {
  const TZBytes stream = TZSpeexFramedEncoder::frameBlocks(encodeSpeech(100));
  auto collector = std::make_shared<FrameCollector>();
  // Deliveries are left on the main queue until every decoder is gone: none may arrive.
  std::vector<std::thread> threads;
  for (int t = 0; t < 3; ++t) {
    threads.emplace_back([&] {
      for (int round = 0; round < 4; ++round) {
        auto decoder = TZSpeexDecoder::initWithDelegate(collector);
        decoder->speexInputData(stream);
        decoder->speexConvertToPcm(path("absent.spx"), nullptr, nullptr);
      }  // destroyed with frames still queued
    });
  }
  for (auto& thread : threads) thread.join();
  TZMainQueue::runPending();
  EXPECT_EQ(collector->frames, 0u);
}

}  // namespace
