// The wide row forms at 4 lanes, built for the baseline (SSE2, which every
// x86-64 CPU has): the width for CPUs without AVX2 and for
// MARROWLINE_SIMD=sse2. SSE2 has no gathers, so each lane's words are read
// one at a time.
#include <cstring>

#include "numeric/simd_lanes_sse2.h"

// The lanes' doubles are two registers wide here; the functions that pass
// them are all internal, so no calling convention is at stake.
#pragma GCC diagnostic ignored "-Wpsabi"

namespace glue {
namespace {

struct WideLanes : FloatLanesSse2 {
  using Words = __m128i;
  typedef int32_t HalfWords __attribute__((vector_size(8)));
  using Pairs = __m128i;
  static Pairs gatherPairs(const void* base, HalfWords byteOffsets) {
    const char* bytes = static_cast<const char*>(base);
    int64_t pair[2];
    std::memcpy(&pair[0], bytes + byteOffsets[0], 8);
    std::memcpy(&pair[1], bytes + byteOffsets[1], 8);
    return _mm_set_epi64x(pair[1], pair[0]);
  }
  static Words gatherWords(const void* base, Words byteOffsets) {
    const char* bytes = static_cast<const char*>(base);
    alignas(16) int32_t at[4];
    _mm_store_si128(reinterpret_cast<__m128i*>(at), byteOffsets);
    int32_t word[4];
    for (int k = 0; k < 4; ++k) std::memcpy(&word[k], bytes + at[k], 4);
    return _mm_setr_epi32(word[0], word[1], word[2], word[3]);
  }
  // The compiler's fixed shuffles of four words are one or two shufps each.
  static constexpr bool ownShuffles = false;
  static bool anyLane(Words mask) { return _mm_movemask_ps(_mm_castsi128_ps(mask)) != 0; }
};

}  // namespace
}  // namespace glue

#include "glue/glue_rows_wide.h"

GlueRowFunction glueRowFunctionSse2(int mode, int depth) { return glue::wideRowFunction(mode, depth); }
