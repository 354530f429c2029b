// Speech, a fresh encoder state and a floating-point LP reference for the LP and LSP tests.
#pragma once

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "g729/tab_ld8k.h"
#include "kestrune/g729_coder.h"
#include "tests/support/test_files.h"

namespace g729test {

inline std::vector<Word16> loadSpeech8k() {
  const TZBytes bytes = readFile(std::string(KESTRUNE_SAMPLE_DIR) + "/speech-8k.pcm");
  std::vector<Word16> samples(bytes.size() / 2);
  std::memcpy(samples.data(), bytes.data(), samples.size() * 2);
  return samples;
}

// A record initialised by g729_coder_init, on the heap (it is several kilobytes).
inline std::unique_ptr<CoderState> freshState() {
  auto state = std::make_unique<CoderState>();
  g729_coder_init(state.get(), 0);
  return state;
}

inline void analyse(CoderState& state, const Word16* window) {
  std::memcpy(state.p_window, window, 240 * sizeof(Word16));
  Forwad_linearPrediction(&state);
}

// Double-precision LP analysis of the same integer windowed samples, with the same lag
// window: filter a[0..10] (a[0] = 1) and reflection coefficients.
struct ReferenceLp {
  double a[11];
  double rc[10];
};

inline ReferenceLp referenceLp(const Word16* x) {
  double w[240], r[11];
  for (int i = 0; i < 240; ++i) w[i] = (hamwindow[i] * x[i] + 16384) >> 15;
  for (int k = 0; k <= 10; ++k) {
    r[k] = 0;
    for (int i = 0; i + k < 240; ++i) r[k] += w[i] * w[i + k];
    r[k] *= lag_windowf[k] / 16384.0;
  }
  ReferenceLp out{{1}, {}};
  double err = r[0];
  for (int i = 1; i <= 10; ++i) {
    double s = r[i];
    for (int j = 1; j < i; ++j) s += out.a[j] * r[i - j];
    const double k = -s / err;
    double previous[11];
    std::memcpy(previous, out.a, sizeof previous);
    for (int j = 1; j < i; ++j) out.a[j] = previous[j] + k * previous[i - j];
    out.a[i] = out.rc[i - 1] = k;
    err *= 1 - k * k;
  }
  return out;
}

}  // namespace g729test
