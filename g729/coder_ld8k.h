// Internal steps of the encoder's frame driver.
#pragma once

#include "kestrune/g729_types.h"

// Closed-loop search range of the first subframe around the open-loop delay T_op:
// [T_op - 3, T_op + 3], moved up to start at 20 or down to end at 143.
void first_subframe_pitch_range(Word16 T_op, Word16* T0_min, Word16* T0_max);

// The pitch gain (Q14) as the frame uses it: limited to 0.95 (15564) when taming is 1.
Word16 tamed_pitch_gain(Word16 gain_pit, Word16 taming);
