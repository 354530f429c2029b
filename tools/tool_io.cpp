#include "tools/tool_io.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>

#include "kestrune/TZPlatform.h"

int toolFail(const std::string& message) {
  std::cerr << "kestrune: " << message << "\n";
  return 1;
}

int usageFail(const std::string& message) {
  toolFail(message);
  return kUsageStatus;
}

void removeOutput(const std::string& output) {
  std::error_code error;
  const auto file = std::filesystem::canonical(output, error);
  if (!error && std::filesystem::is_regular_file(file, error)) std::filesystem::remove(file, error);
}

int failAndRemove(const std::string& output, const std::string& message) {
  removeOutput(output);
  return toolFail(message);
}

bool prepareJobOutput(const std::string& input, const std::string& output) {
  std::error_code error;
  if (std::filesystem::equivalent(input, output, error)) {
    toolFail(output + ": is the input file");
    return false;
  }
  if (!writeOutputFile(output, {})) return false;
  TZPlatform::setDocumentsDirectory(std::filesystem::absolute(output).parent_path().string());
  return true;
}

std::optional<std::string> inputProblem(const std::string& path) {
  std::error_code error;
  if (!std::filesystem::exists(path, error)) return path + ": no such file";
  if (std::filesystem::is_directory(path, error)) return path + ": is a directory";
  // A pipe is opened once, by its reader: opening it here would take its writer away.
  if (!std::filesystem::is_regular_file(path, error)) return std::nullopt;
  if (!std::ifstream(path, std::ios::binary))
    return path + ": cannot be read: " + std::strerror(errno);
  return std::nullopt;
}

std::optional<TZBytes> readInputFile(const std::string& path) {
  if (const auto problem = inputProblem(path)) {
    toolFail(*problem);
    return std::nullopt;
  }
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    toolFail(path + ": cannot be read: " + std::strerror(errno));
    return std::nullopt;
  }
  TZBytes bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  if (in.bad()) {
    toolFail(path + ": read error");
    return std::nullopt;
  }
  return bytes;
}

bool writeOutputFile(const std::string& path, const TZBytes& bytes) {
  std::FILE* file = std::fopen(path.c_str(), "wb");
  if (file == nullptr) {
    toolFail(path + ": cannot be written: " + std::strerror(errno));
    return false;
  }
  const bool written =
      bytes.empty() || std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
  const bool closed = std::fclose(file) == 0;
  if (!written || !closed) {
    failAndRemove(path, path + ": write error");
    return false;
  }
  return true;
}

bool showProgress() {
  return isatty(STDERR_FILENO) != 0;
}
