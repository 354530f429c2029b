// The Opus jobs as the tool runs them, shared by the opus-encode and opus-decode commands and
// the demo: each goes through the library's public classes and drains its worker on this
// thread. On failure they print why, remove the output and return nothing.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "kestrune/TZOpusFormat.h"
#include "kestrune/TZOpusRecords.h"
#include "kestrune/TZTypes.h"

struct OpusEncodeResult {
  size_t packets = 0;
  uintmax_t bytes = 0;
  std::vector<TZBytes> kept;  // the packets, when asked for
};

// The encoder's file job on the PCM file at input, writing its packets back to back to
// output; the delegate counts them, and keeps them when keepPackets is set.
std::optional<OpusEncodeResult> encodeOpusFile(const std::string& input, const std::string& output,
                                               std::shared_ptr<TZOpusFormat> format,
                                               bool keepPackets);

struct OpusDecodeResult {
  size_t packets = 0;
  uintmax_t bytes = 0;    // PCM written
  TZOpusRecordWalk walk;  // the whole records of the stream, and what was left over
};

// Decodes the whole records of stream (framed as format says) and writes the PCM of each to
// output as it is delivered (a WAV or FLAC file when output's extension says so). A stream without
// one whole record fails.
std::optional<OpusDecodeResult> decodeOpusRecords(const TZBytes& stream, const std::string& input,
                                                  const std::string& output,
                                                  std::shared_ptr<TZOpusFormat> format);
