#include "core/TZFiles.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>

bool TZFileExists(const std::string& path) {
  std::error_code ignored;
  return std::filesystem::exists(path, ignored);
}

std::optional<TZBytes> TZReadWholeFile(const std::string& path) {
  std::error_code error;
  if (!std::filesystem::is_regular_file(path, error)) return std::nullopt;
  std::ifstream in(path, std::ios::binary);
  if (!in) return std::nullopt;
  TZBytes bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  if (in.bad()) return std::nullopt;
  return bytes;
}

std::string TZDescribe(const char* className, const void* object) {
  char text[128];
  std::snprintf(text, sizeof text, "<%s: %p>", className, object);
  return text;
}
