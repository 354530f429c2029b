#include "kestrune/wtg_encode.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

#include "kestrune/g729_coder.h"

namespace {

constexpr size_t kFrameSamples = 80;  // 10 ms at 8 kHz
constexpr size_t kFrameWords = 5;     // 80 bits
constexpr int kCoderMode = 1200;      // g729_coder_init's fixed second argument

// The file's largest sample value, from 0 up: negative samples never raise it. Reads the
// whole file (an odd last byte is not a sample).
Word16 peakOf(std::FILE* file) {
  std::fseek(file, 0, SEEK_END);
  const long size = std::ftell(file);
  std::fseek(file, 0, SEEK_SET);
  std::vector<Word16> samples(size > 0 ? static_cast<size_t>(size) / 2 : 0);
  const size_t read = std::fread(samples.data(), sizeof(Word16), samples.size(), file);
  Word16 peak = 0;
  for (size_t i = 0; i < read; ++i) peak = std::max(peak, samples[i]);
  return peak;
}

[[noreturn]] void failToOpen(const char* format, const char* path) {
  std::printf(format, path);
  std::exit(0);
}

}  // namespace

extern "C" int wtg_encode_fun(const char* pcmPath, const char* wtgPath) {
  // One encoder state per file, released when the file is done.
  const auto state = std::make_unique<CoderState>();

  std::FILE* input = std::fopen(pcmPath, "rb");
  if (input == nullptr) failToOpen("Error opening file  %s !!\n", pcmPath);
  // The silence threshold is a fifth of the peak, but only its sign matters: frames of exact
  // digital silence are flagged in a file with at least one positive sample, never otherwise.
  const double threshold = peakOf(input) * 0.2;
  std::fclose(input);

  input = std::fopen(pcmPath, "rb");
  std::FILE* output = std::fopen(wtgPath, "wb");
  if (output == nullptr) failToOpen(" Error opening file  %s !!\n", wtgPath);

  g729_coder_init(state.get(), kCoderMode);
  Word16 frame[kFrameSamples];
  UWord16 words[kFrameWords];
  // An input that vanished between the two openings codes as an empty file.
  while (input != nullptr &&
         std::fread(frame, sizeof(Word16), kFrameSamples, input) == kFrameSamples) {
    int loudest = 0;  // |-32768| counts as 32768
    for (const Word16 sample : frame)
      loudest = std::max(loudest, std::abs(static_cast<int>(sample)));
    const int silence = threshold > 0.0 && loudest == 0 ? 1 : 0;
    g729coder_run(state.get(), frame, words, silence);
    std::fwrite(words, sizeof(UWord16), kFrameWords, output);
  }
  if (input != nullptr) std::fclose(input);
  std::fclose(output);
  return 0;
}
