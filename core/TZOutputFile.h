// The output file of a file job: shared between the caller's thread, which starts the job,
// and the worker, which appends each result, so every access is locked. Writes are
// buffered; close() puts everything in the file, so a job closes its file before it reports
// its end. A file that cannot be created, written or closed is remembered as the job's
// error, which restart() clears.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <mutex>
#include <optional>
#include <string>

class TZOutputFile {
 public:
  TZOutputFile() = default;
  ~TZOutputFile() { close(); }
  TZOutputFile(const TZOutputFile&) = delete;
  TZOutputFile& operator=(const TZOutputFile&) = delete;

  // Removes whatever is at path, creates an empty file there and opens it for writing.
  // A path that cannot be written leaves the file closed; later appends then do nothing.
  void restart(const std::string& path);
  // Writes bytes at the end of the file; nothing when it is closed.
  void append(const uint8_t* data, size_t size);
  void close();
  // Why the current or last job's file is incomplete, or nothing.
  std::optional<std::string> error();

 private:
  void fail(const char* what);  // with mutex_ held

  std::mutex mutex_;
  std::FILE* file_ = nullptr;
  std::string path_;
  std::optional<std::string> error_;
};
