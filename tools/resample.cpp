#include "tools/resample.h"

#include <soxr.h>

std::optional<std::vector<int16_t>> toMono(std::span<const int16_t> samples, int channels, int rate,
                                           int targetRate, std::string* why) {
  const size_t frames = channels > 0 ? samples.size() / static_cast<size_t>(channels) : 0;
  std::vector<float> mono(frames);
  for (size_t i = 0; i < frames; ++i) {
    float sum = 0;
    for (int c = 0; c < channels; ++c) sum += samples[i * static_cast<size_t>(channels) + c];
    mono[i] = sum / static_cast<float>(channels) / 32768.0f;
  }
  // The output length libsoxr produces for the whole input, with room for rounding.
  std::vector<int16_t> out(frames * static_cast<size_t>(targetRate) / static_cast<size_t>(rate) +
                           16);
  soxr_io_spec_t ioSpec = soxr_io_spec(SOXR_FLOAT32_I, SOXR_INT16_I);
  ioSpec.flags |= SOXR_NO_DITHER;  // the same input always gives the same samples
  const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_HQ, 0);
  size_t written = 0;
  const soxr_error_t error =
      soxr_oneshot(rate, targetRate, 1, mono.data(), frames, nullptr, out.data(), out.size(),
                   &written, &ioSpec, &quality, nullptr);
  if (error != nullptr) {
    *why = std::string("libsoxr: ") + error;
    return std::nullopt;
  }
  out.resize(written);
  return out;
}
