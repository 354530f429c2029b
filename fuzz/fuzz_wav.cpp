// The tool's .wav reader on arbitrary bytes: it must never read outside the buffer, and a
// data chunk it accepts must lie inside it.
#include <cstdlib>

#include "tools/wav.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const auto info = parseWav({data, size}, nullptr);
  if (info && (info->dataOffset > size || info->dataSize > size - info->dataOffset)) std::abort();
  return 0;
}
