// The format descriptor's arithmetic, the decoder's byte utilities and the cutting of
// buffered input into packets.
#include <climits>

#include "opus/TZOpusFraming.h"
#include "opus_test_support.h"

namespace opus_test {
namespace {

TEST(OpusFormat, DefaultsAndFrameSize) {
  const auto format = TZOpusFormat::defaultFormats();
  EXPECT_TRUE(format->hasDataHeader());
  EXPECT_EQ(format->sampleRate(), 16000);
  EXPECT_EQ(format->channels(), 1);
  EXPECT_EQ(format->frameDuration(), 20);
  EXPECT_EQ(format->dataSize(), 40);
  EXPECT_EQ(format->frameSize(), 320);

  format->setChannels(2);
  EXPECT_EQ(format->frameSize(), 640);
  format->setSampleRate(48000);
  EXPECT_EQ(format->frameSize(), 1920);
  format->setSampleRate(8000);
  format->setChannels(1);
  format->setFrameDuration(10);
  EXPECT_EQ(format->frameSize(), 80);
  format->setFrameDuration(0);
  EXPECT_EQ(format->frameSize(), 0);
  // The rate × duration product wraps in 32 bits: 3 × 2^30 reads as -2^30.
  format->setSampleRate(1 << 30);
  format->setFrameDuration(3);
  EXPECT_EQ(format->frameSize(), -1073741);
}

TEST(OpusFramingUtilities, SubrangeEdges) {
  const TZBytes five{1, 2, 3, 4, 5};
  EXPECT_EQ(TZOpusDecoder::data(five, 1, 2), (TZBytes{2, 3}));
  EXPECT_EQ(TZOpusDecoder::data(five, 3, 10), (TZBytes{4, 5}));  // shortened to what is there
  EXPECT_EQ(TZOpusDecoder::data(five, 5, 1), std::nullopt);      // starts past the end
  EXPECT_EQ(TZOpusDecoder::data(five, 5, 0), TZBytes());         // nothing asked
  EXPECT_EQ(TZOpusDecoder::data(five, -1, 2), TZBytes());
  EXPECT_EQ(TZOpusDecoder::data(five, 0, -3), TZBytes());
  EXPECT_EQ(TZOpusDecoder::data(five, INT64_MAX, INT64_MAX), std::nullopt);
}

TEST(OpusFramingUtilities, HeaderNumbers) {
  const TZBytes ab{0x0A, 0x0B}, length300{0x00, 0x00, 0x01, 0x2C}, top{0xFF, 0xFF, 0xFF, 0xFF};
  const TZBytes empty, eightFF(8, 0xFF), manyZeros(400, 0);
  EXPECT_EQ(TZOpusDecoder::dataToInt(&ab), 2571);
  EXPECT_EQ(TZOpusDecoder::dataToInt(&length300), 300);
  EXPECT_EQ(TZOpusDecoder::dataToInt(&top), 4294967295);
  EXPECT_EQ(TZOpusDecoder::dataToInt(&empty), 0);
  EXPECT_EQ(TZOpusDecoder::dataToInt(nullptr), 0);
  EXPECT_EQ(TZOpusDecoder::dataToInt(&eightFF), INT64_MAX);  // beyond 64 bits: saturates
  EXPECT_EQ(TZOpusDecoder::dataToInt(&manyZeros), 0);        // 0 × an infinite power

  // The number is the value of the bytes' hexadecimal text, digit by digit.
  for (const TZBytes& bytes :
       {TZBytes{0x12, 0x34, 0x56, 0x78, 0x9A}, TZBytes{0x80, 0, 0, 1}, top}) {
    const std::string text = TZOpusDecoder::dataChangeToString(bytes);
    int64_t value = 0;
    for (const char digit : text)
      value = value * 16 + TZOpusDecoder::StringToInt(std::string(1, digit));
    EXPECT_EQ(TZOpusDecoder::dataToInt(&bytes), value) << text;
  }
  EXPECT_EQ(TZOpusDecoder::dataChangeToString(TZBytes{0x0A, 0xFF, 0x00, 0x7}), "0aff0007");
  EXPECT_EQ(TZOpusDecoder::dataChangeToString(TZBytes()), "");
  EXPECT_EQ(TZOpusDecoder::StringToInt("7"), 7);
  EXPECT_EQ(TZOpusDecoder::StringToInt("F"), 15);
  EXPECT_EQ(TZOpusDecoder::StringToInt("a"), 10);
  EXPECT_EQ(TZOpusDecoder::StringToInt("g"), 0);
  EXPECT_EQ(TZOpusDecoder::StringToInt(" 42x"), 42);
  EXPECT_EQ(TZOpusDecoder::StringToInt("99999999999"), INT32_MAX);
}

// Cuts what buf holds under format and returns the packets; buf keeps the uncut bytes.
std::vector<TZBytes> cut(TZBytes& buf, const TZOpusFormat& format) {
  std::vector<TZBytes> packets;
  TZOpusCutRecords(buf, format, [&](TZBytes&& packet) { packets.push_back(std::move(packet)); });
  return packets;
}

TEST(OpusFramingCut, HeaderRecordsWaitForDataSizeBytes) {
  TZOpusFormat format;
  // A 3-byte packet, then 29 bytes of the next record: fewer than 40 stay buffered.
  TZBytes buf{0, 0, 0, 3, 9, 9, 9, 9, 'p', 'q', 'r'};
  buf.resize(buf.size() + 29, 0x55);
  EXPECT_EQ(cut(buf, format), std::vector<TZBytes>{TZBytes({'p', 'q', 'r'})});
  EXPECT_EQ(buf, TZBytes(29, 0x55));

  // Only 40 bytes of a record announcing 100: cut short to 32 bytes, nothing kept; the missing
  // tail, arriving later, is read as the start of a new record.
  TZBytes partial{0, 0, 0, 100, 0, 0, 0, 0};
  partial.resize(40, 0x11);
  EXPECT_EQ(cut(partial, format), std::vector<TZBytes>{TZBytes(32, 0x11)});
  EXPECT_TRUE(partial.empty());
  TZBytes tail(68, 0x11);
  EXPECT_EQ(cut(tail, format), std::vector<TZBytes>{TZBytes(60, 0x11)});
  EXPECT_TRUE(tail.empty());
}

TEST(OpusFramingCut, FixedSizeRecords) {
  TZOpusFormat format;
  format.setHasDataHeader(false);
  TZBytes buf(100);
  for (size_t i = 0; i < buf.size(); ++i) buf[i] = static_cast<uint8_t>(i);
  const auto packets = cut(buf, format);
  ASSERT_EQ(packets.size(), 2u);
  EXPECT_EQ(packets[1].front(), 40);
  EXPECT_EQ(buf.size(), 20u);
  buf.resize(40, 0);
  EXPECT_EQ(cut(buf, format).size(), 1u);
  EXPECT_TRUE(buf.empty());
}

TEST(OpusFramingCut, LengthsWithTheTopBitSet) {
  TZOpusFormat format;
  // 0x80000000 is a negative length: an empty packet, and the rest would start before the
  // buffer, so everything buffered is dropped.
  TZBytes buf{0x80, 0, 0, 0, 0, 0, 0, 0};
  buf.resize(60, 0x33);
  EXPECT_EQ(cut(buf, format), std::vector<TZBytes>{TZBytes()});
  EXPECT_TRUE(buf.empty());

  // -4: an empty packet, and the rest starts at offset 4.
  TZBytes minus4{0xFF, 0xFF, 0xFF, 0xFC, 0, 0, 0, 0};
  minus4.resize(43, 0x44);
  EXPECT_EQ(cut(minus4, format), std::vector<TZBytes>{TZBytes()});
  EXPECT_EQ(minus4.size(), 39u);

  // -8 puts the rest at offset 0: the record consumes nothing, so cutting stops.
  TZBytes minus8{0xFF, 0xFF, 0xFF, 0xF8, 0, 0, 0, 0};
  minus8.resize(48, 0x44);
  EXPECT_TRUE(cut(minus8, format).empty());
  EXPECT_EQ(minus8.size(), 48u);
}

TEST(OpusFramingCut, DegenerateDataSizesEnd) {
  TZOpusFormat format;
  const TZBytes records = framed({TZBytes(5, 1), TZBytes(7, 2)});

  format.setDataSize(0);  // cuts whole records until nothing is left, then stops
  TZBytes buf = records;
  EXPECT_EQ(cut(buf, format).size(), 2u);
  EXPECT_TRUE(buf.empty());

  format.setHasDataHeader(false);  // a fixed size of 0 bytes never advances
  buf = records;
  EXPECT_TRUE(cut(buf, format).empty());
  EXPECT_EQ(buf, records);

  format.setDataSize(-1);  // compared unsigned: never enough bytes
  EXPECT_TRUE(cut(buf, format).empty());

  // With a header and dataSize 4, a 6-byte buffer has no packet bytes at all: nothing is
  // handed on and the fragment is dropped.
  format.setHasDataHeader(true);
  format.setDataSize(4);
  buf = {0, 0, 0, 5, 0, 0};
  EXPECT_TRUE(cut(buf, format).empty());
  EXPECT_TRUE(buf.empty());
}

}  // namespace
}  // namespace opus_test
