// Fixed-codebook search: pitch sharpening of the impulse response, then the depth-first
// search of four signed pulses that maximise (correlation with the target)^2 / energy.
#include <algorithm>

#include "g729/acelp_layout.h"
#include "g729/basic_op_inline.h"
#include "kestrune/g729_acelp.h"

using namespace g729ops;
using namespace acelp;

namespace {

constexpr Word16 kThresholdFactor = 13107;  // 0.4 in Q15: where between average and maximum
constexpr Word16 kMaxTime = 75;             // fourth-pulse passes of a subframe
constexpr Word16 kFirstSubframeExtra = 30;  // further passes granted to a frame's first subframe

// Passes a subframe may run beyond kMaxTime: kFirstSubframeExtra for the first subframe, what
// the first left unused for the second. Per thread, so that encoders on different threads keep
// their own budgets.
thread_local Word16 extra = 0;

// x[i] += x[i - T0] * sharp for i = T0..39, in place and in plain 16-bit arithmetic: the
// periodic repetition of a pulse at the pitch lag.
void sharpen(Word16 x[], Word16 T0, Word16 sharp) {
  for (int i = T0; i < kSubframe; ++i) {
    x[i] = static_cast<Word16>(x[i] + ((Word32{x[i - T0]} * sharp) >> 15));
  }
}

// Multiplies the cross-correlations of sets a < b by the product of their positions' signs,
// so that the search can add them unsigned.
void applySigns(Word16 rr[], const Word16 p_sign[], int a, int b) {
  Word16* m = rr + matrix(a, b);
  for (int r = 0; r < kPositions; ++r) {
    for (int c = 0; c < kPositions; ++c) {
      m[r * kPositions + c] =
          mult(m[r * kPositions + c], mult(p_sign[a + kStep * r], p_sign[b + kStep * c]));
    }
  }
}

// y[pos..39] += or -= h[0..39-pos], plain 16-bit.
void addShifted(Word16 y[], const Word16 h[], int pos, bool positive) {
  for (int i = pos; i < kSubframe; ++i) {
    y[i] = static_cast<Word16>(positive ? y[i] + h[i - pos] : y[i] - h[i - pos]);
  }
}

}  // namespace

