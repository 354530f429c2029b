// Energy quantizer of the silence-description frames: the average frame energy in dB on a
// 5-bit scale that is coarse at the bottom and finer from 14 dB up.
#include "g729/basic_op_inline.h"
#include "g729/dspfunc_inline.h"
#include "g729/oper_32b_inline.h"
#include "g729/tab_gain.h"
#include "kestrune/g729_gain.h"

using namespace g729ops;

extern "C" {

void Qua_Sidgain(const Word16* ener, const Word16* sh_ener, Word16 nb_ener, Word16* enerq,
                 Word16* idx) {
  Word16 hi, lo, sh1;
  Word32 L_x;
  if (nb_ener == 0) {
    // The energy saved for an erased frame.
    L_Extract(L_shl(L_deposit_l(*ener), *sh_ener), &hi, &lo);
    L_x = Mpy_32_16(hi, lo, fact[0]);
    sh1 = 0;
  } else {
    // Weighted average: the energies ener[i] * 2^sh_ener[i], aligned to the smallest scale
    // with marg bits of headroom for the sum.
    sh1 = sh_ener[0];
    for (int i = 1; i < nb_ener; ++i) sh1 = std::min(sh1, sh_ener[i]);
    sh1 = add(sh1, static_cast<Word16>(16 - marg[nb_ener]));
    L_x = 0;
    for (int i = 0; i < nb_ener; ++i) {
      L_x = L_add(L_x, L_shl(L_deposit_l(ener[i]), sub(sh1, sh_ener[i])));
    }
    L_Extract(L_x, &hi, &lo);
    L_x = Mpy_32_16(hi, lo, fact[nb_ener]);
  }
  *idx = Quant_Energy(L_x, sh1, enerq);
}

Word16 Quant_Energy(Word32 L_x, Word16 sh, Word16* enerq) {
  // 2^10 log2(L_x 2^-sh), which is 10 log10(energy) / 3.0103 in Q10.
  Word16 exp, frac;
  Log2(L_x, &exp, &frac);
  Word16 e_tmp = add(shl(sub(exp, sh), 10), mult_r(frac, 1024));

  if (e_tmp <= -2721) {  // -8 dB and below
    *enerq = -12;
    return 0;
  }
  if (e_tmp > 22111) {  // above 65 dB
    *enerq = 66;
    return 31;
  }
  Word16 index;
  if (e_tmp <= 4762) {  // up to 14 dB: steps of 4 dB
    e_tmp = add(e_tmp, 3401);
    index = std::max(mult(e_tmp, 24), Word16{1});
    *enerq = sub(shl(index, 2), 8);
    return index;
  }
  // Above: steps of 2 dB.
  e_tmp = sub(e_tmp, 340);
  index = std::max(sub(shr(mult(e_tmp, 193), 2), 1), Word16{6});
  *enerq = add(shl(index, 1), 4);
  return index;
}

}  // extern "C"
