// kestrune pcm2wtg: 8 kHz PCM into WTG files through the conversion service.
#pragma once

#include <optional>
#include <string>
#include <vector>

struct WtgJob {
  std::string input;   // as the user named it
  std::string output;  // the WTG file to write
};

// Checks every input and output, converts sound-file inputs to raw 8 kHz mono PCM, then runs
// all jobs through one TZPcmToWtg, in order. Frames written per job, or nothing after printing
// why (no output of any job is left behind then).
std::optional<std::vector<size_t>> convertToWtg(const std::vector<WtgJob>& jobs);
