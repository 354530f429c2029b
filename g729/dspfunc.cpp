// Exported table routines: C wrappers of the inline ones.
#include "g729/dspfunc_inline.h"
#include "kestrune/g729_basic_op.h"

extern "C" {

void Log2(Word32 L_x, Word16* exponent, Word16* fraction) {
  g729ops::Log2(L_x, exponent, fraction);
}
Word32 Pow2(Word16 exponent, Word16 fraction) {
  return g729ops::Pow2(exponent, fraction);
}
Word32 Inv_sqrt(Word32 L_x) {
  return g729ops::Inv_sqrt(L_x);
}

}  // extern "C"
