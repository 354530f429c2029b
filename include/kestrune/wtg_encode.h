// WTG file encoder: one raw 8 kHz 16-bit mono PCM file into one WTG file, the headerless
// sequence of 10-byte frames of the speech codec (five little-endian 16-bit words each, one
// per 80 complete input samples; a trailing partial frame is dropped).
#pragma once

#include "kestrune/kestrune_export.h"

#ifdef __cplusplus
extern "C" {
#endif

// Converts the file at pcmPath into wtgPath (replaced when it exists) and returns 0. A frame
// of exact digital silence inside a file with at least one positive sample is coded with the
// silence flag set. The function has no error return: when the input or the output cannot be
// opened it prints "Error opening file  <path> !!" (the output's message with a leading
// blank) on standard output and ends the whole process with exit status 0. The speech codec
// beneath keeps process-wide state, so calls must not overlap (see kestrune/g729.h), and each
// file starts from the memories the previous one left.
KESTRUNE_API int wtg_encode_fun(const char* pcmPath, const char* wtgPath);

#ifdef __cplusplus
}
#endif
