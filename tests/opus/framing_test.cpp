#include <optional>
#include <tuple>

#include "opus_test_support.h"

namespace opus_test {

TEST(OpusFramingUtilities, SubrangesAndNumbers) {
  // L bytes from R: empty for R < 0 or L < 1, null from the end on, else shortened to fit.
  const TZBytes five{1, 2, 3, 4, 5};
  const std::tuple<int64_t, int64_t, std::optional<TZBytes>> ranges[] = {
      {3, 10, TZBytes{4, 5}},
      {5, 1, std::nullopt},
      {5, 0, TZBytes()},
      {-1, 2, TZBytes()},
      {INT64_MAX, INT64_MAX, std::nullopt}};
  for (const auto& [offset, length, expected] : ranges)
    EXPECT_EQ(TZOpusDecoder::data(five, offset, length), expected) << offset << "+" << length;

  // Big-endian, unsigned, saturating past 64 bits.
  const std::pair<TZBytes, int64_t> numbers[] = {
      {{0x0A, 0x0B}, 2571}, {{0x80, 0, 0, 1}, 2147483649}, {{}, 0}, {TZBytes(8, 0xFF), INT64_MAX}};
  for (const auto& [bytes, value] : numbers)
    EXPECT_EQ(TZOpusDecoder::dataToInt(&bytes), value) << TZOpusDecoder::dataChangeToString(bytes);
  EXPECT_EQ(TZOpusDecoder::dataToInt(nullptr), 0);
  // One hexadecimal digit, or the leading decimal number, saturated; 0 for anything else.
  std::vector<int32_t> digits;
  for (const char* text : {"7", "F", "a", "g", " 42x", "99999999999"})
    digits.push_back(TZOpusDecoder::StringToInt(text));
  EXPECT_EQ(digits, (std::vector<int32_t>{7, 15, 10, 0, 42, INT32_MAX}));
}

TEST(OpusFramingCut, CutsWhileDataSizeBytesAreBuffered) {
  const auto padded = [](TZBytes head, size_t size, uint8_t fill) {
    head.resize(size, fill);
    return head;
  };
  const TZBytes two = TZOpusFrameRecords({TZBytes(5, 1), TZBytes(7, 2)});
  const TZBytes minus8 = padded({0xFF, 0xFF, 0xFF, 0xF8}, 48, 4);
  const std::tuple<bool, int32_t, TZBytes, std::vector<TZBytes>, TZBytes> cases[] = {
      // A record, then fewer than dataSize bytes of the next, which wait.
      {true, 40, padded({0, 0, 0, 3, 9, 9, 9, 9, 1, 2, 3}, 40, 5), {{1, 2, 3}}, TZBytes(29, 5)},
      // Records split across calls: cut short to what has arrived, the tail read as a record.
      {true, 40, padded({0, 0, 0, 100}, 40, 1), {TZBytes(32, 1)}, {}},
      {false, 40, padded(TZBytes(40, 1), 100, 2), {TZBytes(40, 1), TZBytes(40, 2)}, TZBytes(20, 2)},
      // Lengths with the top bit set cut an empty packet, and the rest starts length + 8 on:
      // before the buffer (all dropped), at 4, or at 0, where no progress ends the cutting.
      {true, 40, padded({0x80, 0, 0, 0}, 60, 3), {TZBytes()}, {}},
      {true, 40, padded({0xFF, 0xFF, 0xFF, 0xFC}, 43, 4), {TZBytes()}, TZBytes(39, 4)},
      {true, 40, minus8, {}, minus8},
      // dataSize 0 cuts whole records until none is left; a fixed size of 0 never advances;
      // -1, compared unsigned, is never reached; a fragment without packet bytes is dropped.
      {true, 0, two, {TZBytes(5, 1), TZBytes(7, 2)}, {}},
      {false, 0, two, {}, two},
      {true, -1, two, {}, two},
      {true, 4, {0, 0, 0, 5, 0, 0}, {}, {}}};
  for (size_t i = 0; i < std::size(cases); ++i) {
    const auto& [hasDataHeader, dataSize, buffered, packets, kept] = cases[i];
    TZOpusFormat format;
    format.setHasDataHeader(hasDataHeader);
    format.setDataSize(dataSize);
    TZBytes buffer = buffered;
    std::vector<TZBytes> cut;
    TZOpusCutRecords(buffer, format, [&](TZBytes&& packet) { cut.push_back(packet); });
    EXPECT_EQ(cut, packets) << "case " << i;
    EXPECT_EQ(buffer, kept) << "case " << i;
  }
}

TEST(OpusFramingWalk, WholeRecordsEndAtTheFirstThatIsNot) {
  const TZBytes two = TZOpusFrameRecords({TZBytes(5, 1), TZBytes(7, 2)});  // 13 + 15 bytes
  const auto with = [](TZBytes head, std::initializer_list<uint8_t> tail) {
    head.insert(head.end(), tail);
    return head;
  };
  const std::tuple<bool, int32_t, TZBytes, size_t, size_t> cases[] = {
      {true, 9, two, 2, 28},
      {true, 9, TZBytes(two.begin(), two.end() - 1), 1, 13},        // last packet one byte short
      {true, 9, with(two, {0, 0, 0}), 2, 28},                       // a header cut short
      {true, 9, with(two, {0, 0, 0, 0, 0, 0, 0, 0, 7}), 2, 28},     // announces 0 bytes
      {true, 9, with(two, {0xFF, 0, 0, 1, 0, 0, 0, 0, 7}), 2, 28},  // announces a negative length
      {false, 10, TZBytes(43, 0), 4, 40},                           // 3 stray bytes
      {false, 0, two, 0, 0}};
  for (size_t i = 0; i < std::size(cases); ++i) {
    const auto& [hasDataHeader, dataSize, stream, records, wholeBytes] = cases[i];
    TZOpusFormat format;
    format.setHasDataHeader(hasDataHeader);
    format.setDataSize(dataSize);
    const TZOpusRecordWalk walk = TZOpusWalkRecords(stream, format);
    EXPECT_EQ(std::tie(walk.records, walk.wholeBytes), std::tie(records, wholeBytes))
        << "case " << i;
    EXPECT_EQ(walk.leftOver, stream.size() - wholeBytes) << "case " << i;
    EXPECT_EQ(walk.why.empty(), walk.leftOver == 0) << "case " << i;
  }
}

}  // namespace opus_test
