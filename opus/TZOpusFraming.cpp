// The record framing: cutting buffered input into packets, walking stored streams, making
// records, and the decoder's byte utilities that read the header.
#include "opus/TZOpusFraming.h"

#include <algorithm>
#include <cctype>
#include <climits>
#include <cmath>
#include <cstdio>
#include <optional>
#include <span>

#include "kestrune/TZOpusDecoder.h"

namespace {

// Where the rest of the buffer lies after one record, as an offset and length relative to
// the uncut bytes. It follows TZOpusDecoder::data: an empty or null rest is length 0.
struct Rest {
  int64_t offset = 0;
  int64_t length = 0;
};

Rest restOf(int64_t available, int64_t offset, int64_t length) {
  if (offset < 0 || length < 1 || offset >= available) return {};
  return {offset, std::min(length, available - offset)};
}

}  // namespace

void TZOpusCutRecords(TZBytes& buffer, const TZOpusFormat& format,
                      const std::function<void(TZBytes&& packet)>& onPacket) {
  // The uncut bytes are the window [begin, begin + size) of buffer; the buffer itself is
  // trimmed once at the end instead of being copied after every record.
  size_t begin = 0;
  size_t size = buffer.size();
  for (;;) {
    const int32_t dataSize = format.dataSize();
    // dataSize is sign-extended and compared unsigned: a negative one never cuts.
    if (size < static_cast<uint64_t>(static_cast<int64_t>(dataSize))) break;
    const std::span<const uint8_t> uncut(buffer.data() + begin, size);
    const auto available = static_cast<int64_t>(size);

    std::optional<TZBytes> packet;
    Rest rest;
    if (format.hasDataHeader()) {
      const auto header = TZOpusDecoder::data(uncut, 0, 4);
      // The header's 32 bits taken as a signed length: the top bit makes it negative.
      const auto length =
          static_cast<int32_t>(TZOpusDecoder::dataToInt(header ? &*header : nullptr));
      packet = TZOpusDecoder::data(uncut, kOpusRecordHeaderSize, length);
      // The rest starts at length + 8 computed in 32 bits (wrapping), so a negative length
      // puts it before the buffer (nothing left) or, for -8, at its start.
      const auto restOffset =
          static_cast<int32_t>(static_cast<uint32_t>(length) + kOpusRecordHeaderSize);
      rest = restOf(available, restOffset, available - length - kOpusRecordHeaderSize);
    } else {
      packet = TZOpusDecoder::data(uncut, 0, dataSize);
      rest = restOf(available, dataSize, available - dataSize);
    }

    // A record that consumes nothing (dataSize 0, or a header length of -8) would be cut
    // again and again: stop instead of looping without end.
    if (rest.length >= available) break;
    begin += static_cast<size_t>(rest.offset);
    size = static_cast<size_t>(rest.length);
    // A packet that lies wholly past the buffered bytes is nothing: no packet to hand on.
    if (packet) onPacket(std::move(*packet));
  }
  if (begin != 0 || size != buffer.size()) {
    buffer.erase(buffer.begin() + static_cast<std::ptrdiff_t>(begin + size), buffer.end());
    buffer.erase(buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(begin));
  }
}

TZOpusRecordWalk TZOpusWalkRecords(std::span<const uint8_t> stream, const TZOpusFormat& format) {
  TZOpusRecordWalk walk;
  const auto at = [&] { return "the record at byte " + std::to_string(walk.wholeBytes); };
  while (walk.wholeBytes < stream.size()) {
    const size_t remaining = stream.size() - walk.wholeBytes;
    size_t recordBytes = 0;
    if (!format.hasDataHeader()) {
      recordBytes = static_cast<size_t>(std::max(format.dataSize(), 0));
      if (recordBytes == 0) {
        walk.why = "records of " + std::to_string(format.dataSize()) + " bytes cut nothing";
        break;
      }
      if (remaining < recordBytes) {
        walk.why = at() + " is " + std::to_string(remaining) + " of " +
                   std::to_string(recordBytes) + " bytes";
        break;
      }
    } else {
      if (remaining < kOpusRecordHeaderSize) {
        walk.why = at() + " has no complete header";
        break;
      }
      const auto header = TZOpusDecoder::data(stream, static_cast<int64_t>(walk.wholeBytes), 4);
      const auto length =
          static_cast<int32_t>(TZOpusDecoder::dataToInt(header ? &*header : nullptr));
      if (length < 1) {
        walk.why = at() + " announces a packet of " + std::to_string(length) + " bytes";
        break;
      }
      recordBytes = kOpusRecordHeaderSize + static_cast<size_t>(length);
      if (remaining < recordBytes) {
        walk.why = at() + " announces " + std::to_string(length) + " bytes of packet but only " +
                   std::to_string(remaining - kOpusRecordHeaderSize) + " follow";
        break;
      }
    }
    walk.wholeBytes += recordBytes;
    ++walk.records;
  }
  walk.leftOver = stream.size() - walk.wholeBytes;
  return walk;
}

