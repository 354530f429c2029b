// Input, output and error reporting shared by the tool's subcommands.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "kestrune/TZTypes.h"

// Prints "kestrune: <message>" on stderr and returns the failure status 1.
int toolFail(const std::string& message);

// Reads a whole file; on failure prints why and returns nothing.
std::optional<TZBytes> readInputFile(const std::string& path);

// Reads raw 16-bit little-endian PCM, or the data chunk of a 16-bit PCM .wav file whose
// rate and channel count match what the caller expects (0 accepts any). On failure prints
// why and returns nothing.
std::optional<TZBytes> readPcmInput(const std::string& path, int expectedRate,
                                    int expectedChannels);

// Writes a whole file; on failure prints why and returns false.
bool writeOutputFile(const std::string& path, const TZBytes& bytes);

// Parses a whole decimal integer; nothing for anything else.
std::optional<int> parseInt(const std::string& text);

// True when standard error is a terminal, so progress lines may be shown.
bool showProgress();
