// Taming: keeps the adaptive codebook from building up an excitation error that a decoder
// with a damaged history could not recover from. L_exc_err holds, per past subframe (newest
// first), an estimate of how much an error in the excitation could have grown, Q14.
#include <algorithm>

#include "g729/basic_op_inline.h"
#include "g729/oper_32b_inline.h"
#include "g729/tab_ld8k.h"
#include "kestrune/g729_coder.h"

using namespace g729ops;

namespace {

constexpr Word32 kThresholdErr = 983040000;  // 60000.0 in Q14

// 1.0 + gain_pit * estimate (Q14), saturating.
Word32 grown_error(Word32 estimate, Word16 gain_pit) {
  Word16 hi, lo;
  L_Extract(estimate, &hi, &lo);
  return L_add(16384, L_shl(Mpy_32_16(hi, lo, gain_pit), 1));
}

}  // namespace

extern "C" {

Word16 test_err(Word16 T0, Word16 T0_frac, Word32* L_exc_err) {
  const Word16 t1 = T0_frac > 0 ? static_cast<Word16>(T0 + 1) : T0;
  // The excitation read at delay t1 (with the interpolation filter's reach) lies in these
  // past subframes.
  const Word16 zone1 = tab_zone[std::max<Word16>(static_cast<Word16>(t1 - 50), 0)];
  const Word16 zone2 = tab_zone[t1 + 8];
  Word32 worst = -1;
  for (Word16 i = zone2; i >= zone1; --i) {
    if (L_sub(L_exc_err[i], worst) > 0) worst = L_exc_err[i];
  }
  return L_sub(worst, kThresholdErr) > 0 ? 1 : 0;
}

void update_exc_err(Word16 gain_pit, Word16 T0, Word32* L_exc_err) {
  Word32 worst = -1;
  const Word16 n = static_cast<Word16>(T0 - 40);
  if (n < 0) {
    // A delay shorter than the subframe repeats the excitation within it: the error grows
    // twice.
    const Word32 once = grown_error(L_exc_err[0], gain_pit);
    if (once > worst) worst = once;
    const Word32 twice = grown_error(once, gain_pit);
    if (twice > worst) worst = twice;
  } else {
    for (Word16 i = tab_zone[n]; i <= tab_zone[T0 - 1]; ++i) {
      const Word32 grown = grown_error(L_exc_err[i], gain_pit);
      if (L_sub(grown, worst) > 0) worst = grown;
    }
  }
  L_exc_err[3] = L_exc_err[2];
  L_exc_err[2] = L_exc_err[1];
  L_exc_err[1] = L_exc_err[0];
  L_exc_err[0] = worst;
}

}  // extern "C"
