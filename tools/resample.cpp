#include "tools/resample.h"

#include <algorithm>

std::unique_ptr<Resampler> Resampler::create(double inputRate, double outputRate, unsigned channels,
                                             std::string* why) {
  soxr_io_spec_t ioSpec = soxr_io_spec(SOXR_FLOAT32_I, SOXR_FLOAT32_I);
  ioSpec.flags |= SOXR_NO_DITHER;
  const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_HQ, 0);
  soxr_error_t error = nullptr;
  soxr_t soxr = soxr_create(inputRate, outputRate, channels, &error, &ioSpec, &quality, nullptr);
  if (error != nullptr) {
    *why = std::string("libsoxr: ") + error;
    soxr_delete(soxr);
    return nullptr;
  }
  return std::unique_ptr<Resampler>(new Resampler(soxr, outputRate / inputRate, channels));
}

Resampler::~Resampler() {
  soxr_delete(soxr_);
}

bool Resampler::process(std::span<const float> input, std::vector<float>& out, std::string* why) {
  out.clear();
  const bool end = input.empty();
  const size_t frames = input.size() / channels_;
  size_t used = 0;
  // libsoxr keeps what it cannot deliver yet; it is called again while it fills the room given.
  for (;;) {
    const size_t room = static_cast<size_t>(static_cast<double>(frames - used) * ratio_) + 1024;
    const size_t at = out.size();
    out.resize(at + room * channels_);
    size_t consumed = 0;
    size_t produced = 0;
    const soxr_error_t error =
        soxr_process(soxr_, end ? nullptr : input.data() + used * channels_, frames - used,
                     &consumed, out.data() + at, room, &produced);
    out.resize(at + produced * channels_);
    if (error != nullptr) {
      *why = std::string("libsoxr: ") + error;
      return false;
    }
    used += consumed;
    if (end ? produced == 0 : used == frames && produced < room) return true;
  }
}
