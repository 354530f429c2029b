// The tool's delegate for the decoders: each delivered PCM block is appended to the output
// file as it arrives on the main queue, so the PCM is written once, in delivery order, and
// never held in memory.
#pragma once

#include <memory>
#include <string>

#include "kestrune/TZOpusDecoder.h"
#include "kestrune/TZSpeexDecoder.h"
#include "tools/pcm_writer.h"

class DecodedSink : public TZOpusDecoderDelegate, public TZSpeexDelegate {
 public:
  // Opens (truncates) path for PCM of format: a WAV or FLAC file when its extension says so,
  // raw otherwise. On failure prints why and returns nullptr.
  static std::shared_ptr<DecodedSink> open(const std::string& path, PcmFormat format);

  void opusDecoder(TZOpusDecoder&, const TZBytes* Data, const TZError* error) override;
  void speexDecoder(TZSpeexDecoder&, const TZBytes* Data, const TZError* error) override;

  // Finishes the file; false when any write failed.
  bool close() { return writer_->close(); }

  size_t blocks() const { return blocks_; }
  uintmax_t bytes() const { return bytes_; }
  size_t errors() const { return errors_; }
  const TZError& lastError() const { return lastError_; }

 private:
  explicit DecodedSink(std::unique_ptr<PcmWriter> writer) : writer_(std::move(writer)) {}
  void take(const TZBytes* Data, const TZError* error);

  std::unique_ptr<PcmWriter> writer_;
  size_t blocks_ = 0;
  uintmax_t bytes_ = 0;
  size_t errors_ = 0;
  TZError lastError_;
};
