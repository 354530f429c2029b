// Files for tests: a private Documents directory for each test, so that no test touches the
// user's own files, and whole-file reads and writes.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "kestrune/TZPlatform.h"
#include "kestrune/TZTypes.h"

class TempDocuments {
 public:
  TempDocuments() {
    std::string pattern =
        (std::filesystem::temp_directory_path() / "kestrune-test-XXXXXX").string();
    path_ = mkdtemp(pattern.data());
    TZPlatform::setDocumentsDirectory(path_);
  }
  ~TempDocuments() {
    TZPlatform::setDocumentsDirectory("");
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TempDocuments(const TempDocuments&) = delete;
  TempDocuments& operator=(const TempDocuments&) = delete;

  const std::string& path() const { return path_; }
  std::string file(const std::string& name) const {
    return (std::filesystem::path(path_) / name).string();
  }

 private:
  std::string path_;
};

inline TZBytes readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return TZBytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

inline std::string readTextFile(const std::string& path) {
  const TZBytes bytes = readFile(path);
  return std::string(bytes.begin(), bytes.end());
}

inline void writeFile(const std::string& path, const TZBytes& bytes) {
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
}
