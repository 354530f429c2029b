// LP filter to LSPs: the roots of the sum and difference polynomials F1(z), F2(z), found on a
// 60-interval cosine grid by sign changes of their Chebyshev series, refined by four
// bisections and a linear interpolation.
#include <algorithm>

#include "g729/basic_op_inline.h"
#include "g729/ld8k_lp.h"
#include "g729/oper_32b_inline.h"
#include "g729/tab_ld8k.h"
#include "kestrune/g729_coder.h"

using namespace g729ops;

namespace {

// Coefficients of F1(z) / (1 + 1/z) and F2(z) / (1 - 1/z), Q11. Returns false when a step
// saturated, in which case the caller redoes them in Q10.
bool sum_and_difference_q11(const Word16* a, Word16* f1, Word16* f2) {
  bool overflowed = false;
  f1[0] = 2048;
  f2[0] = 2048;
  for (int i = 0; i < NC; ++i) {
    Overflow = 0;
    Word32 t0 = L_mult(a[i + 1], 16384);  // (a[i+1] + a[M-i]) / 2, Q12 to Q11
    t0 = L_mac(t0, a[M - i], 16384);
    Word16 x = extract_h(t0);
    if (Overflow) overflowed = true;

    Overflow = 0;
    f1[i + 1] = sub(x, f1[i]);
    if (Overflow) overflowed = true;

    Overflow = 0;
    t0 = L_mult(a[i + 1], 16384);  // (a[i+1] - a[M-i]) / 2
    t0 = L_msu(t0, a[M - i], 16384);
    x = extract_h(t0);
    if (Overflow) overflowed = true;

    Overflow = 0;
    f2[i + 1] = add(x, f2[i]);
    if (Overflow) overflowed = true;
  }
  return !overflowed;
}

void sum_and_difference_q10(const Word16* a, Word16* f1, Word16* f2) {
  f1[0] = 1024;
  f2[0] = 1024;
  for (int i = 0; i < NC; ++i) {
    Word32 t0 = L_mult(a[i + 1], 8192);
    t0 = L_mac(t0, a[M - i], 8192);
    f1[i + 1] = sub(extract_h(t0), f1[i]);

    t0 = L_mult(a[i + 1], 8192);
    t0 = L_msu(t0, a[M - i], 8192);
    f2[i + 1] = add(extract_h(t0), f2[i]);
  }
}

// The Chebyshev recursion keeps its values in double precision, hi and lo words as L_Extract
// splits a 32-bit value v: hi = v >> 16 and lo = bits 1..15 of v, so that hi * 2^16 + lo * 2
// is v without its lowest bit. Its steps, on v itself:
//   times_x(v, x)    Mpy_32_16(hi, lo, x)
//   doubled(t)       L_shl(t, 1)
//   minus(t, v)      L_msu(L_mac(t, hi, -32768), lo, 1)
//   plus(t, f, k)    L_mac(t, f, k)
// They come in two arithmetics of the same interface.

// The operators' own: every step clipped where they clip, the doubling saturating with
// Overflow.
struct Saturating {
  using Value = Word32;
  Word32 times_x(Word32 v, Word16 x) {
    const Word32 lo = (v >> 1) & 0x7fff;
    return clip32(int64_t{L_mult(extract_h(v), x)} + 2 * ((lo * x) >> 15));
  }
  Word32 doubled(Word32 t) {
    if (t >= (1 << 30) || t < -(1 << 30)) {
      Overflow = 1;
      return t > 0 ? kMax32 : kMin32;
    }
    return t * 2;
  }
  Word32 minus(Word32 t, Word32 v) {
    const Word32 lo = (v >> 1) & 0x7fff;
    return clip32(int64_t{L_mac(t, extract_h(v), kMin16)} - 2 * lo);
  }
  Word32 plus(Word32 t, Word16 f, Word16 k) { return L_mac(t, f, k); }
  bool exact() const { return true; }
};

// Plain 64-bit arithmetic. Without clipping, Mpy_32_16 is twice floor((v >> 1) * x / 2^15),
// since v >> 1 = hi * 2^15 + lo, and the two steps of minus take v without its lowest bit.
// The sums that end each step (every value the recursion keeps) are checked: while they stay
// within [-2^28, 2^28), a hi word stays below 2^12, no product or partial sum of the steps
// comes near 2^31 and no doubling near 2^30, so nothing would have clipped and the results are
// the operators' own.
struct Unclipped {
  using Value = int64_t;
  int64_t times_x(int64_t v, Word16 x) { return 2 * (((v >> 1) * x) >> 15); }
  int64_t doubled(int64_t t) { return 2 * t; }
  int64_t minus(int64_t t, int64_t v) { return t - (v >> 1) * 2; }
  int64_t plus(int64_t t, Word16 f, Word16 k) {
    const int64_t sum = t + 2 * f * k;
    offsets |= static_cast<uint64_t>(sum + kBound);  // below 2 kBound exactly when in range
    return sum;
  }
  bool exact() const { return offsets < 2 * kBound; }

