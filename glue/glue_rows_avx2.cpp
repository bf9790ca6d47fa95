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
  // Pixels in and out of channel lanes. The compiler's own lowering of
  // two-source shuffles at this width moves words one at a time; here each
  // channel is two blends and one permute. Channel c of lane k is word
  // 3k + c of the three loads: the blends take each position from the load
  // that holds it, the permute puts the lanes in order.
  static constexpr bool ownShuffles = true;
  template <int Channel>
  static Words channelLanes(const int32_t* c) {
    const __m256i v0 = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(c));
    const __m256i v1 = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(c + 8));
    const __m256i v2 = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(c + 16));
    if constexpr (Channel == 0)
      return _mm256_permutevar8x32_epi32(_mm256_blend_epi32(_mm256_blend_epi32(v0, v1, 0x92), v2, 0x24),
                                         _mm256_setr_epi32(0, 3, 6, 1, 4, 7, 2, 5));
    else if constexpr (Channel == 1)
      return _mm256_permutevar8x32_epi32(_mm256_blend_epi32(_mm256_blend_epi32(v0, v1, 0x24), v2, 0x49),
                                         _mm256_setr_epi32(1, 4, 7, 2, 5, 0, 3, 6));
    else
      return _mm256_permutevar8x32_epi32(_mm256_blend_epi32(_mm256_blend_epi32(v0, v1, 0x49), v2, 0x92),
                                         _mm256_setr_epi32(2, 5, 0, 3, 6, 1, 4, 7));
  }
  // Output word j is channel j % 3 of lane j / 3: each channel permuted to
  // its lanes, then blended by channel.
  static void storeInterleaved(int32_t* out, Words r, Words g, Words b) {
    const __m256i at[3] = {_mm256_setr_epi32(0, 0, 0, 1, 1, 1, 2, 2), _mm256_setr_epi32(2, 3, 3, 3, 4, 4, 4, 5),
                           _mm256_setr_epi32(5, 5, 6, 6, 6, 7, 7, 7)};
    const __m256i v0 = _mm256_blend_epi32(
        _mm256_blend_epi32(_mm256_permutevar8x32_epi32(r, at[0]), _mm256_permutevar8x32_epi32(g, at[0]), 0x92),
        _mm256_permutevar8x32_epi32(b, at[0]), 0x24);
    const __m256i v1 = _mm256_blend_epi32(
        _mm256_blend_epi32(_mm256_permutevar8x32_epi32(r, at[1]), _mm256_permutevar8x32_epi32(g, at[1]), 0x24),
        _mm256_permutevar8x32_epi32(b, at[1]), 0x49);
    const __m256i v2 = _mm256_blend_epi32(
        _mm256_blend_epi32(_mm256_permutevar8x32_epi32(r, at[2]), _mm256_permutevar8x32_epi32(g, at[2]), 0x49),
        _mm256_permutevar8x32_epi32(b, at[2]), 0x92);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), v0);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + 8), v1);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + 16), v2);
  }
  // A 16-bit multiply-add is one step, a 32-bit product two.
  static constexpr bool shortProducts = true;
  static Words productOfShorts(Words a, Words b) { return _mm256_madd_epi16(a, b); }
  static constexpr bool selectsByBits = false;
  static bool anyLane(Words mask) { return _mm256_movemask_ps(_mm256_castsi256_ps(mask)) != 0; }
};

}  // namespace
}  // namespace glue

#include "glue/glue_rows_wide.h"

GlueRowFunction glueRowFunctionAvx2(int mode, int depth) { return glue::wideRowFunction(mode, depth); }
