// The tool's sound-file input on arbitrary bytes, through the function its commands use:
// libsndfile reads them from memory and whatever it finds is mixed, resampled and converted
// to the speech encoder's 8 kHz mono PCM. Nothing may crash, hang or read outside the buffer.
#include "tools/sound_conversion.h"

// libvorbis keeps what it allocated for a damaged Ogg stream's headers when the open fails
// (xiph/vorbis#125): a leak of the system's library, not of the tool.
extern "C" const char* __lsan_default_suppressions() {
  return "leak:libvorbis.so\n";
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string why;
  convertSoundFile({data, size}, {8000, 1}, "/dev/null", &why);
  return 0;
}
