// Pitch analysis of the speech codec: open-loop and closed-loop delay search, delay coding,
// the adaptive-codebook vector and its gain.
//
// Delays run from 20 to 143 samples with fractions -1, 0, 1 (thirds of a sample). Signals are
// 16-bit; the impulse response h is Q12 and the pitch gain Q14.
#pragma once

#include "kestrune/g729_types.h"
#include "kestrune/kestrune_export.h"

#ifdef __cplusplus
extern "C" {
#endif

// A generic FIR filter with 32-bit coefficients: output j is the sum over t < taps of
// in[j * in_step + t] * coef[t * coef_stride], shifted right by `shift` and clipped to 16 bits.
typedef struct B_fir_filter {
  Word16 taps;
  Word16 shift;
  const Word32* coef;
  Word16 coef_stride;
  Word16 in_step;
} B_fir_filter;

// Open-loop delay of a frame of weighted speech; signal[-pit_max..-1] must be readable.
// pit_max + L_frame is at most 223; other lengths return pit_max.
KESTRUNE_API Word16 Pitch_ol(Word16 signal[], Word16 pit_min, Word16 pit_max, Word16 L_frame);

// Delay in [lag_min, lag_max] of the largest correlation of signal with its past (ties go to
// the smaller delay); *cor_max receives that correlation normalised by the delayed energy.
KESTRUNE_API Word16 Lag_max(Word16 signal[], Word16 L_frame, Word16 lag_max, Word16 lag_min,
                            Word16* cor_max);

// Closed-loop delay in [t0_min - 1, t0_max + 1] with its fraction in *pit_frac, for the target
// xn and the impulse response h (Q12). exc points at the subframe; the t0_max + 4 samples
// before it must be readable. At most 40 samples and at most 124 delays (t0_min..t0_max);
// other arguments return t0_min with fraction 0. In the
// first subframe (i_subfr 0) delays from 85 up get no fraction.
KESTRUNE_API Word16 Pitch_fr3(Word16 exc[], Word16 xn[], Word16 h[], Word16 L_subfr, Word16 t0_min,
                              Word16 t0_max, Word16 i_subfr, Word16* pit_frac);

// Normalised correlation interpolated at x + frac/3 (frac -2..2); x[-4..4] must be readable.
KESTRUNE_API Word32 Interpol_3(Word32* x, Word16 frac);

// Index of the delay: 8 bits in the first subframe (pit_flag 0), where the search range of
// the second is also set; 5 bits relative to *T0_min in the second.
KESTRUNE_API Word16 Enc_lag3(Word16 T0, Word16 T0_frac, Word16* T0_min, Word16* T0_max,
                             Word16 pit_min, Word16 pit_max, Word16 pit_flag);

// Adaptive-codebook vector: exc[0..L_subfr-1] interpolated from the past excitation at delay
// T0 + frac/3 (frac -1..1), written in place; exc[-T0-10..] must be readable.
KESTRUNE_API void Pred_lt_3(Word16 exc[], Word16 T0, Word16 frac, Word16 L_subfr);

// Runs `filter` over `in` for n outputs, one after another, so `out` may lie inside the
// samples still to be read (each output only reads inputs at or after its own position).
KESTRUNE_API void B_fir_cal_s(const B_fir_filter* filter, const Word16 in[], Word16 out[],
                              Word16 n);

// Adaptive-codebook gain (Q14, 0 to 19661) of the filtered vector y1 against the target xn.
// g_coeff receives <y1,y1> and <xn,y1> as mantissa and exponent pairs for the gain quantizer.
// At most 40 samples; other lengths give gain 0 and g_coeff {0, 0, 0, -15}.
KESTRUNE_API Word16 G_pitch(Word16 xn[], Word16 y1[], Word16 g_coeff[], Word16 L_subfr);

// Parity bit of the six most significant bits of an 8-bit delay index.
KESTRUNE_API Word16 Parity_Pitch(Word16 pitch_index);
// 0 when `parity` matches the index's parity bit, 1 otherwise.
KESTRUNE_API Word16 Check_Parity_Pitch(Word16 pitch_index, Word16 parity);

#ifdef __cplusplus
}
#endif