TZBytes TZOpusFrameRecords(const std::vector<TZBytes>& packets, uint8_t reservedByte) {
  TZBytes records;
  for (const auto& packet : packets) {
    const auto n = static_cast<uint32_t>(packet.size());
    records.insert(records.end(), {uint8_t(n >> 24), uint8_t(n >> 16), uint8_t(n >> 8), uint8_t(n),
                                   reservedByte, reservedByte, reservedByte, reservedByte});
    records.insert(records.end(), packet.begin(), packet.end());
  }
  return records;
}

std::optional<TZBytes> TZOpusDecoder::data(std::span<const uint8_t> D, int64_t R, int64_t L) {
  if (R < 0 || L < 1) return TZBytes();
  const auto size = static_cast<int64_t>(D.size());
  if (R >= size) return std::nullopt;
  if (L > size - R) L = size - R;
  const auto first = D.begin() + static_cast<std::ptrdiff_t>(R);
  return TZBytes(first, first + static_cast<std::ptrdiff_t>(L));
}

int64_t TZOpusDecoder::dataToInt(const TZBytes* data) {
  if (data == nullptr) return 0;
  // Up to six bytes the digit-by-digit double sum below is exact, so it equals the bytes read
  // as one big-endian number: the common case, every record header, takes that short way.
  if (data->size() <= 6) {
    int64_t value = 0;
    for (const uint8_t byte : *data) value = (value << 8) | byte;
    return value;
  }
  // The value of the bytes' hexadecimal text (dataChangeToString), summed digit by digit in
  // double precision with powers of 16: exact for up to 13 bytes, which covers the 4-byte
  // header. The digits are taken from the nibbles directly rather than from the text.
  const auto digits = static_cast<int64_t>(data->size()) * 2;
  double sum = 0;
  for (int64_t i = 0; i < digits; ++i) {
    const uint8_t byte = (*data)[static_cast<size_t>(i / 2)];
    const int digit = i % 2 == 0 ? byte >> 4 : byte & 0x0F;
    // Any exponent past 2000 already gives an infinite power.
    const auto exponent = static_cast<int>(std::min<int64_t>(4 * (digits - 1 - i), 2000));
    sum += digit * std::ldexp(1.0, exponent);
  }
  // Converting a double outside the 64-bit range is undefined in C++: saturate instead, and
  // take a sum spoiled by an infinite power (0 × inf) as 0.
  if (std::isnan(sum)) return 0;
  if (sum >= 9223372036854775808.0) return INT64_MAX;
  return static_cast<int64_t>(sum);
}

std::string TZOpusDecoder::dataChangeToString(std::span<const uint8_t> data) {
  std::string text;
  text.reserve(data.size() * 2);
  char digits[3];
  for (const uint8_t byte : data) {
    std::snprintf(digits, sizeof digits, "%02x", byte);
    text += digits;
  }
  return text;
}

int32_t TZOpusDecoder::StringToInt(const std::string& text) {
  if (text.size() == 1) {
    const int lower = std::tolower(static_cast<unsigned char>(text[0]));
    if (lower >= 'a' && lower <= 'f') return lower - 'a' + 10;
  }
  // The leading decimal integer: blanks skipped, an optional sign, digits, saturating at the
  // 32-bit limits; 0 when there is none.
  size_t i = 0;
  while (i < text.size() && std::isspace(static_cast<unsigned char>(text[i]))) ++i;
  bool negative = false;
  if (i < text.size() && (text[i] == '+' || text[i] == '-')) negative = text[i++] == '-';
  int64_t value = 0;
  for (; i < text.size() && std::isdigit(static_cast<unsigned char>(text[i])); ++i)
    value = std::min<int64_t>(value * 10 + (text[i] - '0'), int64_t{INT32_MAX} + 1);
  if (negative) return static_cast<int32_t>(-value);
  return static_cast<int32_t>(std::min<int64_t>(value, INT32_MAX));
}
