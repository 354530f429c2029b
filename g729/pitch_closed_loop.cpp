// Closed-loop pitch search of a subframe: the delay, to a third of a sample, whose filtered
// past excitation best matches the target, and the coding of that delay.
#include <cstdint>
#include <utility>

#include "g729/basic_op_inline.h"
#include "g729/dspfunc_inline.h"
#include "g729/tab_pitch.h"
#include "g729/wrapping_dot.h"
#include "kestrune/g729_filter.h"
#include "kestrune/g729_pitch.h"

using namespace g729ops;

namespace {

constexpr int kMaxSubframe = 40;
constexpr int kInterpolationSpan = 4;  // extra delays on each side for Interpol_3
// Room for every delay of the codec's range, 20 to 143, and the extra ones on both sides.
constexpr int kMaxDelays = 143 - 20 + 1;
constexpr int kMaxCorrelations = kMaxDelays + 2 * kInterpolationSpan;

// (e * h[j]) >> shift: one sample of the excitation through the response, in the scale of
// the filtered excitation.
inline Word32 weighted(Word32 e, Word16 h, int shift) {
  return (e * h) >> shift;
}

// Filtered excitation of the next delay from that of the current one: the response shifts
// by one sample and the newly reached excitation sample e enters at the front. current[-1]
// must be 0, which makes the front sample one more of the same sums.
void next_delay(const Word16* __restrict current, Word16 e, const Word16* h, int shift, int length,
                Word16* __restrict next) {
  for (int j = 0; j < length; ++j) {
    next[j] = static_cast<Word16>(current[j - 1] + weighted(e, h[j], shift));
  }
}

// corr[t - t_min] = <xn, y_t> / sqrt(<y_t, y_t>) for t_min..t_max, y_t the excitation at
// delay t filtered by h.
void normalised_correlations(Word16* exc, const Word16* xn, Word16* h, int length, int t_min,
                             int t_max, Word32* corr) {
  Word16 buffers[2][1 + kMaxSubframe] = {};  // a zero before each vector, for next_delay
  Word16* y = buffers[0] + 1;
  Word16* next = buffers[1] + 1;
  Convolve(exc - t_min, h, y, static_cast<Word16>(length));

  // A loud filtered excitation is taken at a quarter so that the sums stay in 32 bits.
  int shift = 12;
  if ((g729dsp::energy64(y, length) >> 6) > 2097152) {
    for (int j = 0; j < length; ++j) y[j] = static_cast<Word16>(y[j] >> 2);
    shift = 14;
  }

  for (int t = t_min;; ++t) {
    const Word32 energy = g729dsp::wrapping_dot(y, y, length);
    const Word32 cross = g729dsp::wrapping_dot(xn, y, length);
    corr[t - t_min] = static_cast<Word32>((int64_t{cross} * Inv_sqrt(energy)) >> 31);
    if (t == t_max) break;
    next_delay(y, exc[-t - 1], h, shift, length, next);
    std::swap(y, next);
  }
}

}  // namespace

extern "C" {

Word16 Pitch_fr3(Word16 exc[], Word16 xn[], Word16 h[], Word16 L_subfr, Word16 t0_min,
                 Word16 t0_max, Word16 i_subfr, Word16* pit_frac) {
  // Arguments the codec never passes would run past the working arrays: t0_min, no fraction.
  if (L_subfr < 1 || L_subfr > kMaxSubframe || t0_max < t0_min || t0_max - t0_min >= kMaxDelays) {
    *pit_frac = 0;
    return t0_min;
  }
  const int t_min = t0_min - kInterpolationSpan;
  const int t_max = t0_max + kInterpolationSpan;
  Word32 corr[kMaxCorrelations];
  normalised_correlations(exc, xn, h, L_subfr, t_min, t_max, corr);
  auto at = [&](int t) { return corr + (t - t_min); };

  // Integer delay; a tie moves to the larger delay.
  Word16 lag = t0_min;
  Word32 max = *at(t0_min);
  for (Word16 t = static_cast<Word16>(t0_min + 1); t <= t0_max; ++t) {
    if (*at(t) >= max) {
      max = *at(t);
      lag = t;
    }
  }

  // The first subframe codes delays from 85 up without a fraction.
  if (i_subfr == 0 && lag >= 85) {
    *pit_frac = 0;
    return lag;
  }

  // Fractions -2/3..2/3 around the integer delay; the outer two are the neighbouring delays'
  // fractions +1/3 and -1/3.
  Word16 frac = -2;
  max = Interpol_3(at(lag), -2);
  for (Word16 f = -1; f <= 2; ++f) {
    const Word32 value = Interpol_3(at(lag), f);
    if (value > max) {
      max = value;
      frac = f;
    }
  }
  if (frac == -2) {
    frac = 1;
    --lag;
  } else if (frac == 2) {
    frac = -1;
    ++lag;
  }
  *pit_frac = frac;
  return lag;
}

Word32 Interpol_3(Word32* x, Word16 frac) {
  if (frac < 0) {
    frac = static_cast<Word16>(frac + 3);
    --x;
  }
  // Four taps on each side of the interpolation point, wrapping 32-bit products and sum.
  auto term = [](Word32 value, Word16 c) {
    return static_cast<uint32_t>(value) * static_cast<uint32_t>(Word32{c});
  };
  uint32_t sum = 16384;
  for (int i = 0, k = 0; i < kInterpolationSpan; ++i, k += 3) {
    sum += term(x[-i], inter_3[frac + k]);
    sum += term(x[i + 1], inter_3[3 - frac + k]);
  }
  return static_cast<Word32>(sum) >> 15;
}

Word16 Enc_lag3(Word16 T0, Word16 T0_frac, Word16* T0_min, Word16* T0_max, Word16 pit_min,
                Word16 pit_max, Word16 pit_flag) {
  if (pit_flag != 0) {
    // Second subframe: thirds from T0_min - 2/3, five bits.
    return static_cast<Word16>(3 * (T0 - *T0_min) + 2 + T0_frac);
  }

  // First subframe: thirds up to 85, whole samples above, eight bits.
  const auto index = static_cast<Word16>(T0 <= 85 ? 3 * T0 - 58 + T0_frac : T0 + 112);

  // Search range of the second subframe: ten delays around this one, inside the delay range.
  *T0_min = static_cast<Word16>(T0 - 5 < pit_min ? pit_min : T0 - 5);
  *T0_max = static_cast<Word16>(*T0_min + 9);
  if (*T0_max > pit_max) {
    *T0_max = pit_max;
    *T0_min = static_cast<Word16>(pit_max - 9);
  }
  return index;
}

}  // extern "C"
