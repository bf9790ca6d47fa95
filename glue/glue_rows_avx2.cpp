// The wide row forms at 8 lanes, built for AVX2 alone (without FMA, so a
// multiply and an add stay two roundings); chosen at run time only where
// the CPU has it.
#include "numeric/simd_lanes_avx2.h"

namespace glue {
namespace {

struct WideLanes : FloatLanesAvx2 {
  using Words = __m256i;
  using HalfWords = __m128i;
  using Pairs = __m256i;
  static Pairs gatherPairs(const void* base, HalfWords byteOffsets) {
    return _mm256_i32gather_epi64(static_cast<const long long*>(base), byteOffsets, 1);
  }
  static Words gatherWords(const void* base, Words byteOffsets) {
    return _mm256_i32gather_epi32(static_cast<const int*>(base), byteOffsets, 1);
  }
  static bool anyLane(Words mask) { return _mm256_movemask_ps(_mm256_castsi256_ps(mask)) != 0; }
};

}  // namespace
}  // namespace glue

#include "glue/glue_rows_wide.h"

GlueRowFunction glueRowFunctionAvx2(int mode, int depth) { return glue::wideRowFunction(mode, depth); }
