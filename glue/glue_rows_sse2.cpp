// The wide row forms at 4 lanes, built for the baseline (SSE2, which every
// x86-64 CPU has): the width for CPUs without AVX2 and for
// MARROWLINE_SIMD=sse2. SSE2 has no gathers, so each lane's words are read
// one at a time.
#include <cstring>

#include "numeric/simd_lanes_sse2.h"

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
  // Pixels in and out of channel lanes. The compiler's lowering of the
  // two-source shuffles at this width goes through memory a word at a
  // time; here each is two or three shufps or unpacks. Words 0..11 of the
  // three loads are r0 g0 b0 r1 | g1 b1 r2 g2 | b2 r3 g3 b3.
  static constexpr bool ownShuffles = true;
  // Lanes a, b of x then c, d of y.
  template <int A, int B, int C, int D>
  static Words picked(Words x, Words y) {
    return _mm_castps_si128(_mm_shuffle_ps(_mm_castsi128_ps(x), _mm_castsi128_ps(y), _MM_SHUFFLE(D, C, B, A)));
  }
  template <int Channel>
  static Words channelLanes(const int32_t* c) {
    const Words w0 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(c));
    const Words w1 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(c + 4));
    const Words w2 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(c + 8));
    if constexpr (Channel == 0)
      return picked<0, 3, 0, 2>(w0, picked<2, 2, 1, 1>(w1, w2));
    else if constexpr (Channel == 1)
      return picked<0, 2, 0, 2>(picked<1, 1, 0, 0>(w0, w1), picked<3, 3, 2, 2>(w1, w2));
    else
      return picked<0, 2, 0, 3>(picked<2, 2, 1, 1>(w0, w1), w2);
  }
  static void storeInterleaved(int32_t* out, Words r, Words g, Words b) {
    const Words rgLow = _mm_unpacklo_epi32(r, g), rgHigh = _mm_unpackhi_epi32(r, g);
    const Words gbLow = _mm_unpacklo_epi32(g, b), gbHigh = _mm_unpackhi_epi32(g, b);
    const Words brHigh = _mm_unpackhi_epi32(b, r);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), picked<0, 1, 0, 2>(rgLow, picked<0, 0, 1, 1>(b, r)));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 4), picked<2, 3, 0, 1>(gbLow, rgHigh));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 8), picked<0, 3, 2, 3>(brHigh, gbHigh));
  }
  static constexpr bool shortProducts = true;
  static Words productOfShorts(Words a, Words b) { return _mm_madd_epi16(a, b); }
  // No blend instruction.
  static constexpr bool selectsByBits = true;
  static bool anyLane(Words mask) { return _mm_movemask_ps(_mm_castsi128_ps(mask)) != 0; }
};

}  // namespace
}  // namespace glue

#include "glue/glue_rows_wide.h"

GlueRowFunction glueRowFunctionSse2(int mode, int depth) { return glue::wideRowFunction(mode, depth); }
