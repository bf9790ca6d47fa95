// The stroke styles' row tests four doubles at a time (avx2), built for that
// target alone; chosen at run time only where the CPU has it.
#include "engine/stroke_rows.h"
#include "numeric/lanes_avx2.h"

namespace {

// The shared lanes with what only the strokes use: single-precision values
// held in double lanes, and the packing of the lanes a mask picks.
struct StrokeLanesAvx2 : LanesAvx2, PacksLaneByLane<StrokeLanesAvx2> {
  static V loadFloats(const float* p) { return _mm256_cvtps_pd(_mm_loadu_ps(p)); }
  static void storeFloats(float* p, V v) { _mm_storeu_ps(p, _mm256_cvtpd_ps(v)); }
  static V divideSingle(V a, V b) { return _mm256_cvtps_pd(_mm_div_ps(_mm256_cvtpd_ps(a), _mm256_cvtpd_ps(b))); }
};

}  // namespace

ML_STROKE_ENTRIES(StrokeLanesAvx2, Avx2)
