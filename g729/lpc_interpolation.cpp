// LP filters of the two subframes from the LSPs of two frames, and bandwidth expansion.
#include "kestrune/g729_coder.h"

namespace {

// Midpoint of the previous and the current LSP vector, floor((old + new) / 2): the sum is taken
// in full, so two odd values do not lose the half that (old >> 1) + (new >> 1) would.
void midpoint(const Word16 lsp_old[], const Word16 lsp_new[], Word16 lsp[]) {
  for (int i = 0; i < 10; ++i) lsp[i] = static_cast<Word16>((lsp_old[i] + lsp_new[i]) >> 1);
}

}  // namespace

extern "C" {

void Weight_Az(const Word16 a[], Word16 gamma, Word16 m, Word16 ap[]) {
  ap[0] = a[0];
  Word32 factor = gamma;  // gamma^i, Q15
  for (Word16 i = 1; i <= m; ++i) {
    ap[i] = static_cast<Word16>((a[i] * factor + 16384) >> 15);
    factor = static_cast<Word16>((factor * gamma + 16384) >> 15);
  }
}

void Int_lpc(const Word16 lsp_old[], const Word16 lsp_new[], Word16 lsf_int[], Word16 lsf_new[],
             Word16 Az[]) {
  Word16 lsp[10];
  midpoint(lsp_old, lsp_new, lsp);
  Lsp_Az(lsp, Az);  // subframe 2 is the LP analysis' own filter
  Lsp_lsf(lsp, lsf_int, 10);
  Lsp_lsf(lsp_new, lsf_new, 10);
}

void Int_qlpc(const Word16 lsp_old[], const Word16 lsp_new[], Word16 Az[]) {
  Word16 lsp[10];
  midpoint(lsp_old, lsp_new, lsp);
  Lsp_Az(lsp, Az);
  Lsp_Az(lsp_new, Az + 11);
}

}  // extern "C"
