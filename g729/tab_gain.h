// Tables of the gain quantizer and the gain predictor (values of ITU-T G.729), with the sizes
// of the two-stage gain codebook. Defined in tab_gain.cpp. The silence-description tables
// marg and fact are exported and declared in kestrune/g729_gain.h.
#pragma once

#include "kestrune/g729_gain.h"
#include "kestrune/g729_types.h"

inline constexpr Word16 NCODE1 = 8;   // entries of the first-stage gain codebook
inline constexpr Word16 NCODE2 = 16;  // entries of the second-stage gain codebook
inline constexpr Word16 NCAN1 = 4;    // first-stage candidates kept by the pre-selection
inline constexpr Word16 NCAN2 = 8;    // second-stage candidates kept by the pre-selection

#ifdef __cplusplus
extern "C" {
#endif

// MA prediction coefficients of the code-gain energy, Q13: 0.68, 0.58, 0.34, 0.19.
extern const Word16 pred[4];
// Gain codebooks: each row is a pitch-gain part (Q14) and a code-gain correction part (Q13);
// the quantized pair is the sum of one row of each.
extern const Word16 gbk1[NCODE1][2];
extern const Word16 gbk2[NCODE2][2];
// Codebook row to transmitted index (map) and back (imap).
extern const Word16 map1[NCODE1];
extern const Word16 map2[NCODE2];
extern const Word16 imap1[NCODE1];
extern const Word16 imap2[NCODE2];
// Pre-selection: the line through both codebooks' centroids ([0][0] Q10, [0][1] Q14, [1][0]
// Q16, [1][1] Q19), the same in 32 bits (Q26, Q30, Q32, Q35), and the decision thresholds of
// the first (Q14) and second (Q15) stage.
extern const Word16 coef[2][2];
extern const Word32 L_coef[2][2];
extern const Word16 thr1[NCODE1 - NCAN1];
extern const Word16 thr2[NCODE2 - NCAN2];

#ifdef __cplusplus
}
#endif
