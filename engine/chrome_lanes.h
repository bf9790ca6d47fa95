// The body of the chrome index rows, written once over a set of lanes; each
// chrome_<target>.cpp includes it after its lanes. Internal linkage only.
#pragma once

#include <cstdint>

#include "engine/chrome_rows.h"
#include "numeric/vector_arctangent.h"

namespace {

template <typename L>
int32_t chromeIndicesWith(const double* gx, const double* gy, int32_t side, bool removeNoise, double s,
                          int32_t columns, int32_t* indices) {
  using V = typename L::V;
  const numeric::ArcTangentConstants& k = numeric::arcTangentConstants();
  const V pi = L::splat(CHROME_PI), degrees = L::splat(180.0), scale = L::splat(s), offset = L::splat(s * 180.0);
  int32_t c = 0;
  for (; c + L::width <= columns; c += L::width) {
    V x, y;
    if (removeNoise) {
      // Nine samples from 0.0 in the loop's order (0.0 + -0.0 is +0.0, which
      // the direction of a flat spot depends on); the factor 0.125 after.
      V sx = L::splat(0.0), sy = L::splat(0.0);
      for (int32_t dr = -1; dr <= 1; ++dr)
        for (int32_t dc = -1; dc <= 1; ++dc) {
          const intptr_t at = c + static_cast<intptr_t>(dr) * side + dc;
          sx = L::add(sx, L::load(gx + at));
          sy = L::add(sy, L::load(gy + at));
        }
      y = L::mul(sy, L::splat(0.125));
      x = L::mul(sx, L::splat(0.125));
    } else {
      y = L::load(gy + c);
      x = L::load(gx + c);
    }
    const V theta = arcTangent2Lanes<L>(y, x, k);
    V place = L::add(L::mul(L::mul(L::div(theta, pi), degrees), scale), offset);
    // A NaN slope's place is 0, as in the one-at-a-time conversion; no
    // other angle leaves the ring's range.
    place = L::select(L::unordered(place, place), L::splat(0.0), place);
    L::storeTruncated(indices + c, place);
  }
  return c;
}

}  // namespace
