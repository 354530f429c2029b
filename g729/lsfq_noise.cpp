// LSP quantizer of a silence-description frame: a smaller search than the speech quantizer's,
// over subsets of the same codebooks (32 first-stage, 16 second-stage entries) with two MA
// predictors of their own, keeping the four best first-stage candidates across both predictors.
#include <algorithm>

#include "g729/basic_op_inline.h"
#include "g729/ld8k_lp.h"
#include "g729/tab_dec.h"
#include "g729/tab_ld8k.h"
#include "kestrune/g729_coder.h"
#include "kestrune/g729_decoder.h"

using namespace g729ops;

namespace {

constexpr int kFirstSize = 32;   // first-stage entries searched (PtrTab_1)
constexpr int kSecondSize = 16;  // second-stage entries searched (PtrTab_2)
constexpr int kCandidates = 4;   // first-stage survivors of both predictors together

struct Predictors {
  Word16 fg[MODE][MA_NP][M];  // Q15
};

// The first predictor is the speech quantizer's first; the second mixes its two, 0.6 and 0.4.
const Predictors& noise_fg() {
  static const Predictors table = [] {
    Predictors t{};
    for (int k = 0; k < MA_NP; ++k) {
      for (int j = 0; j < M; ++j) {
        t.fg[0][k][j] = fg[0][k][j];
        t.fg[1][k][j] = extract_h(L_mac(L_mult(fg[0][k][j], 19660), fg[1][k][j], 13107));
      }
    }
    return t;
  }();
  return table;
}

// Chooses the `count` smallest of sums[0..n-1] in order, each pick removed before the next; ties
// go to the first. Writes their positions.
void pick_smallest(Word16 sums[], int n, int count, int picks[]) {
  for (int q = 0; q < count; ++q) {
    Word16 best = kMax16;
    picks[q] = 0;
    for (int i = 0; i < n; ++i) {
      if (sub(sums[i], best) < 0) {
        best = sums[i];
        picks[q] = i;
      }
    }
    sums[picks[q]] = kMax16;
  }
}

struct FirstStage {
  Word16 residual[kCandidates][M];  // target less the first-stage vector
  int predictor[kCandidates];
  int index[kCandidates];
};

// The four first-stage entries nearest to the targets of both predictors, each distance
// weighted by its predictor's factor Mp.
FirstStage search_first_stage(const Word16 errlsf[MODE][M]) {
  Word16 sums[MODE * kFirstSize];
  for (int p = 0; p < MODE; ++p) {
    for (int m = 0; m < kFirstSize; ++m) {
      Word32 acc = 0;
      for (int l = 0; l < M; ++l) {
        const Word16 d = sub(errlsf[p][l], lspcb1[PtrTab_1[m]][l]);
        acc = L_mac(acc, d, d);
      }
      sums[p * kFirstSize + m] = mult(extract_h(acc), Mp[p]);
    }
  }
  int picks[kCandidates];
  pick_smallest(sums, MODE * kFirstSize, kCandidates, picks);

  FirstStage out;
  for (int q = 0; q < kCandidates; ++q) {
    out.predictor[q] = picks[q] / kFirstSize;
    out.index[q] = picks[q] % kFirstSize;
    for (int l = 0; l < M; ++l) {
      out.residual[q][l] = sub(errlsf[out.predictor[q]][l], lspcb1[PtrTab_1[out.index[q]]][l]);
    }
  }
  return out;
}

// Second-stage entry of the split codebook: its lower half from one table row, its upper half
// from another.
Word16 second_stage(int index, int l) {
  return lspcb2[PtrTab_2[l < NC ? 0 : 1][index]][l];
}

// The best (candidate, second-stage entry) pair under the LSF weights, each weight scaled by the
// square of the candidate predictor's 1 - sum of coefficients.
void search_second_stage(const FirstStage& first, const Word16 weight[M], int* candidate,
                         int* index) {
  Word16 sums[kCandidates * kSecondSize];
  for (int p = 0; p < kCandidates; ++p) {
    const Word16* fg_sum_p = noise_fg_sum[first.predictor[p]];
    for (int m = 0; m < kSecondSize; ++m) {
      Word32 acc = 0;
      for (int l = 0; l < M; ++l) {
        Word16 w = extract_h(L_shl(L_mult(fg_sum_p[l], fg_sum_p[l]), 2));
        w = mult(w, weight[l]);
        const Word16 d = sub(first.residual[p][l], second_stage(m, l));
        w = extract_h(L_shl(L_mult(w, d), 3));
        acc = L_mac(acc, w, d);
      }
      sums[p * kSecondSize + m] = extract_h(acc);
    }
  }
  int pick;
  pick_smallest(sums, kCandidates * kSecondSize, 1, &pick);
  *candidate = pick / kSecondSize;
  *index = pick % kSecondSize;
}

}  // namespace

extern "C" {

void lsfq_noise(Word16* lsp, Word16* lspq, Word16 freq_prev[4][10], Word16* ana) {
  Word16 lsf[M];
  Lsp_lsf2(lsp, lsf, M);

  // Keep the LSFs about 100 Hz apart and inside the quantizer's range.
  if (lsf[0] < L_LIMIT) lsf[0] = L_LIMIT;
  for (int i = 0; i < M - 1; ++i) {
    if (sub(lsf[i + 1], lsf[i]) < 2 * GAP3) lsf[i + 1] = add(lsf[i], 2 * GAP3);
  }
  if (lsf[M - 1] > M_LIMIT) lsf[M - 1] = M_LIMIT;
  if (lsf[M - 1] < lsf[M - 2]) lsf[M - 2] = sub(lsf[M - 1], GAP3);

  Word16 weight[M];
  Get_wegt(lsf, weight);

  const Predictors& predictors = noise_fg();
  Word16 errlsf[MODE][M];
  for (int mode = 0; mode < MODE; ++mode) {
    Lsp_prev_extract(lsf, errlsf[mode], predictors.fg[mode], freq_prev, noise_fg_sum_inv[mode]);
  }

  const FirstStage first = search_first_stage(errlsf);
  int candidate, second;
  search_second_stage(first, weight, &candidate, &second);
  const int mode = first.predictor[candidate];
  ana[0] = static_cast<Word16>(mode);
  ana[1] = static_cast<Word16>(first.index[candidate]);
  ana[2] = static_cast<Word16>(second);

  Word16 quantized[M];
  for (int l = 0; l < M; ++l) {
    quantized[l] = add(lspcb1[PtrTab_1[ana[1]]][l], second_stage(second, l));
  }
  Lsp_expand_1_2(quantized, GAP1);

  Word16 lsfq[M];
  Lsp_prev_compose(quantized, lsfq, predictors.fg[mode], freq_prev, noise_fg_sum[mode]);
  Lsp_prev_update(quantized, freq_prev);
  Lsp_stability(lsfq);
  Lsf_lsp2(lsfq, lspq, M);
}

}  // extern "C"
