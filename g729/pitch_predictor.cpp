// Adaptive-codebook vector: the past excitation at a fractional delay, through a generic
// FIR filter with Q24 coefficients.
#include <algorithm>
#include <cstdint>

#include "g729/tab_pitch.h"
#include "kestrune/g729_pitch.h"

namespace {

constexpr int kPredictorTaps = 20;  // the adaptive codebook's filter, unrolled

// Taps fixed at compile time (kTaps) or read from the filter (kTaps = 0).
template <int kTaps>
void run_fir(const B_fir_filter& filter, const Word16* in, Word16* out, int n) {
  const int taps = kTaps > 0 ? kTaps : filter.taps;
  const Word32* coef = filter.coef;
  const int stride = filter.coef_stride;
  const int step = filter.in_step;
  const int shift = filter.shift;
  // Strictly one output after another: with a short delay the input runs over outputs
  // written earlier in this same call.
  for (int j = 0; j < n; ++j) {
    const Word16* x = in + j * step;
    int64_t sum = 0;
#pragma GCC unroll 20
    for (int t = 0; t < taps; ++t) sum += int64_t{x[t]} * coef[t * stride];
    // Clipping to 32 bits and then to 16 is one clip to 16.
    out[j] = static_cast<Word16>(std::clamp<int64_t>(sum >> shift, INT16_MIN, INT16_MAX));
  }
}

}  // namespace

extern "C" {

void B_fir_cal_s(const B_fir_filter* filter, const Word16 in[], Word16 out[], Word16 n) {
  if (filter->taps == kPredictorTaps) {
    run_fir<kPredictorTaps>(*filter, in, out, n);
  } else {
    run_fir<0>(*filter, in, out, n);
  }
}

void Pred_lt_3(Word16 exc[], Word16 T0, Word16 frac, Word16 L_subfr) {
  // The table holds the interpolation filter at thirds of a sample; taking every third
  // entry from phase 3 - g gives the filter for a delay g/3 beyond an integer. frac -1 and 0
  // are g = 1 and 0 from T0; frac +1 is g = 2 from T0 + 1, one sample further back.
  const int phase = frac <= 0 ? -frac : 3 - frac;
  const B_fir_filter filter = {kPredictorTaps, 24, inter32_fir_tab + (3 - phase), 3, 1};
  const Word16* start = exc - T0 - 9 - (frac > 0 ? 1 : 0);
  B_fir_cal_s(&filter, start, exc, L_subfr);
}

}  // extern "C"
