// Per-frame cost of the encoder's LP side: LP analysis, LSP conversion and LSP quantization
// over the bundled 8 kHz speech, one 240-sample window every 80 samples.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "kestrune/g729_coder.h"

namespace {

std::vector<Word16> speech8k() {
  std::ifstream in(std::string(KESTRUNE_SAMPLE_DIR) + "/speech-8k.pcm", std::ios::binary);
  const std::vector<char> bytes((std::istreambuf_iterator<char>(in)), {});
  std::vector<Word16> samples(bytes.size() / 2);
  std::memcpy(samples.data(), bytes.data(), samples.size() * 2);
  return samples;
}

// Runs `perFrame` on every analysis window of the speech, round and round; reports frames/s.
template <typename PerFrame>
void runOverSpeech(benchmark::State& bench, PerFrame perFrame) {
  const auto speech = speech8k();
  if (speech.size() < 240) {
    bench.SkipWithError("speech-8k.pcm missing");
    return;
  }
  const size_t windows = (speech.size() - 240) / 80 + 1;
  auto state = std::make_unique<CoderState>();
  g729_coder_init(state.get(), 1200);
  size_t next = 0;
  for (auto _ : bench) {
    std::copy_n(speech.data() + 80 * next, 240, state->p_window);
    perFrame(*state);
    next = (next + 1) % windows;
  }
  bench.counters["frames/s"] =
      benchmark::Counter(static_cast<double>(bench.iterations()), benchmark::Counter::kIsRate);
}

void BM_LpAnalysis(benchmark::State& bench) {
  runOverSpeech(bench, [](CoderState& state) {
    Forwad_linearPrediction(&state);
    benchmark::DoNotOptimize(state.A_t);
  });
}
BENCHMARK(BM_LpAnalysis);

void BM_LpAnalysisAzLspQuaLsp(benchmark::State& bench) {
  runOverSpeech(bench, [](CoderState& state) {
    Word16 ana[2];
    Forwad_linearPrediction(&state);
    Az_lsp(&state);
    Qua_lsp(state.lsp_new, state.lsp_new_q, ana, state.freq_prev);
    std::copy_n(state.lsp_new, 10, state.lsp_old);
    benchmark::DoNotOptimize(ana);
  });
}
BENCHMARK(BM_LpAnalysisAzLspQuaLsp);

}  // namespace
