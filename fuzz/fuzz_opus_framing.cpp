// The Opus decoder's record cutting on arbitrary bytes, delivered in arbitrary pieces under
// arbitrary framings: it must end, never read outside the buffer, and never hand on more
// bytes than it was given.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string>

#include "kestrune/TZOpusDecoder.h"
#include "opus/TZOpusFraming.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 6) return 0;
  // Byte 0: framing switches (bit 0 the header at the start; bit 1 flip it between pieces);
  // bytes 1-4: dataSize, any 32-bit value; byte 5: piece length; the rest: the stream.
  const uint8_t switches = data[0];
  int32_t dataSize = 0;
  std::memcpy(&dataSize, data + 1, sizeof dataSize);
  const size_t pieceLength = data[5] + 1u;
  const std::span<const uint8_t> stream(data + 6, size - 6);

  TZOpusFormat format;
  format.setHasDataHeader((switches & 1) != 0);
  format.setDataSize(dataSize);
  TZBytes buffer;
  size_t fed = 0, handedOn = 0;
  for (size_t offset = 0; offset < stream.size(); offset += pieceLength) {
    const auto piece = stream.subspan(offset, std::min(pieceLength, stream.size() - offset));
    buffer.insert(buffer.end(), piece.begin(), piece.end());
    fed += piece.size();
    TZOpusCutRecords(buffer, format, [&](TZBytes&& packet) { handedOn += packet.size(); });
    if (handedOn + buffer.size() > fed) std::abort();
    if ((switches & 2) != 0) format.setHasDataHeader(!format.hasDataHeader());
  }

  // The utilities on the same bytes.
  const TZBytes bytes(stream.begin(), stream.end());
  TZOpusDecoder::dataToInt(&bytes);
  const auto range = TZOpusDecoder::data(stream, dataSize, static_cast<int64_t>(switches) - 64);
  if (range && range->size() > stream.size()) std::abort();
  TZOpusDecoder::StringToInt(
      std::string(stream.begin(), stream.begin() + std::min<size_t>(stream.size(), 12)));
  return 0;
}
