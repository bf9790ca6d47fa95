// The two passes of the edge field over a range of plane rows, written once
// over a set of lanes. Each file that includes this gives its own lanes and
// its own compiler target; everything here has internal linkage, so no
// function compiled for a wide target can stand in for another file's.
//
// Every lane does what the one-at-a-time loop does, in the same order: the
// smoothing sums start from the centre tap and add (a + b) * G[i] for
// increasing i; the slope sums start from 0.0 and add (a - b) * D[i]. A
// multiply and the add after it stay two operations.
#pragma once

#include <cstddef>
#include <cstdint>

#include "engine/edge_field.h"

namespace {

// The source channel as doubles, one pixel at a time. Luminance uses the
// field's weights 299, 587, 114 (sum 1000) on integers, then scales by
// 0.001. The integer sum is exact in any order, so the vector forms add it
// as pairs and give the same doubles.
template <typename Sample>
void takeSourceSamples(uint16_t selector, const Sample* p, size_t count, double* source) {
  if (selector == SOURCE_LUMINANCE) {
    for (size_t i = 0; i < count; ++i, p += 4)
      source[i] = static_cast<double>(299 * int32_t(p[0]) + 587 * int32_t(p[1]) + 114 * int32_t(p[2])) * 0.001;
  } else {
    const Sample* c = p + selector;
    for (size_t i = 0; i < count; ++i, c += 4) source[i] = static_cast<double>(*c);
  }
}

// The weights as the 16-bit lanes of one widened pixel (r, g, b, a): one
// multiply-add gives the pairs 299 r + 587 g and 114 b + 0 a.
constexpr int64_t LUMINANCE_WEIGHTS = 299 | (587LL << 16) | (114LL << 32);

// One double at a time: the columns past the last whole vector.
struct SingleLane {
  using V = double;
  static constexpr int32_t width = 1;
  static V load(const double* p) { return *p; }
  static void store(double* p, V v) { *p = v; }
  static V splat(double x) { return x; }
  static V add(V a, V b) { return a + b; }
  static V sub(V a, V b) { return a - b; }
  static V mul(V a, V b) { return a * b; }
  static V sqrt(V a) { return __builtin_sqrt(a); }
  // As the vector instructions: the second operand when the test fails.
  static V min(V a, V b) { return a < b ? a : b; }
  static V max(V a, V b) { return a > b ? a : b; }
  static void storeTruncated(int32_t* p, V v) { *p = static_cast<int32_t>(v); }
};

// Four vectors per step keep four independent sums in flight.
constexpr int32_t BLOCK = 4;

template <typename L, int32_t Count>
inline void smoothColumns(const double* centre, size_t stride, const double* g, int32_t n, double* down,
                          double* across, int32_t c) {
  using V = typename L::V;
  V sumDown[Count], sumAcross[Count];
  const V g0 = L::splat(g[0]);
  for (int32_t k = 0; k < Count; ++k) {
    V mid = L::load(centre + c + k * L::width);
    sumDown[k] = L::mul(mid, g0);
    sumAcross[k] = L::mul(mid, g0);
  }
  for (int32_t i = 1; i <= n - 2; ++i) {
    const V gi = L::splat(g[i]);
    const double* up = centre - i * stride + c;
    const double* below = centre + i * stride + c;
    for (int32_t k = 0; k < Count; ++k) {
      const int32_t o = k * L::width;
      sumDown[k] = L::add(sumDown[k], L::mul(L::add(L::load(up + o), L::load(below + o)), gi));
      sumAcross[k] = L::add(sumAcross[k], L::mul(L::add(L::load(centre + c + o - i), L::load(centre + c + o + i)), gi));
    }
  }
  for (int32_t k = 0; k < Count; ++k) {
    L::store(down + c + k * L::width, sumDown[k]);
    L::store(across + c + k * L::width, sumAcross[k]);
  }
}

template <typename L, int32_t Count>
inline void slopeColumns(const double* downRow, const double* acrossCentre, size_t stride, const double* d,
                         int32_t n, double* gx, double* gy, int32_t c) {
  using V = typename L::V;
  V sumX[Count], sumY[Count];
  for (int32_t k = 0; k < Count; ++k) sumX[k] = sumY[k] = L::splat(0.0);
  for (int32_t i = 1; i <= n - 1; ++i) {
    const V di = L::splat(d[i]);
    const double* up = acrossCentre - i * stride + c;
    const double* below = acrossCentre + i * stride + c;
    for (int32_t k = 0; k < Count; ++k) {
      const int32_t o = k * L::width;
      sumX[k] = L::add(sumX[k], L::mul(L::sub(L::load(downRow + c + o - i), L::load(downRow + c + o + i)), di));
      sumY[k] = L::add(sumY[k], L::mul(L::sub(L::load(up + o), L::load(below + o)), di));
    }
  }
  for (int32_t k = 0; k < Count; ++k) {
    L::store(gx + c + k * L::width, sumX[k]);
    L::store(gy + c + k * L::width, sumY[k]);
  }
}

// First pass for plane rows [rowBegin, rowEnd): the source is the tile's
// channel as doubles, side t; the smoothed planes have side t - 40.
template <typename L>
void smoothRowsWith(const double* source, int32_t t, const double* g, int32_t n, double* smoothedDown,
                    double* smoothedAcross, int32_t rowBegin, int32_t rowEnd) {
  const int32_t s1 = t - 40;
  constexpr int32_t step = L::width * BLOCK;
  for (int32_t r = rowBegin; r < rowEnd; ++r) {
    const double* centre = source + static_cast<size_t>(r + 20) * t + 20;
    double* down = smoothedDown + static_cast<size_t>(r) * s1;
    double* across = smoothedAcross + static_cast<size_t>(r) * s1;
    int32_t c = 0;
    for (; c + step <= s1; c += step) smoothColumns<L, BLOCK>(centre, t, g, n, down, across, c);
    for (; c + L::width <= s1; c += L::width) smoothColumns<L, 1>(centre, t, g, n, down, across, c);
    for (; c < s1; ++c) smoothColumns<SingleLane, 1>(centre, t, g, n, down, across, c);
  }
}

// Second pass for gradient rows [rowBegin, rowEnd); side s2 = s1 - 40.
template <typename L>
void slopeRowsWith(const double* smoothedDown, const double* smoothedAcross, int32_t s1, const double* d, int32_t n,
                   double* gradientX, double* gradientY, int32_t rowBegin, int32_t rowEnd) {
  const int32_t s2 = s1 - 40;
  constexpr int32_t step = L::width * BLOCK;
  for (int32_t r = rowBegin; r < rowEnd; ++r) {
    const double* downRow = smoothedDown + static_cast<size_t>(r + 20) * s1 + 20;
    const double* acrossCentre = smoothedAcross + static_cast<size_t>(r + 20) * s1 + 20;
    double* gx = gradientX + static_cast<size_t>(r) * s2;
    double* gy = gradientY + static_cast<size_t>(r) * s2;
    int32_t c = 0;
    for (; c + step <= s2; c += step) slopeColumns<L, BLOCK>(downRow, acrossCentre, s1, d, n, gx, gy, c);
    for (; c + L::width <= s2; c += L::width) slopeColumns<L, 1>(downRow, acrossCentre, s1, d, n, gx, gy, c);
    for (; c < s2; ++c) slopeColumns<SingleLane, 1>(downRow, acrossCentre, s1, d, n, gx, gy, c);
  }
}

// "blurry"'s edge values, `width` samples at a time: the same IEEE
// operations in the same order as one at a time. An absent plane counts
// as 0, and adding 0*0 changes no sum, so it is left out. A scripted
// tweaker can make k negative: such products give 0.
template <typename L, bool HaveX, bool HaveY>
inline void slopeEdgesOf(const double* gx, const double* gy, double k, int32_t maxValue, int32_t count,
                         int32_t* edges, int32_t& c) {
  using V = typename L::V;
  const V kk = L::splat(k), top = L::splat(static_cast<double>(maxValue)), zero = L::splat(0.0);
  for (; c + L::width <= count; c += L::width) {
    V sum;
    if (HaveX && HaveY) {
      const V x = L::load(gx + c), y = L::load(gy + c);
      sum = L::add(L::mul(x, x), L::mul(y, y));
    } else if (HaveX) {
      const V x = L::load(gx + c);
      sum = L::mul(x, x);
    } else {
      const V y = L::load(gy + c);
      sum = L::mul(y, y);
    }
    L::storeTruncated(edges + c, L::max(L::min(L::mul(L::sqrt(sum), kk), top), zero));
  }
}

template <typename L, bool HaveX, bool HaveY>
void slopeEdgesFor(const double* gx, const double* gy, double k, int32_t maxValue, int32_t count, int32_t* edges) {
  int32_t c = 0;
  slopeEdgesOf<L, HaveX, HaveY>(gx, gy, k, maxValue, count, edges, c);
  slopeEdgesOf<SingleLane, HaveX, HaveY>(gx, gy, k, maxValue, count, edges, c);
}

template <typename L>
void slopeEdgesWith(const double* gx, const double* gy, double k, int32_t maxValue, int32_t count, int32_t* edges) {
  if (gx && gy)
    slopeEdgesFor<L, true, true>(gx, gy, k, maxValue, count, edges);
  else if (gx)
    slopeEdgesFor<L, true, false>(gx, gy, k, maxValue, count, edges);
  else if (gy)
    slopeEdgesFor<L, false, true>(gx, gy, k, maxValue, count, edges);
  else
    for (int32_t c = 0; c < count; ++c) edges[c] = 0;
}

}  // namespace
