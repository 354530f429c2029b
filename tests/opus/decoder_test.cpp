#include "opus_test_support.h"

namespace opus_test {

class OpusDecoderTest : public OpusTest {
 protected:
  std::shared_ptr<TZOpusDecoder> makeDecoder(int32_t dataSize = 40) {
    auto format = TZOpusFormat::defaultFormats();
    format->setDataSize(dataSize);
    return TZOpusDecoder::initDecoder(format, recorder_);
  }
};

TEST_F(OpusDecoderTest, BothFramingsDecodeLikeDirectOpusDecode) {
  // No header: records of 160 bytes (packets padded by Opus) split across calls of 100 bytes.
  auto decoder = makeDecoder();
  ASSERT_TRUE(decoder);
  auto fixed = speechPackets(50);
  for (auto& packet : fixed) {
    const auto length = static_cast<opus_int32>(packet.size());
    packet.resize(160);
    ASSERT_EQ(opus_packet_pad(packet.data(), length, 160), OPUS_OK);
  }
  auto plain = TZOpusFormat::defaultFormats();
  plain->setHasDataHeader(false);
  plain->setDataSize(160);
  decoder->resetOpusFramet(plain);
  const TZBytes all = concat(fixed);
  for (size_t at = 0; at < all.size(); at += 100)
    decoder->opusDecoderInputData(std::span(all).subspan(at, 100));
  drain(*decoder);
  EXPECT_EQ(recorder_->data, directDecode(fixed));

  // Back to the header with a fresh coder; reserved bytes hold anything. The last record waits
  // while shorter than dataSize: a padding record pushes it through.
  const auto packets = speechPackets(100);
  decoder->resetOpusFramet(TZOpusFormat::defaultFormats());
  recorder_->data.clear();
  decoder->opusDecoderInputData(TZOpusFrameRecords({packets.begin(), packets.begin() + 40}, 0xEE));
  decoder->opusDecoderInputData(TZOpusFrameRecords({packets.begin() + 40, packets.end()}, 0xEE));
  decoder->opusDecoderInputData(TZOpusFrameRecords({TZBytes(20, 0)}));
  drain(*decoder);
  EXPECT_EQ(recorder_->data, directDecode(packets));

  // Opus refuses 44100 Hz: the decoder is left without a coder and reports every packet.
  auto refused = TZOpusFormat::defaultFormats();
  refused->setSampleRate(44100);
  decoder->resetOpusFramet(refused);
  EXPECT_TRUE(logged(std::string("opus_decoder_create error:") + opus_strerror(OPUS_BAD_ARG)));
  decoder->opusDecoderInputData(TZOpusFrameRecords({packets[0], packets[1]}));
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

  // A top-bit length cuts an empty packet: a lost one, concealed over all 96000 samples.
  decoder->opusDecoderInputData(TZBytes{0x80, 0, 0, 0, 0, 0, 0, 0, 0});
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
  decoder->opusDecodeFile(path("in.opus"), nullptr, [&](auto*, auto*) { ++callbacks; });
  drain(*decoder);
  EXPECT_EQ(readFile(path("opusToPcm.pcm")), concat(directDecode(packets)));
  EXPECT_EQ(callbacks, 0);
}

}  // namespace opus_test
