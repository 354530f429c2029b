// Arbitrary bytes through the whole Opus decode path: the decoder object cuts records under
// an arbitrary format (odd rates and channel counts included, which Opus may refuse), libopus
// decodes them on the worker, the PCM reaches the delegate through the main queue. In file
// mode the same bytes go through a file job instead. Every delivery is PCM or an error,
// never both; the worker must drain everything and the decoder must come apart cleanly.
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string>

#include "fuzz/fuzz_support.h"
#include "kestrune/TZOpusDecoder.h"

namespace {

struct CheckingDelegate : TZOpusDecoderDelegate {
  void opusDecoder(TZOpusDecoder&, const TZBytes* Data, const TZError* error) override {
    if ((Data == nullptr) == (error == nullptr)) std::abort();
    if (Data != nullptr && Data->size() % 2 != 0) std::abort();
  }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 4) return 0;
  quietLibraryLog();
  // Byte 0: bit 0 the data header; bits 1-3 the rate; bits 4-5 the channel count; bit 6 swap
  // mono and stereo on the descriptor half-way; bit 7 a file job. Bytes 1-2: dataSize, signed.
  // Byte 3: the length of the pieces the stream is fed in. The rest: the stream.
  constexpr std::array<int32_t, 8> kRates = {8000, 12000, 16000, 24000, 48000, 44100, 0, -16000};
  constexpr std::array<int32_t, 4> kChannels = {1, 2, 0, 3};
  const uint8_t switches = data[0];
  int16_t dataSize = 0;
  std::memcpy(&dataSize, data + 1, sizeof dataSize);
  const size_t pieceLength = data[3] + 1u;
  const std::span<const uint8_t> stream(data + 4, size - 4);

  auto format = TZOpusFormat::defaultFormats();
  format->setHasDataHeader((switches & 1) != 0);
  format->setSampleRate(kRates[(switches >> 1) & 7]);
  format->setChannels(kChannels[(switches >> 4) & 3]);
  format->setDataSize(dataSize);
  auto delegate = std::make_shared<CheckingDelegate>();
  auto decoder = TZOpusDecoder::initDecoder(format, delegate);
  if (!decoder) return 0;  // a format Opus refuses

  const std::string output = scratchPath("out.pcm");
  if ((switches & 0x80) != 0) {
    const std::string input = writeScratchFile("in.opus", stream);
    decoder->opusDecodeFile(input, &output, [](const std::string*, const TZError*) {});
    std::remove(input.c_str());
  } else {
    for (size_t offset = 0; offset < stream.size(); offset += pieceLength) {
      decoder->opusDecoderInputData(
          stream.subspan(offset, std::min(pieceLength, stream.size() - offset)));
      if ((switches & 0x40) != 0 && offset == 0) format->setChannels(3 - format->channels());
    }
  }
  drainAndDestroy(decoder);
  std::remove(output.c_str());
  return 0;
}
