// The logarithm eight at a time, built for AVX-512F alone.
#include "numeric/simd_lanes_avx512.h"
#include "numeric/vector_logarithm.h"
#include "numeric/vector_logarithm_lanes.h"

namespace numeric {

void logarithmsAvx512(const double* x, double* out, int32_t count) {
  logarithmsWith<DoubleLanesAvx512>(x, out, count);
}

}  // namespace numeric
