// Cutting of the decoder's buffered input into Opus packets (record framing of
// TZOpusFormat); the stored-stream side is in kestrune/TZOpusRecords.h.
#pragma once

#include <functional>

#include "kestrune/TZOpusFormat.h"
#include "kestrune/TZOpusRecords.h"
#include "kestrune/TZTypes.h"

// Cuts records off the front of buffer while it holds at least the format's dataSize bytes,
// reading the format afresh for every record, and hands each packet to onPacket in stream
// order. The buffer keeps only what was not cut. A record still incomplete when cut is cut
// short: its packet is what has arrived, and its missing tail will start the next record.
void TZOpusCutRecords(TZBytes& buffer, const TZOpusFormat& format,
                      const std::function<void(TZBytes&& packet)>& onPacket);
