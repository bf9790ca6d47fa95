// The shared lanes at the sse2 width, built with that width's flags.
#include "numeric/simd_lanes_sse2.h"
#include "tests/numeric/lanes_probe.h"

void probeLanesSse2(const double* a, const double* b, const double* t, LaneProbe* out) {
  probeLanesWith<FloatLanesSse2>(a, b, t, out);
}
