// The tool's delegate for the decoders: each delivered PCM block is appended to the output
// file as it arrives on the main queue, so the PCM is written once, in delivery order, and
// never held in memory.
#pragma once

#include <cstdio>
#include <memory>
#include <string>

#include "kestrune/TZOpusDecoder.h"
#include "kestrune/TZSpeexDecoder.h"

class DecodedSink : public TZOpusDecoderDelegate, public TZSpeexDelegate {
 public:
  // Opens (truncates) path for writing; on failure prints why and returns nullptr.
  static std::shared_ptr<DecodedSink> open(const std::string& path);
  ~DecodedSink() override;

  void opusDecoder(TZOpusDecoder&, const TZBytes* Data, const TZError* error) override;
  void speexDecoder(TZSpeexDecoder&, const TZBytes* Data, const TZError* error) override;

  // Flushes and closes the file; false when any write failed.
  bool close();

  size_t blocks() const { return blocks_; }
  uintmax_t bytes() const { return bytes_; }
  size_t errors() const { return errors_; }
  const TZError& lastError() const { return lastError_; }

 private:
  DecodedSink(std::FILE* file, std::string path) : file_(file), path_(std::move(path)) {}
  void take(const TZBytes* Data, const TZError* error);

  std::FILE* file_;
  std::string path_;
  bool writeFailed_ = false;
  size_t blocks_ = 0;
  uintmax_t bytes_ = 0;
  size_t errors_ = 0;
  TZError lastError_;
};
