#include "tools/tool_io.h"

#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>

#include "kestrune/TZLogManager.h"
#include "kestrune/TZPlatform.h"
#include "tools/wav.h"

int toolFail(const std::string& message) {
  std::cerr << "kestrune: " << message << "\n";
  return 1;
}

int failAndRemove(const std::string& output, const std::string& message) {
  std::error_code ignored;
  std::filesystem::remove(output, ignored);
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
  TZLogManager::setLog(false, false, 1);
  return true;
}

std::optional<std::string> inputProblem(const std::string& path) {
  std::error_code error;
  if (!std::filesystem::exists(path, error)) return path + ": no such file";
  if (std::filesystem::is_directory(path, error)) return path + ": is a directory";
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
  TZBytes bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  if (in.bad()) {
    toolFail(path + ": read error");
    return std::nullopt;
  }
  return bytes;
}

std::optional<TZBytes> readPcmInput(const std::string& path, int expectedRate,
                                    int expectedChannels) {
  auto bytes = readInputFile(path);
  if (!bytes || !looksLikeWav(*bytes)) return bytes;
  std::string why;
  const auto wav = parseWav(*bytes, &why);
  if (!wav) {
    toolFail(path + ": unusable .wav file: " + why);
    return std::nullopt;
  }
  if (wav->formatTag != 1 || wav->bitsPerSample != 16) {
    toolFail(path + ": only 16-bit PCM .wav files are accepted");
    return std::nullopt;
  }
  if (expectedRate != 0 && wav->sampleRate != expectedRate) {
    toolFail(path + ": .wav sample rate is " + std::to_string(wav->sampleRate) + " Hz, expected " +
             std::to_string(expectedRate) + " Hz");
    return std::nullopt;
  }
  if (expectedChannels != 0 && wav->channels != expectedChannels) {
    toolFail(path + ": .wav has " + std::to_string(wav->channels) + " channel(s), expected " +
             std::to_string(expectedChannels));
    return std::nullopt;
  }
  return TZBytes(bytes->begin() + static_cast<std::ptrdiff_t>(wav->dataOffset),
                 bytes->begin() + static_cast<std::ptrdiff_t>(wav->dataOffset + wav->dataSize));
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
    toolFail(path + ": write error");
    std::remove(path.c_str());
    return false;
  }
  return true;
}

std::optional<int> parseInt(const std::string& text) {
  int value = 0;
  const char* end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, value);
  if (text.empty() || result.ec != std::errc() || result.ptr != end) return std::nullopt;
  return value;
}

bool showProgress() {
  return isatty(STDERR_FILENO) != 0;
}
