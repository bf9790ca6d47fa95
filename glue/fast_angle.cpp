// Why the checked forms are exact: a lane's double approximation A is
// trusted only when it lies more than FAST_ANGLE_GUARD_ULPS units in the
// last place from every midpoint between two floats. The double D that
// numeric:: gives lies within a few units of A (tests/glue measures at most
// one over millions of points, the analysis below allows a few), so no
// midpoint lies between A and D and float(A) == float(D). Zeros, NaN and
// results in the float subnormal range (where the test on the dropped bits
// does not apply) always take the exact path.
//
// Arc tangent: fold (y, x) into the first octant and split
// atan(small / large) = atan(c) + atan(t) around a sixteenth c = j / 16
// near the ratio, t = (small - c large) / (large + c small); c large is
// exact (c has five bits, large is a float) and |t| is 1/32 and a hair (j
// comes from a single-precision quotient). The series of atan(t) to t^11
// leaves out less than t^13 / 13 < 2^-64, so the error is the rounding of
// a dozen operations.
//
// Cosine and sine: angles in [0, 7] only, reduced by the nearest multiple
// k of pi/2 with a 33-bit head of pi/2 (k times it is exact and the first
// subtraction is exact by Sterbenz) and a 53-bit rest; the floats nearest a
// multiple of pi/2 are still about 1e-8 away, so the reduced angle keeps
// nearly full relative precision. The series to r^15 and r^16 leave out
// less than 2^-53 of the result for |r| <= pi/4.
#include "glue/fast_angle.h"

#include <cmath>
#include <cstring>

#include "numeric/portable_math.h"

