// Speed of the speech encoder on the bundled 8 kHz speech, side by side with bcg729's G.729
// encoder on the same frames: frames per CPU second ("frames"), the real-time factor (seconds
// of audio coded per CPU second, "audio_s") and, at the end of the run, the ratio of our time
// per frame to bcg729's.
// Also the LP side alone (LP analysis, LSP conversion and quantization).
#include <benchmark/benchmark.h>

// The peer's header has no C++ linkage block of its own.
extern "C" {
#include <bcg729/encoder.h>
}

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "kestrune/g729_coder.h"

namespace {

constexpr int kFrame = 80;
constexpr double kFrameSeconds = 0.010;

const std::vector<Word16>& speech8k() {
  static const std::vector<Word16> samples = [] {
    std::ifstream in(std::string(KESTRUNE_SAMPLE_DIR) + "/speech-8k.pcm", std::ios::binary);
    const std::vector<char> bytes((std::istreambuf_iterator<char>(in)), {});
    std::vector<Word16> s(bytes.size() / 2);
    std::memcpy(s.data(), bytes.data(), s.size() * 2);
    return s;
  }();
  return samples;
}

void reportSpeed(benchmark::State& bench) {
  const auto frames = static_cast<double>(bench.iterations());
  bench.counters["frames"] = benchmark::Counter(frames, benchmark::Counter::kIsRate);
  bench.counters["audio_s"] =
      benchmark::Counter(frames * kFrameSeconds, benchmark::Counter::kIsRate);
}

// Codes the speech frame after frame, round and round, one frame per iteration.
template <typename CodeFrame>
void runOverFrames(benchmark::State& bench, CodeFrame codeFrame) {
  const auto& speech = speech8k();
  const size_t frames = speech.size() / kFrame;
  if (frames == 0) {
    bench.SkipWithError("speech-8k.pcm missing");
    return;
  }
  size_t next = 0;
  for (auto _ : bench) {
    codeFrame(speech.data() + kFrame * next);
    next = (next + 1) % frames;
  }
  reportSpeed(bench);
}

void BM_KestruneEncoder(benchmark::State& bench) {
  auto state = std::make_unique<CoderState>();
  g729_coder_init(state.get(), 1200);
  UWord16 words[5];
  runOverFrames(bench, [&](const Word16* pcm) {
    g729coder_run(state.get(), pcm, words, 0);
    benchmark::DoNotOptimize(words);
  });
}
BENCHMARK(BM_KestruneEncoder);

void BM_Bcg729Encoder(benchmark::State& bench) {
  bcg729EncoderChannelContextStruct* encoder = initBcg729EncoderChannel(0);
  uint8_t bytes[10];
  uint8_t length = 0;
  runOverFrames(bench, [&](const Word16* pcm) {
    bcg729Encoder(encoder, pcm, bytes, &length);
    benchmark::DoNotOptimize(bytes);
  });
  closeBcg729EncoderChannel(encoder);
}
BENCHMARK(BM_Bcg729Encoder);

// The LP side alone: one 240-sample window every 80 samples.
template <typename PerFrame>
void runOverWindows(benchmark::State& bench, PerFrame perFrame) {
  const auto& speech = speech8k();
  if (speech.size() < 240) {
    bench.SkipWithError("speech-8k.pcm missing");
    return;
  }
  const size_t windows = (speech.size() - 240) / kFrame + 1;
  auto state = std::make_unique<CoderState>();
  g729_coder_init(state.get(), 1200);
  size_t next = 0;
  for (auto _ : bench) {
    std::copy_n(speech.data() + kFrame * next, 240, state->p_window);
    perFrame(*state);
    next = (next + 1) % windows;
  }
  reportSpeed(bench);
}

void BM_LpAnalysis(benchmark::State& bench) {
  runOverWindows(bench, [](CoderState& state) {
    Forwad_linearPrediction(&state);
    benchmark::DoNotOptimize(state.A_t);
  });
}
BENCHMARK(BM_LpAnalysis);

void BM_LpAnalysisAzLspQuaLsp(benchmark::State& bench) {
  runOverWindows(bench, [](CoderState& state) {
    Word16 ana[2];
    Forwad_linearPrediction(&state);
    Az_lsp(&state);
    Qua_lsp(state.lsp_new, state.lsp_new_q, ana, state.freq_prev);
    std::copy_n(state.lsp_new, 10, state.lsp_old);
    benchmark::DoNotOptimize(ana);
  });
}
BENCHMARK(BM_LpAnalysisAzLspQuaLsp);

// Console output as usual, plus the CPU seconds per frame of each benchmark for the ratio.
class FrameTimeReporter : public benchmark::ConsoleReporter {
 public:
  // Colours only on a terminal.
  FrameTimeReporter() : ConsoleReporter(isatty(STDOUT_FILENO) ? OO_Defaults : OO_Tabular) {}

  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      if (run.run_type == Run::RT_Iteration && !run.error_occurred && run.iterations > 0) {
        secondsPerFrame[run.benchmark_name()] =
            run.cpu_accumulated_time / static_cast<double>(run.iterations);
      }
    }
  }
  std::map<std::string, double> secondsPerFrame;
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  FrameTimeReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();

  const auto ours = reporter.secondsPerFrame.find("BM_KestruneEncoder");
  const auto peer = reporter.secondsPerFrame.find("BM_Bcg729Encoder");
  if (ours != reporter.secondsPerFrame.end() && peer != reporter.secondsPerFrame.end()) {
    std::printf(
        "\nEncoder CPU time per 10 ms frame: kestrune %.2f us (%.0fx real time), bcg729 %.2f us "
        "(%.0fx real time); ratio kestrune / bcg729 %.3f (target <= 1)\n",
        ours->second * 1e6, kFrameSeconds / ours->second, peer->second * 1e6,
        kFrameSeconds / peer->second, ours->second / peer->second);
  }
  return 0;
}
