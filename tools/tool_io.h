// Input, output and error reporting shared by the tool's subcommands.
#pragma once

#include <chrono>
#include <cstdint>
#include <iostream>
#include <optional>
#include <string>

#include "kestrune/TZMainQueue.h"
#include "kestrune/TZTypes.h"

// Prints "kestrune: <message>" on stderr and returns the failure status 1.
int toolFail(const std::string& message);

// The exit status of a command line that cannot work: an unknown option, a missing or
// out-of-range value, arguments that do not go together.
inline constexpr int kUsageStatus = 2;

// Prints "kestrune: <message>" on stderr and returns kUsageStatus.
int usageFail(const std::string& message);

// Removes the file that output leads to when it is a regular file (through a link, the file and
// not the link); a device, a pipe or a folder named as the output is never removed.
void removeOutput(const std::string& output);

// Ends a failed run without leaving a half-written output behind: removes output as
// removeOutput does, prints the message like toolFail and returns 1.
int failAndRemove(const std::string& output, const std::string& message);

// Before a codec job: checks that output is not the input and can be written (leaving it
// empty) and keeps the library's own files beside it (the codec objects take their default
// paths from the Documents directory).
bool prepareJobOutput(const std::string& input, const std::string& output);

// Why a file cannot be read (missing, a directory, no permission), or nothing when it can. A
// pipe or a device is not opened to find out.
std::optional<std::string> inputProblem(const std::string& path);

// Reads a whole file; on failure prints why and returns nothing.
std::optional<TZBytes> readInputFile(const std::string& path);

// Writes a whole file; on failure prints why and returns false.
bool writeOutputFile(const std::string& path, const TZBytes& bytes);

// True when standard error is a terminal, so progress lines may be shown.
bool showProgress();

// Runs a codec object's deliveries on this thread until its worker has drained the job,
// showing count() on a terminal. Waiting for idle ends every job, also one that queued
// nothing or never reports its end.
// Deliveries are run every few milliseconds, so only a few of them wait at any time.
template <class Codec, class Count>
void drainWorker(Codec& codec, const char* what, const char* unit, const Count& count) {
  const bool progress = showProgress();
  auto shown = std::chrono::steady_clock::now();
  while (!codec.waitUntilIdle(std::chrono::milliseconds(5))) {
    TZMainQueue::runPending();
    if (progress && std::chrono::steady_clock::now() - shown > std::chrono::milliseconds(200)) {
      shown = std::chrono::steady_clock::now();
      std::cerr << "\r" << what << ": " << count() << " " << unit << std::flush;
    }
  }
  TZMainQueue::runPending();
  if (progress) std::cerr << "\r" << what << ": " << count() << " " << unit << "\n";
}
