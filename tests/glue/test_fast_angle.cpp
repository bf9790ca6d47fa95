// The quick angles of "frontal" against numeric::: the double
// approximations must stay within a few units in the last place over dense
// and boundary-seeking samples (far inside the guard band that decides
// when a lane is trusted), the checked four-lane forms must give exactly
// the floats of numeric::, and the frontal row form must give exactly the
// per-pixel frontal, which still goes through numeric:: alone.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdint>
#include <cstring>
#include <vector>

#include "glue/fast_angle.h"
#include "glue/glue_modes.h"
#include "numeric/portable_math.h"

namespace {

using glue::FAST_ANGLE_GUARD_ULPS;

struct Rng {
  uint64_t state;
  uint32_t next() {
    state = state * 6364136223846793005ull + 1442695040888963407ull;
    return uint32_t(state >> 33);
  }
  float unit() { return float(next() >> 8) * (1.0f / 16777216.0f); }
};

float floatFromBits(uint32_t bits) {
  float f;
  std::memcpy(&f, &bits, sizeof f);
  return f;
}

// |a - b| in units in the last place of b.
double ulpsApart(double a, double b) {
  if (a == b) return 0;
  int e;
  std::frexp(b, &e);
  return std::fabs(a - b) / std::ldexp(1.0, e - 53);
}

// Checks four points through both forms; returns the largest error of the
// approximation in ulps.
double checkArcTangents(const float* ys, const float* xs) {
  const __m128 y = _mm_loadu_ps(ys), x = _mm_loadu_ps(xs);
  alignas(16) float got[4];
  _mm_store_ps(got, glue::floatArcTangent2Of4(y, x));
  alignas(16) double approx[4];
  _mm_store_pd(approx, glue::approximateArcTangent2(_mm_cvtps_pd(y), _mm_cvtps_pd(x)));
  _mm_store_pd(approx + 2, glue::approximateArcTangent2(_mm_cvtps_pd(_mm_movehl_ps(y, y)),
                                                        _mm_cvtps_pd(_mm_movehl_ps(x, x))));
  double worst = 0;
  for (int i = 0; i < 4; ++i) {
    const double exact = numeric::arcTangent2(ys[i], xs[i]);
    const float want = float(exact);
    EXPECT_EQ(std::memcmp(&got[i], &want, sizeof want), 0) << ys[i] << " " << xs[i];
    if (xs[i] != 0 && ys[i] != 0 && std::fabs(exact) >= 0x1p-126) worst = std::fmax(worst, ulpsApart(approx[i], exact));
  }
  return worst;
}

// Random points of every octant and many scales, points on and beside the
// octant lines and the sixteenths where the reduction switches, points
// whose angle sits next to the midpoint between two floats, and zeros,
// infinities and NaN.
TEST(FastAngle, ArcTangentMatchesTheExactFloatAndStaysWithinItsBound) {
  Rng rng{12345};
  std::vector<float> ys, xs;
  auto add = [&](float y, float x) {
    ys.push_back(y);
    xs.push_back(x);
  };
  for (int i = 0; i < 1500000; ++i) {
    const float scale = std::ldexp(1.0f, int(rng.next() % 40) - 30);
    add((rng.unit() * 2 - 1) * scale, (rng.unit() * 2 - 1) * scale * (rng.next() % 4 ? 1.0f : std::ldexp(1.0f, int(rng.next() % 40) - 20)));
  }
  for (int j = 0; j <= 16; ++j)
    for (int i = 0; i < 20000; ++i) {
      const float x = rng.unit() + 0.01f;
      const float y = std::nextafter(x * float(j) / 16.0f, 0.0f);
      float bent = y;
      for (int step = int(rng.next() % 5); step > 0; --step) bent = std::nextafter(bent, 2.0f);
      for (int sy : {1, -1})
        for (int sx : {1, -1}) {
          add(sy * bent, sx * x);
          add(sx * x, sy * bent);
        }
    }
  // Angles next to a float midpoint: y = x tan(m) for the midpoint m, and
  // the neighbouring floats of y.
  for (int i = 0; i < 600000; ++i) {
    const float target = rng.unit() * 1.5f + 1e-3f;
    const long double midpoint = (static_cast<long double>(target) + std::nextafter(target, 2.0f)) / 2;
    const float x = rng.unit() + 0.05f;
    float y = float(x * std::tan(midpoint));
    for (int step = 0; step < 3; ++step, y = std::nextafter(y, 1e30f)) add(y, x);
  }
  const float inf = INFINITY, nan = NAN;
  for (float a : {0.0f, -0.0f, 1.0f, -1.0f, 1e-45f, -1e-45f, 1e-40f, inf, -inf, nan})
    for (float b : {0.0f, -0.0f, 1.0f, -1.0f, 1e-45f, -1e-45f, 3e38f, inf, -inf, nan}) add(a, b);
  while (ys.size() % 4) add(1.0f, 1.0f);
  double worst = 0;
  for (size_t i = 0; i < ys.size(); i += 4) worst = std::fmax(worst, checkArcTangents(&ys[i], &xs[i]));
  // A lane is trusted when its approximation is more than the guard from
  // every float midpoint; then no midpoint can lie between it and the exact
  // double as long as the two are closer than the guard. Keep a margin of
  // at least 8 over the bound checked here.
  EXPECT_LE(worst, 4.0);
  EXPECT_GE(double(FAST_ANGLE_GUARD_ULPS), 8 * 4.0);
  std::printf("arc tangent: %zu points, largest error %.2f ulp\n", ys.size(), worst);
}

// Every frontal angle is float(h * 6.283185307) with h in [0, 1]: a dense
// stride through [0, 7], and every float within 4096 of each multiple of
// pi/4, where the reduction switches quadrant and the results pass zero.
TEST(FastAngle, CosineAndSineMatchTheExactFloats) {
  std::vector<float> angles;
  for (uint32_t bits = 0; bits <= 0x40E00000u; bits += 331) angles.push_back(floatFromBits(bits));
  for (int k = 0; k <= 8; ++k) {
    const float centre = float(k * 0.78539816339744830962);
    uint32_t bits;
    std::memcpy(&bits, &centre, sizeof bits);
    for (uint32_t d = 0; d < 8192 && bits + d >= 4096; ++d) angles.push_back(floatFromBits(bits + d - 4096));
  }
  angles.insert(angles.end(), {-1.0f, -0.0f, 7.5f, 1e30f, INFINITY, NAN, 6.2831855f, 3.1415927f});
  while (angles.size() % 4) angles.push_back(1.0f);
  double worst = 0;
  int unsettledLanes = 0;
  for (size_t i = 0; i < angles.size(); i += 4) {
    __m128 cosine, sine;
    const int unsettled = glue::floatCosineAndSineOf4(_mm_loadu_ps(&angles[i]), cosine, sine);
    alignas(16) float c[4], s[4];
    _mm_store_ps(c, cosine);
    _mm_store_ps(s, sine);
    alignas(16) double cd[4], sd[4];
    if (angles[i] >= 0 && angles[i + 3] <= 7.0f && angles[i] <= 7.0f) {
      __m128d lc, ls, hc, hs;
      glue::approximateCosineAndSine(_mm_setr_pd(angles[i], angles[i + 1]), lc, ls);
      glue::approximateCosineAndSine(_mm_setr_pd(angles[i + 2], angles[i + 3]), hc, hs);
      _mm_store_pd(cd, lc);
      _mm_store_pd(cd + 2, hc);
      _mm_store_pd(sd, ls);
      _mm_store_pd(sd + 2, hs);
    } else {
      for (int k = 0; k < 4; ++k) cd[k] = sd[k] = NAN;
    }
    for (int k = 0; k < 4; ++k) {
      const float a = angles[i + k];
      const double exactC = numeric::cosine(a), exactS = numeric::sine(a);
      if (unsettled >> k & 1) {
        if (a >= 0x1p-126f && a <= 7.0f) ++unsettledLanes;  // float subnormals always go exact
      } else {
        const float wantC = float(exactC), wantS = float(exactS);
        ASSERT_EQ(std::memcmp(&c[k], &wantC, 4), 0) << a;
        ASSERT_EQ(std::memcmp(&s[k], &wantS, 4), 0) << a;
      }
      if (a > 0 && a <= 7.0f && !std::isnan(cd[k])) {
        worst = std::fmax(worst, ulpsApart(cd[k], exactC));
        worst = std::fmax(worst, ulpsApart(sd[k], exactS));
      }
    }
  }
  EXPECT_LE(worst, 4.0);  // against the same guard
  EXPECT_LT(unsettledLanes, int(angles.size() / 1000));
  std::printf("cosine and sine: %zu angles, largest error %.2f ulp, %d lanes unsettled\n", angles.size(), worst,
              unsettledLanes);
}

// The frontal row form against the per-pixel frontal over millions of
// 8-bit pairs and a dense sample at 16 bits; bases include greys and pure
// hues, whose angles are 0 and multiples of pi/3.
TEST(FastAngle, FrontalRowEqualsThePerPixelFrontal) {
  static GlueTables tables;
  buildRunTables(tables);
  for (int depth : {8, 16}) {
    const int32_t M = depth == 16 ? 32768 : 255;
    const GlueRowFunction row = glueRowFunction(GLUE_FRONTAL, depth);
    const GlueFunction pixel = glueFunction(GLUE_FRONTAL, depth);
    ASSERT_NE(row, nullptr);
    Rng rng{uint64_t(depth)};
    const int32_t count = 4096;
    const int rounds = depth == 8 ? 750 : 250;
    std::vector<int32_t> tops(3 * count), bases(3 * count), expected;
    for (int round = 0; round < rounds; ++round) {
      for (int32_t i = 0; i < 3 * count; ++i) {
        tops[i] = int32_t(rng.next() % uint32_t(M + 1));
        bases[i] = int32_t(rng.next() % uint32_t(M + 1));
      }
      for (int32_t i = 0; i < count; i += 7) {
        const int32_t v = int32_t(rng.next() % uint32_t(M + 1));
        for (int c = 0; c < 3; ++c) bases[3 * i + c] = (rng.next() & 1) ? v : (c == 0 ? v : 0);
      }
      expected = tops;
      for (int32_t i = 0; i < count; ++i) pixel(&expected[3 * i], &bases[3 * i], tables);
      row(tops.data(), bases.data(), count, tables);
      ASSERT_EQ(tops, expected) << "depth " << depth << " round " << round;
    }
  }
}

}  // namespace
