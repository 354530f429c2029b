// Where decoded PCM goes: a WAV or FLAC file of 16-bit samples, written through libsndfile, when
// the output's extension asks for one; raw 16-bit little-endian PCM otherwise.
#pragma once

#include <sndfile.h>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "tools/pcm_format.h"

class PcmWriter {
 public:
  // Opens (truncates) path for PCM of format; on failure prints why and returns nullptr.
  static std::unique_ptr<PcmWriter> open(const std::string& path, PcmFormat format);
  ~PcmWriter();
  PcmWriter(const PcmWriter&) = delete;
  PcmWriter& operator=(const PcmWriter&) = delete;

  // Appends samples, as the library's little-endian bytes or as numbers; false on a write
  // error.
  bool write(std::span<const uint8_t> pcm);
  bool write(std::span<const int16_t> samples);
  // Finishes the file (libsndfile completes its header here); false when any write failed.
  bool close();

 private:
  PcmWriter(std::FILE* raw, SNDFILE* sound) : raw_(raw), sound_(sound) {}
  std::FILE* raw_;
  SNDFILE* sound_;
  std::vector<int16_t> samples_;  // the bytes as samples, for libsndfile
  bool failed_ = false;
};

// Writes a whole PCM file, as PcmWriter names its container; on failure prints why, leaves no
// file behind and returns false.
bool writePcmFile(const std::string& path, PcmFormat format, std::span<const int16_t> samples);
