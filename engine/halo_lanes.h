// The body of the halo rows, written once over a set of lanes; each
// halo_<target>.cpp includes it after its lanes. Internal linkage only.
#pragma once

#include <cstdint>

#include "engine/halo_rows.h"

namespace {

template <typename L>
int32_t haloEdgesWith(const double* gx, const double* gy, const int32_t* brightness, bool grey, float g, float k,
                      int32_t maxValue, int32_t columns, int32_t* edges) {
  using V = typename L::V;
  const V smoothing = L::splat(static_cast<double>(g)), weight = L::splat(static_cast<double>(k));
  const V thousandth = L::splat(0.001), zero = L::splat(0.0), top = L::splat(static_cast<double>(maxValue));
  int32_t c = 0;
  for (; c + L::width <= columns; c += L::width) {
    V y = L::toDouble(L::loadIntegers(brightness + c));
    if (!grey) y = L::throughSingle(L::mul(y, thousandth));
    const V x = L::load(gx + c), v = L::load(gy + c);
    const V mag = L::sqrt(L::add(L::mul(x, x), L::mul(v, v)));
    // |d| for -d where d < 0: only the sign of a zero or a NaN differs, and
    // both come out as 0 below.
    const V d = L::abs(L::sub(L::mul(mag, smoothing), y));
    // Above 0 (NaN is not) and at most the top, then truncated.
    L::storeTruncated(edges + c, L::min(L::max(L::mul(weight, d), zero), top));
  }
  return c;
}

}  // namespace
