// The raw 16-bit PCM file a codec job reads: the library's classes take their input by path.
#pragma once

#include <optional>
#include <string>

#include "tools/pcm_format.h"

class PcmInput {
 public:
  // Raw PCM (.pcm, .raw or no extension) is used where it lies, taken to be in format. Any
  // other input is read through libsndfile and converted to format in a temporary raw file,
  // removed with this object; samples clipped on the way are reported in one warning line, a
  // damaged file converted as far as it decodes in another.
  // Nothing, after printing why, when the input cannot be used.
  static std::optional<PcmInput> open(const std::string& input, PcmFormat format);

  ~PcmInput();
  PcmInput(PcmInput&& other) noexcept;
  PcmInput(const PcmInput&) = delete;
  PcmInput& operator=(const PcmInput&) = delete;
  PcmInput& operator=(PcmInput&&) = delete;

  const std::string& path() const { return path_; }

 private:
  PcmInput(std::string path, bool temporary) : path_(std::move(path)), temporary_(temporary) {}
  std::string path_;
  bool temporary_;
};
