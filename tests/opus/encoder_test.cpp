// The encoder against the same libopus calls made directly, in stream and file mode.
#include "opus_test_support.h"

namespace opus_test {
namespace {

class OpusEncoderTest : public OpusTest {
 protected:
  std::shared_ptr<TZOpusEncoder> makeEncoder(std::shared_ptr<TZOpusFormat> format) {
    auto encoder = TZOpusEncoder::initFormat(std::move(format), {});
    if (encoder) encoder->setDelegate(recorder_);
    return encoder;
  }
  std::shared_ptr<EncoderRecorder> recorder_ = std::make_shared<EncoderRecorder>();
};

TEST_F(OpusEncoderTest, PacketsEqualDirectOpusEncode) {
  // Mono 16 kHz: 320-byte chunks, each the start of a 320-sample frame.
  const TZBytes pcm = speech(64000);
  auto encoder = makeEncoder(TZOpusFormat::defaultFormats());
  ASSERT_TRUE(encoder);
  encoder->opusEncodeData(pcm);
  drain(*encoder);
  EXPECT_TRUE(recorder_->errors.empty());
  EXPECT_EQ(recorder_->packets, directEncode(chunksOf(pcm, 320), 16000, 1, 320));

  // Stereo 48 kHz, 20 ms: frameSize 1920 is both the chunk's bytes and the samples per channel.
  auto stereo = TZOpusFormat::defaultFormats();
  stereo->setSampleRate(48000);
  stereo->setChannels(2);
  recorder_->packets.clear();
  auto stereoEncoder = makeEncoder(stereo);
  ASSERT_TRUE(stereoEncoder);
  stereoEncoder->opusEncodeData(pcm);
  drain(*stereoEncoder);
  EXPECT_EQ(recorder_->packets, directEncode(chunksOf(pcm, 1920), 48000, 2, 1920));
}

TEST_F(OpusEncoderTest, EveryCallQueuesEarlierChunksAgain) {
  const TZBytes pcm = speech(640);
  auto encoder = makeEncoder(TZOpusFormat::defaultFormats());
  ASSERT_TRUE(encoder);
  drain(*encoder);

  encoder->opusEncodeData(std::span(pcm).first(100));
  drain(*encoder);
  EXPECT_TRUE(recorder_->packets.empty());
  EXPECT_EQ(occurrences(logText(), "opus encode stack weakup"), 0u);

  encoder->opusEncodeData(std::span(pcm).subspan(100, 220));  // completes chunk 0
  drain(*encoder);
  encoder->opusEncodeData(std::span(pcm).subspan(320));  // chunk 0 again, then chunk 1
  drain(*encoder);
  EXPECT_EQ(occurrences(logText(), "opus encode stack weakup"), 2u);

  const auto chunks = chunksOf(pcm, 320);
  EXPECT_EQ(recorder_->packets, directEncode({chunks[0], chunks[0], chunks[1]}, 16000, 1, 320));
}

struct PaddingCase {
  size_t fileBytes;
  size_t paddedBytes;  // the file plus R = length mod 320 zero bytes
};

class OpusEncoderFileTest : public OpusEncoderTest,
                            public ::testing::WithParamInterface<PaddingCase> {};

TEST_P(OpusEncoderFileTest, FileIsPaddedByTheRemainderAndWritten) {
  const PaddingCase padding = GetParam();
  TZBytes pcm = speech(padding.fileBytes);
  writeFile(path("in.pcm"), pcm);
  auto encoder = makeEncoder(TZOpusFormat::defaultFormats());
  ASSERT_TRUE(encoder);

  const std::string out = path("out.opus");
  std::vector<std::string> completions;
  encoder->opusEncodeFile(path("in.pcm"), &out,
                          [&](const std::string* outputPath, const TZError* error) {
                            EXPECT_EQ(error, nullptr);
                            completions.push_back(outputPath != nullptr ? *outputPath : "(null)");
                          });
  drain(*encoder);

  pcm.resize(padding.paddedBytes, 0);
  const auto expected = directEncode(chunksOf(pcm, 320), 16000, 1, 320);
  EXPECT_EQ(recorder_->packets, expected);
  EXPECT_EQ(readFile(out), concat(expected));  // packets back to back, no lengths
  EXPECT_EQ(completions, std::vector<std::string>{out});
}

INSTANTIATE_TEST_SUITE_P(Padding, OpusEncoderFileTest,
                         ::testing::Values(PaddingCase{1000, 1040},  // 3 chunks, 80 bytes left over
                                           PaddingCase{640, 640},    // a multiple: no padding
                                           PaddingCase{480, 640}));  // R = F/2: whole chunks

TEST_F(OpusEncoderTest, FileBytesFollowEarlierStreamInput) {
  const TZBytes pcm = speech(640);
  const auto chunks = chunksOf(pcm, 320);
  writeFile(path("in.pcm"), chunks[1]);
  auto encoder = makeEncoder(TZOpusFormat::defaultFormats());
  ASSERT_TRUE(encoder);
  encoder->opusEncodeData(chunks[0]);
  drain(*encoder);

  // The file job queues the whole buffer: the stream's chunk again, then the file's.
  bool completed = false;
  encoder->opusEncodeFile(
      path("in.pcm"), nullptr, [&](const std::string* outputPath, const TZError*) {
        completed = outputPath != nullptr && *outputPath == path("pcmToOpus.opus");
      });
  drain(*encoder);
  EXPECT_TRUE(completed);
  const auto expected = directEncode({chunks[0], chunks[0], chunks[1]}, 16000, 1, 320);
  EXPECT_EQ(recorder_->packets, expected);
  EXPECT_EQ(readFile(path("pcmToOpus.opus")), concat({expected[1], expected[2]}));
}

TEST_F(OpusEncoderTest, DelegateGivenAtCreationIsNotUsed) {
  writeFile(path("in.pcm"), speech(3200));
  auto encoder = TZOpusEncoder::initFormat(TZOpusFormat::defaultFormats(), recorder_);
  ASSERT_TRUE(encoder);
  bool completed = false;
  encoder->opusEncodeFile(path("in.pcm"), nullptr,
                          [&](const std::string*, const TZError*) { completed = true; });
  drain(*encoder);
  EXPECT_TRUE(recorder_->packets.empty());
  EXPECT_TRUE(completed);
  EXPECT_FALSE(readFile(path("pcmToOpus.opus")).empty());
}

TEST_F(OpusEncoderTest, MissingFileIsReportedAtOnce) {
  auto encoder = makeEncoder(TZOpusFormat::defaultFormats());
  ASSERT_TRUE(encoder);
  std::optional<TZError> reported;
  bool pathWasNull = false;
  const std::string out = path("never.opus");
  encoder->opusEncodeFile(path("missing.pcm"), &out,
                          [&](const std::string* outputPath, const TZError* error) {
                            pathWasNull = outputPath == nullptr;
                            if (error != nullptr) reported = *error;
                          });
  // Reported on this thread before the call returned.
  ASSERT_TRUE(reported);
  EXPECT_TRUE(pathWasNull);
  EXPECT_EQ(*reported,
            (TZError{"pcm file is not exist.", 0, {{"error", "pcm file is not exist."}}}));
  EXPECT_FALSE(std::filesystem::exists(out));

  encoder->opusEncodeFile(path("missing.pcm"), nullptr, nullptr);  // only logs
  EXPECT_EQ(occurrences(logText(), "pcm file is not exist."), 2u);
}

TEST_F(OpusEncoderTest, UnsupportedFormatsAreRefusedOrReported) {
  auto format = TZOpusFormat::defaultFormats();
  format->setSampleRate(44100);
  EXPECT_EQ(TZOpusEncoder::initFormat(format, {}), nullptr);
  EXPECT_NE(logText().find(std::string("opus_encoder_create error:") + opus_strerror(OPUS_BAD_ARG)),
            std::string::npos);

  // A frame size of 0 cuts nothing and ends: no packet, no endless walk.
  auto encoder = makeEncoder(TZOpusFormat::defaultFormats());
  ASSERT_TRUE(encoder);
  encoder->opusFormat()->setFrameDuration(0);
  encoder->opusEncodeData(speech(6400));
  drain(*encoder);
  EXPECT_TRUE(recorder_->packets.empty());
  EXPECT_TRUE(recorder_->errors.empty());

  // 7 ms is no Opus frame: each chunk is reported with the library's error code.
  encoder->opusFormat()->setFrameDuration(7);
  encoder->opusEncodeData(speech(112));
  drain(*encoder);
  ASSERT_FALSE(recorder_->errors.empty());
  EXPECT_EQ(recorder_->errors[0], (TZError{"opus encode error", OPUS_BAD_ARG, {}}));
  EXPECT_TRUE(recorder_->packets.empty());
}

}  // namespace
}  // namespace opus_test
