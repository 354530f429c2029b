#include "tools/wtg_decode.h"

#include <iostream>
#include <memory>

#include "kestrune/g729_decoder.h"
#include "tools/commands.h"
#include "tools/pcm_writer.h"
#include "tools/tool_io.h"

namespace {

constexpr size_t kFrameBytes = 10;
constexpr size_t kFrameSamples = 80;
constexpr int kRate = 8000;

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

int runWtg2Pcm(const std::string& input, const std::string& output) {
  const auto samples = decodeWtgFile(input);
  if (!samples || !prepareJobOutput(input, output) || !writePcmFile(output, {kRate, 1}, *samples))
    return 1;
  std::cout << "wtg2pcm: " << input << " -> " << output << " (" << samples->size() / kFrameSamples
            << " frames, " << samples->size() << " samples of 8 kHz mono PCM)\n";
  return 0;
}
