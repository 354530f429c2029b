// Adaptive perceptual weighting W(z) = A(z/gamma1) / A(z/gamma2): most spectra get the fixed
// factors; spectra with a strong low-frequency tilt (first log-area ratio far below zero, second
// well above) get gamma1 0.98 and gamma2 from the narrowest LSF gap, so that sharp formants are
// weighted less.
#include "g729/perc_var.h"

#include <algorithm>
#include <cstdint>

#include "kestrune/g729_coder.h"

namespace {

// The weighting memory is process-wide and unlocked: every encoder in the process shares it,
// and nothing resets it, so the first frame after load starts non-adaptive.
Word16 lar_old[2] = {0, 0};
unsigned char smooth = 0;  // 1: gamma2 adapts to the LSF gaps

constexpr Word16 kGamma1Fixed = 30802;     // 0.94, Q15
constexpr Word16 kGamma2Fixed = 19661;     // 0.6
constexpr Word16 kGamma1Adaptive = 32113;  // 0.98
constexpr Word16 kGamma2High = 22938;      // 0.7
constexpr Word16 kGamma2Low = 13107;       // 0.4

// Hysteresis on the two log-area ratios (Q11) of a subframe.
bool next_smooth(bool adaptive, Word16 lar0, Word16 lar1) {
  if (adaptive) return !(lar0 > -3116 || lar1 <= 889);
  return lar0 <= -3563 && lar1 >= 1337;
}

// gamma2 = 1 - 6 * pi * (narrowest gap of the doubled LSFs), limited to [0.4, 0.7].
Word16 adaptive_gamma2(const Word16 lsf[10]) {
  Word16 gap = static_cast<Word16>(lsf[1] - lsf[0]);
  for (int i = 1; i < 9; ++i) gap = std::min(gap, static_cast<Word16>(lsf[i + 1] - lsf[i]));
  const uint32_t scaled =
      ((static_cast<uint32_t>(static_cast<Word32>(gap)) * 38604u) >> 16) & 2047u;
  const int64_t v = (1024 - static_cast<int64_t>(scaled)) * 65536;  // Q26
  // The comparison is made on v * 32 as a signed 32-bit value, so v = 2^26 wraps below it.
  const Word32 v_q31 = static_cast<Word32>(static_cast<uint32_t>(v * 32));
  if (v_q31 > 1503264768) return kGamma2High;  // 22938 << 16
  return std::max(static_cast<Word16>(v >> 11), kGamma2Low);
}

}  // namespace

Word16 log_area_ratio(Word16 rc) {
  const Word32 a = rc < 0 ? -Word32{rc} : Word32{rc};
  const uint32_t c = static_cast<uint32_t>(static_cast<Word16>(a >> 4));
  uint32_t lar;
  if (a <= 20799) {
    lar = c;
  } else if ((a >> 7) <= 226) {
    lar = (c * 4567u + 130946171u) >> 11;
  } else if ((a >> 4) <= 1944) {
    lar = (c * 11776u + 117859942u) >> 11;
  } else {
    lar = (c * 27443u + 87409295u) >> 11;
  }
  const Word16 magnitude = static_cast<Word16>(lar);
  return rc < 0 ? static_cast<Word16>(-magnitude) : magnitude;
}

extern "C" {

void perc_var(Word16* gamma1, Word16* gamma2, Word16* LsfInt, Word16* LsfNew, Word16* r_c,
              Word16* /*a6*/, Word16* /*a7*/) {
  for (int i = 0; i < 10; ++i) {
    LsfInt[i] = static_cast<Word16>(LsfInt[i] * 2);
    LsfNew[i] = static_cast<Word16>(LsfNew[i] * 2);
  }

  // Lar[0..1]: subframe 1, halfway from the previous frame; Lar[2..3]: subframe 2.
  Word16 lar[4];
  lar[2] = log_area_ratio(r_c[0]);
  lar[3] = log_area_ratio(r_c[1]);
  lar[0] = static_cast<Word16>((lar[2] + lar_old[0]) >> 1);
  lar[1] = static_cast<Word16>((lar[3] + lar_old[1]) >> 1);
  lar_old[0] = lar[2];
  lar_old[1] = lar[3];

  for (int k = 0; k < 2; ++k) {
    smooth = next_smooth(smooth != 0, lar[2 * k], lar[2 * k + 1]) ? 1 : 0;
    if (smooth == 0) {
      gamma1[k] = kGamma1Fixed;
      gamma2[k] = kGamma2Fixed;
    } else {
      gamma1[k] = kGamma1Adaptive;
      gamma2[k] = adaptive_gamma2(k == 0 ? LsfInt : LsfNew);
    }
  }
}

}  // extern "C"
