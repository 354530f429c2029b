// Fixed-codebook search: pitch sharpening of the impulse response, then the depth-first
// search of four signed pulses that maximise (correlation with the target)^2 / energy.
#include <algorithm>

#include "g729/acelp_layout.h"
#include "g729/basic_op_inline.h"
#include "g729/pitch_sharpening.h"
#include "kestrune/g729_acelp.h"

using namespace g729ops;
using namespace acelp;

namespace {

constexpr Word16 kThresholdFactor = 13107;  // 0.4 in Q15: where between average and maximum
constexpr Word16 kMaxTime = 75;             // fourth-pulse passes of a subframe
constexpr Word16 kFirstSubframeExtra = 30;  // further passes granted to a frame's first subframe
// Largest magnitude for which no sum of four stays out of 16 bits (4 * 8191 = 32764).
constexpr Word16 kUnclippedMagnitude = 8191;

// Passes a subframe may run beyond kMaxTime: kFirstSubframeExtra for the first subframe, what
// the first left unused for the second. Per thread, so that encoders on different threads keep
// their own budgets.
thread_local Word16 extra = 0;

// Magnitudes of the backward-filtered target and the signs taken from it (32767 or -32768),
// gathered per position set t: positions t, t + 5, ..., t + 35.
struct Tracks {
  Word16 dn[5][kPositions];
  Word16 sign[5][kPositions];
};

// Saturation flags are integers (0 or 1), which the compiler can OR across vector lanes;
// D4i40_17 sets Overflow once if any is set, where the standard's saturating add and mult
// would have.

// Multiplies the cross-correlations of sets a < b by mult(sign i, sign j), so that the search
// can add them unsigned: 32766 for two positive signs, -32767 for opposite ones and 32767 for
// two negative ones, where mult saturates.
Word32 applySigns(Word16 rr[], const Tracks& tracks, int a, int b) {
  Word16 withPositive[kPositions], withNegative[kPositions];
  Word32 negativeInB = 0;
  for (int c = 0; c < kPositions; ++c) {
    const bool positive = tracks.sign[b][c] > 0;
    withPositive[c] = positive ? 32766 : -32767;
    withNegative[c] = positive ? -32767 : 32767;
    negativeInB |= Word32{!positive};
  }
  Word16* m = rr + matrix(a, b);
  Word32 saturated = 0;
  for (int r = 0; r < kPositions; ++r, m += kPositions) {
    const bool positive = tracks.sign[a][r] > 0;
    const Word16* factor = positive ? withPositive : withNegative;
    saturated |= positive ? 0 : negativeInB;
    for (int c = 0; c < kPositions; ++c) {
      m[c] = static_cast<Word16>((Word32{m[c]} * factor[c]) >> 15);
    }
  }
  return saturated;
}

// add() and mult(x, x), noting a saturation instead of setting Overflow.
Word32 addNoting(Word32 a, Word32 b, Word32& saturated) {
  const Word32 sum = a + b;
  const Word32 clipped = std::clamp<Word32>(sum, kMin16, kMax16);
  saturated |= Word32{sum != clipped};
  return clipped;
}
Word32 squareNoting(Word32 x, Word32& saturated) {
  const Word32 square = (x * x) >> 15;
  saturated |= Word32{square > kMax16};
  return std::min<Word32>(square, kMax16);
}

// The best combination so far: correlation^2 (psc) over energy (alpha), compared crosswise.
struct Best {
  Word16 psc = 0, alpha = kMax16;
  int ip[4] = {0, 1, 2, 3};
};

// The fourth pulse's 16 candidates, set 3's positions then set 4's (k = 0..15 is position
// 3 + 5k for k < 8, 4 + 5(k - 8) after), each with its magnitude, doubled energy and its
// correlations with every position of the first three tracks, laid out contiguously.
constexpr int kFourth = 2 * kPositions;
struct FourthPulse {
  Word16 dn[kFourth];
  Word32 energy2[kFourth];                // 2 rr(i3, i3)
  Word32 cross4[3][kPositions][kFourth];  // 4 rr(i, i3) for i in track 0, 1, 2
};

constexpr int fourthPosition(int k) {
  return k < kPositions ? 3 + kStep * k : 4 + kStep * (k - 8);
}

// The search over the correlations with signs applied. Without kMayClip every magnitude is at
// most kUnclippedMagnitude, so no correlation sum can saturate and none is checked.
template <bool kMayClip>
class PulseSearch {
 public:
  PulseSearch(const Tracks& tracks, const Word16 rr[]) : tracks_(tracks), rr_(rr) {
    for (int k = 0; k < kFourth; ++k) {
      const int t = k < kPositions ? 3 : 4, d = k % kPositions;
      fourth_.dn[k] = tracks.dn[t][d];
      fourth_.energy2[k] = 2 * rr[energies(t) + d];
      for (int track = 0; track < 3; ++track) {
        for (int r = 0; r < kPositions; ++r) {
          fourth_.cross4[track][r][k] = 4 * rr[matrix(track, t) + r * kPositions + d];
        }
      }
    }
  }

