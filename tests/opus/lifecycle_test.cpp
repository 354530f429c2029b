// Release, destruction and vanished delegates: nothing may be delivered afterwards, and
// nothing may touch a freed coder, also while other threads feed and change the objects.
#include <atomic>
#include <thread>

#include "opus_test_support.h"

namespace opus_test {
namespace {

// Counts into a counter that outlives the delegate.
struct CountingEncoderDelegate : TZOpusEncoderDelegate {
  explicit CountingEncoderDelegate(std::shared_ptr<int> count) : count(std::move(count)) {}
  void opusEncoder(TZOpusEncoder&, const TZBytes*, const TZError*) override { ++*count; }
  std::shared_ptr<int> count;
};

struct CountingDecoderDelegate : TZOpusDecoderDelegate {
  explicit CountingDecoderDelegate(std::shared_ptr<int> count) : count(std::move(count)) {}
  void opusDecoder(TZOpusDecoder&, const TZBytes*, const TZError*) override { ++*count; }
  std::shared_ptr<int> count;
};

class OpusLifecycleTest : public OpusTest {
 protected:
  // Encoded and posted, not yet delivered.
  std::shared_ptr<TZOpusEncoder> encoderWithPendingPackets(
      std::shared_ptr<TZOpusEncoderDelegate> delegate) {
    auto encoder = TZOpusEncoder::initFormat(TZOpusFormat::defaultFormats(), {});
    encoder->setDelegate(delegate);
    encoder->opusEncodeData(speech(3200));
    EXPECT_TRUE(encoder->waitUntilIdle(30s));
    return encoder;
  }
  std::shared_ptr<TZOpusDecoder> decoderWithPendingPcm(
      std::shared_ptr<TZOpusDecoderDelegate> delegate) {
    auto format = TZOpusFormat::defaultFormats();
    format->setDataSize(9);
    auto decoder = TZOpusDecoder::initDecoder(format, delegate);
    decoder->opusDecoderInputData(framed(directEncode(chunksOf(speech(3200), 640), 16000, 1, 320)));
    EXPECT_TRUE(decoder->waitUntilIdle(30s));
    return decoder;
  }
  std::shared_ptr<int> count_ = std::make_shared<int>(0);
};

TEST_F(OpusLifecycleTest, NothingIsDeliveredAfterRelease) {
  auto encoderDelegate = std::make_shared<CountingEncoderDelegate>(count_);
  auto encoder = encoderWithPendingPackets(encoderDelegate);
  encoder->opusOnRelease();
  encoder->opusEncodeData(speech(3200));  // ignored: no worker is left
  auto decoderDelegate = std::make_shared<CountingDecoderDelegate>(count_);
  auto decoder = decoderWithPendingPcm(decoderDelegate);
  decoder->opusOnRelease();
  decoder->opusOnRelease();  // a second release only logs again
  EXPECT_GT(TZMainQueue::runPending(), 0u);
  EXPECT_EQ(*count_, 0);

  const std::string log = logText();
  EXPECT_NE(log.find("TZOpusEncoder release:<TZOpusEncoder: 0x"), std::string::npos);
  EXPECT_EQ(occurrences(log, "TZOpusDecoder release:<TZOpusDecoder: 0x"), 2u);
  decoder.reset();
  EXPECT_NE(logText().find("TZOpusDecoder dealloc:<TZOpusDecoder: 0x"), std::string::npos);
}

TEST_F(OpusLifecycleTest, GoneObjectsAndDelegatesReceiveNothing) {
  // The delegates vanish while their deliveries wait on the main queue.
  auto encoderDelegate = std::make_shared<CountingEncoderDelegate>(count_);
  auto decoderDelegate = std::make_shared<CountingDecoderDelegate>(count_);
  auto encoder = encoderWithPendingPackets(encoderDelegate);
  auto decoder = decoderWithPendingPcm(decoderDelegate);
  encoderDelegate.reset();
  decoderDelegate.reset();
  TZMainQueue::runPending();
  EXPECT_EQ(*count_, 0);

  // The objects vanish instead, one in the middle of a file job.
  auto keptEncoderDelegate = std::make_shared<CountingEncoderDelegate>(count_);
  auto keptDecoderDelegate = std::make_shared<CountingDecoderDelegate>(count_);
  encoder = encoderWithPendingPackets(keptEncoderDelegate);
  decoder = decoderWithPendingPcm(keptDecoderDelegate);
  writeFile(path("in.pcm"), speech(32000));
  bool completed = false;
  encoder->opusEncodeFile(path("in.pcm"), nullptr,
                          [&](const std::string*, const TZError*) { completed = true; });
  encoder.reset();
  decoder.reset();
  TZMainQueue::runPending();
  EXPECT_EQ(*count_, 0);
  EXPECT_FALSE(completed);
}

// Feeding, format and delegate changes, release and destruction from several threads at
// once, with the main queue drained all along. Run under ThreadSanitizer.
TEST_F(OpusLifecycleTest, ConcurrentInputReleaseAndDestruction) {
  const TZBytes pcm = speech(3200);
  const TZBytes records = framed(directEncode(chunksOf(speech(6400), 640), 16000, 1, 320));
  for (int round = 0; round < 6; ++round) {
    auto encoder = TZOpusEncoder::initFormat(TZOpusFormat::defaultFormats(), {});
    auto decoder = TZOpusDecoder::initDecoder(TZOpusFormat::defaultFormats(), {});
    ASSERT_TRUE(encoder && decoder);
    auto encoderDelegate = std::make_shared<CountingEncoderDelegate>(count_);
    auto decoderDelegate = std::make_shared<CountingDecoderDelegate>(count_);
    std::atomic<bool> fed{false};

    std::thread feeder([&] {
      for (int i = 0; i < 8; ++i) {
        encoder->opusEncodeData(std::span(pcm).first(640));
        decoder->opusDecoderInputData(records);
      }
      fed = true;
    });
    std::thread changer([&] {
      for (int i = 0; i < 8; ++i) {
        encoder->setDelegate(i % 2 == 0 ? encoderDelegate : nullptr);
        decoder->setDelegate(decoderDelegate);
        encoder->opusFormat()->setFrameDuration(i % 2 == 0 ? 20 : 10);
        auto format = TZOpusFormat::defaultFormats();
        format->setDataSize(9);
        decoder->resetOpusFramet(format);
      }
    });
    std::thread releaser([&] {
      if (round % 2 == 0) std::this_thread::sleep_for(std::chrono::milliseconds(round));
      encoder->opusOnRelease();
      if (round % 3 == 0) decoder->opusOnRelease();
    });
    while (!fed) TZMainQueue::runPending();
    feeder.join();
    changer.join();
    releaser.join();
    TZMainQueue::runPending();
    const int deliveredBefore = *count_;
    encoder.reset();  // destroys a released encoder
    decoder.reset();  // destroys a decoder that may still be decoding
    TZMainQueue::runPending();
    EXPECT_EQ(*count_, deliveredBefore);
  }
}

}  // namespace
}  // namespace opus_test
