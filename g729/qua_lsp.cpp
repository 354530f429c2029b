// LSP quantizer, search side: for each of the two MA predictors, the target left after
// prediction is matched by a 7-bit first stage and two 5-bit second-stage halves under a
// spectral weighting; the predictor with the lower weighted distortion wins.
#include <algorithm>
#include <cstdint>

#include "g729/basic_op_inline.h"
#include "g729/ld8k_lp.h"
#include "g729/tab_ld8k.h"
#include "kestrune/g729_coder.h"

using namespace g729ops;

namespace {

// Index of the codebook vector nearest to target[lo..hi) - base[lo..hi) under weight wegt.
Word16 select_weighted(const Word16 rbuf[], const Word16 base[], const Word16 wegt[],
                       const Word16 lspcb2[][10], int lo, int hi) {
  Word16 buf[M];
  for (int j = lo; j < hi; ++j) buf[j] = sub(rbuf[j], base[j]);

  Word16 index = 0;
  Word32 L_dmin = kMax32;
  for (Word16 k1 = 0; k1 < NC1; ++k1) {
    Word32 L_dist = 0;
    for (int j = lo; j < hi; ++j) {
      const Word16 tmp = sub(buf[j], lspcb2[k1][j]);
      const Word16 tmp2 = mult(wegt[j], tmp);
      L_dist = L_mac(L_dist, tmp2, tmp);
    }
    if (L_sub(L_dist, L_dmin) < 0) {
      L_dmin = L_dist;
      index = k1;
    }
  }
  return index;
}

}  // namespace

