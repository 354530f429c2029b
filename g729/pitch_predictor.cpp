// Adaptive-codebook vector: the past excitation at a fractional delay, through a generic
// FIR filter with Q24 coefficients.
#include <algorithm>
#include <cstdint>

#include "g729/tab_pitch.h"
#include "kestrune/g729_pitch.h"

extern "C" {

void B_fir_cal_s(const B_fir_filter* filter, const Word16 in[], Word16 out[], Word16 n) {
  const int taps = filter->taps;
  const Word32* coef = filter->coef;
  const int stride = filter->coef_stride;
  // Strictly one output after another: with a short delay the input runs over outputs
  // written earlier in this same call.
  for (int j = 0; j < n; ++j) {
    const Word16* x = in + j * filter->in_step;
    int64_t sum = 0;
    for (int t = 0; t < taps; ++t) sum += int64_t{x[t]} * coef[t * stride];
    // Clipping to 32 bits and then to 16 is one clip to 16.
    out[j] = static_cast<Word16>(std::clamp<int64_t>(sum >> filter->shift, INT16_MIN, INT16_MAX));
  }
}

void Pred_lt_3(Word16 exc[], Word16 T0, Word16 frac, Word16 L_subfr) {
  // The filter's taps sit every third of the table, starting at the phase of the fraction;
  // a positive fraction (a longer delay) starts one sample earlier at the opposite phase.
  const int phase = frac <= 0 ? -frac : 3 - frac;
  const B_fir_filter filter = {20, 24, inter32_fir_tab + (3 - phase), 3, 1};
  const Word16* start = exc - T0 - 9 - (frac > 0 ? 1 : 0);
  B_fir_cal_s(&filter, start, exc, L_subfr);
}

}  // extern "C"
