#include "core/TZOutputFile.h"

#include <filesystem>

void TZOutputFile::restart(const std::string& path) {
  std::lock_guard<std::mutex> guard(mutex_);
  if (file_ != nullptr) std::fclose(file_);
  std::error_code ignored;
  std::filesystem::remove(path, ignored);
  file_ = std::fopen(path.c_str(), "wb");
}

void TZOutputFile::append(const uint8_t* data, size_t size) {
  std::lock_guard<std::mutex> guard(mutex_);
  if (file_ == nullptr || size == 0) return;
  std::fseek(file_, 0, SEEK_END);
  std::fwrite(data, 1, size, file_);
  std::fflush(file_);
}

void TZOutputFile::close() {
  std::lock_guard<std::mutex> guard(mutex_);
  if (file_ == nullptr) return;
  std::fclose(file_);
  file_ = nullptr;
}
