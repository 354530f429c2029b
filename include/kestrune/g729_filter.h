// Order-10 LP filters, convolution and the fixed-codebook correlations of the speech codec.
//
// LP filters have 11 coefficients in Q12 with a[0] = 4096; impulse responses are Q12.
#pragma once

#include "kestrune/g729_types.h"
#include "kestrune/kestrune_export.h"

#ifdef __cplusplus
extern "C" {
#endif

// y = x through A(z), saturated (Overflow set per clipped sample); x[-10..-1] must be
// readable. a[0] is not read: it is taken as 4096.
KESTRUNE_API void Residu(Word16 a[], Word16 x[], Word16 y[], Word16 lg);

// y = x through 1/A(z) with mem holding the 10 previous outputs; the recursion keeps full
// 32-bit values and only y is saturated (Overflow set per clipped sample). y may be x. With
// `update` non-zero, mem takes the last 10 samples of y.
KESTRUNE_API void Syn_filt(Word16 a[], Word16 x[], Word16 y[], Word16 lg, Word16 mem[],
                           Word16 update);

// y[n] = sum of x[i] * h[n-i], i <= n, rounded from Q12 and cut to 16 bits.
KESTRUNE_API void Convolve(Word16 x[], Word16 h[], Word16 y[], Word16 L);

// Correlations of the filtered fixed-codebook vector y2 (Q12) over 40 samples, as mantissa
// and exponent in g_coeff[2..4], exp_g_coeff[2..4]: <y2,y2>, -2<xn,y2>, 2<y1,y2>.
KESTRUNE_API void Corr_xy2(Word16 xn[], Word16 y1[], Word16 y2[], Word16 g_coeff[],
                           Word16 exp_g_coeff[]);

// Helpers the codec itself does not call.

// Second-order pole-zero filter in Q12 (a[0] unused, feedback added):
// y[i] = sat((b0 x[i] + b1 x[i-1] + b2 x[i-2] + a1 y[i-1] + a2 y[i-2] + 2048) >> 12);
// mem = {x[-1], x[-2], y[-1], y[-2]}, updated.
KESTRUNE_API void B_iircal(const Word16 b[3], const Word16 a[3], const Word16 x[], Word16 y[],
                           Word16 n, Word16 mem[4]);
// r[k] = plain wrapping 32-bit sum of x[i] * x[i-k] for i = k..n-1, k = 0..lags-1.
KESTRUNE_API void B_comput_correlataionS(const Word16 x[], Word16 n, Word32 r[], Word16 lags);
// y[i] = sat((x[i] * volume + 2048) >> 12): a Q12 volume, 4096 leaving x unchanged.
KESTRUNE_API void B_array_vol(const Word16 x[], Word16 y[], Word16 n, Word16 volume);
// Syn_filt under its alternative name.
KESTRUNE_API void B_Syn_filt(Word16 a[], Word16 x[], Word16 y[], Word16 lg, Word16 mem[],
                             Word16 update);
// Residu under its alternative name.
KESTRUNE_API void B_Residu(Word16 a[], Word16 x[], Word16 y[], Word16 lg);

#ifdef __cplusplus
}
#endif
