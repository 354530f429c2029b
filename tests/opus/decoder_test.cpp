// The decoder against the same libopus calls made directly, in both framings and file mode.
#include "opus_test_support.h"

namespace opus_test {
namespace {

class OpusDecoderTest : public OpusTest {
 protected:
  std::shared_ptr<TZOpusDecoder> makeDecoder(int32_t dataSize = 40) {
    auto format = TZOpusFormat::defaultFormats();
    format->setDataSize(dataSize);
    return TZOpusDecoder::initDecoder(format, recorder_);
  }
  std::shared_ptr<Recorder> recorder_ = std::make_shared<Recorder>();
};

TEST_F(OpusDecoderTest, BothFramingsDecodeLikeDirectOpusDecode) {
  // Reset to fixed 40-byte records, fed in pieces of 100 bytes: records split across calls.
  auto decoder = makeDecoder();
  ASSERT_TRUE(decoder);
  const auto fixed = speechPackets(50, true);
  ASSERT_TRUE(std::all_of(fixed.begin(), fixed.end(), [](auto& p) { return p.size() == 40; }));
  auto plain = TZOpusFormat::defaultFormats();
  plain->setHasDataHeader(false);
  decoder->resetOpusFramet(plain);
  EXPECT_EQ(decoder->opusFormat(), plain);
  const TZBytes all = concat(fixed);
  for (size_t at = 0; at < all.size(); at += 100)
    decoder->opusDecoderInputData(
        std::span(all).subspan(at, std::min<size_t>(100, all.size() - at)));
  drain(*decoder);
  EXPECT_EQ(recorder_->data, directDecode(fixed));

  // Back to the header with a fresh coder, in two calls of whole records whose reserved bytes
  // hold anything. The last record waits while shorter than dataSize: a padding record pushes
  // it through.
  const auto packets = speechPackets(100);
  decoder->resetOpusFramet(TZOpusFormat::defaultFormats());
  recorder_->data.clear();
  decoder->opusDecoderInputData(TZOpusFrameRecords({packets.begin(), packets.begin() + 40}, 0xEE));
  decoder->opusDecoderInputData(TZOpusFrameRecords({packets.begin() + 40, packets.end()}, 0xEE));
  decoder->opusDecoderInputData(TZOpusFrameRecords({TZBytes(20, 0)}));
  drain(*decoder);
  EXPECT_TRUE(recorder_->errors.empty());
  EXPECT_EQ(recorder_->data, directDecode(packets));

  // Opus refuses 44100 Hz: the decoder is left without a coder and reports every packet.
  auto refused = TZOpusFormat::defaultFormats();
  refused->setSampleRate(44100);
  refused->setHasDataHeader(false);
  decoder->resetOpusFramet(refused);
  EXPECT_TRUE(logged(std::string("opus_decoder_create error:") + opus_strerror(OPUS_BAD_ARG)));
  decoder->opusDecoderInputData(concat({fixed[0], fixed[1]}));
  drain(*decoder);
  EXPECT_EQ(recorder_->errors,
            std::vector<TZError>(2, {"opus decode error", OPUS_INVALID_STATE, {}}));
  EXPECT_EQ(TZOpusDecoder::initDecoder(refused, recorder_), nullptr);
}

TEST_F(OpusDecoderTest, BadPacketsAreReported) {
  auto decoder = makeDecoder(9);
  ASSERT_TRUE(decoder);
  // A code-3 packet without its frame count byte is malformed.
  decoder->opusDecoderInputData(TZOpusFrameRecords({TZBytes{0x03}}));
  drain(*decoder);
  EXPECT_EQ(recorder_->errors,
            std::vector<TZError>(1, {"opus decode error", OPUS_INVALID_PACKET, {}}));
  EXPECT_TRUE(logged("opus decode error:-4"));

  // A length with the top bit set cuts an empty packet: a lost one, concealed over all the
  // 96000 samples asked for, which the output must have room for.
  TZBytes lost{0x80, 0, 0, 0, 0, 0, 0, 0};
  lost.resize(40, 0x5A);
  decoder->opusDecoderInputData(lost);
  drain(*decoder);
  ASSERT_EQ(recorder_->data.size(), 1u);
  EXPECT_EQ(recorder_->data[0].size(), 96000u * 2);
}

TEST_F(OpusDecoderTest, FileJobWritesPcmAndNeverCallsBack) {
  const auto packets = speechPackets(50);
  writeFile(path("in.opus"), TZOpusFrameRecords(packets));
  auto decoder = makeDecoder(9);
  ASSERT_TRUE(decoder);
  int callbacks = 0;
  const auto countCallback = [&](const std::string*, const TZError*) { ++callbacks; };
  decoder->opusDecodeFile(path("in.opus"), nullptr, countCallback);
  drain(*decoder);
  const TZBytes expected = concat(directDecode(packets));
  EXPECT_EQ(concat(recorder_->data), expected);
  EXPECT_EQ(readFile(path("opusToPcm.pcm")), expected);

  // A given path is kept for later jobs. The coder runs on from job to job: sizes compare.
  const std::string out = path("out.pcm");
  decoder->opusDecodeFile(path("in.opus"), &out, countCallback);
  drain(*decoder);
  std::filesystem::remove(out);
  decoder->opusDecodeFile(path("in.opus"), nullptr, countCallback);
  drain(*decoder);
  EXPECT_EQ(readFile(out).size(), expected.size());
  EXPECT_EQ(readFile(path("opusToPcm.pcm")), expected);
  EXPECT_EQ(callbacks, 0);
}

}  // namespace
}  // namespace opus_test
