// The shared lanes at the avx512 width, built with that width's flags.
#include "numeric/simd_lanes_avx512.h"
#include "tests/numeric/lanes_probe.h"

void probeLanesAvx512(const double* a, const double* b, const double* t, LaneProbe* out) {
  probeLanesWith<FloatLanesAvx512>(a, b, t, out);
}
