// LP analysis of one frame: windowing, block scaling, thirteen lag-windowed autocorrelations
// and a Levinson-Durbin recursion with the coefficients in Q26.
//
// All wrapping arithmetic goes through the helpers below: 64-bit products and sums wrap as
// unsigned values and are narrowed explicitly, so no step relies on signed overflow.
#include "g729/lpc_analysis.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>

#include "g729/ld8k_lp.h"
#include "g729/tab_ld8k.h"
#include "g729/wrapping_dot.h"
#include "kestrune/g729_coder.h"

namespace {

constexpr int64_t kOneQ26 = int64_t{1} << 26;
constexpr int64_t kHalfQ26 = int64_t{1} << 25;

int64_t wrapping_mul64(int64_t a, int64_t b) {
  return static_cast<int64_t>(static_cast<uint64_t>(a) * static_cast<uint64_t>(b));
}
int64_t wrapping_add64(int64_t a, int64_t b) {
  return static_cast<int64_t>(static_cast<uint64_t>(a) + static_cast<uint64_t>(b));
}
Word32 low32(int64_t value) {
  return static_cast<Word32>(static_cast<uint32_t>(static_cast<uint64_t>(value)));
}
Word16 low16(int64_t value) {
  return static_cast<Word16>(static_cast<uint16_t>(static_cast<uint64_t>(value)));
}

// 1 - k^2 in Q26 for a reflection coefficient k in Q26; the 2^31 rounds the final shift.
int64_t one_minus_k_squared(Word32 k) {
  const uint64_t k_squared = static_cast<uint64_t>(int64_t{k} * k);
  const uint64_t numerator = (uint64_t{1} << 58) + (uint64_t{1} << 31) - k_squared * 64;
  return static_cast<int64_t>(numerator) >> 32;
}

// Windows the analysis buffer and scales it so that its energy sits in [2^28, 2^30) where
// the signal allows, without letting a loud frame overflow the 32-bit autocorrelations. The
// samples fit in 16 bits throughout: windowing gives at most 32767 in magnitude, a right shift
// only lowers that, and a left shift stops before the peak reaches 32768.
void window_and_scale(const Word16* x, std::array<Word16, L_WINDOW>& w) {
  for (int i = 0; i < L_WINDOW; ++i) {
    w[i] = static_cast<Word16>((Word32{hamwindow[i]} * x[i] + 16384) >> 15);
  }
  const int64_t energy = 1 + g729dsp::energy64(w.data(), L_WINDOW);
  Word16 peak = 0;
  for (const Word16 sample : w) peak = std::max(peak, static_cast<Word16>(std::abs(sample)));

  // s counts pairs of bits: the energy is compared after a shift of 2s bits.
  Word32 level = low32(energy >> 8);
  int s = 4;
  if (level == 0) {
    level = low32(energy);
    s = 0;
  }
  while (level < (Word32{1} << 28)) {
    --s;
    level *= 4;
  }

  if (s > 0) {
    for (Word16& sample : w) sample = static_cast<Word16>(sample >> s);
  } else if (s < 0) {
    // A quiet frame is raised by at most the headroom of its peak sample.
    int headroom = 0;
    if (peak >= 1 && peak <= 16383) {
      while ((peak << headroom) < 16384) ++headroom;
    }
    const int shift = std::min(headroom, -s);
    if (shift != 0) {
      for (Word16& sample : w) sample = static_cast<Word16>(sample * (1 << shift));
    }
  }
}

// The products of 16-bit samples are exact in 32 bits, so the wrapping 32-bit sums are those
// of the full products.
void lag_windowed_autocorrelation(const std::array<Word16, L_WINDOW>& w, Word32 r[LAGS]) {
  for (int k = 0; k < LAGS; ++k) {
    const auto sum = static_cast<Word32>(
        1u + static_cast<uint32_t>(g729dsp::wrapping_dot(w.data(), w.data() + k, L_WINDOW - k)));
    r[k] = low32((int64_t{lag_windowf[k]} * sum) >> 14);
  }
}

}  // namespace

extern "C" {

Word32 lpc_div(Word32 a, Word32 b) {
  const uint32_t divisor = b == 0 ? 1u : static_cast<uint32_t>(b);
  const uint32_t magnitude = a < 0 ? 0u - static_cast<uint32_t>(a) : static_cast<uint32_t>(a);
  uint32_t quotient = 0;
  if (divisor <= (1u << 31)) {
    // The remainder stays below 2^31, so its doubling never wraps and the 26 steps of the
    // restoring division below are the plain quotient of magnitude * 2^26, kept to 32 bits.
    quotient = static_cast<uint32_t>((uint64_t{magnitude} << 26) / divisor);
  } else {
    // A divisor above 2^31 (a negative b): restoring division with the remainder doubling in
    // 32 bits, where it may wrap.
    quotient = magnitude / divisor;
    uint32_t remainder = magnitude % divisor;
    for (int bit = 0; bit < 26; ++bit) {
      remainder <<= 1;
      quotient <<= 1;
      if (remainder >= divisor) {
        quotient |= 1u;
        remainder -= divisor;
      }
    }
  }
  return a >= 1 ? static_cast<Word32>(0u - quotient) : static_cast<Word32>(quotient);
}

void Forwad_linearPrediction(CoderState* state) {
  std::array<Word16, L_WINDOW> windowed;
  window_and_scale(state->p_window, windowed);
  lag_windowed_autocorrelation(windowed, state->lp_autocorr);
  lp_recursion_q26(state);
}

}  // extern "C"

void lp_recursion_q26(CoderState* state) {
  // Thirteen lags are windowed; the order-10 recursion reads r[0..10].
  const Word32* r = state->lp_autocorr;
  Word32* a = state->lp_pred;
  Word32* next = state->lp_pred_next;
  Word16* rc = state->rc;

  a[0] = static_cast<Word32>(kOneQ26);
  Word32 k = lpc_div(r[1], r[0]);
  a[1] = k;
  rc[0] = low16(k >> 11);
  Word32 err = low32(wrapping_mul64(one_minus_k_squared(k), r[0]) >> 26);

  for (int i = 2; i <= M; ++i) {
    int64_t sum = wrapping_mul64(r[i], kOneQ26);
    for (int j = 1; j < i; ++j) sum = wrapping_add64(sum, wrapping_mul64(r[j], a[i - j]));
    const Word32 numerator = low32(wrapping_add64(sum, kHalfQ26) >> 26);

    k = lpc_div(numerator, err);
    rc[i - 1] = low16((int64_t{k} + 1024) >> 11);

    // Only a coefficient above +1 is caught; the frame then keeps the last stable filter.
    if (k > kOneQ26) {
      std::copy_n(state->init_4096, MP1, a);
      rc[0] = state->lp_rc_saved[0];
      rc[1] = state->lp_rc_saved[1];
      return;
    }

    for (int j = 1; j < i; ++j) {
      const int64_t update = wrapping_add64(wrapping_mul64(a[i - j], k), kHalfQ26) >> 26;
      next[j] = low32(wrapping_add64(a[j], update));
    }
    std::copy_n(next + 1, i - 1, a + 1);
    a[i] = k;

    err = low32(wrapping_add64(wrapping_mul64(one_minus_k_squared(k), err), kHalfQ26) >> 26);
  }

  a[0] = static_cast<Word32>(kOneQ26);
  for (int j = 0; j < MP1; ++j) {
    state->A_t[MP1 + j] = low16((int64_t{a[j]} + 8192) >> 14);
  }
  state->lp_rc_saved[0] = rc[0];
  state->lp_rc_saved[1] = rc[1];
}
