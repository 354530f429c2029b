// Packing of one coded 10 ms frame (eleven quantizer indices, 80 bits) into five 16-bit words.
#pragma once

#include "kestrune/g729_types.h"
#include "kestrune/kestrune_export.h"

#ifdef __cplusplus
extern "C" {
#endif

// Number of packed parameters of a speech frame and of a silence-description frame.
#define PRM_SIZE 11
#define PRM_SIZE_SID 4
// 16-bit words of one packed 80-bit frame.
#define SERIAL_WORDS 5

// Field widths of the speech-frame parameters (they sum to 80) and of the silence-description
// parameters. Kept as data: the packer has the layout built in.
// prm[0] is the frame type and is not packed; prm[1..11] fill bits[0..4], least significant
// bit first. Each parameter is cut to its field width.
KESTRUNE_API void prm2bits_ld8k(Word16 prm[], UWord16 bits[]);
// Inverse of prm2bits_ld8k: writes prm[1..11] and leaves prm[0] as it was.
KESTRUNE_API void bits2prm_ld8k(UWord16 bits[], Word16 prm[]);

#ifdef __cplusplus
}
#endif
