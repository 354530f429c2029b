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

}  // namespace opus_test
