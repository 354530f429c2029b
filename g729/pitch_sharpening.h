// Pitch sharpening of a 40-sample subframe vector, shared by the encoder's fixed-codebook
// search and the decoder so that both build the same codebook vector.
#pragma once

#include "kestrune/g729_types.h"

// x[i] += x[i - T0] * sharp (Q15) for i = T0..39, in place and in plain 16-bit arithmetic: the
// periodic repetition of a pulse at the pitch lag. Nothing when T0 is 40 or more.
inline void pitch_sharpen(Word16 x[], Word16 T0, Word16 sharp) {
  for (int i = T0; i < 40; ++i) {
    x[i] = static_cast<Word16>(x[i] + ((Word32{x[i - T0]} * sharp) >> 15));
  }
}
