// The decoder's byte utilities for the record framing. They touch no decoder state, so they
// live apart from the coder and the worker.
#include <algorithm>
#include <cctype>
#include <climits>
#include <cmath>
#include <cstdio>

#include "kestrune/TZOpusDecoder.h"

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
