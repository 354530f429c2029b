// LP filter to LSPs: the roots of the sum and difference polynomials F1(z), F2(z), found on a
// 60-interval cosine grid by sign changes of their Chebyshev series, refined by four
// bisections and a linear interpolation.
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

// Plain arithmetic, noting the magnitude of every result. Without clipping, Mpy_32_16 is twice
// floor((v >> 1) * x / 2^15), since v >> 1 = hi * 2^15 + lo, and the two steps of minus take
// v without its lowest bit. While every result stays below 2^30 in magnitude, no step can
// reach a clipping point (a hi word stays below 2^14, each sum is of two terms below 2^30) and
// no doubling saturates, so the results are the operators' own.
struct Unclipped {
  uint64_t magnitudes = 0;
  Word32 noted(int64_t v) {
    magnitudes |= static_cast<uint64_t>(v ^ (v >> 63));
    return static_cast<Word32>(v);
  }
  Word32 times_x(Word32 v, Word16 x) { return noted(2 * ((int64_t{v >> 1} * x) >> 15)); }
  Word32 doubled(Word32 t) { return noted(int64_t{t} * 2); }
  Word32 minus(Word32 t, Word32 v) { return noted(int64_t{t} - (v >> 1) * int64_t{2}); }
  Word32 plus(Word32 t, Word16 f, Word16 k) { return noted(int64_t{t} + 2 * f * k); }
  bool exact() const { return magnitudes < (uint64_t{1} << 30); }
};

// Sum of the Chebyshev series before its final shift; `q` is the Q format of the coefficients
// (11 or 10) and the recursion runs in Q(q + 13). Returns false when `ar` cannot vouch for it.
template <typename Arithmetic>
bool recursion(Word16 x, const Word16 f[], Word16 n, int q, Word32* sum) {
  Arithmetic ar;
  Word32 b2 = Word32{1} << (q - 3 + 16);                                          // 1.0
  Word32 b1 = ar.plus(L_mult(x, static_cast<Word16>(1 << (q - 2))), f[1], 4096);  // 2x + f[1]
  Word16 i = 2;
  for (; i < n; ++i) {
    const Word32 t = ar.plus(ar.minus(ar.doubled(ar.times_x(b1, x)), b2), f[i], 4096);
    b2 = b1;
    b1 = t;
  }
  *sum = ar.plus(ar.minus(ar.times_x(b1, x), b2), f[i], 2048);  // x b1 - b2 + f[n] / 2
  return ar.exact();
}

// Chebyshev evaluation in double precision, the result in Q14: unclipped first, which is exact
// for every value the LP filters produce, with the operators' own clipping where it is not.
Word16 chebyshev(Word16 x, const Word16 f[], Word16 n, int q) {
  Word32 t;
  if (!recursion<Unclipped>(x, f, n, q, &t)) recursion<Saturating>(x, f, n, q, &t);
  return extract_h(L_shl(t, static_cast<Word16>(30 - (q + 13))));  // to Q30, saturating
}

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

  Word16 (*chebps)(Word16, const Word16[], Word16) = Chebps_11;
  if (!sum_and_difference_q11(a, f1, f2)) {
    chebps = Chebps_10;
    sum_and_difference_q10(a, f1, f2);
  }

  // The roots of F1 and F2 alternate: search them in turn, from cos = 1 downwards.
  Word16 found = 0;
  const Word16* coef = f1;
  Word16 xlow = grid[0];
  Word16 ylow = chebps(xlow, coef, NC);

  Word16 j = 0;
  while (found < M && j < GRID_POINTS) {
    ++j;
    Word16 xhigh = xlow;
    Word16 yhigh = ylow;
    xlow = grid[j];
    ylow = chebps(xlow, coef, NC);
    if (L_mult(ylow, yhigh) > 0) continue;

    for (int step = 0; step < 4; ++step) {
      const Word16 xmid = add(shr(xlow, 1), shr(xhigh, 1));
      const Word16 ymid = chebps(xmid, coef, NC);
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
    ylow = chebps(xlow, coef, NC);
  }

  // Fewer than ten roots: keep the previous frame's LSPs.
  if (found < M) {
    for (int i = 0; i < M; ++i) lsp[i] = state->lsp_old[i];
  }
}

}  // extern "C"
