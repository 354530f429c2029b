// Small vector and random-number helpers of the codec.
#include <cstdint>

#include "kestrune/g729_coder.h"

extern "C" {

void Set_zero(Word16 x[], Word16 n) {
  for (Word16 i = 0; i < n; ++i) x[i] = 0;
}

// A forward element-by-element copy, so that shifting a buffer towards its start in place
// (y below x) works.
void Copy(const Word16 x[], Word16 y[], Word16 n) {
  for (Word16 i = 0; i < n; ++i) y[i] = x[i];
}

Word16 Random(Word16* seed) {
  // Unsigned arithmetic: the 16-bit wrap of the product is intended.
  *seed = static_cast<Word16>(static_cast<uint16_t>(*seed) * 31821u + 13849u);
  return *seed;
}

}  // extern "C"
