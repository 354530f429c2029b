// A reader for the RIFF/WAVE container, enough to take 16-bit PCM out of it.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

struct WavInfo {
  int formatTag = 0;  // 1 for PCM
  int channels = 0;
  int sampleRate = 0;
  int bitsPerSample = 0;
  size_t dataOffset = 0;  // where the data chunk's bytes start in the file
  size_t dataSize = 0;    // clamped to the bytes actually present
};

// True when the bytes start like a RIFF/WAVE file.
bool looksLikeWav(std::span<const uint8_t> bytes);

// Parses the chunk list; nothing when the file is malformed or has no fmt or data chunk.
std::optional<WavInfo> parseWav(std::span<const uint8_t> bytes, std::string* why);
