// What the fuzz targets of the codec objects share: a quiet log, scratch files of their own and
// the end of every input, where the worker must have drained and the object come apart.
#pragma once

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <span>
#include <string>

#include "kestrune/TZLogManager.h"
#include "kestrune/TZMainQueue.h"

// Keeps the library's log off the console and out of the Documents folder: a run makes
// millions of error lines.
inline void quietLibraryLog() {
  static const bool done = [] {
    TZLogManager::setLog(false, false, 1);
    TZLogManager::saveLogAsFile(false);
    return true;
  }();
  (void)done;
}

// A file of this process's own under /tmp (fuzzing jobs may run side by side).
inline std::string scratchPath(const char* name) {
  return "/tmp/kestrune-fuzz-" + std::to_string(getpid()) + "-" + name;
}

inline std::string writeScratchFile(const char* name, std::span<const uint8_t> bytes) {
  const std::string path = scratchPath(name);
  if (FILE* file = std::fopen(path.c_str(), "wb")) {
    std::fwrite(bytes.data(), 1, bytes.size(), file);
    std::fclose(file);
  }
  return path;
}

// The worker must drain everything it was given (a hang aborts), the deliveries run, and the
// object is destroyed with its last deliveries still able to arrive.
template <class Codec>
void drainAndDestroy(std::shared_ptr<Codec>& codec) {
  if (!codec->waitUntilIdle(std::chrono::seconds(20))) std::abort();
  TZMainQueue::runPending();
  codec.reset();
  TZMainQueue::runPending();
}