  // Depth-first: every triple of the first three tracks, and for those above the threshold
  // every fourth pulse, until `time` such passes are spent. Energies are kept doubled.
  void run(Word16 thres, Word16& time) {
    const Word16* rr00 = rr_ + energies(0);
    const Word16* rr11 = rr_ + energies(1);
    const Word16* rr22 = rr_ + energies(2);
    for (int a = 0; a < kPositions; ++a) {
      const Word32 ps0 = tracks_.dn[0][a];
      const Word32 alp0 = 2 * rr00[a];
      const Word16* rr01 = rr_ + matrix(0, 1) + a * kPositions;
      const Word16* rr02 = rr_ + matrix(0, 2) + a * kPositions;
      for (int b = 0; b < kPositions; ++b) {
        const Word32 ps1 = sum(ps0, tracks_.dn[1][b]);
        const Word32 alp1 = alp0 + 2 * rr11[b] + 4 * rr01[b];
        const Word16* rr12 = rr_ + matrix(1, 2) + b * kPositions;
        for (int c = 0; c < kPositions; ++c) {
          const Word32 ps2 = sum(ps1, tracks_.dn[2][c]);
          if (ps2 <= thres) continue;
          const Word32 alp2 = alp1 + 2 * rr22[c] + 4 * (rr02[c] + rr12[c]);
          tryFourthPulse(a, b, c, ps2, alp2);
          if (--time <= 0) return;
        }
      }
    }
  }

  const Best& best() const { return best_; }
  Word32 saturated() const { return saturated_; }

 private:
  Word32 sum(Word32 a, Word32 b) {
    if constexpr (kMayClip) return addNoting(a, b, saturated_);
    return a + b;
  }

  // The 16 fourth pulses after the positions of row a, b, c of the first three tracks,
  // whose correlation is ps2 and doubled energy alp2.
  void tryFourthPulse(int a, int b, int c, Word32 ps2, Word32 alp2) {
    const Word32* r0 = fourth_.cross4[0][a];
    const Word32* r1 = fourth_.cross4[1][b];
    const Word32* r2 = fourth_.cross4[2][c];
    // Energies in 32-bit lanes (at most 32 * 2^15 in magnitude, so the scaled energy fits 16
    // bits), correlations and the crosswise comparison in 16-bit lanes with 32-bit products.
    Word16 alp[kFourth], ps3c[kFourth];
    for (int k = 0; k < kFourth; ++k) {
      alp[k] = static_cast<Word16>((alp2 + fourth_.energy2[k] + r0[k] + r1[k] + r2[k]) >> 5);
    }
    if constexpr (kMayClip) {
      for (int k = 0; k < kFourth; ++k) {
        ps3c[k] = static_cast<Word16>(
            squareNoting(addNoting(ps2, fourth_.dn[k], saturated_), saturated_));
      }
    } else {
      const auto ps2_16 = static_cast<Word16>(ps2);
#pragma GCC unroll 1  // kept a loop, so that it is vectorised as one
      for (int k = 0; k < kFourth; ++k) {
        const auto ps3 = static_cast<Word16>(ps2_16 + fourth_.dn[k]);
        ps3c[k] = static_cast<Word16>((Word32{ps3} * ps3) >> 15);
      }
    }
    // Most passes find nothing better: test all sixteen at once before the ordered scan.
    const Word16 psc = best_.psc, alpha = best_.alpha;
    Word32 better = 0;
#pragma GCC unroll 1  // kept a loop, so that it is vectorised as one
    for (int k = 0; k < kFourth; ++k) {
      better |= Word32{Word32{ps3c[k]} * alpha > Word32{alp[k]} * psc};
    }
    if (!better) return;
    for (int k = 0; k < kFourth; ++k) {
      if (Word32{ps3c[k]} * best_.alpha > Word32{alp[k]} * best_.psc) {
        best_.psc = ps3c[k];
        best_.alpha = alp[k];
        best_.ip[0] = kStep * a;
        best_.ip[1] = 1 + kStep * b;
        best_.ip[2] = 2 + kStep * c;
        best_.ip[3] = fourthPosition(k);
      }
    }
  }

