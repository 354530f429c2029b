// Constant tables of the decoder, the postfilter, the output filter and the silence-description
// LSP quantizer, under their G.729 names. Defined in tab_dec.cpp; internal to the codec.
#pragma once

#include "kestrune/g729_types.h"

inline constexpr int F_UP_PST = 8;  // resolution of the postfilter's fractional delays
inline constexpr int LH2_S = 4;     // taps of the short interpolation filters
inline constexpr int LH2_L = 16;    // taps of the long interpolation filters

#ifdef __cplusplus
extern "C" {
#endif

// Postfilter: interpolation filters (Q15) for delays of 1/8 to 7/8 of a sample, one per
// phase, short (for the search) and long (for the chosen fractional delay).
extern const Word16 tab_hup_s[(F_UP_PST - 1) * LH2_S];
extern const Word16 tab_hup_l[(F_UP_PST - 1) * LH2_L];

// Output filter: second-order 100 Hz high-pass, Q13.
extern const Word16 b100[3];
extern const Word16 a100[3];

// Silence-description LSP quantizer: 1 - sum of the predictor coefficients (Q15) of its two
// predictors and its inverse (Q12), the codebook entries it may use (first stage, then the two
// halves of the second) and the first-stage weight of each predictor (Q15).
extern const Word16 noise_fg_sum[2][10];
extern const Word16 noise_fg_sum_inv[2][10];
extern const Word16 PtrTab_1[32];
extern const Word16 PtrTab_2[2][16];
extern const Word16 Mp[2];

#ifdef __cplusplus
}
#endif
