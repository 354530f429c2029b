#include <tuple>

#include "opus_test_support.h"

namespace opus_test {

class OpusEncoderTest : public OpusTest {
 protected:
  std::shared_ptr<TZOpusEncoder> makeEncoder(int rate = 16000, int channels = 1) {
    auto format = TZOpusFormat::defaultFormats();
    format->setSampleRate(rate);
    format->setChannels(channels);
    auto encoder = TZOpusEncoder::initFormat(format, {});
    if (encoder) encoder->setDelegate(recorder_);
    return encoder;
  }
};

TEST_F(OpusEncoderTest, PacketsEqualDirectOpusEncode) {
  // Stereo 48 kHz cuts 1920-byte chunks into frames of 1920 samples per channel, mostly zeros.
  const TZBytes pcm = speech(64000);
  for (const auto& [rate, channels, frameSize] : {std::tuple{16000, 1, 320}, {48000, 2, 1920}}) {
    recorder_->data.clear();
    auto encoder = makeEncoder(rate, channels);
    ASSERT_TRUE(encoder);
    encoder->opusEncodeData(pcm);
    drain(*encoder);
    EXPECT_EQ(recorder_->data, directEncode(chunksOf(pcm, frameSize), rate, channels)) << rate;
  }
}

TEST_F(OpusEncoderTest, EveryCallQueuesEarlierChunksAgain) {
  const auto chunks = chunksOf(speech(640), 320);
  auto encoder = makeEncoder();
  ASSERT_TRUE(encoder);
  encoder->opusEncodeData(std::span(chunks[0]).first(100));  // no complete chunk: no wake-up
  encoder->opusEncodeData(std::span(chunks[0]).subspan(100));
  drain(*encoder);
  encoder->opusEncodeData(chunks[1]);  // chunk 0 again, then chunk 1
  drain(*encoder);
  EXPECT_EQ(logged("opus encode stack weakup"), 2u);

  // A file job queues the stream's chunks before the file's and writes only the file's packets.
  writeFile(path("in.pcm"), chunks[1]);
  std::string completed;
  encoder->opusEncodeFile(path("in.pcm"), nullptr,
                          [&](auto* to, auto*) { completed += to ? *to : "-"; });
  drain(*encoder);
  EXPECT_EQ(completed, path("pcmToOpus.opus"));
  const auto& [c0, c1] = std::tie(chunks[0], chunks[1]);
  const auto expected = directEncode({c0, c0, c1, c0, c1, c1});
  EXPECT_EQ(recorder_->data, expected);
  EXPECT_EQ(readFile(path("pcmToOpus.opus")), concat({expected[3], expected[4], expected[5]}));
}

TEST_F(OpusEncoderTest, FileIsPaddedByTheRemainderAndWritten) {
  // R = length mod 320 zero bytes are added; what does not fill a chunk stays unencoded.
  for (const auto& [fileBytes, paddedBytes] : {std::pair{1000, 1040}, {640, 640}, {480, 640}}) {
    TZBytes pcm = speech(fileBytes);
    writeFile(path("in.pcm"), pcm);
    auto encoder = makeEncoder();
    ASSERT_TRUE(encoder);
    const std::string out = path("out.opus");
    encoder->opusEncodeFile(path("in.pcm"), &out, nullptr);
    drain(*encoder);
    pcm.resize(paddedBytes, 0);
    EXPECT_EQ(readFile(out), concat(directEncode(chunksOf(pcm, 320)))) << fileBytes << " bytes";
  }
}

TEST_F(OpusEncoderTest, CreationAndUnusableFrameSizes) {
  EXPECT_EQ(makeEncoder(44100), nullptr);
  EXPECT_TRUE(logged(std::string("opus_encoder_create error:") + opus_strerror(OPUS_BAD_ARG)));

  auto encoder = TZOpusEncoder::initFormat(TZOpusFormat::defaultFormats(), recorder_);
  ASSERT_TRUE(encoder);
  encoder->opusEncodeData(speech(320));  // the delegate given at creation is not kept
  drain(*encoder);
  EXPECT_EQ(*recorder_->calls, 0);
  encoder->setDelegate(recorder_);

  encoder->opusFormat()->setFrameDuration(0);  // cuts nothing and ends
  encoder->opusEncodeData(speech(6400));
  drain(*encoder);
  EXPECT_EQ(*recorder_->calls, 0);

  encoder->opusFormat()->setFrameDuration(7);  // no Opus frame: the library's error code
  encoder->opusEncodeData({});                 // all 6720 bytes again: 60 chunks of 112
  drain(*encoder);
  EXPECT_EQ(*recorder_->calls, 60);
  EXPECT_EQ(recorder_->errors, std::vector<TZError>(60, {"opus encode error", OPUS_BAD_ARG, {}}));
}

// Reported on the calling thread before the call returns; a job without a callback only logs.
TEST_F(OpusTest, MissingFilesAreReportedAtOnce) {
  auto encoder = TZOpusEncoder::initFormat(TZOpusFormat::defaultFormats(), {});
  auto decoder = TZOpusDecoder::initDecoder(TZOpusFormat::defaultFormats(), {});
  ASSERT_TRUE(encoder && decoder);
  std::vector<TZError> reported;
  const auto report = [&](auto* to, const TZError* e) { reported.push_back(to ? TZError{} : *e); };
  encoder->opusEncodeFile(path("missing.pcm"), nullptr, report);
  decoder->opusDecodeFile(path("missing.opus"), nullptr, report);
  encoder->opusEncodeFile(path("missing.pcm"), nullptr, nullptr);
  EXPECT_EQ(reported, (std::vector<TZError>{
                          {"pcm file is not exist.", 0, {{"error", "pcm file is not exist."}}},
                          {"opus file is not exist.", 0, {{"error", "opus file is not exist."}}}}));
  EXPECT_EQ(logged("pcm file is not exist."), 2u);
}

}  // namespace opus_test
