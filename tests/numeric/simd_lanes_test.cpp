// The shared lanes of every width the CPU runs against the scalar operations
// they stand for, lane by lane, on the values where vector and scalar forms
// most easily part: NaN on either side, zeros of both signs, infinities,
// subnormals, roundings to float, and truncation toward zero.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

#include "numeric/simd_level.h"
#include "tests/numeric/lanes_probe.h"

namespace {

using ProbeFunction = void (*)(const double*, const double*, const double*, LaneProbe*);

struct Width {
  SimdLevel level;
  ProbeFunction probe;
};

constexpr Width WIDTHS[] = {
    {SIMD_SSE2, probeLanesSse2}, {SIMD_AVX2, probeLanesAvx2}, {SIMD_AVX512, probeLanesAvx512}};

constexpr double NAN_D = std::numeric_limits<double>::quiet_NaN();
constexpr double INF_D = std::numeric_limits<double>::infinity();

// Pairs a, b, one per lane.
constexpr double A[PROBE_LANES] = {1.5,  NAN_D,   1.0,    -0.0,           0.0,    INF_D,  -3.0, 4.9e-324,
                                   1e300, 2.0,    -1.0,   1.0 + 0x1p-30,  1e39,   0.1,    -INF_D, 0.0};
constexpr double B[PROBE_LANES] = {-2.25, 1.0,    NAN_D,  0.0,            -0.0,   -INF_D, -3.0, 2.0,
                                   1e-300, 0.0,   3.0,    1.0,            -1e39,  0.2,    5.0,    0.0};
// Inside the 32-bit range as doubles and as floats.
constexpr double T[PROBE_LANES] = {-2.7,  2.7,   -0.5,         0.999, -0.0,           1e-300, 100.5, -100.5,
                                   2147483520.0, -2147483648.9, 16777217.0, 3.5, -7.99, 65535.9, 1.0, -1.0};
constexpr int32_t SPARE = 0x5a5a5a5a;

// The same bits, or NaN on both sides (which NaN an operation gives is
// not something the pixel code looks at).
template <typename X>
bool same(X got, X want) {
  if (std::isnan(got) || std::isnan(want)) return std::isnan(got) && std::isnan(want);
  return std::memcmp(&got, &want, sizeof got) == 0;
}

template <typename X>
X lesserOf(X a, X b) {
  return a < b ? a : b;
}
template <typename X>
X greaterOf(X a, X b) {
  return a > b ? a : b;
}

LaneProbe probed(const Width& width, const double* a, const double* b) {
  LaneProbe out;
  std::memset(&out, 0, sizeof out);
  for (int32_t& v : out.truncated) v = SPARE;
  width.probe(a, b, T, &out);
  return out;
}

#define EXPECT_LANE(got, want) \
  EXPECT_TRUE(same(got, want)) << simdLevelName(width.level) << " lane " << i << ": " << (got) << " for " << (want)

template <typename X>
void expectArithmetic(const Width& width, int32_t i, const LaneArithmetic<X>& p, X a, X b) {
  EXPECT_LANE(p.sum[i], a + b);
  EXPECT_LANE(p.difference[i], a - b);
  EXPECT_LANE(p.product[i], a * b);
  EXPECT_LANE(p.quotient[i], a / b);
  EXPECT_LANE(p.root[i], std::sqrt(a));
  // The instructions' own order: b unless a is strictly smaller (larger),
  // whatever NaN or the sign of zero.
  EXPECT_LANE(p.least[i], lesserOf(a, b));
  EXPECT_LANE(p.most[i], greaterOf(a, b));
}

TEST(SharedLanes, DoubleOperationsMatchTheScalarOnes) {
  for (const Width& width : WIDTHS) {
    if (widestSimdLevel() < width.level) continue;
    const LaneProbe p = probed(width, A, B);
    for (int32_t i = 0; i < PROBE_LANES; ++i) {
      const double a = A[i], b = B[i];
      expectArithmetic(width, i, p.doubles, a, b);
      EXPECT_LANE(p.atLeastPicked[i], a >= b ? a : b);
      EXPECT_LANE(p.atMostPicked[i], a <= b ? a : b);
      EXPECT_LANE(p.abovePicked[i], a > b ? a : b);
      EXPECT_LANE(p.negatedDoubles[i], -a);  // the sign flipped, zeros too
      EXPECT_EQ(p.truncated[i], static_cast<int32_t>(T[i])) << simdLevelName(width.level) << " lane " << i;
    }
    for (int32_t i = PROBE_LANES; i < PROBE_LANES + PROBE_SPARE; ++i)
      EXPECT_EQ(p.truncated[i], SPARE) << simdLevelName(width.level) << " stores past its lanes";
    EXPECT_FALSE(p.allAtLeast);
  }
}

TEST(SharedLanes, FloatOperationsMatchTheScalarOnes) {
  for (const Width& width : WIDTHS) {
    if (widestSimdLevel() < width.level) continue;
    const LaneProbe p = probed(width, A, B);
    for (int32_t i = 0; i < PROBE_LANES; ++i) {
      const float a = static_cast<float>(A[i]), b = static_cast<float>(B[i]);
      EXPECT_LANE(p.narrowA[i], a);
      EXPECT_LANE(p.narrowB[i], b);
      EXPECT_LANE(p.widened[i], static_cast<double>(a));
      expectArithmetic(width, i, p.floats, a, b);
      EXPECT_LANE(p.negated[i], -a);
      EXPECT_LANE(p.lessPicked[i], a < b ? a : b);
      const int32_t viaFloat = static_cast<int32_t>(static_cast<float>(T[i]));
      const int32_t viaDouble = static_cast<int32_t>(T[i]);
      EXPECT_EQ(p.floatTruncated[i], viaFloat) << simdLevelName(width.level) << " lane " << i;
      EXPECT_EQ(p.pairTruncated[i], viaDouble) << simdLevelName(width.level) << " lane " << i;
      EXPECT_EQ(p.intLeast[i], lesserOf(viaFloat, viaDouble)) << simdLevelName(width.level) << " lane " << i;
      EXPECT_EQ(p.intMost[i], greaterOf(viaFloat, viaDouble)) << simdLevelName(width.level) << " lane " << i;
      EXPECT_EQ(p.intDifference[i], viaFloat - viaDouble) << simdLevelName(width.level) << " lane " << i;
    }
  }
}

// `all` holds only when every lane of every vector does, the last lane of
// the widest vector included.
TEST(SharedLanes, AllLooksAtEveryLane) {
  double a[PROBE_LANES], b[PROBE_LANES];
  for (int32_t i = 0; i < PROBE_LANES; ++i) {
    a[i] = i;
    b[i] = i % 3 == 0 ? i : i - 0.5;
  }
  for (const Width& width : WIDTHS) {
    if (widestSimdLevel() < width.level) continue;
    EXPECT_TRUE(probed(width, a, b).allAtLeast) << simdLevelName(width.level);
    for (int32_t lane : {0, 1, 7, PROBE_LANES - 1}) {
      double lower[PROBE_LANES];
      std::memcpy(lower, a, sizeof a);
      lower[lane] = -1.0;
      EXPECT_FALSE(probed(width, lower, b).allAtLeast) << simdLevelName(width.level) << " lane " << lane;
    }
  }
}

}  // namespace
