// The logarithm one at a time and two at a time (SSE2, which every x86-64
// CPU has, so this file needs no target of its own).
#include "numeric/vector_logarithm.h"

#include "numeric/simd_lanes_sse2.h"
#include "numeric/vector_logarithm_lanes.h"

namespace numeric {

void logarithmsScalar(const double* x, double* out, int32_t count) {
  for (int32_t c = 0; c < count; ++c) out[c] = logarithm(x[c]);
}

void logarithmsSse2(const double* x, double* out, int32_t count) { logarithmsWith<DoubleLanesSse2>(x, out, count); }

}  // namespace numeric
