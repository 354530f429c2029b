// Cutting of the decoder's buffered input into Opus packets (record framing of
// TZOpusFormat).
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "kestrune/TZOpusFormat.h"
#include "kestrune/TZTypes.h"

// The length of a record's data header: 4-byte big-endian length, 4 reserved bytes.
inline constexpr int32_t kOpusRecordHeaderSize = 8;

// Cuts records off the front of buffer while it holds at least the format's dataSize bytes,
// reading the format afresh for every record, and hands each packet to onPacket in stream
// order. The buffer keeps only what was not cut. A record still incomplete when cut is cut
// short: its packet is what has arrived, and its missing tail will start the next record.
void TZOpusCutRecords(TZBytes& buffer, const TZOpusFormat& format,
                      const std::function<void(TZBytes&& packet)>& onPacket);

// How much of a stored stream is whole records, as the format frames them: fixed-size packets
// of dataSize bytes, or records of an 8-byte header and the packet it announces. What follows
// the last whole record (a record cut short, a header announcing a packet of 0 bytes or
// fewer, a stray tail) is left over; a decoder fed only the whole part cuts every record
// exactly.
struct TZOpusRecordWalk {
  size_t records = 0;     // whole records
  size_t wholeBytes = 0;  // bytes of the whole records, from the start of the stream
  size_t leftOver = 0;    // bytes after them
  // Why the left-over bytes are not a record: "" when there are none.
  std::string why;
};
TZOpusRecordWalk TZOpusWalkRecords(std::span<const uint8_t> stream, const TZOpusFormat& format);

// The records of a header-framed stream for packets, in order: each packet preceded by its
// length (4 bytes, big-endian) and 4 reserved bytes, all set to reservedByte.
TZBytes TZOpusFrameRecords(const std::vector<TZBytes>& packets, uint8_t reservedByte = 0);