namespace glue {
namespace {

struct ArcTangentSteps {
  double value[17];
};

const ArcTangentSteps& arcTangentSteps() {
  static const ArcTangentSteps steps = [] {
    ArcTangentSteps s{};
    for (int j = 0; j <= 16; ++j) s.value[j] = numeric::arcTangent(j / 16.0);
    return s;
  }();
  return steps;
}

constexpr double HALF_PI = 1.5707963267948966;
constexpr double PI = 3.141592653589793;

// True when float(a) is settled by a alone: a is a normal float's
// magnitude, finite, and more than the guard from the midpoint between two
// floats (the low 29 of the 52 fraction bits are what float rounding
// drops). Scalar tests measured faster here than the same tests in SSE2:
// they almost always go the same way, so the branches predict well.
inline bool settles(double a) {
  uint64_t bits;
  std::memcpy(&bits, &a, sizeof bits);
  const uint64_t magnitude = bits & 0x7fffffffffffffffull;
  if (magnitude < 0x3810000000000000ull || magnitude >= 0x7ff0000000000000ull) return false;
  const uint32_t dropped = uint32_t(bits) & 0x1fffffffu;
  return dropped - ((1u << 28) - FAST_ANGLE_GUARD_ULPS) > 2 * FAST_ANGLE_GUARD_ULPS;
}

// Bit i set when lane i of a is not settled.
inline int unsettledPair(__m128d a) {
  alignas(16) double lane[2];
  _mm_store_pd(lane, a);
  return (settles(lane[0]) ? 0 : 1) | (settles(lane[1]) ? 0 : 2);
}

// j = the nearest sixteenth to small / large; any integer near it would do
// (the bound on t only grows by the ratio's error), so the single-precision
// quotient of the float lanes serves.
inline __m128i nearestSixteenths(__m128 y, __m128 x) {
  const __m128 sign = _mm_set1_ps(-0.0f);
  const __m128 ax = _mm_andnot_ps(sign, x), ay = _mm_andnot_ps(sign, y);
  const __m128 u = _mm_div_ps(_mm_min_ps(ax, ay), _mm_max_ps(ax, ay));
  return _mm_cvttps_epi32(_mm_add_ps(_mm_mul_ps(u, _mm_set1_ps(16.0f)), _mm_set1_ps(0.5f)));
}

// The quick angle of two lanes, given their j (in the low two 32-bit lanes).
inline __m128d approximateWithSixteenths(__m128d y, __m128d x, __m128i j) {
  const __m128d sign = _mm_set1_pd(-0.0);
  const __m128d ax = _mm_andnot_pd(sign, x), ay = _mm_andnot_pd(sign, y);
  const __m128d steep = _mm_cmpgt_pd(ay, ax);
  const __m128d small = _mm_min_pd(ax, ay), large = _mm_max_pd(ax, ay);
  const __m128d c = _mm_mul_pd(_mm_cvtepi32_pd(j), _mm_set1_pd(1.0 / 16));
  const __m128d t = _mm_div_pd(_mm_sub_pd(small, _mm_mul_pd(c, large)),
                               _mm_add_pd(large, _mm_mul_pd(c, small)));
  const __m128d z = _mm_mul_pd(t, t);
  __m128d series = _mm_set1_pd(-1.0 / 11);
  series = _mm_add_pd(_mm_mul_pd(series, z), _mm_set1_pd(1.0 / 9));
  series = _mm_add_pd(_mm_mul_pd(series, z), _mm_set1_pd(-1.0 / 7));
  series = _mm_add_pd(_mm_mul_pd(series, z), _mm_set1_pd(1.0 / 5));
  series = _mm_add_pd(_mm_mul_pd(series, z), _mm_set1_pd(-1.0 / 3));
  const __m128d tail = _mm_mul_pd(_mm_mul_pd(t, z), series);
  // j is 0 .. 16 for finite lanes; NaN lanes give a wild j, kept in range
  // here and sent down the exact path by unsettledPair().
  alignas(16) int32_t index[4];
  _mm_store_si128(reinterpret_cast<__m128i*>(index), j);
  const double* table = arcTangentSteps().value;
  const __m128d base = _mm_set_pd(table[uint32_t(index[1]) % 17u], table[uint32_t(index[0]) % 17u]);
  __m128d r = _mm_add_pd(base, _mm_add_pd(t, tail));
  r = _mm_or_pd(_mm_and_pd(steep, _mm_sub_pd(_mm_set1_pd(HALF_PI), r)), _mm_andnot_pd(steep, r));
  const __m128d behind = _mm_cmplt_pd(x, _mm_setzero_pd());
  r = _mm_or_pd(_mm_and_pd(behind, _mm_sub_pd(_mm_set1_pd(PI), r)), _mm_andnot_pd(behind, r));
  return _mm_xor_pd(r, _mm_and_pd(sign, y));
}

}  // namespace

const double* arcTangentStepTable() { return arcTangentSteps().value; }

const float* arcTangentsOfZeros() {
  static const struct Zeros {
    float value[6];
  } zeros = [] {
    Zeros z{};
    for (int signs = 0; signs < 4; ++signs)
      z.value[signs] = float(numeric::arcTangent2(signs & 2 ? -0.0 : 0.0, signs & 1 ? -1.0 : 1.0));
    z.value[4] = float(numeric::arcTangent2(1.0, 0.0));
    z.value[5] = float(numeric::arcTangent2(-1.0, 0.0));
    return z;
  }();
  return zeros.value;
}

__m128d approximateArcTangent2(__m128d y, __m128d x) {
  return approximateWithSixteenths(y, x, nearestSixteenths(_mm_cvtpd_ps(y), _mm_cvtpd_ps(x)));
}

namespace {

// pi/2 as a 33-bit head (k times it is exact for k <= 4) and the rest.
constexpr double HALF_PI_HEAD = 0x1.921fb544p0;
constexpr double HALF_PI_REST = 0x1.0b4611a626331p-34;

// sin and cos of the first-quadrant remainder |r| <= pi/4 + a hair: the
// series to r^15 and r^16 leave out less than 2^-53 of the result. The
// polynomials in z = r^2 go by pairs of terms in powers of w = z^2, which
// shortens the chain of dependent steps.
inline __m128d pairOf(double low, double high, __m128d z) {
  return _mm_add_pd(_mm_set1_pd(low), _mm_mul_pd(_mm_set1_pd(high), z));
}
inline __m128d sineSeries(__m128d r, __m128d z, __m128d w) {
  // 1/3! - z/5! + z^2/7! - ... + z^6/15!
  __m128d p = _mm_add_pd(pairOf(1.0 / 39916800.0, -1.0 / 6227020800.0, z),
                         _mm_mul_pd(w, _mm_set1_pd(1.0 / 1307674368000.0)));
  p = _mm_add_pd(pairOf(1.0 / 5040.0, -1.0 / 362880.0, z), _mm_mul_pd(w, p));
  p = _mm_add_pd(pairOf(1.0 / 6.0, -1.0 / 120.0, z), _mm_mul_pd(w, p));
  return _mm_sub_pd(r, _mm_mul_pd(_mm_mul_pd(r, z), p));
}
inline __m128d cosineSeries(__m128d z, __m128d w) {
  // -1/2! + z/4! - z^2/6! + ... + z^7/16!
  __m128d p = pairOf(-1.0 / 87178291200.0, 1.0 / 20922789888000.0, z);
  p = _mm_add_pd(pairOf(-1.0 / 3628800.0, 1.0 / 479001600.0, z), _mm_mul_pd(w, p));
  p = _mm_add_pd(pairOf(-1.0 / 720.0, 1.0 / 40320.0, z), _mm_mul_pd(w, p));
  p = _mm_add_pd(pairOf(-0.5, 1.0 / 24.0, z), _mm_mul_pd(w, p));
  return _mm_add_pd(_mm_set1_pd(1.0), _mm_mul_pd(z, p));
}

inline void cosineAndSinePair(__m128d a, __m128d& cosine, __m128d& sine) {
  const __m128i k = _mm_cvttpd_epi32(_mm_add_pd(_mm_mul_pd(a, _mm_set1_pd(0x1.45f306dc9c883p-1)), _mm_set1_pd(0.5)));
  const __m128d kd = _mm_cvtepi32_pd(k);
  const __m128d r = _mm_sub_pd(_mm_sub_pd(a, _mm_mul_pd(kd, _mm_set1_pd(HALF_PI_HEAD))),
                               _mm_mul_pd(kd, _mm_set1_pd(HALF_PI_REST)));
  const __m128d z = _mm_mul_pd(r, r), w = _mm_mul_pd(z, z);
  const __m128d s = sineSeries(r, z, w), c = cosineSeries(z, w);
  // Quadrant k: bit 0 swaps sine and cosine, then sin is negated in
  // quadrants 2 and 3, cos in quadrants 1 and 2.
  const __m128i quadrant = _mm_shuffle_epi32(k, _MM_SHUFFLE(1, 1, 0, 0));
  const __m128d odd = _mm_castsi128_pd(_mm_cmpeq_epi32(_mm_and_si128(quadrant, _mm_set1_epi32(1)), _mm_set1_epi32(1)));
  const __m128d sineFlip = _mm_castsi128_pd(
      _mm_slli_epi64(_mm_srli_epi32(_mm_and_si128(quadrant, _mm_set1_epi32(2)), 1), 63));
  const __m128d cosineFlip = _mm_castsi128_pd(_mm_slli_epi64(
      _mm_srli_epi32(_mm_and_si128(_mm_add_epi32(quadrant, _mm_set1_epi32(1)), _mm_set1_epi32(2)), 1), 63));
  sine = _mm_xor_pd(_mm_or_pd(_mm_and_pd(odd, c), _mm_andnot_pd(odd, s)), sineFlip);
  cosine = _mm_xor_pd(_mm_or_pd(_mm_and_pd(odd, s), _mm_andnot_pd(odd, c)), cosineFlip);
}

}  // namespace

void approximateCosineAndSine(__m128d a, __m128d& cosine, __m128d& sine) { cosineAndSinePair(a, cosine, sine); }

int floatCosineAndSineOf4(__m128 angle, __m128& cosine, __m128& sine) {
  __m128d cl, sl, ch, sh;
  cosineAndSinePair(_mm_cvtps_pd(angle), cl, sl);
  cosineAndSinePair(_mm_cvtps_pd(_mm_movehl_ps(angle, angle)), ch, sh);
  cosine = _mm_movelh_ps(_mm_cvtpd_ps(cl), _mm_cvtpd_ps(ch));
  sine = _mm_movelh_ps(_mm_cvtpd_ps(sl), _mm_cvtpd_ps(sh));
  // Only angles in [0, 7] are reduced with one exact step.
  const __m128 inRange = _mm_and_ps(_mm_cmpge_ps(angle, _mm_setzero_ps()), _mm_cmple_ps(angle, _mm_set1_ps(7.0f)));
  return (~_mm_movemask_ps(inRange) & 15) | unsettledPair(cl) | unsettledPair(sl) |
         (unsettledPair(ch) | unsettledPair(sh)) << 2;
}

__m128 floatArcTangent2Of4(__m128 y, __m128 x) {
  const __m128i j = nearestSixteenths(y, x);
  const __m128d low = approximateWithSixteenths(_mm_cvtps_pd(y), _mm_cvtps_pd(x), j);
  const __m128d high = approximateWithSixteenths(_mm_cvtps_pd(_mm_movehl_ps(y, y)), _mm_cvtps_pd(_mm_movehl_ps(x, x)),
                                                 _mm_shuffle_epi32(j, _MM_SHUFFLE(3, 2, 3, 2)));
  const __m128 quick = _mm_movelh_ps(_mm_cvtpd_ps(low), _mm_cvtpd_ps(high));
  const __m128 zero = _mm_setzero_ps();
  const int unsettled =
      _mm_movemask_ps(_mm_or_ps(_mm_or_ps(_mm_cmpeq_ps(x, zero), _mm_cmpeq_ps(y, zero)), _mm_cmpunord_ps(x, y))) |
      unsettledPair(low) | unsettledPair(high) << 2;
  if (unsettled == 0) return quick;
  alignas(16) float result[4], ys[4], xs[4];
  _mm_store_ps(result, quick);
  _mm_store_ps(ys, y);
  _mm_store_ps(xs, x);
  const float* zeros = arcTangentsOfZeros();
  for (int i = 0; i < 4; ++i) {
    if (!(unsettled >> i & 1)) continue;
    const int yNegative = std::signbit(ys[i]) ? 1 : 0, xNegative = std::signbit(xs[i]) ? 1 : 0;
    if (ys[i] == 0.0f && xs[i] == xs[i])
      result[i] = zeros[2 * yNegative + xNegative];
    else if (xs[i] == 0.0f && ys[i] == ys[i])
      result[i] = zeros[4 + yNegative];
    else
      result[i] = float(numeric::arcTangent2(ys[i], xs[i]));
  }
  return _mm_load_ps(result);
}

}  // namespace glue
