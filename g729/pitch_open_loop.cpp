// Open-loop pitch search: once per frame, on the weighted speech, the delay whose past best
// predicts the frame, favouring short delays so that a multiple of the true period is not
// chosen.
#include <cstdint>

#include "g729/basic_op_inline.h"
#include "g729/dspfunc_inline.h"
#include "g729/wrapping_dot.h"
#include "kestrune/g729_pitch.h"

using namespace g729ops;

namespace {

constexpr int kMaxSignal = 143 + 80;  // PIT_MAX past samples and a frame
constexpr Word32 kThreshold = 27853;  // 0.85 in Q15: how much a shorter delay may lose

Word32 favoured(Word16 max) {
  return (Word32{max} * kThreshold) >> 15;
}

}  // namespace

extern "C" {

Word16 Pitch_ol(Word16 signal[], Word16 pit_min, Word16 pit_max, Word16 L_frame) {
  const int length = pit_max + L_frame;
  // Arguments the codec never passes would run past the scaled copy: the longest delay.
  if (pit_max < 0 || L_frame < 1 || length > kMaxSignal) return pit_max;
  const Word16* x = signal - pit_max;

  // Energy with the oldest sample counted twice, then a scale that keeps the correlations
  // of loud frames in 32 bits and lifts quiet ones.
  const int64_t energy = int64_t{x[0]} * x[0] + g729dsp::energy64(x, length);
  const auto level = static_cast<Word32>(static_cast<uint32_t>(energy >> 8));
  Word16 scaled[kMaxSignal];
  if (level > 2097152) {
    for (int i = 0; i < length; ++i) scaled[i] = static_cast<Word16>(x[i] >> 4);
  } else if (level < 8192) {
    for (int i = 0; i < length; ++i) scaled[i] = static_cast<Word16>(x[i] * 8);
  } else {
    for (int i = 0; i < length; ++i) scaled[i] = x[i];
  }
  Word16* s = scaled + pit_max;

  // Three sections, none holding a multiple of another's delays: 80..143, 40..79, 20..39.
  Word16 max1, max2, max3;
  const Word16 j4 = static_cast<Word16>(4 * pit_min);
  const Word16 j2 = static_cast<Word16>(2 * pit_min);
  Word16 p1 = Lag_max(s, L_frame, pit_max, j4, &max1);
  const Word16 p2 = Lag_max(s, L_frame, static_cast<Word16>(j4 - 1), j2, &max2);
  const Word16 p3 = Lag_max(s, L_frame, static_cast<Word16>(j2 - 1), pit_min, &max3);

  if (favoured(max1) < max2) {
    max1 = max2;
    p1 = p2;
  }
  return max3 > favoured(max1) ? p3 : p1;
}

Word16 Lag_max(Word16 signal[], Word16 L_frame, Word16 lag_max, Word16 lag_min, Word16* cor_max) {
  Word32 max = kMin32;
  Word16 p_max = lag_max;
  for (Word16 t = lag_max; t >= lag_min; --t) {
    const Word32 cor = g729dsp::wrapping_dot(signal, signal - t, L_frame);
    if (cor >= max) {  // going down, so a tie moves to the smaller delay
      max = cor;
      p_max = t;
    }
  }
  const Word16* past = signal - p_max;
  const Word32 energy = g729dsp::wrapping_dot(past, past, L_frame);
  *cor_max = static_cast<Word16>((int64_t{max} * Inv_sqrt(energy)) >> 32);
  return p_max;
}

}  // extern "C"
