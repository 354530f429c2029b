#include <atomic>
#include <thread>

#include "opus_test_support.h"

namespace opus_test {

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

TEST_F(OpusTest, NothingIsDeliveredAfterReleaseOrToTheGone) {
  Pending released;
  released.encoder->opusOnRelease();
  released.encoder->opusEncodeData(speech(3200));  // ignored: no worker is left
  released.decoder->opusOnRelease();
  released.decoder->opusOnRelease();  // a second release only logs again
  Pending goneDelegate;
  goneDelegate.delegate.reset();
  Pending goneObjects;  // the encoder in the middle of a file job
  writeFile(path("in.pcm"), speech(32000));
  bool completed = false;
  goneObjects.encoder->opusEncodeFile(path("in.pcm"), nullptr,
                                      [&](auto*, auto*) { completed = true; });
  goneObjects.encoder.reset();
  goneObjects.decoder.reset();
  EXPECT_GT(TZMainQueue::runPending(), 0u);
  EXPECT_EQ(*released.delivered, 0) << "after release";
  EXPECT_EQ(*goneDelegate.delivered + *goneObjects.delivered, 0) << "to the gone";
  EXPECT_FALSE(completed);

  EXPECT_EQ(logged("TZOpusDecoder release:<TZOpusDecoder: 0x"), 2u);
  EXPECT_TRUE(logged("TZOpusDecoder dealloc:<TZOpusDecoder: 0x"));
}

// Meant for ThreadSanitizer: feeding, changes, release and destruction race one another.
TEST_F(OpusTest, ConcurrentInputReleaseAndDestruction) {
  const TZBytes pcm = speech(640);
  const TZBytes records = TZOpusFrameRecords(speechPackets(10));
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
        encoder->setDelegate(i % 2 == 0 ? recorder_ : nullptr);
        decoder->setDelegate(recorder_);
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
    const int deliveredBefore = *recorder_->calls;
    encoder.reset();  // destroys a released encoder
    decoder.reset();  // destroys a decoder that may still be decoding
    TZMainQueue::runPending();
    EXPECT_EQ(*recorder_->calls, deliveredBefore);
  }
}

}  // namespace opus_test