  static constexpr int64_t kBound = int64_t{1} << 28;
  uint64_t offsets = 0;
};

// Sums of the Chebyshev series at N points before their final shift, computed in lockstep so
// that the processor overlaps the independent recursions; `q` is the Q format of the
// coefficients (11 or 10) and the recursion runs in Q(q + 13). The arithmetic of each point
// may refuse to vouch for its sum afterwards.
template <typename Arithmetic, int N>
void recursion(const Word16 (&x)[N], const Word16 f[], Word16 n, int q, Arithmetic (&ar)[N],
               Word32 (&sum)[N]) {
  typename Arithmetic::Value b2[N], b1[N];
  for (int k = 0; k < N; ++k) {
    b2[k] = Word32{1} << (q - 3 + 16);                                                // 1.0
    b1[k] = ar[k].plus(L_mult(x[k], static_cast<Word16>(1 << (q - 2))), f[1], 4096);  // 2x + f[1]
  }
  Word16 i = 2;
  for (; i < n; ++i) {
    for (int k = 0; k < N; ++k) {
      const auto t =
          ar[k].plus(ar[k].minus(ar[k].doubled(ar[k].times_x(b1[k], x[k])), b2[k]), f[i], 4096);
      b2[k] = b1[k];
      b1[k] = t;
    }
  }
  for (int k = 0; k < N; ++k) {
    sum[k] =
        static_cast<Word32>(ar[k].plus(ar[k].minus(ar[k].times_x(b1[k], x[k]), b2[k]), f[i], 2048));
  }
}

// The final shift of a sum to Q14, L_shl(t, 30 - (q + 13)), with the Overflow it raises
// returned in `overflow` instead.
Word16 shifted_to_q14(Word32 t, int q, bool* overflow) {
  const int shift = 30 - (q + 13);
  const Word32 limit = Word32{1} << (31 - shift);  // L_shl saturates outside [-limit, limit)
  *overflow = t < -limit || t >= limit;
  if (*overflow) return t > 0 ? kMax16 : kMin16;
  return extract_h(static_cast<Word32>(static_cast<uint32_t>(t) << shift));
}

// Chebyshev evaluation in double precision, the result in Q14: unclipped first, which is exact
// for every value the LP filters produce, with the operators' own clipping where it is not.
Word16 chebyshev(Word16 x, const Word16 f[], Word16 n, int q) {
  const Word16 xs[1] = {x};
  Word32 t[1];
  Unclipped plain[1];
  recursion(xs, f, n, q, plain, t);
  if (!plain[0].exact()) {
    Saturating saturating[1];
    recursion(xs, f, n, q, saturating, t);
  }
  bool overflow;
  const Word16 y = shifted_to_q14(t[0], q, &overflow);
  if (overflow) Overflow = 1;
  return y;
}

// Values of one polynomial at the grid points, in increasing order, evaluated kAhead at a time
// ahead of the search. The search may switch polynomials before it uses them all, so each keeps
// the Overflow it would raise until it is used; one whose unclipped sum cannot be vouched for is
// evaluated again, clipping, when it is used.
class GridValues {
 public:
  GridValues(const Word16* f, int q) : f_(f), q_(q) {}

