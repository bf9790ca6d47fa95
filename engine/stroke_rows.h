// The stroke styles' row tests written once over a set of lanes. Each file
// that includes this gives its own lanes (V: doubles, M: a mask of them),
// the shared lanes of its width with the strokes' few additions, and its
// own compiler target; everything here has internal linkage.
//
// Each lane does what the one-at-a-time form does: a branch becomes a mask
// and a blend of both sides (each safe to compute), and every product, sum,
// quotient, absolute value and rounding to single precision is the same
// operation in the same order. Values held in single precision travel in
// double lanes, where they are exact.
#pragma once

#include <emmintrin.h>

#include <cstdint>

#include "engine/field_passes.h"
#include "engine/stroke_kernels.h"
#include "engine/styles.h"
#include "numeric/portable_math.h"

namespace {

// The packs of lanes one lane at a time, for the widths without a packing
// instruction: every lane is written at the end, which moves on only past
// a lane whose bit is set.
template <int32_t width, typename T>
inline void packArray(T* p, const T* lanes, uint32_t bits) {
  for (int32_t lane = 0, n = 0; lane < width; ++lane) {
    p[n] = lanes[lane];
    n += static_cast<int32_t>((bits >> lane) & 1u);
  }
}

// The lanes whose bit is set, in lane order, to p onwards; up to L::width
// values past them may be written too. A base of the lanes L.
template <typename L>
struct PacksLaneByLane {
  template <typename V>
  static void packFloats(float* p, V v, uint32_t bits) {
    float lanes[L::width];
    L::storeFloats(lanes, v);
    packArray<L::width>(p, lanes, bits);
  }
  template <typename V>
  static void packDoubles(double* p, V v, uint32_t bits) {
    double lanes[L::width];
    L::store(lanes, v);
    packArray<L::width>(p, lanes, bits);
  }
  static void packRamp(int32_t* p, int32_t first, uint32_t bits) {
    int32_t lanes[L::width];
    for (int32_t lane = 0; lane < L::width; ++lane) lanes[lane] = first + lane;
    packArray<L::width>(p, lanes, bits);
  }
};

// One double at a time: the columns past the last whole vector, and the
// scalar level itself. The field's one lane with the rest of what the wide
// stroke lanes give.
struct StrokeSingleLane : SingleLane, PacksLaneByLane<StrokeSingleLane> {
  using M = bool;
  using I = int32_t;
  static V loadFloats(const float* p) { return *p; }
  static I loadIntegers(const int32_t* p) { return *p; }
  static void storeFloats(float* p, V v) { *p = static_cast<float>(v); }
  // Not the field's `a < b ? a : b`: the two part only where neither is
  // below the other (NaN, or 0 against -0). The strokes take it of corner
  // bands alone, which the turn gives as +0, 1 or 2, so either form would
  // do; this one is what the one-pixel rows have always done.
  static V min(V a, V b) { return b < a ? b : a; }
  // Truncation toward zero, for values strictly inside the 32-bit range.
  static I truncate(V a) { return static_cast<int32_t>(a); }
  static V toDouble(I i) { return static_cast<double>(i); }
  static V div(V a, V b) { return a / b; }
  // a / b in single precision, of values held exactly in single.
  static V divideSingle(V a, V b) {
    const __m128 quotient = _mm_div_ss(_mm_cvtsd_ss(_mm_setzero_ps(), _mm_set_sd(a)),
                                       _mm_cvtsd_ss(_mm_setzero_ps(), _mm_set_sd(b)));
    return _mm_cvtsd_f64(_mm_cvtss_sd(_mm_setzero_pd(), quotient));
  }
  static V negate(V a) { return -a; }
  // Through the instructions rather than two casts: GCC 12's pairing of
  // scalar statements into vectors (-O2 and up) has been seen to drop a
  // float round trip paired with another one.
  static V throughSingle(V a) {
    return _mm_cvtsd_f64(_mm_cvtss_sd(_mm_setzero_pd(), _mm_cvtsd_ss(_mm_setzero_ps(), _mm_set_sd(a))));
  }
  static M greater(V a, V b) { return a > b; }
  static M greaterEqual(V a, V b) { return a >= b; }
  static M both(M a, M b) { return a & b; }
  static M either(M a, M b) { return a | b; }
  static V select(M m, V yes, V no) { return m ? yes : no; }
  static uint32_t laneBits(M m) { return m ? 1u : 0u; }
};

// v below 0 ? -v : v; -0.0 and NaN stay as they are.
template <typename L>
inline typename L::V crestAbs(typename L::V v) {
  return L::select(L::greater(L::splat(0.0), v), L::negate(v), v);
}

template <typename L>
struct CrestLanes {
  typename L::V P, a, b, sign;
};

// m points at the centre's magnitude of the first lane. The four cases:
//   A: dx dy > 0, |dy| > |dx|   B: dx dy > 0, otherwise
//   C: dx dy <= 0, |dy| > |dx|  D: dx dy <= 0, otherwise
// a's corner is (1, 1) in A and B, (-1, 1) in C and D; its side (1, 0),
// (0, 1), (-1, 0), (0, 1); b mirrors a through the centre.
template <typename L>
inline CrestLanes<L> crestLanes(const double* m, intptr_t stride, typename L::V dx, typename L::V dy) {
  using V = typename L::V;
  using M = typename L::M;
  const M positive = L::greater(L::mul(dx, dy), L::splat(0.0));
  const M steep = L::greater(crestAbs<L>(dy), crestAbs<L>(dx));
  const V major = L::select(steep, dy, dx), minor = L::select(steep, dx, dy);
  const V side = L::select(positive, L::sub(major, minor), L::negate(L::add(dy, dx)));
  const double* up = m - stride;
  const double* down = m + stride;
  const V upMiddle = L::load(up), downMiddle = L::load(down);
  const V aCorner = L::select(positive, L::load(down + 1), L::load(up + 1));
  const V aSide = L::select(steep, L::select(positive, downMiddle, upMiddle), L::load(m + 1));
  const V bCorner = L::select(positive, L::load(up - 1), L::load(down - 1));
  const V bSide = L::select(steep, L::select(positive, upMiddle, downMiddle), L::load(m - 1));
  CrestLanes<L> k;
  k.P = crestAbs<L>(L::mul(L::load(m), major));
  k.a = crestAbs<L>(L::add(L::mul(aCorner, minor), L::mul(side, aSide)));
  k.b = crestAbs<L>(L::add(L::mul(bCorner, minor), L::mul(side, bSide)));
  k.sign = L::select(steep, L::select(positive, dy, L::negate(dy)), dx);
  return k;
}

template <typename L>
inline void thinHardColumns(const double* m, intptr_t stride, const double* gx, const double* gy, int32_t c,
                            double scaledWeight, double depthScale, int32_t maxValue, int32_t* edges) {
  using V = typename L::V;
  const V zero = L::splat(0.0);
  const V dx = gx ? L::load(gx + c) : zero, dy = gy ? L::load(gy + c) : zero;
  const CrestLanes<L> k = crestLanes<L>(m + c, stride, dx, dy);
  // Ties are one-sided, so of a plateau of two equal samples one stays.
  const auto crest = L::both(L::greaterEqual(k.P, k.a), L::greater(k.P, k.b));
  const V top = L::splat(static_cast<double>(maxValue));
  V v = L::div(L::mul(L::load(m + c), L::splat(scaledWeight)), L::splat(depthScale));
  v = L::select(L::greater(v, zero), L::select(L::greaterEqual(v, top), top, v), zero);
  L::storeTruncated(edges + c, L::select(crest, v, zero));
}

template <typename L>
void thinHardRowWith(const double* m, intptr_t stride, const double* gx, const double* gy, int32_t columns,
                     double scaledWeight, double depthScale, int32_t maxValue, int32_t* edges) {
  int32_t c = 0;
  for (; c + L::width <= columns; c += L::width)
    thinHardColumns<L>(m, stride, gx, gy, c, scaledWeight, depthScale, maxValue, edges);
  for (; c < columns; ++c)
    thinHardColumns<StrokeSingleLane>(m, stride, gx, gy, c, scaledWeight, depthScale, maxValue, edges);
}

// Lists the crests among L::width columns from c without a branch.
template <typename L>
inline int32_t thinSoftColumns(const double* m, intptr_t stride, const double* gx, const double* gy, int32_t c,
                               const CrestPixels& crests, int32_t count) {
  using V = typename L::V;
  const V zero = L::splat(0.0), nearZero = L::splat(-0.001);
  const V dx = gx ? L::load(gx + c) : zero, dy = gy ? L::load(gy + c) : zero;
  const CrestLanes<L> k = crestLanes<L>(m + c, stride, dx, dy);
  const V p1 = L::throughSingle(L::sub(k.P, L::throughSingle(k.a)));
  const V p2 = L::throughSingle(L::sub(k.P, L::throughSingle(k.b)));
  const auto crest = L::either(L::both(L::greaterEqual(p1, zero), L::greater(p2, nearZero)),
                               L::both(L::greater(p1, nearZero), L::greaterEqual(p2, zero)));
  const uint32_t bits = L::laneBits(crest);
  L::packRamp(crests.column + count, c, bits);
  L::packFloats(crests.p1 + count, p1, bits);
  L::packFloats(crests.p2 + count, p2, bits);
  L::packFloats(crests.flip + count, L::select(L::greater(k.sign, zero), L::splat(1.0), zero), bits);
  L::packFloats(crests.dx + count, dx, bits);
  L::packFloats(crests.dy + count, dy, bits);
  L::packDoubles(crests.magnitude + count, L::load(m + c), bits);
  return count + __builtin_popcount(bits);
}

template <typename L>
int32_t thinSoftRowWith(const double* m, intptr_t stride, const double* gx, const double* gy, int32_t columns,
                        const CrestPixels& crests) {
  int32_t c = 0, count = 0;
  for (; c + L::width <= columns; c += L::width) count = thinSoftColumns<L>(m, stride, gx, gy, c, crests, count);
  for (; c < columns; ++c) count = thinSoftColumns<StrokeSingleLane>(m, stride, gx, gy, c, crests, count);
  return count;
}

// --- scribble ----------------------------------------------------------------

constexpr double SCRIBBLE_PI = 3.141592653;
constexpr double SCRIBBLE_TWO_PI = 6.283185307;
constexpr double SCRIBBLE_BAND_EDGE = 1.047187089920044;  // about pi / 3

// Turns an angle by rot and wraps it back into -pi..pi.
inline double turnAngle(double a, double rot) {
  a = a + rot + SCRIBBLE_PI;
  double q = a / SCRIBBLE_TWO_PI;
  if (q < 0.0) q = q - 1.0;
  return a - static_cast<double>(truncateSaturating(q)) * SCRIBBLE_TWO_PI - SCRIBBLE_PI;
}

// 2 above the upper edge, 1 above the lower one, else 0.
inline int32_t bandOf(double a) {
  return static_cast<int32_t>(a > SCRIBBLE_BAND_EDGE) + static_cast<int32_t>(a > -SCRIBBLE_BAND_EDGE);
}

// The slope through a soft knee that meets 300 with a flat tangent.
inline int32_t strengthOf(double m, const ScribbleNumbers& n) {
  m = m * n.strengthScale / n.strengthDivisor;
  if (!(m > 0.0)) m = 0.0;
  if (m > 300.0) m = 300.0;
  double m2 = 300.0 - (300.0 - m) * (300.0 - m) / 300.0;
  return truncateSaturating(((m2 + 20.0) * n.weight + n.flatShare) / 100.0);
}

// Whether truncation by instruction gives truncateSaturating's value in
// every lane: strictly inside the 32-bit range (NaN is not).
template <typename L>
inline bool truncatesExactly(typename L::V v) {
  const uint32_t all = (1u << L::width) - 1u;
  return L::laneBits(L::both(L::greater(v, L::splat(-2147483648.0)), L::greater(L::splat(2147483647.0), v))) == all;
}

template <typename L>
inline void scribbleTurnColumns(const double* directions, int32_t c, const ScribbleNumbers& n, float* angles,
                                float* bands) {
  using V = typename L::V;
  const V pi = L::splat(SCRIBBLE_PI), twoPi = L::splat(SCRIBBLE_TWO_PI), zero = L::splat(0.0), one = L::splat(1.0);
  const V a = L::add(L::add(L::load(directions + c), L::splat(n.rotation)), pi);
  V q = L::div(a, twoPi);
  q = L::select(L::greater(zero, q), L::sub(q, one), q);
  if (!truncatesExactly<L>(q)) {
    for (int32_t k = 0; k < L::width; ++k) {
      const double turned = turnAngle(directions[c + k], n.rotation);
      angles[c + k] = static_cast<float>(turned);
      bands[c + k] = static_cast<float>(bandOf(turned));
    }
    return;
  }
  const V turned = L::sub(L::sub(a, L::mul(L::toDouble(L::truncate(q)), twoPi)), pi);
  L::storeFloats(angles + c, turned);
  const V edge = L::splat(SCRIBBLE_BAND_EDGE), lowEdge = L::splat(-SCRIBBLE_BAND_EDGE);
  L::storeFloats(bands + c, L::add(L::select(L::greater(turned, edge), one, zero),
                                   L::select(L::greater(turned, lowEdge), one, zero)));
}

template <typename L>
void scribbleTurnWith(const double* directions, int32_t count, const ScribbleNumbers& n, float* angles,
                      float* bands) {
  int32_t c = 0;
  for (; c + L::width <= count; c += L::width) scribbleTurnColumns<L>(directions, c, n, angles, bands);
  for (; c < count; ++c) scribbleTurnColumns<StrokeSingleLane>(directions, c, n, angles, bands);
}

// The slope at corner 00 of one cell, one at a time.
inline double scribbleSlopeAt(const double* gx, const double* gy, int32_t c) {
  if (gx && gy) return numeric::squareRoot(gx[c] * gx[c] + gy[c] * gy[c]);
  if (gy) return gy[c] < 0.0 ? -gy[c] : gy[c];
  if (gx) return gx[c] < 0.0 ? -gx[c] : gx[c];
  return 0.0;
}

template <typename L>
inline void scribbleStrengthColumns(const double* gx, const double* gy, int32_t c, const ScribbleNumbers& n,
                                    int32_t* values) {
  using V = typename L::V;
  const V zero = L::splat(0.0), top = L::splat(300.0);
  V m;
  if (gx && gy) {
    const V x = L::load(gx + c), y = L::load(gy + c);
    m = L::sqrt(L::add(L::mul(x, x), L::mul(y, y)));
  } else if (gx || gy) {
    const V v = L::load(gx ? gx + c : gy + c);
    m = L::select(L::greater(zero, v), L::negate(v), v);
  } else {
    m = zero;
  }
  m = L::mul(m, L::splat(n.strengthScale));
  // A quotient by 1 is its dividend (the final run's case).
  if (n.strengthDivisor != 1.0) m = L::div(m, L::splat(n.strengthDivisor));
  m = L::select(L::greater(m, zero), m, zero);  // not above 0, NaN too: +0.0
  m = L::select(L::greater(m, top), top, m);
  const V rest = L::sub(top, m);
  const V m2 = L::sub(top, L::div(L::mul(rest, rest), top));
  const V v = L::div(L::add(L::mul(L::add(m2, L::splat(20.0)), L::splat(n.weight)), L::splat(n.flatShare)),
                     L::splat(100.0));
  if (truncatesExactly<L>(v)) {
    L::storeTruncated(values + c, v);
  } else {
    for (int32_t k = 0; k < L::width; ++k) values[c + k] = strengthOf(scribbleSlopeAt(gx, gy, c + k), n);
  }
}

template <typename L>
void scribbleStrengthWith(const double* gx, const double* gy, int32_t count, const ScribbleNumbers& n,
                          int32_t* values) {
  int32_t c = 0;
  for (; c + L::width <= count; c += L::width) scribbleStrengthColumns<L>(gx, gy, c, n, values);
  for (; c < count; ++c) scribbleStrengthColumns<StrokeSingleLane>(gx, gy, c, n, values);
}

// Only the level just above the lowest corner's band is followed. No
// corner above it, or all four: no crossing. The crossing cells are listed
// without a branch, as with the crests.
template <typename L>
inline int32_t scribbleCrossingColumns(const float* const corners[4], const float* const cornerBands[4],
                                       const double* gx, const double* gy, int32_t c, const ScribbleNumbers& n,
                                       const ScribbleCells& cells, int32_t count) {
  using V = typename L::V;
  const V zero = L::splat(0.0), one = L::splat(1.0);
  V a[4];
  for (int32_t k = 0; k < 4; ++k) a[k] = L::loadFloats(corners[k] + c);
  const V band = L::min(L::min(L::min(L::loadFloats(cornerBands[0] + c), L::loadFloats(cornerBands[1] + c)),
                               L::loadFloats(cornerBands[2] + c)),
                        L::loadFloats(cornerBands[3] + c));
  const V threshold =
      L::select(L::greater(band, L::splat(1.5)), L::splat(n.thresholds[2]),
                L::select(L::greater(band, L::splat(0.5)), L::splat(n.thresholds[1]), L::splat(n.thresholds[0])));
  V above = zero;
  for (int32_t k = 0; k < 4; ++k) above = L::add(above, L::select(L::greater(a[k], threshold), one, zero));
  const uint32_t bits = L::laneBits(L::both(L::greater(above, L::splat(0.5)), L::greater(L::splat(3.5), above)));
  L::packRamp(cells.column + count, c, bits);
  if (gx) L::packDoubles(cells.slopeX + count, L::load(gx + c), bits);
  if (gy) L::packDoubles(cells.slopeY + count, L::load(gy + c), bits);
  L::packFloats(cells.threshold + count, threshold, bits);
  for (int32_t k = 0; k < 4; ++k) L::packFloats(cells.corner[k] + count, a[k], bits);
  return count + __builtin_popcount(bits);
}

template <typename L>
int32_t scribbleCrossingsWith(const float* const corners[4], const float* const cornerBands[4], const double* gx,
                              const double* gy, int32_t columns, const ScribbleNumbers& n, const ScribbleCells& cells) {
  int32_t c = 0, count = 0;
  for (; c + L::width <= columns; c += L::width)
    count = scribbleCrossingColumns<L>(corners, cornerBands, gx, gy, c, n, cells, count);
  for (; c < columns; ++c)
    count = scribbleCrossingColumns<StrokeSingleLane>(corners, cornerBands, gx, gy, c, n, cells, count);
  return count;
}

// v is 0 exactly: the one value a divisor is replaced at.
template <typename L>
inline typename L::M isZero(typename L::V v) {
  return L::both(L::greaterEqual(v, L::splat(0.0)), L::greaterEqual(L::splat(0.0), v));
}

// Where the level crosses the side from corner value p to q (both less
// the level), 0..1 from p: if p is above q, -p / (q - p) in single
// precision, else 1.0 - (-q / (p - q)) with the subtraction in double.
// Both are p / (p - q) but for rounding. A side that is not crossed may
// have p = q; its divisor is replaced so that no lane divides by 0.
template <typename L>
inline typename L::V sideCrossing(typename L::V p, typename L::V q) {
  const auto pAbove = L::greater(p, q);
  const typename L::V numerator = L::select(pAbove, L::negate(p), L::negate(q));
  typename L::V denominator = L::throughSingle(L::select(pAbove, L::sub(q, p), L::sub(p, q)));
  denominator = L::select(isZero<L>(denominator), L::splat(1.0), denominator);
  const typename L::V quotient = L::divideSingle(numerator, denominator);
  return L::select(pAbove, quotient, L::sub(L::splat(1.0), quotient));
}

// Exactly one of two corners above the level (each 1 or 0): the side
// between them is crossed.
template <typename L>
inline typename L::M oneAbove(typename L::V first, typename L::V second) {
  const typename L::V sum = L::add(first, second);
  return L::both(L::greater(sum, L::splat(0.5)), L::greater(L::splat(1.5), sum));
}

// A point of a segment, across and down the cell.
template <typename L>
struct SegmentEnd {
  typename L::V across, down;
};

template <typename L>
inline SegmentEnd<L> pickEnd(typename L::M m, const SegmentEnd<L>& yes, const SegmentEnd<L>& no) {
  return SegmentEnd<L>{L::select(m, yes.across, no.across), L::select(m, yes.down, no.down)};
}

// The dot that stands for a segment: at its middle (halving is exact, so
// a product by 0.5), as strong as the segment is long times the value.
template <typename L>
inline void segmentDots(const SegmentEnd<L>& from, const SegmentEnd<L>& to, typename L::V value,
                        typename L::V column, typename L::V row, StrokeDot* out) {
  const typename L::V dx = L::sub(from.across, to.across), dy = L::sub(from.down, to.down), half = L::splat(0.5);
  const typename L::V strength = L::mul(L::sqrt(L::add(L::mul(dy, dy), L::mul(dx, dx))), value);
  float xs[L::width], ys[L::width], strengths[L::width];
  L::storeFloats(xs, L::add(L::mul(L::add(from.across, to.across), half), column));
  L::storeFloats(ys, L::add(L::mul(L::add(from.down, to.down), half), row));
  L::storeFloats(strengths, strength);
  for (int32_t lane = 0; lane < L::width; ++lane) out[lane] = StrokeDot{xs[lane], ys[lane], strengths[lane]};
}

// Marching squares on crossing cells: two crossed sides make one segment;
// a saddle (all four crossed) makes two, top with the side next to corner
// 00 if that corner is above and with the other if not, and bottom with
// the remaining one. A segment's ends give the same dot in either order.
template <typename L>
inline int32_t scribbleDotColumns(const ScribbleCells& cells, int32_t i, int32_t left, int32_t y, StrokeDot* dots,
                                  int32_t count) {
  using V = typename L::V;
  const V zero = L::splat(0.0), one = L::splat(1.0);
  const V threshold = L::loadFloats(cells.threshold + i);
  V above[4], b[4];
  for (int32_t k = 0; k < 4; ++k) {
    const V a = L::loadFloats(cells.corner[k] + i);
    above[k] = L::select(L::greater(a, threshold), one, zero);
    b[k] = L::throughSingle(L::sub(a, threshold));
  }
  const auto topCrossed = oneAbove<L>(above[0], above[1]), leftCrossed = oneAbove<L>(above[0], above[2]);
  const auto rightCrossed = oneAbove<L>(above[1], above[3]), bottomCrossed = oneAbove<L>(above[2], above[3]);
  const SegmentEnd<L> top{sideCrossing<L>(b[0], b[1]), zero}, leftEnd{zero, sideCrossing<L>(b[0], b[2])};
  const SegmentEnd<L> rightEnd{one, sideCrossing<L>(b[1], b[3])}, bottom{sideCrossing<L>(b[2], b[3]), one};
  const auto saddle = L::both(L::both(topCrossed, leftCrossed), L::both(rightCrossed, bottomCrossed));
  const auto firstAbove = L::greater(above[0], L::splat(0.5));
  const SegmentEnd<L> from = pickEnd<L>(topCrossed, top, pickEnd<L>(leftCrossed, leftEnd, rightEnd));
  SegmentEnd<L> to = pickEnd<L>(bottomCrossed, bottom, pickEnd<L>(rightCrossed, rightEnd, leftEnd));
  to = pickEnd<L>(saddle, pickEnd<L>(firstAbove, leftEnd, rightEnd), to);
  const SegmentEnd<L> saddleTo = pickEnd<L>(firstAbove, rightEnd, leftEnd);
  const V value = L::toDouble(L::loadIntegers(cells.value + i));
  const V column = L::add(L::toDouble(L::loadIntegers(cells.column + i)), L::splat(static_cast<double>(left)));
  const V row = L::splat(static_cast<double>(y));
  // Each cell's first dot, then its second: the cells' own order.
  StrokeDot lanes[2][L::width];
  segmentDots<L>(from, to, value, column, row, lanes[0]);
  // Saddles are rare: most runs of cells have no second dot to work out.
  const uint32_t second = L::laneBits(saddle);
  if (second == 0) {
    for (int32_t lane = 0; lane < L::width; ++lane) dots[count++] = lanes[0][lane];
    return count;
  }
  segmentDots<L>(bottom, saddleTo, value, column, row, lanes[1]);
  for (int32_t lane = 0; lane < L::width; ++lane) {
    dots[count++] = lanes[0][lane];
    dots[count] = lanes[1][lane];
    count += static_cast<int32_t>((second >> lane) & 1u);
  }
  return count;
}

template <typename L>
int32_t scribbleDotsWith(const ScribbleCells& cells, int32_t count, int32_t left, int32_t y, StrokeDot* dots) {
  int32_t i = 0, written = 0;
  for (; i + L::width <= count; i += L::width) written = scribbleDotColumns<L>(cells, i, left, y, dots, written);
  for (; i < count; ++i) written = scribbleDotColumns<StrokeSingleLane>(cells, i, left, y, dots, written);
  return written;
}

// Every kernel of one set of lanes, under the level's suffix.
#define ML_STROKE_ENTRIES(Lanes, Suffix)                                                                             \
  void thinHardRow##Suffix(const double* m, intptr_t stride, const double* gx, const double* gy, int32_t columns,    \
                           double scaledWeight, double depthScale, int32_t maxValue, int32_t* edges) {               \
    thinHardRowWith<Lanes>(m, stride, gx, gy, columns, scaledWeight, depthScale, maxValue, edges);                   \
  }                                                                                                                  \
  int32_t thinSoftRow##Suffix(const double* m, intptr_t stride, const double* gx, const double* gy, int32_t columns, \
                              const CrestPixels& crests) {                                                           \
    return thinSoftRowWith<Lanes>(m, stride, gx, gy, columns, crests);                                               \
  }                                                                                                                  \
  void scribbleTurn##Suffix(const double* directions, int32_t count, const ScribbleNumbers& n, float* angles,        \
                            float* bands) {                                                                          \
    scribbleTurnWith<Lanes>(directions, count, n, angles, bands);                                                    \
  }                                                                                                                  \
  void scribbleStrength##Suffix(const double* gx, const double* gy, int32_t count, const ScribbleNumbers& n,         \
                                int32_t* values) {                                                                   \
    scribbleStrengthWith<Lanes>(gx, gy, count, n, values);                                                           \
  }                                                                                                                  \
  int32_t scribbleCrossings##Suffix(const float* const corners[4], const float* const cornerBands[4],                \
                                    const double* gx, const double* gy, int32_t count, const ScribbleNumbers& n,     \
                                    const ScribbleCells& cells) {                                                    \
    return scribbleCrossingsWith<Lanes>(corners, cornerBands, gx, gy, count, n, cells);                              \
  }                                                                                                                  \
  int32_t scribbleDots##Suffix(const ScribbleCells& cells, int32_t count, int32_t left, int32_t y, StrokeDot* dots) { \
    return scribbleDotsWith<Lanes>(cells, count, left, y, dots);                                                     \
  }

}  // namespace
