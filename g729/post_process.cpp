// Output filter of the decoder: a second-order 100 Hz high-pass filter with a gain of 2, which
// undoes the halving of the encoder's input filter. Its memory is process-wide, as the
// standard's is; the output memory is kept in double precision.
#include "g729/basic_op_inline.h"
#include "g729/oper_32b_inline.h"
#include "g729/tab_dec.h"
#include "kestrune/g729_decoder.h"

using namespace g729ops;

namespace {

struct PostProcessMemory {
  Word16 y2_hi, y2_lo, y1_hi, y1_lo;  // the last two outputs, Q12 in double precision
  Word16 x0, x1;                      // the last two inputs
};

PostProcessMemory mem;

}  // namespace

extern "C" {

void Init_Post_Process(void) {
  mem = {};
}

void Post_Process(DecoderState* /*state*/, Word16 signal[], Word16 lg) {
  for (int i = 0; i < lg; ++i) {
    const Word16 x2 = mem.x1;
    mem.x1 = mem.x0;
    mem.x0 = signal[i];

    Word32 L_tmp = Mpy_32_16(mem.y1_hi, mem.y1_lo, a100[1]);
    L_tmp = L_add(L_tmp, Mpy_32_16(mem.y2_hi, mem.y2_lo, a100[2]));
    L_tmp = L_mac(L_tmp, mem.x0, b100[0]);
    L_tmp = L_mac(L_tmp, mem.x1, b100[1]);
    L_tmp = L_mac(L_tmp, x2, b100[2]);
    L_tmp = L_shl(L_tmp, 2);  // Q13 to Q15

    signal[i] = round_fx(L_shl(L_tmp, 1));  // times 2, saturated

    mem.y2_hi = mem.y1_hi;
    mem.y2_lo = mem.y1_lo;
    L_Extract(L_tmp, &mem.y1_hi, &mem.y1_lo);
  }
}

}  // extern "C"
