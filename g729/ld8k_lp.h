// Constants of the speech codec shared by the encoder and the decoder: frame sizes, pitch
// range and sharpening bounds, and those of the LP analysis, LSP conversion and quantizer.
#pragma once

#include "kestrune/g729_types.h"

inline constexpr Word16 L_FRAME = 80;     // a frame: 10 ms at 8 kHz
inline constexpr Word16 L_SUBFR = 40;     // a subframe
inline constexpr Word16 PIT_MIN = 20;     // shortest pitch delay
inline constexpr Word16 PIT_MAX = 143;    // longest pitch delay
inline constexpr Word16 SHARPMIN = 3277;  // pitch sharpening bounds, 0.2 and 0.8 in Q14
inline constexpr Word16 SHARPMAX = 13017;

inline constexpr Word16 M = 10;       // LP order
inline constexpr Word16 MP1 = M + 1;  // coefficients of an LP filter
inline constexpr Word16 NC = M / 2;   // order of the LSP sum and difference polynomials
inline constexpr int L_WINDOW = 240;  // LP analysis window
inline constexpr int LAGS = 13;       // autocorrelation lags computed and lag-windowed

// LSP quantizer.
inline constexpr Word16 MA_NP = 4;           // order of the MA predictor
inline constexpr Word16 MODE = 2;            // number of MA predictors
inline constexpr Word16 NC0_B = 7;           // bits of the first stage
inline constexpr Word16 NC1_B = 5;           // bits of each second-stage half
inline constexpr Word16 NC0 = 1 << NC0_B;    // first-stage entries
inline constexpr Word16 NC1 = 1 << NC1_B;    // second-stage entries
inline constexpr Word16 L_LIMIT = 40;        // lowest LSF, Q13 (0.005)
inline constexpr Word16 M_LIMIT = 25681;     // highest LSF, Q13 (3.135)
inline constexpr Word16 GAP1 = 10;           // minimum gap of the first expansion steps, Q13
inline constexpr Word16 GAP2 = 5;            // minimum gap of the second expansion step, Q13
inline constexpr Word16 GAP3 = 321;          // minimum gap of the final vector, Q13
inline constexpr Word16 GRID_POINTS = 60;    // intervals of the Az_lsp root search
inline constexpr Word16 PI04 = 1029;         // pi * 0.04, Q13
inline constexpr Word16 PI92 = 23677;        // pi * 0.92, Q13
inline constexpr Word16 CONST10 = 10 << 11;  // 10.0, Q11
inline constexpr Word16 CONST12 = 19661;     // 1.2, Q14
