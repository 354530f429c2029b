// The decoder against the same libopus calls made directly, in both framings and file mode.
#include "opus_test_support.h"

namespace opus_test {
namespace {

// 20 ms packets of the bundled speech from a plain encoder.
std::vector<TZBytes> speechPackets(size_t count) {
  return directEncode(chunksOf(speech(count * 640), 640), 16000, 1, 320);
}

// Constant-bitrate packets of exactly 40 bytes, for the framing without a header.
std::vector<TZBytes> fixedSizePackets(size_t count) {
  int error = 0;
  OpusEncoder* encoder = opus_encoder_create(16000, 1, OPUS_APPLICATION_VOIP, &error);
  opus_encoder_ctl(encoder, OPUS_SET_VBR(0));
  opus_encoder_ctl(encoder, OPUS_SET_BITRATE(16000));
  std::vector<TZBytes> packets;
  unsigned char out[1500];
  for (const auto& chunk : chunksOf(speech(count * 640), 640)) {
    const int length = opus_encode(encoder, reinterpret_cast<const opus_int16*>(chunk.data()), 320,
                                   out, sizeof out);
    packets.emplace_back(out, out + std::max(length, 0));
  }
  opus_encoder_destroy(encoder);
  return packets;
}

class OpusDecoderTest : public OpusTest {
 protected:
  std::shared_ptr<TZOpusDecoder> makeDecoder(std::shared_ptr<TZOpusFormat> format) {
    return TZOpusDecoder::initDecoder(std::move(format), recorder_);
  }
  std::shared_ptr<DecoderRecorder> recorder_ = std::make_shared<DecoderRecorder>();
};

TEST_F(OpusDecoderTest, RecordsDecodeLikeDirectOpusDecode) {
  // With the header: one call of whole records, reserved bytes ignored whatever they hold.
  const auto packets = speechPackets(100);
  auto decoder = makeDecoder(TZOpusFormat::defaultFormats());
  ASSERT_TRUE(decoder);
  const TZBytes stream = framed(packets, 0xEE);
  // The last record stays buffered when it is shorter than dataSize: send it with a record of
  // padding behind it, which is then buffered in its place.
  decoder->opusDecoderInputData(concat({stream, framed({TZBytes(20, 0)})}));
  drain(*decoder);
  EXPECT_TRUE(recorder_->errors.empty());
  EXPECT_EQ(recorder_->pcm, directDecode(packets, 16000, 1));

  // Without the header: fixed 40-byte records, here arriving in pieces of 100 bytes.
  const auto fixed = fixedSizePackets(50);
  ASSERT_TRUE(
      std::all_of(fixed.begin(), fixed.end(), [](const TZBytes& p) { return p.size() == 40; }));
  auto format = TZOpusFormat::defaultFormats();
  format->setHasDataHeader(false);
  auto plain = makeDecoder(format);
  ASSERT_TRUE(plain);
  recorder_->pcm.clear();
  const TZBytes all = concat(fixed);
  for (size_t offset = 0; offset < all.size(); offset += 100)
    plain->opusDecoderInputData(
        std::span(all).subspan(offset, std::min<size_t>(100, all.size() - offset)));
  drain(*plain);
  EXPECT_EQ(recorder_->pcm, directDecode(fixed, 16000, 1));
}

TEST_F(OpusDecoderTest, WholeRecordsMayArriveInAnyBatches) {
  const auto packets = speechPackets(30);
  const auto expected = directDecode(packets, 16000, 1);
  auto format = TZOpusFormat::defaultFormats();
  format->setDataSize(9);  // the smallest whole record: nothing waits for more input
  for (const size_t batch : {1u, 3u, 7u}) {
    recorder_->pcm.clear();
    auto decoder = makeDecoder(format);
    ASSERT_TRUE(decoder);
    for (size_t first = 0; first < packets.size(); first += batch) {
      const size_t last = std::min(first + batch, packets.size());
      decoder->opusDecoderInputData(framed({packets.begin() + static_cast<std::ptrdiff_t>(first),
                                            packets.begin() + static_cast<std::ptrdiff_t>(last)}));
    }
    drain(*decoder);
    EXPECT_EQ(recorder_->pcm, expected) << "records in batches of " << batch;
  }
}

TEST_F(OpusDecoderTest, BadPacketsAreReported) {
  auto format = TZOpusFormat::defaultFormats();
  format->setDataSize(9);
  auto decoder = makeDecoder(format);
  ASSERT_TRUE(decoder);
  // A code-3 packet without its frame count byte is malformed.
  decoder->opusDecoderInputData(framed({TZBytes{0x03}}));
  drain(*decoder);
  ASSERT_EQ(recorder_->errors.size(), 1u);
  EXPECT_EQ(recorder_->errors[0], (TZError{"opus decode error", OPUS_INVALID_PACKET, {}}));
  EXPECT_NE(logText().find("opus decode error:-4"), std::string::npos);

  // A length with the top bit set cuts an empty packet: a lost one, concealed over all the
  // 96000 samples asked for, which the output must have room for.
  TZBytes lost{0x80, 0, 0, 0, 0, 0, 0, 0};
  lost.resize(40, 0x5A);
  decoder->opusDecoderInputData(lost);
  drain(*decoder);
  ASSERT_EQ(recorder_->pcm.size(), 1u);
  EXPECT_EQ(recorder_->pcm[0].size(), 96000u * 2);
}

TEST_F(OpusDecoderTest, FileJobWritesPcmAndNeverCallsBack) {
  const auto packets = speechPackets(50);
  auto format = TZOpusFormat::defaultFormats();
  format->setDataSize(9);
  writeFile(path("in.opus"), framed(packets));
  auto decoder = makeDecoder(format);
  ASSERT_TRUE(decoder);
  // First into the default output, then into a given path, which later jobs keep using.
  int callbacks = 0;
  const auto countCallback = [&](const std::string*, const TZError*) { ++callbacks; };
  decoder->opusDecodeFile(path("in.opus"), nullptr, countCallback);
  drain(*decoder);
  const TZBytes expected = concat(directDecode(packets, 16000, 1));
  EXPECT_EQ(concat(recorder_->pcm), expected);
  EXPECT_EQ(readFile(path("opusToPcm.pcm")), expected);

  const std::string out = path("out.pcm");
  decoder->opusDecodeFile(path("in.opus"), &out, countCallback);
  drain(*decoder);
  std::filesystem::remove(out);
  decoder->opusDecodeFile(path("in.opus"), nullptr, countCallback);
  drain(*decoder);
  EXPECT_EQ(readFile(out).size(), expected.size());
  EXPECT_EQ(readFile(path("opusToPcm.pcm")), expected);
  EXPECT_EQ(callbacks, 0);

  std::optional<TZError> reported;
  decoder->opusDecodeFile(path("missing.opus"), &out,
                          [&](const std::string* outputPath, const TZError* error) {
                            EXPECT_EQ(outputPath, nullptr);
                            if (error != nullptr) reported = *error;
                          });
  ASSERT_TRUE(reported);
  EXPECT_EQ(*reported,
            (TZError{"opus file is not exist.", 0, {{"error", "opus file is not exist."}}}));
}

TEST_F(OpusDecoderTest, ResetMovesToTheNewFormat) {
  auto decoder = makeDecoder(TZOpusFormat::defaultFormats());
  ASSERT_TRUE(decoder);
  const auto fixed = fixedSizePackets(10);
  auto plain = TZOpusFormat::defaultFormats();
  plain->setHasDataHeader(false);
  decoder->resetOpusFramet(plain);
  EXPECT_EQ(decoder->opusFormat(), plain);
  decoder->opusDecoderInputData(concat(fixed));
  drain(*decoder);
  EXPECT_EQ(recorder_->pcm, directDecode(fixed, 16000, 1));

  // Opus refuses 44100 Hz: the decoder is left without a coder and reports every packet.
  auto refused = TZOpusFormat::defaultFormats();
  refused->setSampleRate(44100);
  refused->setHasDataHeader(false);
  decoder->resetOpusFramet(refused);
  EXPECT_NE(logText().find(std::string("opus_decoder_create error:") + opus_strerror(OPUS_BAD_ARG)),
            std::string::npos);
  decoder->opusDecoderInputData(concat({fixed[0], fixed[1]}));
  drain(*decoder);
  ASSERT_EQ(recorder_->errors.size(), 2u);
  EXPECT_EQ(recorder_->errors[1].domain, "opus decode error");

  EXPECT_EQ(TZOpusDecoder::initDecoder(refused, recorder_), nullptr);
}

}  // namespace
}  // namespace opus_test
