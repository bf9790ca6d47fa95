// The wide row forms at 16 lanes, built for AVX-512 alone (without FMA, so a
// multiply and an add stay two roundings); chosen at run time only where
// the CPU has it.
#include "numeric/simd_lanes_avx512.h"

namespace glue {
namespace {

struct WideLanes : FloatLanesAvx512 {
  using Words = __m512i;
  using HalfWords = __m256i;
  using Pairs = __m512i;
  static Pairs gatherPairs(const void* base, HalfWords byteOffsets) {
    return _mm512_i32gather_epi64(byteOffsets, base, 1);
  }
  static Words gatherWords(const void* base, Words byteOffsets) {
    return _mm512_mask_i32gather_epi32(_mm512_setzero_si512(), 0xFFFF, byteOffsets, base, 1);
  }
  // The compiler's shuffles give one two-source permute each here.
  static constexpr bool ownShuffles = false;
  // (16-bit multiply-adds at this width need AVX-512BW.)
  static constexpr bool shortProducts = false;
  static constexpr bool selectsByBits = false;
  static bool anyLane(Words mask) { return _mm512_test_epi32_mask(mask, mask) != 0; }
};

}  // namespace
}  // namespace glue

#include "glue/glue_rows_wide.h"

GlueRowFunction glueRowFunctionAvx512(int mode, int depth) { return glue::wideRowFunction(mode, depth); }
