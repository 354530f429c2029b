// Pre-processing of the input: second-order 140 Hz high-pass filter with the input halved.
#include <algorithm>
#include <cstdint>

#include "g729/tab_ld8k.h"
#include "kestrune/g729_coder.h"

extern "C" {

// Direct form I in plain 32-bit arithmetic. The feedback is the filter's own saturated 16-bit
// output (y1, y2), so the accumulator stays within +-32768 * (sum of |coefficients|) =
// +-32768 * 19136 and never wraps. The result is clipped quietly: the Overflow flag belongs to
// the callers that test it, not to this filter.
void Pre_Process(CoderState* state, const Word16 signal[]) {
  Word32 x0 = state->x0, x1 = state->x1;
  Word32 y1 = state->hp_y1, y2 = state->hp_y2;
  for (int i = 0; i < 80; ++i) {
    const Word32 x = signal[i];
    const Word32 acc = b140[0] * x + b140[1] * x0 + b140[2] * x1 + a140[1] * y1 + a140[2] * y2;
    x1 = x0;
    x0 = x;
    y2 = y1;
    y1 = std::clamp<Word32>((acc + 2048) >> 12, INT16_MIN, INT16_MAX);
    state->new_speech[i] = static_cast<Word16>(y1);
  }
  state->x0 = static_cast<Word16>(x0);
  state->x1 = static_cast<Word16>(x1);
  state->hp_y1 = y1;
  state->hp_y2 = y2;
}

}  // extern "C"
