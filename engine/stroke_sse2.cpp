// The stroke styles' row tests two doubles at a time (sse2, every x86-64 CPU).
#include "engine/stroke_rows.h"
#include "numeric/lanes_sse2.h"

namespace {

// The shared lanes with what only the strokes use: single-precision values
// held in double lanes, and the packing of the lanes a mask picks.
struct StrokeLanesSse2 : LanesSse2, PacksLaneByLane<StrokeLanesSse2> {
  static V loadFloats(const float* p) {
    return _mm_cvtps_pd(_mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p))));
  }
  static void storeFloats(float* p, V v) {
    _mm_storel_epi64(reinterpret_cast<__m128i*>(p), _mm_castps_si128(_mm_cvtpd_ps(v)));
  }
  static V divideSingle(V a, V b) { return _mm_cvtps_pd(_mm_div_ps(_mm_cvtpd_ps(a), _mm_cvtpd_ps(b))); }
};

}  // namespace

ML_STROKE_ENTRIES(StrokeLanesSse2, Sse2)
