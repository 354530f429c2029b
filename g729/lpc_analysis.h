// Internal stages of the LP analysis.
#pragma once

#include "kestrune/g729_coder.h"

// Levinson-Durbin recursion of order 10 in Q26 on state->lp_autocorr[0..10]: writes the
// subframe-2 filter to state->A_t[11..21] and the reflection coefficients to state->rc, or,
// when a reflection coefficient above +1 appears, keeps the previous filter and restores
// rc[0..1] of the last stable frame.
void lp_recursion_q26(CoderState* state);
