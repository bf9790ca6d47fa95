// The wide row forms at 8 lanes, built for AVX2 alone (without FMA, so a
// multiply and an add stay two roundings); chosen at run time only where
// the CPU has it.
#include <immintrin.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "glue/colour_convert.h"
#include "glue/fast_angle.h"
#include "glue/glue_colour_shared.h"
#include "glue/glue_scale.h"
#include "glue/glue_simd.h"
#include "numeric/portable_math.h"

namespace glue {
namespace {

constexpr int N = 8;
typedef float F __attribute__((vector_size(4 * N)));
typedef int32_t I __attribute__((vector_size(4 * N)));
typedef double D __attribute__((vector_size(8 * N)));
typedef int64_t L __attribute__((vector_size(8 * N)));

inline F rootOf(F x) { return _mm256_sqrt_ps(x); }
inline I gatherWords(const void* base, I byteOffsets) {
  return I(_mm256_i32gather_epi32(static_cast<const int*>(base), __m256i(byteOffsets), 1));
}
// No scatter at this width: the lanes go out one by one.
inline void storeInterleaved(int32_t* out, I r, I g, I b) {
  for (int k = 0; k < N; ++k) {
    out[3 * k] = r[k];
    out[3 * k + 1] = g[k];
    out[3 * k + 2] = b[k];
  }
}
inline bool anyLane(I mask) { return _mm256_movemask_ps(__m256(mask)) != 0; }
inline D gatherDoubles(const double* base, I index) {
  __m128i at[2];
  std::memcpy(at, &index, sizeof at);
  const __m256d all = _mm256_castsi256_pd(_mm256_set1_epi32(-1));
  const __m256d low = _mm256_mask_i32gather_pd(_mm256_setzero_pd(), base, at[0], all, 8);
  const __m256d high = _mm256_mask_i32gather_pd(_mm256_setzero_pd(), base, at[1], all, 8);
  D out;
  std::memcpy(&out, &low, sizeof low);
  std::memcpy(reinterpret_cast<char*>(&out) + sizeof low, &high, sizeof high);
  return out;
}

#include "glue/glue_rows_wide.h"

}  // namespace
}  // namespace glue

GlueRowFunction glueRowFunctionAvx2(int mode, int depth) { return glue::wideRowFunction(mode, depth); }
