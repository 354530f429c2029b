// The library's single logging channel: tagged lines on the console (standard error) and,
// by default, in "TZ_Log.txt" in the Documents directory.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "kestrune/kestrune_export.h"

class KESTRUNE_API TZLogManager {
 public:
  // The process-wide instance, created on first use and never destroyed.
  static TZLogManager& share();

  // Process-wide switches (defaults: enabled, not more, level 1, save on, no timestamp).
  static void setLog(bool enable, bool IsMore, int64_t Level);
  static void saveLogAsFile(bool save);
  static void logWithTimestamp(bool timestamp);

  // The main entry: a printf-style format and its arguments. A null format logs "(null)".
  static void logLevel(int64_t level, const char* funcName, int32_t line, const char* format, ...)
      __attribute__((format(printf, 4, 5)));
  // Logs content as the format, with no arguments, at the given level.
  static void logLevel(int64_t level, const std::string& content);
  // Logs content as the format at the current threshold level, so it always passes it.
  static void logSomething(const std::string& content);

  // The tag of a level: "TZ[DEBUG] ", "TZ[INFO] ", "TZ[WARN] ", "TZ[ERROR] ", or
  // "TZ[COMPLETE] " for any other value.
  static std::string logType(int64_t level);

  // Appends a line to "TZ_Log.txt" when saving is on.
  static void saveLog(const std::string& line);
  // Appends a line to "TZ_Log.txt" whatever the save switch says.
  void saveLogLine(const std::string& line);

  // Empties "TZ_Log.txt"; a missing file stays missing.
  static void clearLog();

  // When standard output is not a terminal, redirects standard output and standard error
  // into "TZ_LOG-yyyy-MM-dd-HH-mm-ss.txt" in the Documents directory. With 31 or more
  // entries below Documents, every earlier "TZ_LOG-" capture file is removed first.
  static void openLogTextFile();

  // Every file and folder below a directory, as paths relative to it; nothing for a null
  // argument or a directory that cannot be listed.
  static std::optional<std::vector<std::string>> subPaths(const std::string* directory);

  // Logs the SDK banner at level 2.
  static void sdkVersion();

 private:
  TZLogManager() = default;
};
