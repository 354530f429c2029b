#include "tools/wtg_decode.h"

#include <filesystem>
#include <iostream>
#include <memory>

#include "kestrune/g729_decoder.h"
#include "tools/commands.h"
#include "tools/tool_io.h"
#include "tools/wav.h"

namespace {

constexpr size_t kFrameBytes = 10;
constexpr size_t kFrameSamples = 80;
constexpr int kRate = 8000;
constexpr int kUsageStatus = 2;

}  // namespace

std::optional<std::vector<int16_t>> decodeWtgFile(const std::string& path) {
  const auto bytes = readInputFile(path);
  if (!bytes) return std::nullopt;
  if (bytes->size() % kFrameBytes != 0) {
    toolFail(path + ": not a WTG file: " + std::to_string(bytes->size()) +
             " bytes is not a whole number of 10-byte frames");
    return std::nullopt;
  }

  // The decoder's state is a few kilobytes: on the heap, like the file encoder's.
  auto state = std::make_unique<DecoderState>();
  g729dec_init(state.get());
  std::vector<int16_t> samples;
  samples.reserve(bytes->size() / kFrameBytes * kFrameSamples);
  for (size_t offset = 0; offset < bytes->size(); offset += kFrameBytes) {
    // Five 16-bit words, little-endian, as the file encoder stores them.
    UWord16 words[5];
    for (size_t k = 0; k < 5; ++k)
      words[k] = UWord16((*bytes)[offset + 2 * k] | (*bytes)[offset + 2 * k + 1] << 8);
    const Word16* pcm = g729_dec_run(state.get(), words);
    samples.insert(samples.end(), pcm, pcm + kFrameSamples);
  }
  return samples;
}

int runWtg2Pcm(const ToolArgs& args) {
  for (const auto& arg : args)
    if (arg.starts_with("--")) return toolFail("wtg2pcm: unknown option " + arg), kUsageStatus;
  if (args.size() != 2) {
    toolFail("wtg2pcm: takes an input WTG file and an output file: wtg2pcm IN OUT");
    return kUsageStatus;
  }
  const std::string& input = args[0];
  const std::string& output = args[1];
  const auto samples = decodeWtgFile(input);
  if (!samples || !prepareJobOutput(input, output)) return 1;

  const bool wav = std::filesystem::path(output).extension() == ".wav";
  TZBytes bytes;
  if (wav) {
    bytes = makeWav(*samples, kRate, 1);
  } else {
    bytes.resize(samples->size() * 2);
    for (size_t i = 0; i < samples->size(); ++i) {
      bytes[2 * i] = uint8_t((*samples)[i]);
      bytes[2 * i + 1] = uint8_t(uint16_t((*samples)[i]) >> 8);
    }
  }
  if (!writeOutputFile(output, bytes)) return 1;
  std::cout << "wtg2pcm: " << input << " -> " << output << " (" << samples->size() / kFrameSamples
            << " frames, " << samples->size() << " samples of 8 kHz mono"
            << (wav ? " in a .wav file" : " PCM") << ")\n";
  return 0;
}
