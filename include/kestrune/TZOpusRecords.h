// Opus record framing of stored streams: what a file of records holds, and records made from
// packets. A record is an 8-byte header (the packet's length, 4 bytes big-endian, then 4
// reserved bytes) followed by the packet; without headers, records are packets of the
// format's fixed dataSize.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "kestrune/TZOpusFormat.h"
#include "kestrune/TZTypes.h"
#include "kestrune/kestrune_export.h"

// The length of a record's data header: 4-byte big-endian length, 4 reserved bytes.
inline constexpr int32_t kOpusRecordHeaderSize = 8;

// How much of a stored stream is whole records, as the format frames them. What follows the
// last whole record (a record cut short, a header announcing a packet of 0 bytes or fewer, a
// stray tail) is left over; a decoder fed only the whole part cuts every record exactly.
struct TZOpusRecordWalk {
  size_t records = 0;     // whole records
  size_t wholeBytes = 0;  // bytes of the whole records, from the start of the stream
  size_t leftOver = 0;    // bytes after them
  // Why the left-over bytes are not a record: empty when there are none.
  std::string why;
};
KESTRUNE_API TZOpusRecordWalk TZOpusWalkRecords(std::span<const uint8_t> stream,
                                                const TZOpusFormat& format);

// The header-framed records of packets, in order, the reserved bytes set to reservedByte.
KESTRUNE_API TZBytes TZOpusFrameRecords(const std::vector<TZBytes>& packets,
                                        uint8_t reservedByte = 0);
