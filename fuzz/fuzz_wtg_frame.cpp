// WTG frames are untrusted bytes: unpacking any 10 bytes must give every parameter inside its
// field, and packing those parameters must give back the same 10 bytes.
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "g729/tab_ld8k.h"
#include "kestrune/g729.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::array<UWord16, SERIAL_WORDS> frame;
  constexpr size_t kFrameBytes = sizeof(frame);
  for (size_t offset = 0; offset + kFrameBytes <= size; offset += kFrameBytes) {
    std::memcpy(frame.data(), data + offset, kFrameBytes);
    std::array<Word16, PRM_SIZE + 2> prm;
    prm.fill(-7);  // the element before the parameters must survive unpacking
    bits2prm_ld8k(frame.data(), prm.data() + 1);
    if (prm[0] != -7 || prm[1] != -7) __builtin_trap();
    for (int k = 0; k < PRM_SIZE; ++k) {
      if (prm[k + 2] < 0 || prm[k + 2] >= (1 << bitsno[k])) __builtin_trap();
    }
    std::array<UWord16, SERIAL_WORDS> repacked{};
    prm2bits_ld8k(prm.data() + 1, repacked.data());
    if (std::memcmp(repacked.data(), data + offset, kFrameBytes) != 0) __builtin_trap();
  }
  return 0;
}
