// MA prediction of the code gain from the energies of the past quantized gains, and the
// updates of that memory. Shared by the encoder's gain quantizer and the decoder.
#include <algorithm>
#include <cstdint>

#include "g729/basic_op_inline.h"
#include "g729/dspfunc_inline.h"
#include "g729/oper_32b_inline.h"
#include "g729/tab_gain.h"
#include "kestrune/g729_gain.h"

using namespace g729ops;

namespace {

constexpr uint32_t kMeanEnergy = 0x3FA60000;  // 127.298 dB in Q23
constexpr Word32 kMinus10Log2 = -24660;       // -3.0103 (-10 log10 2) in Q13
constexpr Word16 kLog2Of10Over20 = 5439;      // 0.166 (log2(10) / 20) in Q15
constexpr Word16 k20Log2 = 24660;             // 6.0205 (20 log10 2) in Q12
constexpr Word16 kErasureStep = 4096;         // 4 dB in Q10
constexpr Word16 kMinEnergy = -14336;         // -14 dB in Q10

}  // namespace

extern "C" {

void Gain_predict(const Word16 past_qua_en[], const Word16 code[], Word16 L_subfr, Word16* gcode0,
                  Word16* exp_gcode0) {
  // A quarter of the standard's doubled energy: the prediction comes out 6.02 dB higher, in
  // step with the decoder, which predicts through this same routine.
  uint32_t energy = 0;
  for (int i = 0; i < L_subfr; ++i) energy += static_cast<uint32_t>(Word32{code[i]} * code[i]);
  Word16 exp, frac;
  Log2(static_cast<Word32>(energy >> 1), &exp, &frac);

  // Mean energy less the code's energy in dB, plus the MA prediction, all in Q23.
  const Word32 db = exp * 2 * kMinus10Log2 + ((frac * kMinus10Log2) >> 14);
  uint32_t t = kMeanEnergy + (static_cast<uint32_t>(db) << 9);
  for (int i = 0; i < 4; ++i) t += static_cast<uint32_t>(Word32{pred[i]} * past_qua_en[i]);
  const auto gain_db = static_cast<Word16>(static_cast<Word32>(t) >> 15);  // Q8

  // 10^(dB / 20) = 2^(0.166 dB): the fraction through Pow2, the integer part as exponent.
  L_Extract((gain_db * kLog2Of10Over20) >> 7, &exp, &frac);
  *gcode0 = static_cast<Word16>(Pow2(14, frac));
  *exp_gcode0 = static_cast<Word16>(14 - exp);
}

void Gain_update(Word16 past_qua_en[], Word32 L_gbk12) {
  for (int i = 3; i > 0; --i) past_qua_en[i] = past_qua_en[i - 1];
  // 20 log10(L_gbk12 / 2^13) = 6.0205 log2(...), in plain arithmetic.
  Word16 exp, frac;
  Log2(L_gbk12, &exp, &frac);
  const Word32 L_acc = L_Comp(static_cast<Word16>(exp - 13), frac);                  // Q16
  const Word32 tmp = static_cast<Word32>(static_cast<uint32_t>(L_acc) << 13) >> 16;  // Q13
  past_qua_en[0] = static_cast<Word16>((tmp * k20Log2) >> 15);
}

void Gain_update_erasure(Word16 past_qua_en[]) {
  Word32 L_tmp = 0;
  for (int i = 0; i < 4; ++i) L_tmp = L_add(L_tmp, past_qua_en[i]);
  const Word16 av_pred_en = std::max(sub(extract_l(L_shr(L_tmp, 2)), kErasureStep), kMinEnergy);
  for (int i = 3; i > 0; --i) past_qua_en[i] = past_qua_en[i - 1];
  past_qua_en[0] = av_pred_en;
}

}  // extern "C"