  Word16 at(Word16 j) {
    if (j < first_ || j >= first_ + kAhead) evaluate_from(j);
    const int k = j - first_;
    if (!exact_[k]) return chebyshev(grid[j], f_, NC, q_);
    if (overflow_[k]) Overflow = 1;
    return y_[k];
  }

 private:
  static constexpr int kAhead = 2;

  void evaluate_from(Word16 j) {
    first_ = j;
    Word16 x[kAhead];
    for (int k = 0; k < kAhead; ++k) x[k] = grid[std::min(j + k, int{GRID_POINTS})];
    Unclipped plain[kAhead];
    Word32 t[kAhead];
    recursion(x, f_, NC, q_, plain, t);
    for (int k = 0; k < kAhead; ++k) {
      exact_[k] = plain[k].exact();
      y_[k] = shifted_to_q14(t[k], q_, &overflow_[k]);
    }
  }

  const Word16* f_;
  int q_;
  int first_ = -kAhead;
  Word16 y_[kAhead] = {};
  bool overflow_[kAhead] = {};
  bool exact_[kAhead] = {};
};

}  // namespace

extern "C" {

Word16 Chebps_11(Word16 x, const Word16 f[], Word16 n) {
  return chebyshev(x, f, n, 11);
}

Word16 Chebps_10(Word16 x, const Word16 f[], Word16 n) {
  return chebyshev(x, f, n, 10);
}

void Az_lsp(CoderState* state) {
  const Word16* a = state->A_t + MP1;
  Word16* lsp = state->lsp_new;
  Word16* f1 = state->az_f1;
  Word16* f2 = state->az_f2;

  int q = 11;
  if (!sum_and_difference_q11(a, f1, f2)) {
    q = 10;
    sum_and_difference_q10(a, f1, f2);
  }

  // The roots of F1 and F2 alternate: search them in turn, from cos = 1 downwards.
  Word16 found = 0;
  const Word16* coef = f1;
  GridValues values(coef, q);
  Word16 xlow = grid[0];
  Word16 ylow = values.at(0);

  Word16 j = 0;
  while (found < M && j < GRID_POINTS) {
    ++j;
    Word16 xhigh = xlow;
    Word16 yhigh = ylow;
    xlow = grid[j];
    ylow = values.at(j);
    if (L_mult(ylow, yhigh) > 0) continue;

    for (int step = 0; step < 4; ++step) {
      const Word16 xmid = add(shr(xlow, 1), shr(xhigh, 1));
      const Word16 ymid = chebyshev(xmid, coef, NC, q);
      if (L_mult(ylow, ymid) <= 0) {
        yhigh = ymid;
        xhigh = xmid;
      } else {
        ylow = ymid;
        xlow = xmid;
      }
    }

    // xint = xlow - ylow * (xhigh - xlow) / (yhigh - ylow)
    const Word16 dx = sub(xhigh, xlow);
    Word16 dy = sub(yhigh, ylow);
    Word16 xint = xlow;
    if (dy != 0) {
      const Word16 sign = dy;
      dy = abs_s(dy);
      const Word16 exp = norm_s(dy);
      dy = shl(dy, exp);
      dy = div_s(16383, dy);
      Word32 t0 = L_mult(dx, dy);
      t0 = L_shr(t0, sub(20, exp));
      Word16 ratio = extract_l(t0);  // (xhigh - xlow) / (yhigh - ylow), Q11
      if (sign < 0) ratio = negate(ratio);
      t0 = L_mult(ylow, ratio);  // Q26
      t0 = L_shr(t0, 11);        // Q15
      xint = sub(xlow, extract_l(t0));
    }

    lsp[found] = xint;
    xlow = xint;
    ++found;
    coef = coef == f1 ? f2 : f1;
    values = GridValues(coef, q);
    ylow = chebyshev(xlow, coef, NC, q);
  }

  // Fewer than ten roots: keep the previous frame's LSPs.
  if (found < M) {
    for (int i = 0; i < M; ++i) lsp[i] = state->lsp_old[i];
  }
}

}  // extern "C"
