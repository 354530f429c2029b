// Adaptive-codebook gain: <xn, y1> / <y1, y1>, with both terms kept for the gain quantizer.
#include <cstdint>

#include "g729/basic_op_inline.h"
#include "g729/wrapping_dot.h"
#include "kestrune/g729_pitch.h"

using namespace g729ops;

namespace {

constexpr int kMaxSubframe = 40;
constexpr Word16 kMaxGain = 19661;  // 1.2 in Q14

// Mantissa of a normalised 32-bit value, rounded to 16 bits.
Word16 mantissa(Word32 value) {
  return round_fx(L_shl(value, norm_l(value)));
}

}  // namespace

extern "C" {

Word16 G_pitch(Word16 xn[], Word16 y1[], Word16 g_coeff[], Word16 L_subfr) {
  // A length the codec never passes would run past the working array: no gain.
  if (L_subfr < 1 || L_subfr > kMaxSubframe) {
    g_coeff[0] = g_coeff[1] = g_coeff[2] = 0;
    g_coeff[3] = -15;
    return 0;
  }
  Word16 scaled[kMaxSubframe];
  Word32 scaled_sum = 0;
  for (int i = 0; i < L_subfr; ++i) {
    scaled[i] = static_cast<Word16>(y1[i] >> 2);
    scaled_sum += scaled[i];
  }

  // <y1, y1>; when its 32-bit sum has wrapped below four times the (intentionally linear)
  // sum of the quartered vector, that sum stands in, four bits down.
  const Word32 yy_full =
      static_cast<Word32>(1u + static_cast<uint32_t>(g729dsp::wrapping_dot(y1, y1, L_subfr)));
  Word16 exp_yy, yy;
  if (yy_full >= 4 * scaled_sum) {
    exp_yy = norm_l(yy_full);
    yy = mantissa(yy_full);
  } else {
    exp_yy = static_cast<Word16>(norm_l(scaled_sum) - 4);
    yy = mantissa(scaled_sum);
  }

  // <xn, y1>, or <xn, y1 / 4> two bits down when the full sum has wrapped.
  const Word32 xy_full = g729dsp::wrapping_dot(xn, y1, L_subfr);
  const Word32 xy_scaled = g729dsp::wrapping_dot(xn, scaled, L_subfr);
  Word16 exp_xy, xy;
  if (xy_full >= static_cast<Word32>(3u * static_cast<uint32_t>(xy_scaled))) {
    exp_xy = norm_l(xy_full);
    xy = mantissa(xy_full);
  } else {
    exp_xy = static_cast<Word16>(norm_l(xy_scaled) - 2);
    xy = mantissa(xy_scaled);
  }

  g_coeff[0] = yy;
  g_coeff[1] = static_cast<Word16>(15 - exp_yy);
  g_coeff[2] = xy;
  g_coeff[3] = static_cast<Word16>(15 - exp_xy);

  if (xy < 1) {
    g_coeff[3] = -15;
    return 0;
  }
  // xy is halved so that the division's quotient stays below one.
  const Word16 gain =
      shr(div_s(static_cast<Word16>(xy >> 1), yy), static_cast<Word16>(exp_xy - exp_yy));
  return gain > kMaxGain ? kMaxGain : gain;
}

}  // extern "C"
