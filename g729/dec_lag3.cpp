// Pitch delay of a subframe from its index, the inverse of Enc_lag3.
#include "g729/basic_op_inline.h"
#include "kestrune/g729_decoder.h"

using namespace g729ops;

namespace {

constexpr Word16 kOneThird = 10923;  // Q15

}  // namespace

extern "C" {

void Dec_lag3(Word16 index, Word16 pit_min, Word16 pit_max, Word16 i_subfr, Word16* T0,
              Word16* T0_frac) {
  if (i_subfr == 0) {
    // Index 3 T0 + frac - 58 below 197 (delays up to 85 in thirds), T0 + 112 above.
    if (sub(index, 197) < 0) {
      *T0 = add(mult(add(index, 2), kOneThird), 19);  // (index + 2) / 3 + 19
      const Word16 three_t0 = add(add(*T0, *T0), *T0);
      *T0_frac = add(sub(index, three_t0), 58);
    } else {
      *T0 = sub(index, 112);
      *T0_frac = 0;
    }
    return;
  }

  // The second subframe's search range around the first subframe's delay, as the encoder set it.
  Word16 T0_min = sub(*T0, 5);
  if (sub(T0_min, pit_min) < 0) T0_min = pit_min;
  const Word16 T0_max = add(T0_min, 9);
  if (sub(T0_max, pit_max) > 0) T0_min = sub(pit_max, 9);

  // Index 3 (T0 - T0_min) + 2 + frac.
  Word16 i = sub(mult(add(index, 2), kOneThird), 1);
  *T0 = add(i, T0_min);
  i = add(add(i, i), i);
  *T0_frac = sub(sub(index, 2), i);
}

}  // extern "C"
