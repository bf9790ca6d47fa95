// arcTangent2 over a set of lanes (numeric/lanes_*.h), giving its bits in
// every lane: the same IEEE operations in the same order, both sides of each
// of its branches computed and one kept per lane. Lanes its short cuts
// answer (NaN, infinity, a ratio below 2^-60, sizes beyond 2^±900) are
// handed to the scalar function one by one; zeros are answered here, since
// flat pictures are full of them.
//
// Include it after the lanes of the file's target; everything here has
// internal linkage.
#pragma once

#include <cstdint>

#include "numeric/portable_math.h"

namespace {

template <typename L>
struct PairOf {
  typename L::V hi, lo;
};

// s + e == a + b exactly, s the rounded sum.
template <typename L>
inline PairOf<L> twoSumOf(typename L::V a, typename L::V b) {
  const typename L::V s = L::add(a, b);
  const typename L::V bPart = L::sub(s, a);
  const typename L::V aPart = L::sub(s, bPart);
  return {s, L::add(L::sub(a, aPart), L::sub(b, bPart))};
}

// p + e == a * b exactly (Dekker's split into 26-bit halves, no FMA).
template <typename L>
inline PairOf<L> twoProductOf(typename L::V a, typename L::V b) {
  using V = typename L::V;
  const V splitter = L::splat(134217729.0);
  const V p = L::mul(a, b);
  const V ta = L::mul(splitter, a), tb = L::mul(splitter, b);
  const V aHi = L::sub(ta, L::sub(ta, a)), bHi = L::sub(tb, L::sub(tb, b));
  const V aLo = L::sub(a, aHi), bLo = L::sub(b, bHi);
  const V err = L::add(L::add(L::add(L::sub(L::mul(aHi, bHi), p), L::mul(aHi, bLo)), L::mul(aLo, bHi)),
                       L::mul(aLo, bLo));
  return {p, err};
}

// atan(t) - t for small t, the scalar's series in the scalar's order.
template <typename L>
inline typename L::V arcTangentTailOf(typename L::V t) {
  using V = typename L::V;
  const V z = L::mul(t, t);
  V poly = L::add(L::splat(1.0 / 13), L::mul(z, L::splat(-1.0 / 15)));
  poly = L::add(L::splat(-1.0 / 11), L::mul(z, poly));
  poly = L::add(L::splat(1.0 / 9), L::mul(z, poly));
  poly = L::add(L::splat(-1.0 / 7), L::mul(z, poly));
  poly = L::add(L::splat(1.0 / 5), L::mul(z, poly));
  poly = L::add(L::splat(-1.0 / 3), L::mul(z, poly));
  return L::mul(L::mul(t, z), poly);
}

// atan2(y, x) in every lane, bit for bit numeric::arcTangent2.
template <typename L>
typename L::V arcTangent2Lanes(typename L::V y, typename L::V x, const numeric::ArcTangentConstants& k) {
  using V = typename L::V;
  using M = typename L::M;
  const V zero = L::splat(0.0), one = L::splat(1.0), infinity = L::splat(__builtin_inf());
  const V ax = L::abs(x), ay = L::abs(y);
  // The sign bit itself, -0 included: copysign(1, x) < 0.
  const M xNegative = L::less(L::flipSign(one, L::signOf(x)), zero);
  const M zeroY = L::equal(ay, zero);
  const M zeroX = L::butNot(L::equal(ax, zero), zeroY);
  // The scalar measures the ratio with the smaller over the larger; ties
  // count as |x| the larger.
  const M swapped = L::less(ax, ay);
  const V num = L::select(swapped, ax, ay), den = L::select(swapped, ay, ax);
  M rare = L::either(L::unordered(x, y), L::either(L::equal(ax, infinity), L::equal(ay, infinity)));
  M outside = L::either(L::less(L::splat(0x1p900), den), L::less(den, L::splat(0x1p-900)));
  outside = L::either(outside, L::less(num, L::mul(den, L::splat(0x1p-60))));
  rare = L::either(rare, L::butNot(outside, L::either(zeroX, zeroY)));
  // Every lane the main path does not answer works on 1/1 instead, so no
  // index can leave the table.
  const M elsewhere = L::either(rare, L::either(zeroX, zeroY));
  const V n = L::select(elsewhere, one, num), d = L::select(elsewhere, one, den);

  // atan(n / d) as hi + lo, 0 < n <= d. The ratio's nearest step c = j/32
  // and t = (n - c*d) / (d + c*n) give atan(c) + atan(t) from the table;
  // below j = 2 the series takes u itself, with the quotient's error
  // (n - u*d) / d. Both sides share one product, one division and one
  // series, each lane with its own operands.
  const V u = L::div(n, d);
  const V scaled = L::add(L::mul(u, L::splat(32.0)), L::splat(0.5));
  const M nearZero = L::less(scaled, L::splat(2.0));  // j < 2
  const typename L::I j = L::truncate(scaled);
  const V c = L::mul(L::toDouble(j), L::splat(1.0 / 32));
  const PairOf<L> product = twoProductOf<L>(L::select(nearZero, u, c), d);
  const V remainder = L::sub(L::sub(n, product.hi), product.lo);  // n - product.hi is exact
  const V q = L::div(remainder, L::select(nearZero, d, L::add(d, L::mul(c, n))));
  const V tail = arcTangentTailOf<L>(L::select(nearZero, u, q));
  PairOf<L> a;
  L::lookUpPairs(k.steps, j, &a.hi, &a.lo);
  a.lo = L::select(nearZero, L::add(L::mul(q, L::sub(one, L::mul(u, u))), tail), L::add(a.lo, L::add(q, tail)));
  a.hi = L::select(nearZero, u, a.hi);

  // The four mirrorings: atan(n/d) itself; pi - a; pi/2 - a; pi/2 + a.
  const V plain = L::add(a.hi, a.lo);
  const M subtract = L::either(L::butNot(xNegative, swapped), L::butNot(swapped, xNegative));
  const V baseHi = L::select(swapped, L::splat(k.halfPiHi), L::splat(k.piHi));
  const V baseLo = L::select(swapped, L::splat(k.halfPiLo), L::splat(k.piLo));
  const V minus = L::select(subtract, L::splat(-0.0), zero);
  const V signedHi = L::flipSign(a.hi, minus), signedLo = L::flipSign(a.lo, minus);
  const PairOf<L> s = twoSumOf<L>(baseHi, signedHi);
  const V mirrored = L::add(s.hi, L::add(s.lo, L::add(baseLo, signedLo)));
  V result = L::select(L::either(xNegative, swapped), mirrored, plain);

  // Zeros: atan2(0, x) is 0 or pi by the sign of x, atan2(y, 0) is pi/2.
  result = L::select(zeroY, L::select(xNegative, L::splat(k.piHi), zero), result);
  result = L::select(zeroX, L::splat(k.halfPiHi), result);
  result = L::flipSign(result, L::signOf(y));

  uint32_t rareBits = L::laneBits(rare);
  if (rareBits != 0) {
    double ys[L::width], xs[L::width], rs[L::width];
    L::store(ys, y), L::store(xs, x), L::store(rs, result);
    for (int32_t i = 0; i < L::width; ++i)
      if (rareBits >> i & 1u) rs[i] = numeric::arcTangent2(ys[i], xs[i]);
    result = L::load(rs);
  }
  return result;
}

}  // namespace

namespace {

// angle[i] = arcTangent2(y[i], x[i]) for a row; the columns past the last
// whole vector go one at a time.
template <typename L>
void arcTangent2RowWith(const double* y, const double* x, double* angle, int32_t count) {
  const numeric::ArcTangentConstants& k = numeric::arcTangentConstants();
  int32_t i = 0;
  for (; i + L::width <= count; i += L::width)
    L::store(angle + i, arcTangent2Lanes<L>(L::load(y + i), L::load(x + i), k));
  for (; i < count; ++i) angle[i] = numeric::arcTangent2(y[i], x[i]);
}

}  // namespace