extern "C" {

void Qua_lsp(const Word16 lsp[], Word16 lsp_q[], Word16 ana[], Word16 freq_prev[4][10]) {
  Word16 lsf[M], lsf_q[M];  // Q13 radians
  Lsp_lsf2(lsp, lsf, M);
  Lsp_qua_cs(lsf, lsf_q, ana, freq_prev);
  Lsf_lsp2(lsf_q, lsp_q, M);
}

void Lsp_qua_cs(const Word16 flsp_in[10], Word16 lspq_out[10], Word16* code,
                Word16 freq_prev[4][10]) {
  Word16 wegt[M];
  Get_wegt(flsp_in, wegt);
  Relspwed(flsp_in, wegt, lspq_out, lspcb1, lspcb2, fg, freq_prev, fg_sum, fg_sum_inv, code);
}

void Relspwed(const Word16 lsp[], const Word16 wegt[], Word16 lspq[], const Word16 lspcb1[][10],
              const Word16 lspcb2[][10], const Word16 fg[2][4][10], Word16 freq_prev[4][10],
              const Word16 fg_sum[2][10], const Word16 fg_sum_inv[2][10], Word16 code_ana[]) {
  Word16 cand[MODE], tindex1[MODE], tindex2[MODE];
  Word32 L_tdist[MODE];
  Word16 rbuf[M];  // target after prediction, Q13
  Word16 buf[M];   // candidate, Q13

  for (Word16 mode = 0; mode < MODE; ++mode) {
    Lsp_prev_extract(lsp, rbuf, fg[mode], freq_prev, fg_sum_inv[mode]);

    Word16 cand_cur;
    Lsp_pre_select(rbuf, lspcb1, &cand_cur);
    cand[mode] = cand_cur;

    Word16 index;
    Lsp_select_1(rbuf, lspcb1[cand_cur], wegt, lspcb2, &index);
    tindex1[mode] = index;
    for (int j = 0; j < NC; ++j) buf[j] = add(lspcb1[cand_cur][j], lspcb2[index][j]);
    Lsp_expand_1(buf, GAP1);

    Lsp_select_2(rbuf, lspcb1[cand_cur], wegt, lspcb2, &index);
    tindex2[mode] = index;
    for (int j = NC; j < M; ++j) buf[j] = add(lspcb1[cand_cur][j], lspcb2[index][j]);
    Lsp_expand_2(buf, GAP1);

    Lsp_expand_1_2(buf, GAP2);
    Lsp_get_tdist(wegt, buf, &L_tdist[mode], rbuf, fg_sum[mode]);
  }

  Word16 mode_index;
  Lsp_last_select(L_tdist, &mode_index);

  code_ana[0] = static_cast<Word16>(shl(mode_index, NC0_B) | cand[mode_index]);
  code_ana[1] = static_cast<Word16>(shl(tindex1[mode_index], NC1_B) | tindex2[mode_index]);

  Lsp_get_quant(lspcb1, lspcb2, cand[mode_index], tindex1[mode_index], tindex2[mode_index],
                fg[mode_index], freq_prev, lspq, fg_sum[mode_index]);
}

void Lsp_pre_select(const Word16 rbuf[], const Word16 lspcb1[][10], Word16* cand) {
  // The squared error runs through sub() and L_mac(). Only sub() flags its clipping; the
  // L_mac() sum saturates silently, and as its terms are non-negative it equals the plain sum
  // capped at MAX_32. A capped sum never beats L_dmin, which starts at MAX_32, so plain 64-bit
  // sums pick the same codeword.
  //
  // The codebook is taken as one flat array, kRows codewords at a time, against the target
  // repeated kRows times, so that the differences and squares of a block vectorise.
  constexpr int kRows = 4;
  constexpr int kSpan = kRows * M;
  static_assert(NC0 % kRows == 0);
  Word16 target[kSpan];
  for (int row = 0; row < kRows; ++row) std::copy_n(rbuf, M, target + row * M);

  uint16_t clips = 0;
  int64_t dmin = kMax32;
  *cand = 0;
  for (int i = 0; i < NC0; i += kRows) {
    const Word16* block = lspcb1[i];
    Word16 tmp[kSpan];
    for (int k = 0; k < kSpan; ++k) tmp[k] = sub_noting(target[k], block[k], clips);
    uint32_t squares[kSpan];
    for (int k = 0; k < kSpan; ++k) squares[k] = static_cast<uint32_t>(Word32{tmp[k]} * tmp[k]);
    for (int row = 0; row < kRows; ++row) {
      int64_t dist = 0;
      for (int j = 0; j < M; ++j) dist += squares[row * M + j];
      dist *= 2;
      if (dist < dmin) {
        dmin = dist;
        *cand = static_cast<Word16>(i + row);
      }
    }
  }
  if (clips != 0) Overflow = 1;
}

void Lsp_select_1(const Word16 rbuf[], const Word16 lspcb1[], const Word16 wegt[],
                  const Word16 lspcb2[][10], Word16* index) {
  *index = select_weighted(rbuf, lspcb1, wegt, lspcb2, 0, NC);
}

void Lsp_select_2(const Word16 rbuf[], const Word16 lspcb1[], const Word16 wegt[],
                  const Word16 lspcb2[][10], Word16* index) {
  *index = select_weighted(rbuf, lspcb1, wegt, lspcb2, NC, M);
}

void Lsp_get_tdist(const Word16 wegt[], const Word16 buf[], Word32* L_tdist, const Word16 rbuf[],
                   const Word16 fg_sum[]) {
  *L_tdist = 0;
  for (int j = 0; j < M; ++j) {
    Word16 tmp = sub(buf[j], rbuf[j]);
    tmp = mult(tmp, fg_sum[j]);  // error seen through the predictor, Q13
    const Word32 L_acc = L_mult(wegt[j], tmp);
    const Word16 tmp2 = extract_h(L_shl(L_acc, 4));
    *L_tdist = L_mac(*L_tdist, tmp2, tmp);
  }
}

void Lsp_last_select(const Word32 L_tdist[], Word16* mode_index) {
  *mode_index = L_sub(L_tdist[1], L_tdist[0]) < 0 ? 1 : 0;
}

void Get_wegt(const Word16 flsp[], Word16 wegt[]) {
  // Weight from the distance between neighbours: 1 where they are far apart, rising
  // quadratically where they crowd together (a formant).
  Word16 buf[M];  // Q13
  buf[0] = sub(flsp[1], PI04 + 8192);
  for (int i = 1; i < M - 1; ++i) buf[i] = sub(sub(flsp[i + 1], flsp[i - 1]), 8192);
  buf[M - 1] = sub(PI92 - 8192, flsp[M - 2]);

  for (int i = 0; i < M; ++i) {
    if (buf[i] > 0) {
      wegt[i] = 2048;  // 1.0 in Q11
    } else {
      Word32 L_acc = L_mult(buf[i], buf[i]);    // Q27
      Word16 tmp = extract_h(L_shl(L_acc, 2));  // Q13
      L_acc = L_mult(tmp, CONST10);             // Q25
      tmp = extract_h(L_shl(L_acc, 2));         // Q11
      wegt[i] = add(tmp, 2048);
    }
  }

  // The middle pair counts 1.2 times.
  wegt[4] = extract_h(L_shl(L_mult(wegt[4], CONST12), 1));
  wegt[5] = extract_h(L_shl(L_mult(wegt[5], CONST12), 1));

  // Normalise to the largest weight.
  Word16 tmp = 0;
  for (int i = 0; i < M; ++i) {
    if (sub(wegt[i], tmp) > 0) tmp = wegt[i];
  }
  const Word16 sft = norm_s(tmp);
  for (int i = 0; i < M; ++i) wegt[i] = shl(wegt[i], sft);
}

}  // extern "C"
