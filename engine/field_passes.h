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

// Four vectors per step keep enough independent sums in flight.
constexpr int32_t BLOCK = 4;

// Walks columns [0, columns) of a row: blocks of BLOCK vectors, then single
// vectors, then one vector that ends at the last column, overlapping the one
// before it (every sample is computed alone, so one computed twice has the
// same bits both times); a row narrower than a vector goes one at a time.
// `at` is a functor with `template <typename M, int32_t Count> void run(int32_t c)`.
template <typename L, typename Columns>
inline void walkColumns(int32_t columns, const Columns& at) {
  constexpr int32_t step = L::width * BLOCK;
  int32_t c = 0;
  for (; c + step <= columns; c += step) at.template run<L, BLOCK>(c);
  for (; c + L::width <= columns; c += L::width) at.template run<L, 1>(c);
  if (c == columns) return;
  if (columns >= L::width) {
    at.template run<L, 1>(columns - L::width);
  } else {
    for (; c < columns; ++c) at.template run<SingleLane, 1>(c);
  }
}

// The smoothing of one stretch of a row: out[c] from the source samples
// centred on centre[c], `apart` doubles from one tap to the next (the
// source's stride down a column, 1 along a row).
struct SmoothColumns {
  const double* centre;
  size_t apart;
  const double* g;
  int32_t n;
  double* out;
  template <typename L, int32_t Count>
  void run(int32_t c) const {
    using V = typename L::V;
    V sum[Count];
    const V g0 = L::splat(g[0]);
    for (int32_t k = 0; k < Count; ++k) sum[k] = L::mul(L::load(centre + c + k * L::width), g0);
    for (int32_t i = 1; i <= n - 2; ++i) {
      const V gi = L::splat(g[i]);
      const double* before = centre + c - i * apart;
      const double* after = centre + c + i * apart;
      for (int32_t k = 0; k < Count; ++k) {
        const int32_t o = k * L::width;
        sum[k] = L::add(sum[k], L::mul(L::add(L::load(before + o), L::load(after + o)), gi));
      }
    }
    for (int32_t k = 0; k < Count; ++k) L::store(out + c + k * L::width, sum[k]);
  }
};

// First pass over `rows` x `columns` samples: out row r from the source
// row r centred on `centre`, smoothed down the columns or along the row.
template <typename L, bool Down>
void smoothRowsWith(const double* centre, size_t sourceStride, const double* g, int32_t n, double* out,
                    size_t outStride, int32_t rows, int32_t columns) {
  for (int32_t r = 0; r < rows; ++r)
    walkColumns<L>(columns, SmoothColumns{centre + r * sourceStride, Down ? sourceStride : 1, g, n,
                                          out + r * outStride});
}

// The slopes of one stretch of a row: gx along the row of smoothedDown, gy
// down the column of smoothedAcross.
struct SlopeColumns {
  const double* downCentre;
  const double* acrossCentre;
  size_t stride;
  const double* d;
  int32_t n;
  double* gx;
  double* gy;
  template <typename L, int32_t Count>
  void run(int32_t c) const {
    using V = typename L::V;
    V sumX[Count], sumY[Count];
    for (int32_t k = 0; k < Count; ++k) sumX[k] = sumY[k] = L::splat(0.0);
    for (int32_t i = 1; i <= n - 1; ++i) {
      const V di = L::splat(d[i]);
      const double* up = acrossCentre - i * stride + c;
      const double* below = acrossCentre + i * stride + c;
      for (int32_t k = 0; k < Count; ++k) {
        const int32_t o = k * L::width;
        sumX[k] = L::add(sumX[k], L::mul(L::sub(L::load(downCentre + c + o - i), L::load(downCentre + c + o + i)), di));
        sumY[k] = L::add(sumY[k], L::mul(L::sub(L::load(up + o), L::load(below + o)), di));
      }
    }
    for (int32_t k = 0; k < Count; ++k) {
      L::store(gx + c + k * L::width, sumX[k]);
      L::store(gy + c + k * L::width, sumY[k]);
    }
  }
};

// Second pass over `rows` x `columns` gradient samples, each centred on the
// same place of both smoothed planes (stride `stride`).
template <typename L>
void slopeRowsWith(const double* downCentre, const double* acrossCentre, size_t stride, const double* d, int32_t n,
                   double* gradientX, double* gradientY, size_t outStride, int32_t rows, int32_t columns) {
  for (int32_t r = 0; r < rows; ++r)
    walkColumns<L>(columns, SlopeColumns{downCentre + r * stride, acrossCentre + r * stride, stride, d, n,
                                         gradientX + r * outStride, gradientY + r * outStride});
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

// The entries of one width, named by `suffix`, over the lanes `Lanes`.
#define ML_FIELD_PASSES(suffix, Lanes)                                                                           \
  void smoothDown##suffix(const double* centre, size_t sourceStride, const double* g, int32_t n, double* out,    \
                          size_t outStride, int32_t rows, int32_t columns) {                                     \
    smoothRowsWith<Lanes, true>(centre, sourceStride, g, n, out, outStride, rows, columns);                      \
  }                                                                                                              \
  void smoothAcross##suffix(const double* centre, size_t sourceStride, const double* g, int32_t n, double* out,  \
                            size_t outStride, int32_t rows, int32_t columns) {                                   \
    smoothRowsWith<Lanes, false>(centre, sourceStride, g, n, out, outStride, rows, columns);                     \
  }                                                                                                              \
  void slopeRows##suffix(const double* downCentre, const double* acrossCentre, size_t stride, const double* d,   \
                         int32_t n, double* gradientX, double* gradientY, size_t outStride, int32_t rows,        \
                         int32_t columns) {                                                                      \
    slopeRowsWith<Lanes>(downCentre, acrossCentre, stride, d, n, gradientX, gradientY, outStride, rows, columns); \
  }                                                                                                              \
  void slopeEdges##suffix(const double* gx, const double* gy, double k, int32_t maxValue, int32_t count,        \
                          int32_t* edges) {                                                                      \
    slopeEdgesWith<Lanes>(gx, gy, k, maxValue, count, edges);                                                    \
  }
