// Arbitrary bytes through the whole Speex decode path: the decoder object finds the blocks,
// libspeex decodes every frame on the worker (corrupt frames included), the PCM reaches the
// delegate through the main queue; in file mode the same bytes go through a file job. Every
// delivery is one 640-byte frame; the worker must drain everything and the decoder must come
// apart cleanly.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string>

#include "fuzz/fuzz_support.h"
#include "kestrune/TZSpeexDecoder.h"

namespace {

struct CheckingDelegate : TZSpeexDelegate {
  void speexDecoder(TZSpeexDecoder&, const TZBytes* Data, const TZError* error) override {
    if (error != nullptr || Data == nullptr || Data->size() != 640) std::abort();
  }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  quietLibraryLog();
  // Byte 0: bit 7 a file job; bits 0-6 the length of the pieces the stream is fed in. The rest:
  // the stream.
  const bool fileJob = (data[0] & 0x80) != 0;
  const size_t pieceLength = (data[0] & 0x7F) * 8u + 1u;
  const std::span<const uint8_t> stream(data + 1, size - 1);

  auto delegate = std::make_shared<CheckingDelegate>();
  auto decoder = TZSpeexDecoder::initWithDelegate(delegate);
  if (!decoder) std::abort();
  const std::string output = scratchPath("out.pcm");
  if (fileJob) {
    const std::string input = writeScratchFile("in.spx", stream);
    decoder->speexConvertToPcm(input, &output, [](const std::string*, const TZError*) {});
    std::remove(input.c_str());
  } else {
    for (size_t offset = 0; offset < stream.size(); offset += pieceLength) {
      const auto piece = stream.subspan(offset, std::min(pieceLength, stream.size() - offset));
      decoder->speexInputData(TZBytes(piece.begin(), piece.end()));
    }
  }
  drainAndDestroy(decoder);
  std::remove(output.c_str());
  return 0;
}
