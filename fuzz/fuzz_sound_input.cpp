// The tool's sound-file input on arbitrary bytes, through the function its commands use:
// libsndfile reads them from memory and whatever it finds is mixed, resampled by libsoxr and
// converted to the PCM of one of the commands' formats. Nothing may crash, hang or read
// outside the buffer.
#include <array>

#include "tools/sound_conversion.h"

// libvorbis keeps what it allocated for a damaged Ogg stream's headers when the open fails
// (xiph/vorbis#125): a leak of the system's library, not of the tool.
extern "C" const char* __lsan_default_suppressions() {
  return "leak:libvorbis.so\n";
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  // Byte 0 picks the target: the speech encoder's 8 kHz mono, or one of the Opus formats.
  constexpr std::array<PcmFormat, 4> kTargets = {PcmFormat{8000, 1}, PcmFormat{16000, 1},
                                                 PcmFormat{48000, 2}, PcmFormat{12000, 2}};
  std::string why;
  convertSoundFile({data + 1, size - 1}, kTargets[data[0] % kTargets.size()], "/dev/null", &why);
  return 0;
}
