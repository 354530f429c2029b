// Sample-rate conversion for the tool's inputs, on libsoxr: high quality and no dither, so the
// same input always gives the same samples.
#pragma once

#include <soxr.h>

#include <memory>
#include <span>
#include <string>
#include <vector>

class Resampler {
 public:
  // nullptr, with why set, when libsoxr refuses the rates.
  static std::unique_ptr<Resampler> create(double inputRate, double outputRate, unsigned channels,
                                           std::string* why);
  ~Resampler();
  Resampler(const Resampler&) = delete;
  Resampler& operator=(const Resampler&) = delete;

  // Resamples interleaved float frames into out (replacing its contents); an empty input ends
  // the stream and brings out what libsoxr still holds. False, with why set, on failure.
  bool process(std::span<const float> input, std::vector<float>& out, std::string* why);

 private:
  Resampler(soxr_t soxr, double ratio, unsigned channels)
      : soxr_(soxr), ratio_(ratio), channels_(channels) {}
  soxr_t soxr_;
  double ratio_;  // output frames per input frame
  unsigned channels_;
};
