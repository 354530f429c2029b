// Harmonic (long-term) part of the decoder's postfilter, used by Post.
#pragma once

#include "kestrune/g729_types.h"

// Samples of the postfilter's residual kept before the subframe: the longest delay, one more
// for the integer search, and half the long interpolation filter.
inline constexpr int MEM_RES2 = 143 + 1 + 8;

// Filters the 40-sample residual at sig_in (sig_in[-MEM_RES2..-1] readable) with
// gl (1 + b z^-p) around the decoder's delay t0, into sig_out: the delay p, to an eighth of a
// sample, maximises the normalised correlation; the filter is bypassed when that correlation is
// weak. *vo receives the integer delay found, or 0 for an unvoiced subframe. A t0 outside
// 19..143 is taken as the nearer end.
void pst_ltp(Word16 t0, const Word16* sig_in, Word16* sig_out, Word16* vo);
