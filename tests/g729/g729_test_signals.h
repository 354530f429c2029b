// The bundled 8 kHz speech and a fresh encoder state for the codec tests.
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

}  // namespace g729test
