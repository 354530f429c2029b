// Exported filter helpers outside the coding path: a biquad, an autocorrelation, a volume
// change and the alternative names of the LP filters.
#include <cstdint>

#include "g729/basic_op_inline.h"
#include "g729/wrapping_dot.h"
#include "kestrune/g729_filter.h"

using namespace g729ops;

extern "C" {

void B_iircal(const Word16 b[3], const Word16 a[3], const Word16 x[], Word16 y[], Word16 n,
              Word16 mem[4]) {
  Word16 x1 = mem[0], x2 = mem[1], y1 = mem[2], y2 = mem[3];
  for (int i = 0; i < n; ++i) {
    const Word16 in = x[i];
    const int64_t acc = int64_t{b[0]} * in + int64_t{b[1]} * x1 + int64_t{b[2]} * x2 +
                        int64_t{a[1]} * y1 + int64_t{a[2]} * y2;
    x2 = x1;
    x1 = in;
    y2 = y1;
    y1 = saturate(static_cast<Word32>((acc + 2048) >> 12));
    y[i] = y1;
  }
  mem[0] = x1;
  mem[1] = x2;
  mem[2] = y1;
  mem[3] = y2;
}

void B_comput_correlataionS(const Word16 x[], Word16 n, Word32 r[], Word16 lags) {
  for (int k = 0; k < lags; ++k) r[k] = k < n ? g729dsp::wrapping_dot(x + k, x, n - k) : 0;
}

void B_array_vol(const Word16 x[], Word16 y[], Word16 n, Word16 volume) {
  for (int i = 0; i < n; ++i) y[i] = saturate((Word32{x[i]} * volume + 2048) >> 12);
}

void B_Syn_filt(Word16 a[], Word16 x[], Word16 y[], Word16 lg, Word16 mem[], Word16 update) {
  Syn_filt(a, x, y, lg, mem, update);
}

void B_Residu(Word16 a[], Word16 x[], Word16 y[], Word16 lg) {
  Residu(a, x, y, lg);
}

}  // extern "C"
