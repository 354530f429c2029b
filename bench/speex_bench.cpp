// Decoding a long framed Speex stream through TZSpeexDecoder (cutting, queue, worker,
// main-queue delivery) against a plain loop of the same libspeex calls on the same frames.
#include <benchmark/benchmark.h>
#include <speex/speex.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "kestrune/TZLogManager.h"
#include "kestrune/TZMainQueue.h"
#include "kestrune/TZPlatform.h"
#include "kestrune/TZSpeexDecoder.h"
#include "speex/TZSpeexFramedEncoder.h"

namespace {

constexpr size_t kStreamFrames = 3000;  // one minute of speech

struct LongStream {
  TZBytes bytes;
  size_t frames = 0;
};

// The bundled speech, encoded once and repeated to a minute.
const LongStream& longStream() {
  static const LongStream stream = [] {
    std::ifstream in(std::string(KESTRUNE_SAMPLE_DIR) + "/speech-16k.pcm", std::ios::binary);
    const TZBytes raw((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::vector<int16_t> samples(raw.size() / 2);
    std::memcpy(samples.data(), raw.data(), samples.size() * sizeof(int16_t));
    TZSpeexFramedEncoder encoder;
    const auto speech = encoder.encodeFrames(samples);
    std::vector<TZBytes> frames;
    while (frames.size() < kStreamFrames) frames.push_back(speech[frames.size() % speech.size()]);
    LongStream result;
    result.bytes = TZSpeexFramedEncoder::frameBlocks(frames);
    result.frames = frames.size();
    return result;
  }();
  return stream;
}

class FrameCounter : public TZSpeexDelegate {
 public:
  void speexDecoder(TZSpeexDecoder&, const TZBytes* Data, const TZError*) override {
    bytes += Data->size();
    ++frames;
  }
  size_t frames = 0;
  size_t bytes = 0;
};

enum class Delivery {
  // The host drains the main queue once the worker is idle, as an event loop that is busy
  // elsewhere would.
  AfterDecoding,
  // The host sleeps on the main queue and wakes for every frame.
  EachFrame,
};

// The library's way, from creation to the last frame delivered on the main queue.
void decodeThroughLibrary(const LongStream& stream, Delivery delivery) {
  auto counter = std::make_shared<FrameCounter>();
  auto decoder = TZSpeexDecoder::initWithDelegate(counter);
  decoder->speexInputData(stream.bytes);
  if (delivery == Delivery::EachFrame)
    TZMainQueue::runUntil([&] { return counter->frames == stream.frames; },
                          std::chrono::minutes(1));
  decoder->waitUntilIdle(std::chrono::minutes(1));
  TZMainQueue::runPending();
  decoder->speexOnRelease();
  if (counter->frames != stream.frames) std::abort();
}

// The same libspeex calls in a plain loop over the blocks.
void decodeInPlainLoop(const LongStream& stream) {
  void* decoder = speex_decoder_init(speex_lib_get_mode(1));
  int value = 1;
  speex_decoder_ctl(decoder, SPEEX_SET_ENH, &value);
  speex_decoder_ctl(decoder, SPEEX_SET_HIGHPASS, &value);
  speex_decoder_ctl(decoder, SPEEX_GET_LOOKAHEAD, &value);
  char buffer[1048] = {};
  SpeexBits bits{};
  bits.chars = buffer;
  bits.buf_size = 400;
  const TZBytes& data = stream.bytes;
  for (size_t at = 0; at + kTZSpeexBlockHeaderSize <= data.size();) {
    const size_t length =
        TZSpeexFrameLength(static_cast<uint16_t>(data[at + 4] | data[at + 5] << 8));
    at += kTZSpeexBlockHeaderSize;
    for (size_t i = 0; i < kTZSpeexFramesPerBlock; ++i, at += length) {
      speex_bits_rewind(&bits);
      std::memcpy(buffer, data.data() + at, length);
      bits.nbBits = static_cast<int>(8 * length);
      spx_int16_t pcm[320] = {};
      speex_decode_int(decoder, &bits, pcm);
      benchmark::DoNotOptimize(pcm);
    }
  }
  speex_decoder_destroy(decoder);
}

void quietLibrary() {
  // The library logs a few life-cycle lines per decoder, none per frame; keep them out of
  // the report and out of the user's Documents.
  TZLogManager::setLog(false, false, 1);
  TZPlatform::setDocumentsDirectory(std::filesystem::temp_directory_path().string());
}

void BM_SpeexLibrary(benchmark::State& state) {
  quietLibrary();
  const auto& stream = longStream();
  const auto delivery = static_cast<Delivery>(state.range(0));
  for (auto _ : state) decodeThroughLibrary(stream, delivery);
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * stream.frames));
  state.SetLabel(delivery == Delivery::EachFrame ? "main thread woken for each frame"
                                                 : "delivered after decoding");
}
BENCHMARK(BM_SpeexLibrary)
    ->Arg(static_cast<int>(Delivery::AfterDecoding))
    ->Arg(static_cast<int>(Delivery::EachFrame))
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

void BM_SpeexPlainLoop(benchmark::State& state) {
  const auto& stream = longStream();
  for (auto _ : state) decodeInPlainLoop(stream);
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * stream.frames));
}
BENCHMARK(BM_SpeexPlainLoop)->Unit(benchmark::kMillisecond)->UseRealTime();

// The library and the plain loop in turn, so that both see the same load on a shared
// machine; the ratio of their best runs is the library's overhead (1.00 = none).
void BM_SpeexLibraryOverPlainLoop(benchmark::State& state) {
  quietLibrary();
  const auto& stream = longStream();
  const auto delivery = static_cast<Delivery>(state.range(0));
  using Clock = std::chrono::steady_clock;
  double bestLibrary = 1e30;
  double bestPlain = 1e30;
  for (auto _ : state) {
    auto start = Clock::now();
    decodeThroughLibrary(stream, delivery);
    bestLibrary =
        std::min(bestLibrary, std::chrono::duration<double>(Clock::now() - start).count());
    start = Clock::now();
    decodeInPlainLoop(stream);
    bestPlain = std::min(bestPlain, std::chrono::duration<double>(Clock::now() - start).count());
  }
  state.counters["library_ms"] = bestLibrary * 1e3;
  state.counters["plain_ms"] = bestPlain * 1e3;
  state.counters["ratio"] = bestLibrary / bestPlain;
}
BENCHMARK(BM_SpeexLibraryOverPlainLoop)
    ->Arg(static_cast<int>(Delivery::AfterDecoding))
    ->Arg(static_cast<int>(Delivery::EachFrame))
    ->Iterations(10)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace
