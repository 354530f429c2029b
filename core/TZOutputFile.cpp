#include "core/TZOutputFile.h"

#include <filesystem>

namespace {

// Packets and frames are small; one system call per 64 KiB keeps writing off the worker's
// critical path.
constexpr size_t kBufferBytes = 64 * 1024;

}  // namespace

void TZOutputFile::restart(const std::string& path) {
  std::lock_guard<std::mutex> guard(mutex_);
  if (file_ != nullptr) std::fclose(file_);
  std::error_code ignored;
  std::filesystem::remove(path, ignored);
  file_ = std::fopen(path.c_str(), "wb");
  if (file_ != nullptr) std::setvbuf(file_, nullptr, _IOFBF, kBufferBytes);
}

void TZOutputFile::append(const uint8_t* data, size_t size) {
  std::lock_guard<std::mutex> guard(mutex_);
  // The file is only ever written through this object, so its position is always its end.
  if (file_ != nullptr && size > 0) std::fwrite(data, 1, size, file_);
}

void TZOutputFile::close() {
  std::lock_guard<std::mutex> guard(mutex_);
  if (file_ == nullptr) return;
  std::fclose(file_);
  file_ = nullptr;
}
