// The encoder against the same libopus calls made directly, in stream and file mode.
#include <tuple>

#include "opus_test_support.h"

namespace opus_test {
namespace {

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
  std::shared_ptr<Recorder> recorder_ = std::make_shared<Recorder>();
};

TEST_F(OpusEncoderTest, PacketsEqualDirectOpusEncode) {
  // frameSize is both the chunk's bytes and the samples per channel: 320 for mono 16 kHz,
  // 1920 for stereo 48 kHz, whose frames are mostly zeros past the chunk.
  const TZBytes pcm = speech(64000);
  for (const auto& [rate, channels, frameSize] : {std::tuple{16000, 1, 320}, {48000, 2, 1920}}) {
    recorder_->data.clear();
    auto encoder = makeEncoder(rate, channels);
    ASSERT_TRUE(encoder);
    encoder->opusEncodeData(pcm);
    drain(*encoder);
    EXPECT_EQ(recorder_->data, directEncode(chunksOf(pcm, frameSize), rate, channels, frameSize))
        << rate << " Hz";
  }
  EXPECT_TRUE(recorder_->errors.empty());
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

  // A file job queues the whole buffer too, the stream's chunks before the file's, and writes
  // every packet of the job.
  writeFile(path("in.pcm"), chunks[1]);
  std::string completed;
  encoder->opusEncodeFile(path("in.pcm"), nullptr, [&](const std::string* out, const TZError*) {
    completed += out ? *out : "(null)";
  });
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
    recorder_->data.clear();
    auto encoder = makeEncoder();
    ASSERT_TRUE(encoder);
    const std::string out = path("out.opus");
    std::string completed;
    encoder->opusEncodeFile(path("in.pcm"), &out, [&](const std::string* to, const TZError* e) {
      completed += to && !e ? *to : "(failed)";
    });
    drain(*encoder);
    pcm.resize(paddedBytes, 0);
    const auto expected = directEncode(chunksOf(pcm, 320));
    EXPECT_EQ(recorder_->data, expected) << fileBytes << " bytes";
    EXPECT_EQ(readFile(out), concat(expected)) << "packets back to back";
    EXPECT_EQ(completed, out);
  }
}

TEST_F(OpusEncoderTest, CreationAndUnusableFrameSizes) {
  EXPECT_EQ(makeEncoder(44100), nullptr);
  EXPECT_TRUE(logged(std::string("opus_encoder_create error:") + opus_strerror(OPUS_BAD_ARG)));

  // The delegate given at creation is not kept: only one set later receives anything.
  auto encoder = TZOpusEncoder::initFormat(TZOpusFormat::defaultFormats(), recorder_);
  ASSERT_TRUE(encoder);
  encoder->opusEncodeData(speech(320));
  drain(*encoder);
  EXPECT_EQ(*recorder_->calls, 0);
  encoder->setDelegate(recorder_);

  // A frame size of 0 cuts nothing and ends: no packet, no endless walk.
  encoder->opusFormat()->setFrameDuration(0);
  encoder->opusEncodeData(speech(6400));
  drain(*encoder);
  EXPECT_EQ(*recorder_->calls, 0);

  // 7 ms is no Opus frame: each chunk is reported with the library's error code.
  encoder->opusFormat()->setFrameDuration(7);
  encoder->opusEncodeData({});
  drain(*encoder);
  EXPECT_TRUE(recorder_->data.empty());
  ASSERT_FALSE(recorder_->errors.empty());
  EXPECT_EQ(recorder_->errors[0], (TZError{"opus encode error", OPUS_BAD_ARG, {}}));
}

// Reported on the calling thread before the call returns; a job without a callback only logs.
TEST_F(OpusTest, MissingFilesAreReportedAtOnce) {
  auto encoder = TZOpusEncoder::initFormat(TZOpusFormat::defaultFormats(), {});
  auto decoder = TZOpusDecoder::initDecoder(TZOpusFormat::defaultFormats(), {});
  ASSERT_TRUE(encoder && decoder);
  std::vector<TZError> reported;
  const auto report = [&](const std::string* to, const TZError* e) {
    if (!to && e) reported.push_back(*e);
  };
  const std::string out = path("never");
  encoder->opusEncodeFile(path("missing.pcm"), &out, report);
  decoder->opusDecodeFile(path("missing.opus"), &out, report);
  encoder->opusEncodeFile(path("missing.pcm"), nullptr, nullptr);
  EXPECT_EQ(reported, (std::vector<TZError>{
                          {"pcm file is not exist.", 0, {{"error", "pcm file is not exist."}}},
                          {"opus file is not exist.", 0, {{"error", "opus file is not exist."}}}}));
  EXPECT_EQ(logged("pcm file is not exist."), 2u);
  EXPECT_FALSE(std::filesystem::exists(out));
}

}  // namespace
}  // namespace opus_test
