// Value types shared by every public class: byte buffers, errors and completion callbacks.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

// A byte buffer. PCM crosses the interface as signed 16-bit little-endian samples.
using TZBytes = std::vector<uint8_t>;

// An error report. The domain carries the message text itself ("opus encode error"); the
// code is 0 or the codec library's negative error code; userInfo, when present, holds the
// same text under the key "error".
struct TZError {
  std::string domain;
  int64_t code = 0;
  std::map<std::string, std::string> userInfo;

  bool operator==(const TZError&) const = default;
};

// Completion of a file job: the output path on success, or null and an error.
using TZCompletion = std::function<void(const std::string* outputPath, const TZError* error)>;
