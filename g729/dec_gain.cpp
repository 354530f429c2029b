// Pitch and code gains of a subframe from the gain index, with the code gain predicted from the
// energies of the past quantized gains, as the encoder's quantizer predicted it.
#include "g729/basic_op_inline.h"
#include "g729/tab_gain.h"
#include "kestrune/g729_decoder.h"

using namespace g729ops;

namespace {

constexpr Word16 kLostPitchDecay = 29491;  // 0.9, Q15; also the highest pitch gain of a lost frame
constexpr Word16 kLostCodeDecay = 32111;   // 0.98, Q15

// The predictor memory of the decoder: shared by every decoder in the process, never reset.
Word16 past_qua_en[4] = {-14336, -14336, -14336, -14336};  // -14 dB in Q10

}  // namespace

extern "C" {

void Dec_gain(Word16 index, Word16 code[], Word16 L_subfr, Word16 bfi, Word16* gain_pit,
              Word16* gain_cod) {
  if (bfi != 0) {
    // A lost subframe fades the last gains out, and the predictor's memory with them.
    *gain_pit = mult(*gain_pit, kLostPitchDecay);
    if (sub(*gain_pit, kLostPitchDecay) > 0) *gain_pit = kLostPitchDecay;
    *gain_cod = mult(*gain_cod, kLostCodeDecay);
    Gain_update_erasure(past_qua_en);
    return;
  }

  const Word16 index1 = imap1[shr(index, 4)];
  const Word16 index2 = imap2[index & (NCODE2 - 1)];
  *gain_pit = add(gbk1[index1][0], gbk2[index2][0]);

  // Code gain: the codebook's correction factor times the predicted gain, computed as the
  // encoder's quantizer computed it.
  Word16 gcode0, exp_gcode0;
  Gain_predict(past_qua_en, code, L_subfr, &gcode0, &exp_gcode0);
  const Word32 L_gbk12 = gbk1[index1][1] + gbk2[index2][1];  // Q13
  const Word32 L_acc = L_mult(static_cast<Word16>(L_gbk12 >> 1), gcode0);
  *gain_cod = extract_h(L_shl(L_acc, static_cast<Word16>(4 - exp_gcode0)));  // Q1

  Gain_update(past_qua_en, L_gbk12);
}

}  // extern "C"
