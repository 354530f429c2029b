// Release, destruction and vanished delegates: nothing may be delivered afterwards, and
// nothing may touch a freed coder, also while other threads feed and change the objects.
#include <atomic>
#include <thread>

#include "opus_test_support.h"

namespace opus_test {
namespace {

// An encoder and a decoder whose deliveries are posted to the main queue and not run yet.
struct Pending {
  std::shared_ptr<Recorder> delegate = std::make_shared<Recorder>();
  std::shared_ptr<int> delivered = delegate->calls;
  std::shared_ptr<TZOpusEncoder> encoder =
      TZOpusEncoder::initFormat(TZOpusFormat::defaultFormats(), {});
  std::shared_ptr<TZOpusDecoder> decoder =
      TZOpusDecoder::initDecoder(TZOpusFormat::defaultFormats(), delegate);
  Pending() {
    encoder->setDelegate(delegate);
    encoder->opusEncodeData(speech(3200));
    decoder->opusDecoderInputData(TZOpusFrameRecords(speechPackets(5)));
    EXPECT_TRUE(encoder->waitUntilIdle(30s) && decoder->waitUntilIdle(30s));
  }
};

using OpusLifecycleTest = OpusTest;

TEST_F(OpusLifecycleTest, NothingIsDeliveredAfterRelease) {
  Pending pending;
  pending.encoder->opusOnRelease();
  pending.encoder->opusEncodeData(speech(3200));  // ignored: no worker is left
  pending.decoder->opusOnRelease();
  pending.decoder->opusOnRelease();  // a second release only logs again
  EXPECT_GT(TZMainQueue::runPending(), 0u);
  EXPECT_EQ(*pending.delivered, 0);

  EXPECT_TRUE(logged("TZOpusEncoder release:<TZOpusEncoder: 0x"));
  EXPECT_EQ(logged("TZOpusDecoder release:<TZOpusDecoder: 0x"), 2u);
  pending.decoder.reset();
  EXPECT_TRUE(logged("TZOpusDecoder dealloc:<TZOpusDecoder: 0x"));
}

TEST_F(OpusLifecycleTest, GoneDelegatesAndObjectsReceiveNothing) {
  Pending goneDelegate;
  goneDelegate.delegate.reset();

  Pending goneObjects;  // the encoder in the middle of a file job
  writeFile(path("in.pcm"), speech(32000));
  bool completed = false;
  goneObjects.encoder->opusEncodeFile(path("in.pcm"), nullptr,
                                      [&](auto*, auto*) { completed = true; });
  goneObjects.encoder.reset();
  goneObjects.decoder.reset();
  TZMainQueue::runPending();
  EXPECT_EQ(*goneDelegate.delivered + *goneObjects.delivered, 0);
  EXPECT_FALSE(completed);
}

// Feeding, format and delegate changes, release and destruction from several threads at
// once, with the main queue drained all along. Run under ThreadSanitizer.
TEST_F(OpusLifecycleTest, ConcurrentInputReleaseAndDestruction) {
  const TZBytes pcm = speech(640);
  const TZBytes records = TZOpusFrameRecords(speechPackets(10));
  auto delegate = std::make_shared<Recorder>();
  for (int round = 0; round < 6; ++round) {
    auto encoder = TZOpusEncoder::initFormat(TZOpusFormat::defaultFormats(), {});
    auto decoder = TZOpusDecoder::initDecoder(TZOpusFormat::defaultFormats(), {});
    ASSERT_TRUE(encoder && decoder);
    std::atomic<bool> fed{false};
    std::thread feeder([&] {
      for (int i = 0; i < 8; ++i) {
        encoder->opusEncodeData(pcm);
        decoder->opusDecoderInputData(records);
      }
      fed = true;
    });
    std::thread changer([&] {
      for (int i = 0; i < 8; ++i) {
        encoder->setDelegate(i % 2 == 0 ? delegate : nullptr);
        decoder->setDelegate(delegate);
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
    const int deliveredBefore = *delegate->calls;
    encoder.reset();  // destroys a released encoder
    decoder.reset();  // destroys a decoder that may still be decoding
    TZMainQueue::runPending();
    EXPECT_EQ(*delegate->calls, deliveredBefore);
  }
}

}  // namespace
}  // namespace opus_test
