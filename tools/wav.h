// The RIFF/WAVE container: a reader, enough to take 16-bit PCM out of it, and a writer of
// 16-bit PCM.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

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

// A whole 16-bit PCM .wav file: the 44-byte header (RIFF, fmt and data chunks) and the samples,
// little-endian, interleaved when there are several channels.
std::vector<uint8_t> makeWav(std::span<const int16_t> samples, int sampleRate, int channels);
