// Decoder of the speech codec: one 10-byte WTG frame (five 16-bit words) back into 80 samples of
// 8 kHz speech, with the adaptive postfilter and the output high-pass filter, and the routines
// they are built from.
//
// Process-wide memory, shared by every decoder in the process, unlocked and never reset by a
// new decoder's state: the gain predictor's past energies (Dec_gain, starting at -14 dB), and
// the memories of the postfilter (Post) and of the output filter (Post_Process), which
// Init_Post_Filter and Init_Post_Process clear. Run one decoder at a time, and not while an
// encoder runs on another thread (they share the Overflow flag).
//
// Number formats: LP coefficients Q12, LSPs Q15 (cosine domain), quantized LSFs Q13 (radians),
// fixed-codebook vector Q13, pitch gain Q14, code gain Q1.
#pragma once

#include "kestrune/g729_types.h"
#include "kestrune/kestrune_export.h"

#ifdef __cplusplus
extern "C" {
#endif

// Memory of the LSP decoder: the last four second-stage code vectors of the MA predictor and
// what a lost frame falls back on.
typedef struct LspDecoderMemory {
  Word16 freq_prev[4][10];  // Q13
  Word16 prev_ma;           // predictor of the last good frame
  Word16 prev_lsp[10];      // quantized LSFs of the last good frame, Q13
} LspDecoderMemory;

// Decoder state of one stream: a plain C record owned by the caller, valid after
// g729dec_init. The pointers point into the record's own buffers.
typedef struct DecoderState {
  // Synthesis: 10 samples of filter memory, then the frame's 80.
  Word16 synth_buf[90];
  Word16* synth;  // synth_buf + 10

  // Decod_ld8k's state, as Init_Decod_ld8k sets it up.
  Word16 old_exc[234];  // excitation: 154 past samples, then the frame's 80
  Word16* exc;          // old_exc + 154
  Word16 lsp_old[10];   // quantized LSPs of the previous frame, Q15
  Word16 mem_syn[10];   // synthesis filter 1/A(z)
  Word16 sharp;         // pitch sharpening of the previous subframe, Q14
  Word16 old_T0;        // integer delay a bad frame or a failed parity check falls back on
  Word16 gain_code;     // gains of the last subframe, which a lost frame attenuates
  Word16 gain_pitch;
  Word16 seed;  // random codebook entries of a lost frame
  LspDecoderMemory lsp;

  Word16 Az_dec[22];   // LP filters of the two subframes, for the postfilter
  Word16 T0_first;     // integer pitch delay of the first subframe
  Word16 voicing;      // voicing of the previous frame (a delay, or 0 when unvoiced)
  Word16 pst_out[80];  // the decoded frame
} DecoderState;

// Clears the record, sets up Decod_ld8k's state, the postfilter and the output filter (both
// process-wide) and the voicing. Returns 0.
KESTRUNE_API int g729dec_init(DecoderState* state);

// Decodes one frame of five packed words as a good speech frame; the bit that carries the
// encoder's silence flag is read as the first delay's parity, so a frame whose flag differs
// from that parity decodes with the previous delay. Returns state->pst_out, valid until the
// next call.
KESTRUNE_API Word16* g729_dec_run(DecoderState* state, UWord16 frame[]);

// Loop-back check: codes a triangle test frame with a fresh encoder, decodes it with a fresh
// decoder and prints the five words and the 80 decoded samples on standard output. Returns 0.
KESTRUNE_API int testfun(void);

// Clears Decod_ld8k's state: the past excitation and synthesis memory, the initial LSPs,
// sharpening, delay, gains and random seed, and the LSP decoder memory.
KESTRUNE_API void Init_Decod_ld8k(DecoderState* state);

// Decodes one frame's parameters into 80 synthesized samples at synth (synth[-10..-1]
// readable), the two subframes' LP filters A_t and the first subframe's integer delay. parm:
// [0] the bad-frame flag, [1] the frame type (not read: every frame is a speech frame),
// [2..12] the eleven parameters in packing order, [5] being 1 when the first delay's parity
// check failed. A bad frame replaces the pulse positions and signs, parm[6..7] and
// parm[10..11], by random values; voicing (the previous frame's) decides how it is concealed.
KESTRUNE_API void Decod_ld8k(DecoderState* state, Word16 parm[], Word16 voicing, Word16 synth[],
                             Word16 A_t[], Word16* T0_first);

// Quantized LSPs (Q15) of the two LSP indices prm[0..1]; a bad frame (erase 1) repeats the
// last good frame's and moves the predictor on with it.
KESTRUNE_API void D_lsp(Word16 prm[], Word16 lsp_q[], Word16 erase, LspDecoderMemory* memory);
// The same, as quantized LSFs (Q13).
KESTRUNE_API void Lsp_iqua_cs(Word16 prm[], Word16 lsp_q[], Word16 erase, LspDecoderMemory* memory);
// Predictor memory and the lost-frame fallback back to their initial values.
KESTRUNE_API void Lsp_decw_reset(LspDecoderMemory* memory);
// Copies the predictor memory out to x, and x into it.
KESTRUNE_API void Get_decfreq_prev(Word16 x[4][10], const LspDecoderMemory* memory);
KESTRUNE_API void Update_decfreq_prev(const Word16 x[4][10], LspDecoderMemory* memory);

// Silence-description LSP quantizer: lsp (Q15) against the MA predictor memory freq_prev
// (updated) into lspq (Q15) and the indices ana[0] (predictor), ana[1] (first stage, 5 bits)
// and ana[2] (second stage, 4 bits).
KESTRUNE_API void lsfq_noise(Word16* lsp, Word16* lspq, Word16 freq_prev[4][10], Word16* ana);

// Integer delay and fraction (-1, 0, 1) of a delay index: the 8-bit absolute index of the
// first subframe (i_subfr 0), or the 5-bit index relative to the first subframe's delay,
// which *T0 holds on entry, in the second.
KESTRUNE_API void Dec_lag3(Word16 index, Word16 pit_min, Word16 pit_max, Word16 i_subfr, Word16* T0,
                           Word16* T0_frac);

// Fixed-codebook vector (Q13) of a 13-bit position index and its 4 sign bits.
KESTRUNE_API void Decod_ACELP(Word16 sign, Word16 index, Word16 cod[]);

// Pitch (Q14) and code (Q1) gains of a 7-bit gain index for the fixed-codebook vector code,
// predicted from the decoder's process-wide memory of past energies (updated). A bad frame
// (bfi 1) attenuates the gains passed in instead.
KESTRUNE_API void Dec_gain(Word16 index, Word16 code[], Word16 L_subfr, Word16 bfi,
                           Word16* gain_pit, Word16* gain_cod);

// Clears the postfilter's process-wide memory.
KESTRUNE_API void Init_Post_Filter(void);
// Postfilters one 40-sample subframe of synthesis (signal_ptr[-10..-1] readable) with its LP
// filter coeff: harmonic filter around the delay t0, formant filter, tilt compensation and
// gain control, into sig_out. *vo receives the delay found voiced, or 0. A delay outside
// 19..143 (a damaged frame's) is taken as the nearer end.
KESTRUNE_API void Post(Word16 t0, Word16* signal_ptr, Word16* coeff, Word16* sig_out, Word16* vo);

// Clears the output filter's process-wide memory.
KESTRUNE_API void Init_Post_Process(void);
// 100 Hz high-pass filter and gain of 2, saturated, on signal[0..lg-1] in place. The state is
// accepted for the callers' sake; the filter's memory is process-wide.
KESTRUNE_API void Post_Process(DecoderState* state, Word16 signal[], Word16 lg);

#ifdef __cplusplus
}
#endif
