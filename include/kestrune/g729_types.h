// Value types of the fixed-point speech codec and its two process-wide arithmetic flags.
#pragma once

#include <stdint.h>

#include "kestrune/kestrune_export.h"

typedef int16_t Word16;
typedef int32_t Word32;
typedef uint16_t UWord16;
typedef int32_t Flag;

#ifdef __cplusplus
extern "C" {
#endif

// Set by the flag-setting operators when they saturate (never cleared by them); shared by every
// coder in the process and not locked.
KESTRUNE_API extern Flag Overflow;
// Carry in and out of L_add_c / L_sub_c and the operators built on them.
KESTRUNE_API extern Flag Carry;

#ifdef __cplusplus
}
#endif
