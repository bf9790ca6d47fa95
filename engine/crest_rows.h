// The crest tests written once over a set of lanes. Each file that includes
// this gives its own lanes (V: doubles, M: a mask of them) and its own
// compiler target; everything here has internal linkage.
//
// Each lane does what thin.cpp's one-pixel test does: the case is chosen by
// masks instead of by index, both neighbours' operands are picked by blends
// from the eight around the centre, and every product, sum, absolute value
// and rounding to single precision is the same operation in the same order.
#pragma once

#include <cstdint>

#include "engine/crest_kernels.h"

namespace {

// One double at a time: the columns past the last whole vector.
struct CrestSingleLane {
  using V = double;
  using M = bool;
  static constexpr int32_t width = 1;
  static V load(const double* p) { return *p; }
  static V splat(double x) { return x; }
  static V add(V a, V b) { return a + b; }
  static V sub(V a, V b) { return a - b; }
  static V mul(V a, V b) { return a * b; }
  static V div(V a, V b) { return a / b; }
  static V negate(V a) { return -a; }
  static V toFloat(V a) { return static_cast<double>(static_cast<float>(a)); }
  static M greater(V a, V b) { return a > b; }
  static M greaterEqual(V a, V b) { return a >= b; }
  static M both(M a, M b) { return a & b; }
  static M either(M a, M b) { return a | b; }
  static V select(M m, V yes, V no) { return m ? yes : no; }
  static uint32_t bits(M m) { return m ? 1u : 0u; }
  static void store(double* p, V v) { *p = v; }
  static void storeTruncated(int32_t* p, V v) { *p = static_cast<int32_t>(v); }
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
    thinHardColumns<CrestSingleLane>(m, stride, gx, gy, c, scaledWeight, depthScale, maxValue, edges);
}

// Lists the crests among L::width columns from c without a branch: every
// lane is written at the list's end, which moves on only past a crest.
template <typename L>
inline int32_t thinSoftColumns(const double* m, intptr_t stride, const double* gx, const double* gy, int32_t c,
                               CrestPixel* crests, int32_t count) {
  using V = typename L::V;
  const V zero = L::splat(0.0), nearZero = L::splat(-0.001);
  const V dx = gx ? L::load(gx + c) : zero, dy = gy ? L::load(gy + c) : zero;
  const CrestLanes<L> k = crestLanes<L>(m + c, stride, dx, dy);
  const V p1 = L::toFloat(L::sub(k.P, L::toFloat(k.a))), p2 = L::toFloat(L::sub(k.P, L::toFloat(k.b)));
  const auto crest = L::either(L::both(L::greaterEqual(p1, zero), L::greater(p2, nearZero)),
                               L::both(L::greater(p1, nearZero), L::greaterEqual(p2, zero)));
  double first[L::width], second[L::width], sign[L::width];
  L::store(first, p1);
  L::store(second, p2);
  L::store(sign, k.sign);
  const uint32_t bits = L::bits(crest);
  for (int32_t lane = 0; lane < L::width; ++lane) {
    CrestPixel& next = crests[count];
    next.column = c + lane;
    next.p1 = static_cast<float>(first[lane]);
    next.p2 = static_cast<float>(second[lane]);
    next.sign = sign[lane];
    count += static_cast<int32_t>((bits >> lane) & 1u);
  }
  return count;
}

template <typename L>
int32_t thinSoftRowWith(const double* m, intptr_t stride, const double* gx, const double* gy, int32_t columns,
                        CrestPixel* crests) {
  int32_t c = 0, count = 0;
  for (; c + L::width <= columns; c += L::width) count = thinSoftColumns<L>(m, stride, gx, gy, c, crests, count);
  for (; c < columns; ++c) count = thinSoftColumns<CrestSingleLane>(m, stride, gx, gy, c, crests, count);
  return count;
}

}  // namespace
