// Segmental signal-to-noise ratio of decoded speech against its input, the waveform measure of
// a speech codec's quality: the mean over 10 ms frames (80 samples at 8 kHz) of each frame's
// SNR in dB, clamped to [-10, 35] dB so that neither a silent error nor a lost frame dominates.
// Frames more than 40 dB below the input's mean frame energy are left out: near silence says
// nothing about the codec. Header-only, shared by the tool's demo, the benchmark and the tests.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <span>

namespace speech_quality {

inline constexpr size_t kSnrFrame = 80;
inline constexpr double kSnrFloorDb = -10.0;
inline constexpr double kSnrCeilingDb = 35.0;
inline constexpr double kQuietFrame = 1e-4;  // -40 dB relative to the mean frame energy

// Segmental SNR of decoded[n + lag] against input[n], in dB.
inline double segmentalSnr(std::span<const int16_t> input, std::span<const int16_t> decoded,
                           size_t lag) {
  if (decoded.size() <= lag) return kSnrFloorDb;
  const size_t frames = std::min(input.size(), decoded.size() - lag) / kSnrFrame;
  if (frames == 0) return kSnrFloorDb;
  double total = 0;
  for (size_t i = 0; i < frames * kSnrFrame; ++i) total += double(input[i]) * input[i];
  const double quiet = kQuietFrame * total / double(frames);

  double sum = 0;
  size_t counted = 0;
  for (size_t f = 0; f < frames; ++f) {
    double signal = 0, noise = 0;
    for (size_t i = f * kSnrFrame; i < (f + 1) * kSnrFrame; ++i) {
      const double x = input[i];
      const double e = x - decoded[i + lag];
      signal += x * x;
      noise += e * e;
    }
    if (signal <= quiet || signal == 0) continue;
    const double db = noise == 0 ? kSnrCeilingDb : 10 * std::log10(signal / noise);
    sum += std::clamp(db, kSnrFloorDb, kSnrCeilingDb);
    ++counted;
  }
  return counted == 0 ? kSnrFloorDb : sum / double(counted);
}

struct AlignedSnr {
  double db;
  size_t lag;  // samples by which the decoded speech lags the input
};

// The codec's delay is found as the lag, 0 to maxLag samples, of the best segmental SNR.
inline AlignedSnr bestAlignedSnr(std::span<const int16_t> input, std::span<const int16_t> decoded,
                                 size_t maxLag) {
  AlignedSnr best{segmentalSnr(input, decoded, 0), 0};
  for (size_t lag = 1; lag <= maxLag; ++lag) {
    const double db = segmentalSnr(input, decoded, lag);
    if (db > best.db) best = {db, lag};
  }
  return best;
}

}  // namespace speech_quality