  const Tracks& tracks_;
  const Word16* rr_;
  FourthPulse fourth_;
  Best best_;
  Word32 saturated_ = 0;
};

template <bool kMayClip>
Best searchPulses(const Tracks& tracks, const Word16 rr[], Word16 thres, Word16& time,
                  Word32& saturated) {
  PulseSearch<kMayClip> search(tracks, rr);
  search.run(thres, time);
  saturated |= search.saturated();
  return search.best();
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
  if (periodic) pitch_sharpen(h, T0, sharp);

  Word16 rr[DIM_RR];
  Word16 Dn[kSubframe];
  Cor_h(h, rr);
  Cor_h_X(h, x, Dn);
  const Word16 index = D4i40_17(Dn, rr, h, code, y, sign, i_subfr);

  if (periodic) pitch_sharpen(code, T0, sharp);
  return index;
}

Word16 D4i40_17(Word16 Dn[], Word16 rr[], const Word16 h[], Word16 cod[], Word16 y[], Word16* sign,
                Word16 i_subfr) {
  if (i_subfr == 0) extra = kFirstSubframeExtra;

  // Each position takes the sign of the backward-filtered target there; the search then works
  // on magnitudes.
  Tracks tracks;
  bool unclipped = true;
  for (int i = 0; i < kSubframe; ++i) {
    const bool positive = Dn[i] >= 0;
    if (!positive) Dn[i] = negate(Dn[i]);
    tracks.dn[i % kStep][i / kStep] = Dn[i];
    tracks.sign[i % kStep][i / kStep] = positive ? kMax16 : kMin16;
    unclipped = unclipped && Dn[i] >= 0 && Dn[i] <= kUnclippedMagnitude;
  }

  // The fourth pulse is only tried after triples whose correlation passes the threshold
  // average + 0.4 (maximum - average) of the three first tracks.
  Word16 max3 = 0;
  Word32 total = 0;
  for (int t = 0; t < 3; ++t) {
    Word16 max = tracks.dn[t][0];
    for (int r = 1; r < kPositions; ++r) {
      if (sub(tracks.dn[t][r], max) > 0) max = tracks.dn[t][r];
      total += tracks.dn[t][r];
    }
    total += tracks.dn[t][0];
    max3 = t == 0 ? max : add(max3, max);
  }
  const auto average = static_cast<Word16>(total >> 3);  // of the 8 sums of one per track
  const Word16 thres = add(mult(sub(max3, average), kThresholdFactor), average);

  Word32 saturated = 0;
  for (int a = 0; a < 3; ++a) {
    for (int b = a + 1; b < 5; ++b) saturated |= applySigns(rr, tracks, a, b);
  }

  Word16 time = static_cast<Word16>(kMaxTime + extra);
  const Best best = unclipped ? searchPulses<false>(tracks, rr, thres, time, saturated)
                              : searchPulses<true>(tracks, rr, thres, time, saturated);
  extra = time;
  if (saturated) Overflow = 1;

  std::fill_n(cod, kSubframe, Word16{0});
  std::fill_n(y, kSubframe, Word16{0});
  Word16 signs = 0;
  for (int k = 0; k < 4; ++k) {
    const int position = best.ip[k];
    const Word16 pulse = tracks.sign[position % kStep][position / kStep];
    cod[position] = static_cast<Word16>(pulse >> 2);  // Q15 to Q13
    addShifted(y, h, position, pulse > 0);
    if (pulse > 0) signs = static_cast<Word16>(signs | (1 << k));
  }
  *sign = signs;

  // Track index of each pulse (position / 5 as position * 6554 >> 15); pulse 3's 16 positions
  // interleave its two sets.
  const auto div5 = [](int pos) { return (pos * 6554) >> 15; };
  const int ip3 = best.ip[3];
  const int q3 = div5(ip3);
  const int j3 = 2 * q3 + (ip3 - 5 * q3 - 3);
  return static_cast<Word16>(div5(best.ip[0]) + (div5(best.ip[1]) << 3) + (div5(best.ip[2]) << 6) +
                             (j3 << 9));
}

}  // extern "C"
