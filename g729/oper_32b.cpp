// Exported double-precision routines: C wrappers of the inline ones.
#include "g729/oper_32b_inline.h"
#include "kestrune/g729_basic_op.h"

extern "C" {

void L_Extract(Word32 L_32, Word16* hi, Word16* lo) {
  g729ops::L_Extract(L_32, hi, lo);
}
Word32 L_Comp(Word16 hi, Word16 lo) {
  return g729ops::L_Comp(hi, lo);
}
Word32 Mpy_32(Word16 hi1, Word16 lo1, Word16 hi2, Word16 lo2) {
  return g729ops::Mpy_32(hi1, lo1, hi2, lo2);
}
Word32 Mpy_32_16(Word16 hi, Word16 lo, Word16 n) {
  return g729ops::Mpy_32_16(hi, lo, n);
}
Word32 Div_32(Word32 L_num, Word16 denom_hi, Word16 denom_lo) {
  return g729ops::Div_32(L_num, denom_hi, denom_lo);
}

}  // extern "C"
