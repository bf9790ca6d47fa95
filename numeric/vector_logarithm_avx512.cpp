// The logarithm eight at a time, built for AVX-512F alone.
// GCC's own headers leave a don't-care operand of the masked forms unset,
// and then warn about it.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

#include "numeric/simd_lanes_avx512.h"
#include "numeric/vector_logarithm.h"
#include "numeric/vector_logarithm_lanes.h"

namespace numeric {

void logarithmsAvx512(const double* x, double* out, int32_t count) {
  logarithmsWith<DoubleLanesAvx512>(x, out, count);
}

}  // namespace numeric
