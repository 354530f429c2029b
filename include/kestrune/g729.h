// Public C interface of the fixed-point speech codec: operators, frame packing, the
// encoder routines, their filters, the fixed-codebook search, the gain quantizer and the
// decoder with its postfilter.
//
// One coder at a time per process. The codec keeps process-wide state that no lock guards
// and nothing resets: the Overflow and Carry flags, the gain predictors' past energies, the
// adaptive weighting's memory (perc_var) and the decoder's postfilter and output filter. Two
// coders (encoders or decoders) running at once on different threads disturb each other's
// output (and race on that state); run them one after another, on one thread or behind one
// lock, as the WTG conversion service does. Each state record (CoderState, DecoderState)
// belongs to one job and is only touched by the routines it is handed to.
#pragma once

#include "kestrune/g729_acelp.h"
#include "kestrune/g729_basic_op.h"
#include "kestrune/g729_bits.h"
#include "kestrune/g729_coder.h"
#include "kestrune/g729_decoder.h"
#include "kestrune/g729_filter.h"
#include "kestrune/g729_gain.h"
#include "kestrune/g729_pitch.h"
#include "kestrune/g729_types.h"
