#include "core/TZOutputFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

void TZOutputFile::restart(const std::string& path) {
  std::lock_guard<std::mutex> guard(mutex_);
  if (fd_ >= 0) ::close(fd_);
  std::error_code ignored;
  std::filesystem::remove(path, ignored);
  // O_APPEND puts every write at the end without a separate seek.
  fd_ = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0644);
}

void TZOutputFile::append(const uint8_t* data, size_t size) {
  std::lock_guard<std::mutex> guard(mutex_);
  while (fd_ >= 0 && size > 0) {
    const ssize_t written = ::write(fd_, data, size);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return;
    data += written;
    size -= static_cast<size_t>(written);
  }
}

void TZOutputFile::close() {
  std::lock_guard<std::mutex> guard(mutex_);
  if (fd_ < 0) return;
  ::close(fd_);
  fd_ = -1;
}
