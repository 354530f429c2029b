#include "core/TZOutputFile.h"

#include <cerrno>
#include <cstring>
#include <filesystem>

namespace {

// Packets and frames are small; one system call per 64 KiB keeps writing off the worker's
// critical path.
constexpr size_t kBufferBytes = 64 * 1024;

}  // namespace

void TZOutputFile::restart(const std::string& path) {
  std::lock_guard<std::mutex> guard(mutex_);
  if (file_ != nullptr) std::fclose(file_);
  path_ = path;
  error_.reset();
  std::error_code ignored;
  std::filesystem::remove(path, ignored);
  file_ = std::fopen(path.c_str(), "wb");
  if (file_ == nullptr) return fail("cannot be created");
  std::setvbuf(file_, nullptr, _IOFBF, kBufferBytes);
}

void TZOutputFile::append(const uint8_t* data, size_t size) {
  std::lock_guard<std::mutex> guard(mutex_);
  // The file is only ever written through this object, so its position is always its end.
  if (file_ != nullptr && size > 0 && std::fwrite(data, 1, size, file_) != size)
    fail("write error");
}

void TZOutputFile::close() {
  std::lock_guard<std::mutex> guard(mutex_);
  if (file_ == nullptr) return;
  if (std::fclose(file_) != 0) fail("write error");
  file_ = nullptr;
}

std::optional<std::string> TZOutputFile::error() {
  std::lock_guard<std::mutex> guard(mutex_);
  return error_;
}

void TZOutputFile::fail(const char* what) {
  if (!error_) error_ = path_ + ": " + what + ": " + std::strerror(errno);
}
