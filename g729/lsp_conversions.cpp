// Conversions between LSPs, LSFs and LP filters.
#include "g729/basic_op_inline.h"
#include "g729/ld8k_lp.h"
#include "g729/oper_32b_inline.h"
#include "g729/tab_ld8k.h"
#include "kestrune/g729_coder.h"

using namespace g729ops;

extern "C" {

void Get_lsp_pol(const Word16* lsp, Word32* f) {
  // All in Q24: f[0] = 1, f[1] = -2 lsp[0], then each further root multiplies the polynomial
  // by (1 - 2 lsp z^-1 + z^-2).
  f[0] = L_mult(4096, 2048);
  f[1] = L_msu(0, lsp[0], 512);
  for (int i = 2; i <= 5; ++i) {
    const Word16 root = lsp[2 * (i - 1)];
    f[i] = f[i - 2];
    for (int j = i; j > 1; --j) {
      Word16 hi, lo;
      L_Extract(f[j - 1], &hi, &lo);
      const Word32 t0 = L_shl(Mpy_32_16(hi, lo, root), 1);  // f[j-1] * 2 lsp
      f[j] = L_add(f[j], f[j - 2]);
      f[j] = L_sub(f[j], t0);
    }
    f[1] = L_msu(f[1], root, 512);
  }
}

void Lsp_Az(const Word16 lsp[], Word16 a[]) {
  Word32 f1[6], f2[6];
  Get_lsp_pol(&lsp[0], f1);
  Get_lsp_pol(&lsp[1], f2);

  // Multiply F1 by (1 + z^-1) and F2 by (1 - z^-1).
  for (int i = 5; i > 0; --i) {
    f1[i] = L_add(f1[i], f1[i - 1]);
    f2[i] = L_sub(f2[i], f2[i - 1]);
  }

  // A(z) = (F1 + F2) / 2, Q24 to Q12 with rounding.
  a[0] = 4096;
  for (int i = 1, j = 10; i <= 5; ++i, --j) {
    a[i] = extract_l(L_shr_r(L_add(f1[i], f2[i]), 13));
    a[j] = extract_l(L_shr_r(L_sub(f1[i], f2[i]), 13));
  }
}

void Lsf_lsp(const Word16 lsf[], Word16 lsp[], Word16 m) {
  for (int i = 0; i < m; ++i) {
    const Word16 ind = shr(lsf[i], 8);  // table index: bits 8-15
    const Word16 offset = static_cast<Word16>(lsf[i] & 0x00ff);
    const Word32 L_tmp = L_mult(sub(table[ind + 1], table[ind]), offset);
    lsp[i] = add(table[ind], extract_l(L_shr(L_tmp, 9)));
  }
}

void Lsp_lsf(const Word16 lsp[], Word16 lsf[], Word16 m) {
  Word16 ind = 63;  // the search runs down the table as the LSPs rise
  for (int i = m - 1; i >= 0; --i) {
    while (sub(table[ind], lsp[i]) < 0) ind = sub(ind, 1);
    const Word32 L_tmp = L_mult(sub(lsp[i], table[ind]), slope[ind]);
    const Word16 tmp = round_fx(L_shl(L_tmp, 3));  // (lsp - table[ind]) * slope >> 12
    lsf[i] = add(tmp, shl(ind, 8));
  }
}

void Lsf_lsp2(const Word16 lsf[], Word16 lsp[], Word16 m) {
  for (int i = 0; i < m; ++i) {
    const Word16 freq = mult(lsf[i], 20861);  // 1 / (2 pi) in Q17: Q13 radians to Q15 turns
    Word16 ind = shr(freq, 8);
    const Word16 offset = static_cast<Word16>(freq & 0x00ff);
    if (sub(ind, 63) > 0) ind = 63;
    const Word32 L_tmp = L_mult(slope_cos[ind], offset);  // Q28
    lsp[i] = add(table2[ind], extract_l(L_shr(L_tmp, 13)));
  }
}

void Lsp_lsf2(const Word16 lsp[], Word16 lsf[], Word16 m) {
  Word16 ind = 63;
  for (int i = m - 1; i >= 0; --i) {
    while (sub(table2[ind], lsp[i]) < 0) {
      ind = sub(ind, 1);
      if (ind <= 0) break;
    }
    const Word16 offset = sub(lsp[i], table2[ind]);
    const Word32 L_tmp = L_mult(slope_acos[ind], offset);  // Q28
    const Word16 freq = add(shl(ind, 9), extract_l(L_shr(L_tmp, 12)));
    lsf[i] = mult(freq, 25736);  // 2 pi in Q12
  }
}

}  // extern "C"
