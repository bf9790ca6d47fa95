// The shared lanes at the avx2 width, built with that width's flags.
#include "numeric/simd_lanes_avx2.h"
#include "tests/numeric/lanes_probe.h"

void probeLanesAvx2(const double* a, const double* b, const double* t, LaneProbe* out) {
  probeLanesWith<FloatLanesAvx2>(a, b, t, out);
}
