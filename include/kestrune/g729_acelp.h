// Fixed (algebraic) codebook search of the speech encoder: four signed unit pulses in a
// 40-sample subframe, one per track (positions 0, 5, ..., 35; 1, 6, ..., 36; 2, 7, ..., 37;
// 3, 4, 8, 9, ..., 38, 39), chosen to match the target through the weighted synthesis filter.
//
// Number formats: impulse response Q12, target Q0, codebook vector Q13, filtered vector Q12.
#pragma once

#include "kestrune/g729_types.h"
#include "kestrune/kestrune_export.h"

// Size of the correlation array that Cor_h fills and D4i40_17 reads: the energies of the five
// position sets (tracks 0, 1, 2 and the two halves of track 3), 8 each, then nine 8x8 matrices
// of cross-correlations (pairs 0-1, 0-2, 0-3, 0-4, 1-2, 1-3, 1-4, 2-3, 2-4), rows by the first
// set's position.
#define DIM_RR 616

#ifdef __cplusplus
extern "C" {
#endif

// Searches the codebook for target x with impulse response h, which is sharpened in place by
// the pitch (lag T0, gain pitch_sharp in Q14) when T0 < 40. Writes code, its filtered version
// y and the sign word (bit k set for a positive pulse k); returns the 13-bit position index.
// i_subfr 0 starts a frame's search budget, which the second subframe inherits.
KESTRUNE_API Word16 ACELP_Codebook(const Word16 x[], Word16 h[], Word16 T0, Word16 pitch_sharp,
                                   Word16 i_subfr, Word16 code[], Word16 y[], Word16* sign);

// Correlations of the impulse response H (scaled for precision) in the DIM_RR layout.
KESTRUNE_API void Cor_h(const Word16* H, Word16* rr);

// Backward-filtered target D[n] = sum of X[j] h[j - n], normalised to 13 bits.
KESTRUNE_API void Cor_h_X(const Word16 h[], const Word16 X[], Word16 D[]);

// Depth-first search of the four pulses from the backward-filtered target Dn and the
// correlations rr (both modified: Dn to magnitudes, rr by the pulse signs). Writes the
// codebook vector cod, its filtered version y and the sign word; returns the position index.
KESTRUNE_API Word16 D4i40_17(Word16 Dn[], Word16 rr[], const Word16 h[], Word16 cod[], Word16 y[],
                             Word16* sign, Word16 i_subfr);

#ifdef __cplusplus
}
#endif
