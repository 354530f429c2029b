// Sample-rate and channel conversion for the tool's inputs, on libsoxr.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

// Interleaved 16-bit PCM of `channels` channels at `rate` Hz into mono at `targetRate` Hz:
// the channels are averaged, then libsoxr resamples (high quality, no dither). Nothing, with
// why set, when libsoxr fails.
std::optional<std::vector<int16_t>> toMono(std::span<const int16_t> samples, int channels, int rate,
                                           int targetRate, std::string* why);
