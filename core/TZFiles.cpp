#include "core/TZFiles.h"

#include <cstdint>
#include <cstdio>
#include <filesystem>

bool TZFileExists(const std::string& path) {
  std::error_code ignored;
  return std::filesystem::exists(path, ignored);
}

std::optional<TZBytes> TZReadWholeFile(const std::string& path) {
  std::error_code error;
  if (!std::filesystem::is_regular_file(path, error)) return std::nullopt;
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) return std::nullopt;
  // One read of the size the file has now, then whatever it grew by meanwhile.
  TZBytes bytes(std::filesystem::file_size(path, error));
  size_t length = error ? 0 : std::fread(bytes.data(), 1, bytes.size(), file);
  for (uint8_t chunk[4096]; length == bytes.size();) {
    const size_t more = std::fread(chunk, 1, sizeof chunk, file);
    if (more == 0) break;
    bytes.insert(bytes.end(), chunk, chunk + more);
    length += more;
  }
  const bool failed = std::ferror(file) != 0;
  std::fclose(file);
  if (failed) return std::nullopt;
  bytes.resize(length);
  return bytes;
}

std::string TZDescribe(const char* className, const void* object) {
  char text[128];
  std::snprintf(text, sizeof text, "<%s: %p>", className, object);
  return text;
}
