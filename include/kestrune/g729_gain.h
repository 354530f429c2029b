// Gain quantization of the speech encoder: the joint pitch and code gain vector quantizer with
// MA prediction of the code-gain energy, the predictor's memory updates shared with the
// decoder, and the silence-description energy quantizer.
//
// Number formats: fixed-codebook vector Q13, pitch gain Q14, code gain Q1, past quantized
// energies Q10 (dB), gain-codebook code parts Q13. A correlation is a mantissa g and an
// exponent e standing for g / 2^e.
#pragma once

#include "kestrune/g729_types.h"
#include "kestrune/kestrune_export.h"

#ifdef __cplusplus
extern "C" {
#endif

// Quantizes the pitch and code gains of one subframe against the encoder's own predictor
// memory (process-wide, starting at -14 dB and never reset). g_coeff / exp_coeff hold <y1,y1>,
// -2<x,y1>, <y2,y2>, -2<x,y2> and 2<y1,y2> (x target, y1 filtered adaptive vector, y2 filtered
// fixed vector). With tameflag 1 the pitch gain stays below 1.0. Returns the 7-bit index:
// first-stage code in bits 4-6, second-stage code in bits 0-3.
KESTRUNE_API Word16 Qua_gain(const Word16 code[], const Word16 g_coeff[], const Word16 exp_coeff[],
                             Word16 L_subfr, Word16* gain_pit, Word16* gain_cod, Word16 tameflag);

// First rows of the 4 first-stage and 8 second-stage codebook candidates nearest to the
// unquantized gains best_gain[0] (pitch, Q9) and best_gain[1] (code, Q2); gcode0 is the
// predicted code gain in Q4.
KESTRUNE_API void Gbk_presel(const Word16 best_gain[], Word16* cand1, Word16* cand2, Word16 gcode0);

// Predicted code gain of the vector code[0..L_subfr-1] from the past quantized energies:
// gcode0 (mantissa, 16384..32767) in Q(exp_gcode0).
KESTRUNE_API void Gain_predict(const Word16 past_qua_en[], const Word16 code[], Word16 L_subfr,
                               Word16* gcode0, Word16* exp_gcode0);

// Pushes 20 log10(L_gbk12 / 2^13) (Q10) into the predictor memory, the oldest value leaving.
KESTRUNE_API void Gain_update(Word16 past_qua_en[], Word32 L_gbk12);

// Memory update for a lost frame: the average energy less 4 dB, at least -14 dB.
KESTRUNE_API void Gain_update_erasure(Word16 past_qua_en[]);

// Silence-description energy quantizer: the average of nb_ener energies ener[i] * 2^-sh_ener[i]
// (or, for nb_ener 0, the single saved one) quantized to a 5-bit index idx with its decoded
// energy in dB, enerq.
KESTRUNE_API void Qua_Sidgain(const Word16* ener, const Word16* sh_ener, Word16 nb_ener,
                              Word16* enerq, Word16* idx);
// The 5-bit index of the energy L_x * 2^-sh, with its decoded value in dB.
KESTRUNE_API Word16 Quant_Energy(Word32 L_x, Word16 sh, Word16* enerq);

// Scale factors (fact) and headroom shifts (marg) of Qua_Sidgain, by number of energies.
KESTRUNE_API extern const Word16 fact[3];
KESTRUNE_API extern const Word16 marg[3];

#ifdef __cplusplus
}
#endif
