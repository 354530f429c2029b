// LSP quantizer, reconstruction side: codebook vectors to quantized LSFs through the MA
// predictor, the predictor memory, and the final ordering and spacing of the vector.
#include <cstdio>

#include "g729/basic_op_inline.h"
#include "g729/ld8k_lp.h"
#include "kestrune/g729_coder.h"

using namespace g729ops;

namespace {

// Pushes apart neighbours j-1, j (j in [first, last)) that are closer than gap, moving each
// by half the shortfall.
void expand(Word16 buf[], Word16 gap, int first, int last) {
  for (int j = first; j < last; ++j) {
    const Word16 diff = sub(buf[j - 1], buf[j]);
    const Word16 tmp = shr(add(diff, gap), 1);
    if (tmp > 0) {
      buf[j - 1] = sub(buf[j - 1], tmp);
      buf[j] = add(buf[j], tmp);
    }
  }
}

}  // namespace

extern "C" {

void Lsp_get_quant(const Word16 lspcb1[][10], const Word16 lspcb2[][10], Word16 code0, Word16 code1,
                   Word16 code2, const Word16 fg[][10], Word16 freq_prev[][10], Word16 lspq[],
                   const Word16 fg_sum[]) {
  Word16 buf[M];  // Q13
  for (int j = 0; j < NC; ++j) buf[j] = add(lspcb1[code0][j], lspcb2[code1][j]);
  for (int j = NC; j < M; ++j) buf[j] = add(lspcb1[code0][j], lspcb2[code2][j]);

  Lsp_expand_1_2(buf, GAP1);
  Lsp_expand_1_2(buf, GAP2);

  Lsp_prev_compose(buf, lspq, fg, freq_prev, fg_sum);
  Lsp_prev_update(buf, freq_prev);
  Lsp_stability(lspq);
}

void Lsp_expand_1(Word16 buf[], Word16 gap) {
  expand(buf, gap, 1, NC);
}

void Lsp_expand_2(Word16 buf[], Word16 gap) {
  expand(buf, gap, NC, M);
}

void Lsp_expand_1_2(Word16 buf[], Word16 gap) {
  expand(buf, gap, 1, M);
}

void Lsp_prev_compose(const Word16 lsp_ele[], Word16 lsp[], const Word16 fg[][10],
                      Word16 freq_prev[][10], const Word16 fg_sum[]) {
  for (int j = 0; j < M; ++j) {
    Word32 L_acc = L_mult(lsp_ele[j], fg_sum[j]);  // Q29
    for (int k = 0; k < MA_NP; ++k) L_acc = L_mac(L_acc, freq_prev[k][j], fg[k][j]);
    lsp[j] = extract_h(L_acc);
  }
}

void Lsp_prev_extract(const Word16 lsp[10], Word16 lsp_ele[10], const Word16 fg[4][10],
                      Word16 freq_prev[4][10], const Word16 fg_sum_inv[10]) {
  for (int j = 0; j < M; ++j) {
    Word32 L_temp = L_deposit_h(lsp[j]);
    for (int k = 0; k < MA_NP; ++k) L_temp = L_msu(L_temp, freq_prev[k][j], fg[k][j]);
    const Word16 temp = extract_h(L_temp);
    L_temp = L_mult(temp, fg_sum_inv[j]);
    lsp_ele[j] = extract_h(L_shl(L_temp, 3));
  }
}

void Lsp_prev_update(const Word16 lsp_ele[10], Word16 freq_prev[4][10]) {
  for (int k = MA_NP - 1; k > 0; --k) {
    for (int j = 0; j < M; ++j) freq_prev[k][j] = freq_prev[k - 1][j];
  }
  for (int j = 0; j < M; ++j) freq_prev[0][j] = lsp_ele[j];
}

void Lsp_stability(Word16 buf[]) {
  // One bubble pass puts a single swapped pair back in order.
  for (int j = 0; j < M - 1; ++j) {
    if (L_sub(L_deposit_l(buf[j + 1]), L_deposit_l(buf[j])) < 0) {
      const Word16 tmp = buf[j + 1];
      buf[j + 1] = buf[j];
      buf[j] = tmp;
    }
  }

  if (sub(buf[0], L_LIMIT) < 0) {
    buf[0] = L_LIMIT;
    std::printf("lsp_stability warning Low\n");
  }
  for (int j = 0; j < M - 1; ++j) {
    const Word32 L_diff = L_sub(L_deposit_l(buf[j + 1]), L_deposit_l(buf[j]));
    if (L_sub(L_diff, GAP3) < 0) buf[j + 1] = add(buf[j], GAP3);
  }
  if (sub(buf[M - 1], M_LIMIT) > 0) {
    buf[M - 1] = M_LIMIT;
    std::printf("lsp_stability warning High\n");
  }
}

}  // extern "C"
