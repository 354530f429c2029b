// Stream decoding: the PCM that reaches the delegate equals libspeex's own decode of the
// same frames, however the stream is framed, padded or split.
#include <gtest/gtest.h>

#include "speex_test_support.h"

namespace {

using namespace speex_test;

TZBytes framed(const std::vector<TZBytes>& frames, uint16_t lengthField) {
  TZBytes stream;
  for (size_t i = 0; i + kTZSpeexFramesPerBlock <= frames.size(); i += kTZSpeexFramesPerBlock)
    TZSpeexFramedEncoder::appendBlock(stream, lengthField, std::span(frames).subspan(i, 5));
  return stream;
}

class SpeexStream : public SpeexTest {
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
  // Feeds the pieces, then checks that exactly the given frames came out, in order.
  void expectDecoded(const std::vector<TZBytes>& pieces, const std::vector<TZBytes>& frames) {
    for (const auto& piece : pieces) decoder->speexInputData(piece);
    ASSERT_TRUE(waitForFrames(*collector, frames.size()));
    settle(*decoder);
    EXPECT_EQ(collector->frames, frames.size());
    EXPECT_EQ(collector->errors, 0u);
    EXPECT_TRUE(collector->pcm == directDecode(frames)) << "PCM differs from the direct decode";
  }

  std::shared_ptr<FrameCollector> collector;
  std::shared_ptr<TZSpeexDecoder> decoder;
};

TEST_F(SpeexStream, CleanStreamMatchesDirectDecode) {
  const auto frames = encodeSpeech(40);
  ASSERT_EQ(frames.size(), 40u);
  ASSERT_EQ(frames[0].size(), 42u);
  expectDecoded({TZSpeexFramedEncoder::frameBlocks(frames)}, frames);
}

TEST_F(SpeexStream, GarbageBeforeAndBetweenBlocksIsSkipped) {
  const auto frames = encodeSpeech(15);
  const TZBytes garbage = {0x00, 0xAA, 0xAA, 0xEA, 0xBD, 0x7F, 0xAC};
  TZBytes stream = garbage;
  for (size_t i = 0; i < frames.size(); i += 5) {
    TZSpeexFramedEncoder::appendBlock(stream, 42, std::span(frames).subspan(i, 5));
    stream.insert(stream.end(), garbage.begin(), garbage.begin() + static_cast<long>(i / 5 + 1));
  }
  expectDecoded({stream}, frames);
}

TEST_F(SpeexStream, BlocksSplitOverCallsAreDecodedOnceComplete) {
  const auto frames = encodeSpeech(20);
  const TZBytes stream = TZSpeexFramedEncoder::frameBlocks(frames);
  // Half of the first block: nothing may come out yet.
  decoder->speexInputData({stream.begin(), stream.begin() + 100});
  settle(*decoder);
  EXPECT_EQ(collector->frames, 0u);
  std::vector<TZBytes> pieces;
  for (size_t at = 100; at < stream.size(); at += std::min<size_t>(13, stream.size() - at))
    pieces.emplace_back(stream.begin() + static_cast<long>(at),
                        stream.begin() + static_cast<long>(std::min(at + 13, stream.size())));
  expectDecoded(pieces, frames);
}

TEST_F(SpeexStream, LengthField128IsUsedAsIs) {
  // The longest constant-rate frames (106 bytes) padded to 128: the decoder reads the
  // whole padded frame, and so does the direct decode.
  auto frames = encodeSpeech(10, 10);
  for (auto& frame : frames) frame.resize(128, 0);
  expectDecoded({framed(frames, 128)}, frames);
}

TEST_F(SpeexStream, LengthFieldsAbove128AreDecodedAs42ByteFrames) {
  const auto frames = encodeSpeech(15);
  TZBytes stream = framed({frames.begin(), frames.begin() + 5}, 129);
  const TZBytes more = framed({frames.begin() + 5, frames.end()}, 0xFFFF);
  stream.insert(stream.end(), more.begin(), more.end());
  expectDecoded({stream}, frames);
}

TEST_F(SpeexStream, UndecodableFramesStillArriveAsSilence) {
  // Empty frames make libspeex report an error; each still gives 640 zero bytes and the
  // frames around them decode as they would directly.
  const auto speech = encodeSpeech(10);
  std::vector<TZBytes> frames(speech.begin(), speech.begin() + 5);
  frames.insert(frames.end(), 5, TZBytes{});
  frames.insert(frames.end(), speech.begin() + 5, speech.end());
  TZBytes stream = framed({speech.begin(), speech.begin() + 5}, 42);
  TZSpeexFramedEncoder::appendBlock(stream, 0, {});
  const TZBytes rest = framed({speech.begin() + 5, speech.end()}, 42);
  stream.insert(stream.end(), rest.begin(), rest.end());
  expectDecoded({stream}, frames);
  EXPECT_TRUE(std::all_of(collector->pcm.begin() + 5 * kFrameBytes,
                          collector->pcm.begin() + 10 * kFrameBytes,
                          [](uint8_t b) { return b == 0; }));
  const TZBytes log = readFile(path("TZ_Log.txt"));
  EXPECT_NE(std::string(log.begin(), log.end()).find("TZ[WARN]  speex decode error:-"),
            std::string::npos);
}

TEST_F(SpeexStream, OnlyALiveDelegateReceivesFrames) {
  const TZBytes stream = TZSpeexFramedEncoder::frameBlocks(encodeSpeech(10));
  collector.reset();  // the decoder held it weakly: it is gone now
  decoder->speexInputData({stream.begin(), stream.begin() + 216});
  settle(*decoder);

  auto replacement = std::make_shared<FrameCollector>();
  decoder->setDelegate(replacement);
  decoder->speexInputData({stream.begin() + 216, stream.end()});
  ASSERT_TRUE(waitForFrames(*replacement, 5));
  settle(*decoder);
  EXPECT_EQ(replacement->frames, 5u);
}

TEST_F(SpeexStream, NothingIsDeliveredAfterRelease) {
  const TZBytes stream = TZSpeexFramedEncoder::frameBlocks(encodeSpeech(200));
  decoder->speexInputData(stream);
  decoder->speexOnRelease();
  decoder->speexInputData(stream);  // ignored once released
  EXPECT_TRUE(decoder->waitUntilIdle(std::chrono::seconds(5)));
  TZMainQueue::runPending();
  EXPECT_EQ(collector->frames, 0u);
}

TEST_F(SpeexStream, DroppingTheDecoderStopsItsWorker) {
  decoder->speexInputData(TZSpeexFramedEncoder::frameBlocks(encodeSpeech(200)));
  decoder.reset();  // joins the worker; calls already posted find the decoder gone
  TZMainQueue::runPending();
  EXPECT_EQ(collector->frames, 0u);
}

}  // namespace