extern "C" {

Word16 ACELP_Codebook(const Word16 x[], Word16 h[], Word16 T0, Word16 pitch_sharp, Word16 i_subfr,
                      Word16 code[], Word16 y[], Word16* sign) {
  const auto sharp = static_cast<Word16>(pitch_sharp * 2);  // Q14 to Q15
  const bool periodic = T0 < kSubframe;
  if (periodic) sharpen(h, T0, sharp);

  Word16 rr[DIM_RR];
  Word16 Dn[kSubframe];
  Cor_h(h, rr);
  Cor_h_X(h, x, Dn);
  const Word16 index = D4i40_17(Dn, rr, h, code, y, sign, i_subfr);

  if (periodic) sharpen(code, T0, sharp);
  return index;
}

Word16 D4i40_17(Word16 Dn[], Word16 rr[], const Word16 h[], Word16 cod[], Word16 y[], Word16* sign,
                Word16 i_subfr) {
  if (i_subfr == 0) extra = kFirstSubframeExtra;

  // Each position takes the sign of the backward-filtered target there; the search then works
  // on magnitudes.
  Word16 p_sign[kSubframe];
  for (int i = 0; i < kSubframe; ++i) {
    if (Dn[i] >= 0) {
      p_sign[i] = kMax16;
    } else {
      p_sign[i] = kMin16;
      Dn[i] = negate(Dn[i]);
    }
  }

  // The fourth pulse is only tried after triples whose correlation passes the threshold
  // average + 0.4 (maximum - average) of the three first tracks.
  Word16 max0 = Dn[0], max1 = Dn[1], max2 = Dn[2];
  Word32 sum = 0;
  for (int i = 0; i < kSubframe; i += kStep) {
    max0 = std::max(max0, Dn[i]);
    max1 = std::max(max1, Dn[i + 1]);
    max2 = std::max(max2, Dn[i + 2]);
    sum += Dn[i] + Dn[i + 1] + Dn[i + 2];
  }
  const Word16 max3 = add(add(max0, max1), max2);
  const auto average = static_cast<Word16>(sum >> 3);  // of the 8 sums of one position per track
  const Word16 thres = add(mult(sub(max3, average), kThresholdFactor), average);

  for (int a = 0; a < 5; ++a) {
    for (int b = a + 1; b < 5; ++b) {
      if (a != 3) applySigns(rr, p_sign, a, b);
    }
  }

  const Word16* rr00 = rr + energies(0);
  const Word16* rr11 = rr + energies(1);
  const Word16* rr22 = rr + energies(2);
  const Word16* rr33 = rr + energies(3);
  const Word16* rr44 = rr + energies(4);
  const Word16* rr01 = rr + matrix(0, 1);
  const Word16* rr02 = rr + matrix(0, 2);
  const Word16* rr03 = rr + matrix(0, 3);
  const Word16* rr04 = rr + matrix(0, 4);
  const Word16* rr12 = rr + matrix(1, 2);
  const Word16* rr13 = rr + matrix(1, 3);
  const Word16* rr14 = rr + matrix(1, 4);
  const Word16* rr23 = rr + matrix(2, 3);
  const Word16* rr24 = rr + matrix(2, 4);

  // Best so far: correlation^2 (psc) over energy (alpha), compared crosswise. Energies are
  // kept doubled (alp1..alp3) and the final one scaled by 1/32 to 16 bits.
  int ip0 = 0, ip1 = 1, ip2 = 2, ip3 = 3;
  Word32 psc = 0, alpha = kMax16;
  Word16 time = static_cast<Word16>(kMaxTime + extra);

  // One pass over the 8 positions of set t (3 or 4) as the fourth pulse.
  const auto fourth = [&](int t, const Word16* rrtt, const Word16* rr0t, const Word16* rr1t,
                          const Word16* rr2t, Word16 ps2, Word32 alp2, int i0, int i1, int i2) {
    for (int d = 0; d < kPositions; ++d) {
      const int i3 = t + kStep * d;
      const Word16 ps3 = add(ps2, Dn[i3]);
      const Word32 alp3 = alp2 + 2 * rrtt[d] + 4 * (rr0t[d] + rr1t[d] + rr2t[d]);
      const auto alp = static_cast<Word16>(alp3 >> 5);
      const Word32 ps3c = (Word32{ps3} * ps3) >> 15;
      if (ps3c * alpha > psc * alp) {
        psc = ps3c;
        alpha = alp;
        ip0 = i0;
        ip1 = i1;
        ip2 = i2;
        ip3 = i3;
      }
    }
  };

  for (int a = 0; a < kPositions; ++a) {
    const int i0 = kStep * a;
    const Word16 ps0 = Dn[i0];
    const Word32 alp0 = 2 * rr00[a];
    for (int b = 0; b < kPositions; ++b) {
      const int i1 = 1 + kStep * b;
      const Word16 ps1 = add(ps0, Dn[i1]);
      const Word32 alp1 = alp0 + 2 * rr11[b] + 4 * rr01[a * kPositions + b];
      for (int c = 0; c < kPositions; ++c) {
        const int i2 = 2 + kStep * c;
        const Word16 ps2 = add(ps1, Dn[i2]);
        if (ps2 <= thres) continue;
        const Word32 alp2 =
            alp1 + 2 * rr22[c] + 4 * (rr02[a * kPositions + c] + rr12[b * kPositions + c]);
        fourth(3, rr33, rr03 + a * kPositions, rr13 + b * kPositions, rr23 + c * kPositions, ps2,
               alp2, i0, i1, i2);
        fourth(4, rr44, rr04 + a * kPositions, rr14 + b * kPositions, rr24 + c * kPositions, ps2,
               alp2, i0, i1, i2);
        if (--time <= 0) goto end_search;
      }
    }
  }
end_search:
  extra = time;

  const bool positive[4] = {p_sign[ip0] > 0, p_sign[ip1] > 0, p_sign[ip2] > 0, p_sign[ip3] > 0};
  const int position[4] = {ip0, ip1, ip2, ip3};
  std::fill_n(cod, kSubframe, Word16{0});
  std::fill_n(y, kSubframe, Word16{0});
  Word16 signs = 0;
  for (int k = 0; k < 4; ++k) {
    cod[position[k]] = static_cast<Word16>(p_sign[position[k]] >> 2);  // Q15 to Q13
    addShifted(y, h, position[k], positive[k]);
    if (positive[k]) signs = static_cast<Word16>(signs | (1 << k));
  }
  *sign = signs;

  // Track index of each pulse (position / 5 as position * 6554 >> 15); pulse 3's 16 positions
  // interleave its two sets.
  const auto div5 = [](int pos) { return (pos * 6554) >> 15; };
  const int q3 = div5(ip3);
  const int j3 = 2 * q3 + (ip3 - 5 * q3 - 3);
  return static_cast<Word16>(div5(ip0) + (div5(ip1) << 3) + (div5(ip2) << 6) + (j3 << 9));
}

}  // extern "C"
