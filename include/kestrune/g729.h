// Public C interface of the fixed-point speech codec: operators, frame packing, the
// encoder routines, their filters, the fixed-codebook search and the gain quantizer.
#pragma once

#include "kestrune/g729_acelp.h"
#include "kestrune/g729_basic_op.h"
#include "kestrune/g729_bits.h"
#include "kestrune/g729_coder.h"
#include "kestrune/g729_filter.h"
#include "kestrune/g729_gain.h"
#include "kestrune/g729_pitch.h"
#include "kestrune/g729_types.h"
