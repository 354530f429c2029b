// Interpolation filters of the pitch analysis. Defined in tab_pitch.cpp; internal to the codec.
#pragma once

#include "kestrune/g729_types.h"

// One-third resolution interpolation of the normalised correlations (Q15): a windowed sinc
// sampled every third of a sample, 13 taps of which Interpol_3 uses 4 on each side.
extern const Word16 inter_3[13];

// Fractional-delay filter of the adaptive codebook (Q24): a windowed sinc sampled every third
// of a sample, symmetric about entry 30. Pred_lt_3 takes every third entry as a 20-tap filter.
extern const Word32 inter32_fir_tab[61];
