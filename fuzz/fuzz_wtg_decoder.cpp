// Arbitrary WTG frames through the speech decoder: every 80-bit pattern is a frame a damaged
// or hostile file may hold, and each must decode (bit unpacking, LSP, pitch and gain
// decoding, synthesis, postfilter) without undefined behaviour. The fuzz build stops on any
// sanitizer report; the output itself has no constraint beyond being 80 samples.
#include <cstdint>
#include <memory>

#include "kestrune/g729_decoder.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  constexpr size_t kFrameBytes = 10;
  auto state = std::make_unique<DecoderState>();
  g729dec_init(state.get());
  for (size_t offset = 0; offset + kFrameBytes <= size; offset += kFrameBytes) {
    // Five 16-bit words, little-endian, as WTG files store them.
    UWord16 words[5];
    for (size_t k = 0; k < 5; ++k)
      words[k] = UWord16(data[offset + 2 * k] | data[offset + 2 * k + 1] << 8);
    g729_dec_run(state.get(), words);
  }
  return 0;
}
