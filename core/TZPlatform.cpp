#include "kestrune/TZPlatform.h"

#include <cstdlib>
#include <filesystem>
#include <mutex>

namespace {

std::mutex& overrideMutex() {
  static std::mutex mutex;
  return mutex;
}

std::string& overridePath() {
  static std::string path;
  return path;
}

std::string resolveDocumentsDirectory() {
  {
    std::lock_guard<std::mutex> guard(overrideMutex());
    if (!overridePath().empty()) return overridePath();
  }
  if (const char* env = std::getenv("KESTRUNE_DOCUMENTS_DIR"); env != nullptr && *env != '\0')
    return env;
  if (const char* home = std::getenv("HOME"); home != nullptr && *home != '\0')
    return (std::filesystem::path(home) / "Documents").string();
  std::error_code ignored;
  return std::filesystem::current_path(ignored).string();
}

}  // namespace

std::string TZPlatform::documentsDirectory() {
  std::string directory = resolveDocumentsDirectory();
  std::error_code ignored;
  std::filesystem::create_directories(directory, ignored);
  return directory;
}

void TZPlatform::setDocumentsDirectory(const std::string& path) {
  std::lock_guard<std::mutex> guard(overrideMutex());
  overridePath() = path;
}

std::string TZPlatform::documentsPath(const std::string& fileName) {
  return (std::filesystem::path(documentsDirectory()) / fileName).string();
}
