// The wide row forms at 16 lanes, built for AVX-512 alone (without FMA, so a
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

constexpr int N = 16;
typedef float F __attribute__((vector_size(4 * N)));
typedef int32_t I __attribute__((vector_size(4 * N)));
typedef double D __attribute__((vector_size(8 * N)));
typedef int64_t L __attribute__((vector_size(8 * N)));

inline F rootOf(F x) { return _mm512_mask_sqrt_ps(__m512(x), 0xFFFF, __m512(x)); }
inline I gatherWords(const void* base, I byteOffsets) {
  return I(_mm512_mask_i32gather_epi32(_mm512_setzero_si512(), 0xFFFF, __m512i(byteOffsets), base, 1));
}
inline void storeInterleaved(int32_t* out, I r, I g, I b) {
  const __m512i at = _mm512_mullo_epi32(_mm512_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15),
                                        _mm512_set1_epi32(3));
  _mm512_i32scatter_epi32(out, at, __m512i(r), 4);
  _mm512_i32scatter_epi32(out + 1, at, __m512i(g), 4);
  _mm512_i32scatter_epi32(out + 2, at, __m512i(b), 4);
}
inline bool anyLane(I mask) { return _mm512_test_epi32_mask(__m512i(mask), __m512i(mask)) != 0; }
inline D gatherDoubles(const double* base, I index) {
  __m256i at[2];
  std::memcpy(at, &index, sizeof at);
  const __m512d low = _mm512_mask_i32gather_pd(_mm512_setzero_pd(), 0xFF, at[0], base, 8);
  const __m512d high = _mm512_mask_i32gather_pd(_mm512_setzero_pd(), 0xFF, at[1], base, 8);
  D out;
  std::memcpy(&out, &low, sizeof low);
  std::memcpy(reinterpret_cast<char*>(&out) + sizeof low, &high, sizeof high);
  return out;
}

#include "glue/glue_rows_wide.h"

}  // namespace
}  // namespace glue

GlueRowFunction glueRowFunctionAvx512(int mode, int depth) { return glue::wideRowFunction(mode, depth); }
