// Parity bit protecting the six most significant bits of the first subframe's delay index.
#include "g729/basic_op_inline.h"
#include "kestrune/g729_pitch.h"

using namespace g729ops;

namespace {

// 1 plus the number of set bits among bits 2..7 of the index, whose lowest bit is the parity.
Word16 parity_sum(Word16 pitch_index) {
  Word16 sum = 1;
  for (int bit = 2; bit <= 7; ++bit) sum = static_cast<Word16>(sum + ((pitch_index >> bit) & 1));
  return sum;
}

}  // namespace

extern "C" {

Word16 Parity_Pitch(Word16 pitch_index) {
  return static_cast<Word16>(parity_sum(pitch_index) & 1);
}

Word16 Check_Parity_Pitch(Word16 pitch_index, Word16 parity) {
  return static_cast<Word16>(add(parity_sum(pitch_index), parity) & 1);
}

}  // extern "C"
