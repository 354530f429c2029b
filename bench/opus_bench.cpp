// Throughput of the Opus file jobs through the library against a plain loop of the same
// libopus calls on the same data, writing the same file, best run of each so that load from
// other processes counts as little as possible. "ratio" (library over plain loop) is what the
// worker, the queue, the delegate deliveries and the main-queue hand-off add.
#include <benchmark/benchmark.h>
#include <opus.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "kestrune/TZLogManager.h"
#include "kestrune/TZMainQueue.h"
#include "kestrune/TZOpusDecoder.h"
#include "kestrune/TZOpusEncoder.h"
#include "kestrune/TZOpusRecords.h"
#include "kestrune/TZPlatform.h"

namespace {

using Clock = std::chrono::steady_clock;
constexpr int kRate = 16000;
constexpr int kFrameSize = 320;  // the default format's frameSize

std::string scratch(const std::string& name) {
  static const std::filesystem::path directory = [] {
    auto path = std::filesystem::temp_directory_path() / "kestrune-opus-bench";
    std::filesystem::create_directories(path);
    TZPlatform::setDocumentsDirectory(path.string());
    TZLogManager::setLog(true, false, 3);  // no per-job debug lines in the timings
    return path;
  }();
  return (directory / name).string();
}

TZBytes readAll(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return TZBytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

const std::string& speechPath() {
  static const std::string path = std::string(KESTRUNE_SAMPLE_DIR) + "/speech-16k.pcm";
  return path;
}

// Counts what the worker hands over, so the main-queue hand-off is part of the timing.
struct CountingDelegate : TZOpusEncoderDelegate, TZOpusDecoderDelegate {
  void opusEncoder(TZOpusEncoder&, const TZBytes* Data, const TZError*) override {
    if (Data != nullptr) bytes += Data->size();
  }
  void opusDecoder(TZOpusDecoder&, const TZBytes* Data, const TZError*) override {
    if (Data != nullptr) bytes += Data->size();
  }
  size_t bytes = 0;
};

// The encoder's file job done by hand: the same padding, one zeroed frame per chunk, the
// packets appended to a file. Returns the packets for the decode benchmark.
std::vector<TZBytes> encodeDirectly(const std::string& input, const std::string& output) {
  TZBytes pcm = readAll(input);
  pcm.resize(pcm.size() + pcm.size() % kFrameSize, 0);
  int error = 0;
  OpusEncoder* encoder = opus_encoder_create(kRate, 1, 2049 /* OPUS_APPLICATION_AUDIO */, &error);
  std::FILE* file = std::fopen(output.c_str(), "wb");
  std::vector<TZBytes> packets;
  std::vector<opus_int16> frame(kFrameSize);
  std::vector<unsigned char> out(96000);
  for (size_t offset = 0; offset + kFrameSize <= pcm.size(); offset += kFrameSize) {
    std::fill(frame.begin(), frame.end(), 0);
    std::memcpy(frame.data(), pcm.data() + offset, kFrameSize);
    const int length = opus_encode(encoder, frame.data(), kFrameSize, out.data(), 96000);
    if (length <= 0) continue;
    std::fwrite(out.data(), 1, static_cast<size_t>(length), file);
    packets.emplace_back(out.begin(), out.begin() + length);
  }
  std::fclose(file);
  opus_encoder_destroy(encoder);
  return packets;
}

void encodeThroughLibrary(const std::string& input, const std::string& output) {
  const auto delegate = std::make_shared<CountingDelegate>();
  auto encoder = TZOpusEncoder::initFormat(TZOpusFormat::defaultFormats(), {});
  encoder->setDelegate(std::static_pointer_cast<TZOpusEncoderDelegate>(delegate));
  bool done = false;
  encoder->opusEncodeFile(input, &output, [&](const std::string*, const TZError*) { done = true; });
  encoder->waitUntilIdle(std::chrono::minutes(1));
  TZMainQueue::runPending();
}

void decodeDirectly(const std::string& input, const std::string& output) {
  const TZBytes records = readAll(input);
  int error = 0;
  OpusDecoder* decoder = opus_decoder_create(kRate, 1, &error);
  std::FILE* file = std::fopen(output.c_str(), "wb");
  std::vector<opus_int16> samples(96000);
  for (size_t offset = 0; offset + 8 <= records.size();) {
    const uint32_t length = uint32_t(records[offset]) << 24 | uint32_t(records[offset + 1]) << 16 |
                            uint32_t(records[offset + 2]) << 8 | records[offset + 3];
    const int count = opus_decode(decoder, records.data() + offset + 8,
                                  static_cast<opus_int32>(length), samples.data(), 96000, 0);
    if (count > 0) std::fwrite(samples.data(), 2, static_cast<size_t>(count), file);
    offset += 8 + length;
  }
  std::fclose(file);
  opus_decoder_destroy(decoder);
}

void decodeThroughLibrary(const std::string& input, const std::string& output) {
  const auto delegate = std::make_shared<CountingDelegate>();
  auto format = TZOpusFormat::defaultFormats();
  format->setDataSize(9);  // every whole record is cut
  auto decoder =
      TZOpusDecoder::initDecoder(format, std::static_pointer_cast<TZOpusDecoderDelegate>(delegate));
  decoder->opusDecodeFile(input, &output, nullptr);
  decoder->waitUntilIdle(std::chrono::minutes(1));
  TZMainQueue::runPending();
}

// Times the two ways in turn and reports the best of each and their ratio.
template <class Library, class Direct>
void compare(benchmark::State& state, Library library, Direct direct) {
  double bestLibrary = 1e9;
  double bestDirect = 1e9;
  for (auto _ : state) {
    auto start = Clock::now();
    library();
    const double libraryTime = std::chrono::duration<double>(Clock::now() - start).count();
    start = Clock::now();
    direct();
    const double directTime = std::chrono::duration<double>(Clock::now() - start).count();
    bestLibrary = std::min(bestLibrary, libraryTime);
    bestDirect = std::min(bestDirect, directTime);
    state.SetIterationTime(libraryTime);
  }
  state.counters["library_ms"] = bestLibrary * 1000;
  state.counters["direct_ms"] = bestDirect * 1000;
  state.counters["ratio"] = bestLibrary / bestDirect;
}

void BM_OpusEncodeFile(benchmark::State& state) {
  compare(
      state, [] { encodeThroughLibrary(speechPath(), scratch("library.opus")); },
      [] { encodeDirectly(speechPath(), scratch("direct.opus")); });
}
BENCHMARK(BM_OpusEncodeFile)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(10);

void BM_OpusDecodeFile(benchmark::State& state) {
  const std::string records = scratch("speech.records");
  {
    const TZBytes framed = TZOpusFrameRecords(encodeDirectly(speechPath(), scratch("setup.opus")));
    std::ofstream(records, std::ios::binary)
        .write(reinterpret_cast<const char*>(framed.data()),
               static_cast<std::streamsize>(framed.size()));
  }
  compare(
      state, [&] { decodeThroughLibrary(records, scratch("library.pcm")); },
      [&] { decodeDirectly(records, scratch("direct.pcm")); });
}
BENCHMARK(BM_OpusDecodeFile)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(10);

}  // namespace
