#include "kestrune/TZLogManager.h"

#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <ctime>
#include <filesystem>

#include "core/TZFiles.h"
#include "kestrune/TZPlatform.h"

namespace {

// The process-wide switches. Relaxed atomics: plain loads and stores that any thread may
// make without a lock.
std::atomic<bool> log_enable{true};
std::atomic<bool> log_more{false};
std::atomic<int64_t> log_level{1};
std::atomic<bool> log_save{true};
std::atomic<bool> log_timestamp{false};

constexpr const char* kLogFileName = "TZ_Log.txt";
constexpr const char* kCapturePrefix = "TZ_LOG-";

std::string vformat(const char* format, va_list args) {
  va_list measure;
  va_copy(measure, args);
  const int length = std::vsnprintf(nullptr, 0, format, measure);
  va_end(measure);
  if (length <= 0) return {};
  std::string text(static_cast<size_t>(length) + 1, '\0');
  std::vsnprintf(text.data(), text.size(), format, args);
  text.resize(static_cast<size_t>(length));
  return text;
}

// Expands a format that comes with no arguments: "%%" gives "%", and any other directive,
// having no argument to consume, is kept as written.
std::string expandWithoutArguments(const std::string& format) {
  std::string text;
  text.reserve(format.size());
  for (size_t i = 0; i < format.size(); ++i) {
    if (format[i] == '%' && i + 1 < format.size() && format[i + 1] == '%') ++i;
    text += format[i];
  }
  return text;
}

// Local time with a pattern of strftime fields, plus milliseconds when asked.
std::string localTime(const char* pattern, bool withMilliseconds) {
  timeval now{};
  gettimeofday(&now, nullptr);
  tm local{};
  localtime_r(&now.tv_sec, &local);
  char text[64];
  size_t length = std::strftime(text, sizeof text, pattern, &local);
  if (withMilliseconds) {
    std::snprintf(text + length, sizeof text - length, ".%03d",
                  static_cast<int>(now.tv_usec / 1000));
  }
  return text;
}

void writeLine(int64_t level, const char* funcName, int32_t line, const std::string& message) {
  if (log_level.load(std::memory_order_relaxed) > level) return;
  std::string text = TZLogManager::logType(level);
  if (log_more.load(std::memory_order_relaxed)) {
    text += " [";
    text += funcName != nullptr ? funcName : "(null)";
    text += ' ';
    text += std::to_string(line);
    text += "] ";
  } else {
    text += " ";
  }
  text += message;
  text += "\n";
  if (log_save.load(std::memory_order_relaxed)) TZLogManager::share().saveLogLine(text);
  // One write, so that lines from several threads do not interleave on the console.
  std::fwrite(text.data(), 1, text.size(), stderr);
}

std::FILE* openForAppend(const std::string& path) {
  std::FILE* file = std::fopen(path.c_str(), "ab");
  return file != nullptr ? file : std::fopen(path.c_str(), "ab");
}

}  // namespace

TZLogManager& TZLogManager::share() {
  static TZLogManager* instance = new TZLogManager;
  return *instance;
}

void TZLogManager::setLog(bool enable, bool IsMore, int64_t Level) {
  log_enable.store(enable, std::memory_order_relaxed);
  log_more.store(IsMore, std::memory_order_relaxed);
  log_level.store(Level, std::memory_order_relaxed);
}

void TZLogManager::saveLogAsFile(bool save) {
  log_save.store(save, std::memory_order_relaxed);
}

void TZLogManager::logWithTimestamp(bool timestamp) {
  log_timestamp.store(timestamp, std::memory_order_relaxed);
}

void TZLogManager::logLevel(int64_t level, const char* funcName, int32_t line, const char* format,
                            ...) {
  if (!log_enable.load(std::memory_order_relaxed)) return;
  std::string message = "(null)";
  if (format != nullptr) {
    va_list args;
    va_start(args, format);
    message = vformat(format, args);
    va_end(args);
  }
  writeLine(level, funcName, line, message);
}

void TZLogManager::logLevel(int64_t level, const std::string& content) {
  if (!log_enable.load(std::memory_order_relaxed)) return;
  writeLine(level, "+[TZLogManager logLevel:content:]", 180, expandWithoutArguments(content));
}

void TZLogManager::logSomething(const std::string& content) {
  if (!log_enable.load(std::memory_order_relaxed)) return;
  writeLine(log_level.load(std::memory_order_relaxed), "+[TZLogManager logSomething:]", 176,
            expandWithoutArguments(content));
}

std::string TZLogManager::logType(int64_t level) {
  switch (level) {
    case 1:
      return "TZ[DEBUG] ";
    case 2:
      return "TZ[INFO] ";
    case 3:
      return "TZ[WARN] ";
    case 4:
      return "TZ[ERROR] ";
    default:
      return "TZ[COMPLETE] ";
  }
}

void TZLogManager::saveLog(const std::string& line) {
  if (log_save.load(std::memory_order_relaxed)) share().saveLogLine(line);
}

void TZLogManager::saveLogLine(const std::string& line) {
  const std::string path = TZPlatform::documentsPath(kLogFileName);
  std::FILE* file = openForAppend(path);
  if (file == nullptr) return;
  std::string entry;
  if (log_timestamp.load(std::memory_order_relaxed))
    entry = localTime("%Y-%m-%d %H:%M:%S", true) + " ";
  // Every line already ends in "\n"; the extra one leaves an empty line after each entry.
  entry += line + "\n";
  std::fwrite(entry.data(), 1, entry.size(), file);
  std::fclose(file);
}

void TZLogManager::clearLog() {
  const std::string path = TZPlatform::documentsPath(kLogFileName);
  if (!TZFileExists(path)) return;
  std::error_code ignored;
  std::filesystem::resize_file(path, 0, ignored);
}

void TZLogManager::openLogTextFile() {
  if (isatty(STDOUT_FILENO)) return;
  const std::string directory = TZPlatform::documentsDirectory();
  const std::string name =
      std::string(kCapturePrefix) + localTime("%Y-%m-%d-%H-%M-%S", false) + ".txt";
  const auto entries = subPaths(&directory);
  if (entries && entries->size() >= 31) {
    for (const auto& entry : *entries) {
      if (entry.rfind(kCapturePrefix, 0) != 0) continue;
      std::error_code ignored;
      std::filesystem::remove_all(std::filesystem::path(directory) / entry, ignored);
    }
  }
  const std::string path = (std::filesystem::path(directory) / name).string();
  std::freopen(path.c_str(), "a+", stdout);
  std::freopen(path.c_str(), "a+", stderr);
}

std::optional<std::vector<std::string>> TZLogManager::subPaths(const std::string* directory) {
  if (directory == nullptr) return std::nullopt;
  namespace fs = std::filesystem;
  std::error_code error;
  fs::recursive_directory_iterator it(*directory, fs::directory_options::skip_permission_denied,
                                      error);
  if (error) return std::nullopt;
  std::vector<std::string> paths;
  for (; it != fs::recursive_directory_iterator(); it.increment(error)) {
    if (error) break;
    paths.push_back(it->path().lexically_relative(*directory).string());
  }
  return paths;
}

void TZLogManager::sdkVersion() {
  logLevel(2, "+[TZLogManager sdkVersion]", 41, "---> The version of ble log helper SDK is %s ",
           "v1.0.0_Beta1_20240508");
}
