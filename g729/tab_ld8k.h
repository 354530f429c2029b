// Constant tables of the speech codec, under their G.729 names. Defined in tab_ld8k.cpp. They
// have C linkage but stay inside the library (not exported).
#pragma once

#include "kestrune/g729_bits.h"  // PRM_SIZE, PRM_SIZE_SID
#include "kestrune/g729_types.h"

#ifdef __cplusplus
extern "C" {
#endif

// Widths of the frame's parameters in bits: a speech frame's eleven, a silence frame's four.
extern const Word16 bitsno[PRM_SIZE];
extern const Word16 bitsno2[PRM_SIZE_SID];

// Pow2: 2^(i/32) in Q14 for i = 0..32 (the last entry is 32767 rather than 32768).

extern const Word16 tabpow[33];
// Log2: log2(1 + i/32) in Q15 for i = 0..32.
extern const Word16 tablog[33];
// Inv_sqrt: 1/sqrt(j/16) in Q15 for j = 16..64 (the entry for 1.0 is 32767).
extern const Word16 tabsqr[49];

// LP analysis: asymmetric analysis window (Q15) and lag window of the autocorrelations (Q14).
extern const Word16 hamwindow[240];
extern const Word16 lag_windowf[13];

// LSP/LSF conversions: cos(pi * i / 64) in Q15 with the slopes of acos (Q12) for Lsp_lsf and
// Lsf_lsp, and the same points with the slopes of cos (Q19) and acos (Q12) for the Q13 pair.
extern const Word16 table[65];
extern const Word16 slope[64];
extern const Word16 table2[64];
extern const Word16 slope_cos[64];
extern const Word16 slope_acos[64];
// Az_lsp search grid: cos(pi * i / 60) in Q15.
extern const Word16 grid[61];

// LSP quantizer: first and second stage codebooks (Q13), the two MA predictors (Q15), their
// complements 1 - sum(fg) (Q15) and its inverse (Q12), and the predictor memory's reset value.
extern const Word16 lspcb1[128][10];
extern const Word16 lspcb2[32][10];
extern const Word16 fg[2][4][10];
extern const Word16 fg_sum[2][10];
extern const Word16 fg_sum_inv[2][10];
extern const Word16 freq_prev_reset[10];
// LSPs assumed before the first frame, Q15.
extern const Word16 lsp_old_tab[10];

// Pre-processing high-pass filter (140 Hz): halved numerator and denominator, Q12.
extern const Word16 b140[3];
extern const Word16 a140[3];
// Taming: subframe index (position / 40) of past excitation positions 0..152.
extern const Word16 tab_zone[153];

#ifdef __cplusplus
}
#endif
