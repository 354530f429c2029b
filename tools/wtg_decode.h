// kestrune wtg2pcm: WTG files back into 8 kHz speech through the library's speech decoder.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// Decodes a whole WTG file, 10-byte frame after frame, into 8 kHz mono samples (80 a frame).
// Nothing after printing why: a missing or unreadable file, or one whose size is not a whole
// number of frames.
std::optional<std::vector<int16_t>> decodeWtgFile(const std::string& path);
