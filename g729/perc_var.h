// Internal stage of the adaptive perceptual weighting.
#pragma once

#include "kestrune/g729_types.h"

// Log-area ratio log10((1 + rc) / (1 - rc)) of a reflection coefficient (Q15), by a
// four-segment linear approximation, Q11.
Word16 log_area_ratio(Word16 rc);
