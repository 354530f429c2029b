// Any sound file libsndfile reads (WAV of any sample type, AIFF, FLAC, Ogg Vorbis...), held in
// memory, into raw 16-bit little-endian PCM at a command's rate and channel count: the form the
// library's classes take.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "tools/pcm_format.h"

struct SoundConversion {
  uint64_t clipped = 0;  // samples at or beyond 16-bit full scale, held at its limits
  std::string cutShort;  // why decoding stopped before the end of a damaged file, or empty
};

// Decodes file through libsndfile, mixes its channels to target.channels (mono: the average of
// all; stereo: from mono or stereo), resamples with libsoxr when the rates differ and writes
// the samples to rawOutput through libsndfile's 16-bit conversion, which clips rather than
// wraps. A damaged file is converted as far as it decodes. Nothing, with why set, when the
// bytes are not a sound file libsndfile reads, cannot be converted, or the output cannot be
// written.
std::optional<SoundConversion> convertSoundFile(std::span<const uint8_t> file, PcmFormat target,
                                                const std::string& rawOutput, std::string* why);
