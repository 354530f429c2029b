// Encoder of the speech codec: its state record, the frame driver and its helpers, the LP
// analysis, LSP conversion and LSP quantizer.
//
// Number formats: LP coefficients Q12 (first coefficient 4096), reflection coefficients Q15,
// LSPs Q15 in the cosine domain, LSFs Q15 normalised to [0, 0.5] (Lsp_lsf / Lsf_lsp) or Q13 in
// [0, pi) (Lsp_lsf2 / Lsf_lsp2, the quantizer's domain).
#pragma once

#include "kestrune/g729_types.h"
#include "kestrune/kestrune_export.h"

#ifdef __cplusplus
extern "C" {
#endif

// Encoder state of one coding job: a plain C record owned by the caller, valid after
// g729_coder_init. The pointers point into the record's own buffers.
typedef struct CoderState {
  // High-pass pre-processing memory: the last two inputs and the last two (saturated)
  // outputs. The outputs carry a prefix because y1 and y2 also name the filtered codebook
  // vectors below.
  Word16 x0, x1;
  Word32 hp_y2, hp_y1;

  // Speech: 80 past samples, the 80 of the frame and 40 of look-ahead.
  Word16 old_speech[240];
  Word16* speech;      // old_speech + 120, the frame being coded
  Word16* p_window;    // old_speech, the 240-sample LP analysis window
  Word16* new_speech;  // old_speech + 160, where the next 80 samples go

  // Weighted speech: 143 past samples then the frame's 80.
  Word16 old_wsp[223];
  Word16* wsp;  // old_wsp + 143

  // Excitation: 154 past samples then the frame's 80.
  Word16 old_exc[234];
  Word16* exc;  // old_exc + 154

  // Impulse-response work buffer: 11 coefficients then 40 zeros.
  Word16 ai_zero[51];
  Word16* zero;  // ai_zero + 11

  Word16 lsp_old[10];    // unquantized LSPs of the previous frame
  Word16 lsp_old_q[10];  // quantized LSPs of the previous frame

  Word16 mem_syn[10];  // synthesis filter 1/A(z)
  Word16 mem_w0[10];   // weighting filter on the error
  Word16 mem_w[10];    // weighting filter on the speech

  Word16 mem_err[50];  // 10 words of memory then 40 of error signal
  Word16* error;       // mem_err + 10

  Word16 sharp;  // pitch sharpening, Q14

  Word16 freq_prev[4][10];  // last four quantizer output vectors of the LSP MA predictor, Q13
  Word32 L_exc_err[4];      // taming: excitation error estimates of the last subframes, Q14

  Word16 rc[10];    // reflection coefficients, Q15
  Word16 A_t[22];   // unquantized LP filters of the two subframes
  Word16 Aq_t[22];  // quantized LP filters of the two subframes
  Word16 Ap1[11];   // A(z/gamma1) of the current subframe
  Word16 Ap2[11];   // A(z/gamma2) of the current subframe
  Word16 lsp_new[10];
  Word16 lsp_new_q[10];
  Word16 lsf_int[10];
  Word16 lsf_new[10];

  Word16 h1[40];
  Word16 xn[40];
  Word16 xn2[40];
  Word16 code[40];
  Word16 y1[40];
  Word16 y2[40];

  // Work area of Forwad_linearPrediction and Az_lsp.
  Word32 lp_autocorr[13];   // lag-windowed autocorrelations
  Word32 lp_pred[11];       // predictor of the recursion, Q26
  Word32 lp_pred_next[10];  // coefficients of one recursion step before they are stored
  Word16 lp_rc_saved[2];    // rc[0..1] of the last stable frame
  Word16 az_f1[6];          // sum polynomial F1(z) of Az_lsp, Q11 (Q10 after overflow)
  Word16 az_f2[6];          // difference polynomial F2(z) of Az_lsp

  Word16 init_4096[11];  // fallback predictor of an unstable frame: {4096, 0, ...}

  Word16 synth[80];

  Word16 lar_old_unused[2];
  Word16 smooth_unused;
  Word16 frame_counter;
} CoderState;

// Clears the record, points its pointers into its buffers and sets the initial LSPs, the LSP
// predictor memory, the pitch sharpening and the taming estimates. `mode` is ignored.
KESTRUNE_API void g729_coder_init(CoderState* state, int mode);

// Codes one frame of 80 samples (8 kHz, 16-bit) into five packed words: Pre_Process,
// Coder_ld8k, prm2bits_ld8k, then the frame counter advances (wrapping at 16 bits). The low 16
// bits of `silence` take the place of the pitch parity bit. Always returns 0. The coded frame
// lags the input by 40 samples of look-ahead.
KESTRUNE_API Word16 g729coder_run(CoderState* state, const Word16 pcm[], UWord16 out[],
                                  int silence);

// 140 Hz high-pass filter of the 80 input samples into state->new_speech, with the input
// halved; the filter's feedback is its saturated 16-bit output.
KESTRUNE_API void Pre_Process(CoderState* state, const Word16 signal[]);

// Codes the frame in state->old_speech into the twelve parameters of ana: ana[0] = 1 (speech
// frame), ana[4] = silence, the rest the quantizer indices in packing order. a3 to a6 are
// accepted for the callers' sake and not used.
KESTRUNE_API void Coder_ld8k(CoderState* state, Word16 ana[], Word16 a3, Word16 a4, Word16 a5,
                             Word16 a6, Word16 silence);

// Adaptive perceptual weighting: gamma1[0..1], gamma2[0..1] (Q15) of the two subframes from the
// first two reflection coefficients (Q15) and the LSFs of each subframe (Q15, normalised; both
// arrays are doubled in place). Its memory (the previous log-area ratios and the smoothing
// state) is process-wide and never reset; a6 and a7 are not used.
KESTRUNE_API void perc_var(Word16* gamma1, Word16* gamma2, Word16* LsfInt, Word16* LsfNew,
                           Word16* r_c, Word16* a6, Word16* a7);

// Taming: 1 when the excitation error estimates reachable at delay T0 (with its fraction)
// exceed the threshold, so the pitch gain must be limited; else 0.
KESTRUNE_API Word16 test_err(Word16 T0, Word16 T0_frac, Word32* L_exc_err);
// Pushes the worst excitation error estimate of the subframe just coded (Q14).
KESTRUNE_API void update_exc_err(Word16 gain_pit, Word16 T0, Word32* L_exc_err);

// ap[i] = a[i] * gamma^i (Q12 filter, Q15 factor), rounded, for i = 0..m.
KESTRUNE_API void Weight_Az(const Word16 a[], Word16 gamma, Word16 m, Word16 ap[]);
// Subframe-1 filter Az[0..10] from the midpoint of the two LSP vectors, and the LSFs of both
// subframes (the midpoint and lsp_new).
KESTRUNE_API void Int_lpc(const Word16 lsp_old[], const Word16 lsp_new[], Word16 lsf_int[],
                          Word16 lsf_new[], Word16 Az[]);
// Quantized filters of both subframes: Az[0..10] from the midpoint of the two LSP vectors,
// Az[11..21] from lsp_new.
KESTRUNE_API void Int_qlpc(const Word16 lsp_old[], const Word16 lsp_new[], Word16 Az[]);

// x[0..n-1] = 0; nothing when n < 1.
KESTRUNE_API void Set_zero(Word16 x[], Word16 n);
// y[i] = x[i] for i = 0..n-1 in increasing order; nothing when n < 1.
KESTRUNE_API void Copy(const Word16 x[], Word16 y[], Word16 n);
// Linear congruential generator: *seed = *seed * 31821 + 13849 (16-bit wrap); returns it.
KESTRUNE_API Word16 Random(Word16* seed);

// -a / b in Q26 by restoring division; b = 0 counts as 1. |a| / b must stay below 64.
KESTRUNE_API Word32 lpc_div(Word32 a, Word32 b);

// LP analysis of the 240 samples at state->p_window: writes the subframe-2 filter to
// state->A_t[11..21] and the reflection coefficients to state->rc. An unstable frame keeps the
// previous filter and first two reflection coefficients.
KESTRUNE_API void Forwad_linearPrediction(CoderState* state);

// LSPs of the filter state->A_t[11..21] into state->lsp_new; when fewer than ten roots are
// found, state->lsp_old is used instead.
KESTRUNE_API void Az_lsp(CoderState* state);

// Chebyshev series of Az_lsp at x (Q15), coefficients f[0..n] in Q11 (Chebps_11) or Q10
// (Chebps_10); result in Q14, saturated.
KESTRUNE_API Word16 Chebps_11(Word16 x, const Word16 f[], Word16 n);
KESTRUNE_API Word16 Chebps_10(Word16 x, const Word16 f[], Word16 n);

// LP filter (11 coefficients, Q12) of ten LSPs.
KESTRUNE_API void Lsp_Az(const Word16 lsp[], Word16 a[]);
// Coefficients f[0..5] (Q24) of F1(z) from lsp[0, 2, 4, 6, 8] or, given lsp + 1, of F2(z).
KESTRUNE_API void Get_lsp_pol(const Word16* lsp, Word32* f);

// LSF (Q15, normalised frequency) to LSP and back, by table interpolation.
KESTRUNE_API void Lsf_lsp(const Word16 lsf[], Word16 lsp[], Word16 m);
KESTRUNE_API void Lsp_lsf(const Word16 lsp[], Word16 lsf[], Word16 m);
// LSF (Q13, radians) to LSP and back.
KESTRUNE_API void Lsf_lsp2(const Word16 lsf[], Word16 lsp[], Word16 m);
KESTRUNE_API void Lsp_lsf2(const Word16 lsp[], Word16 lsf[], Word16 m);

// LSP quantizer: two-stage split VQ with a switched fourth-order MA predictor whose memory
// freq_prev is updated. Writes the quantized LSPs (Q15) and ana[0] (predictor switch and first
// stage, 8 bits) and ana[1] (the two second-stage halves, 10 bits).
KESTRUNE_API void Qua_lsp(const Word16 lsp[], Word16 lsp_q[], Word16 ana[],
                          Word16 freq_prev[4][10]);
KESTRUNE_API void Lsp_qua_cs(const Word16 flsp_in[10], Word16 lspq_out[10], Word16* code,
                             Word16 freq_prev[4][10]);
KESTRUNE_API void Relspwed(const Word16 lsp[], const Word16 wegt[], Word16 lspq[],
                           const Word16 lspcb1[][10], const Word16 lspcb2[][10],
                           const Word16 fg[2][4][10], Word16 freq_prev[4][10],
                           const Word16 fg_sum[2][10], const Word16 fg_sum_inv[2][10],
                           Word16 code_ana[]);
KESTRUNE_API void Get_wegt(const Word16 flsp[], Word16 wegt[]);
KESTRUNE_API void Lsp_pre_select(const Word16 rbuf[], const Word16 lspcb1[][10], Word16* cand);
KESTRUNE_API void Lsp_select_1(const Word16 rbuf[], const Word16 lspcb1[], const Word16 wegt[],
                               const Word16 lspcb2[][10], Word16* index);
KESTRUNE_API void Lsp_select_2(const Word16 rbuf[], const Word16 lspcb1[], const Word16 wegt[],
                               const Word16 lspcb2[][10], Word16* index);
KESTRUNE_API void Lsp_get_tdist(const Word16 wegt[], const Word16 buf[], Word32* L_tdist,
                                const Word16 rbuf[], const Word16 fg_sum[]);
KESTRUNE_API void Lsp_last_select(const Word32 L_tdist[], Word16* mode_index);
KESTRUNE_API void Lsp_get_quant(const Word16 lspcb1[][10], const Word16 lspcb2[][10], Word16 code0,
                                Word16 code1, Word16 code2, const Word16 fg[][10],
                                Word16 freq_prev[][10], Word16 lspq[], const Word16 fg_sum[]);
KESTRUNE_API void Lsp_expand_1(Word16 buf[], Word16 gap);
KESTRUNE_API void Lsp_expand_2(Word16 buf[], Word16 gap);
KESTRUNE_API void Lsp_expand_1_2(Word16 buf[], Word16 gap);
KESTRUNE_API void Lsp_prev_compose(const Word16 lsp_ele[], Word16 lsp[], const Word16 fg[][10],
                                   Word16 freq_prev[][10], const Word16 fg_sum[]);
KESTRUNE_API void Lsp_prev_extract(const Word16 lsp[10], Word16 lsp_ele[10], const Word16 fg[4][10],
                                   Word16 freq_prev[4][10], const Word16 fg_sum_inv[10]);
KESTRUNE_API void Lsp_prev_update(const Word16 lsp_ele[10], Word16 freq_prev[4][10]);
// Reorders the quantized LSFs (Q13) and enforces the minimum, the maximum and the minimum gap,
// printing a warning when it clamps an end.
KESTRUNE_API void Lsp_stability(Word16 buf[]);

#ifdef __cplusplus
}
#endif
