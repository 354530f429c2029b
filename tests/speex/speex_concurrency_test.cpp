// Input, delegate changes, release and destruction racing each other: run under TSan.
#include <atomic>
#include <thread>

#include "speex_test_support.h"

namespace {

using namespace speex_test;
using SpeexConcurrency = SpeexTest;

TEST_F(SpeexConcurrency, InputAndReleaseFromOtherThreads) {
  const auto frames = encodeSpeech(200);
  const TZBytes stream = TZSpeexFramedEncoder::frameBlocks(frames);
  std::atomic<size_t> fed{0};
  std::atomic<int> running{2};
  std::atomic<bool> finished{false};
  std::thread feeder([&] {
    for (size_t at = 0; at < stream.size(); at += 7) {
      decoder->speexInputData(
          {stream.begin() + at, stream.begin() + std::min(at + 7, stream.size())});
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
  while (running > 0) TZMainQueue::runPending();  // deliveries race the release
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

}  // namespace
