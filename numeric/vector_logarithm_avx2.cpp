// The logarithm four at a time, built for AVX2 alone.
#include "numeric/simd_lanes_avx2.h"
#include "numeric/vector_logarithm.h"
#include "numeric/vector_logarithm_lanes.h"

namespace numeric {

void logarithmsAvx2(const double* x, double* out, int32_t count) { logarithmsWith<DoubleLanesAvx2>(x, out, count); }

}  // namespace numeric
