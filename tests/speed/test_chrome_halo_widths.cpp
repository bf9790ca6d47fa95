// The "chrome" and "halo" rows at every vector width against the
// one-at-a-time rows. chrome: odd row lengths, with and without the 3x3
// noise removal, at both fixed-point scales, on slopes that take every
// branch of the arc tangent (zeros of both signs, ties, steep and flat
// ratios, and the rare values the vectors hand back to the scalar). halo:
// both depths' limits, grey and colour brightness, weights that push values
// past either limit, and the sums read from the edge row itself.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "engine/chrome_rows.h"
#include "engine/halo_rows.h"
#include "engine/field_kernels.h"

namespace {

uint32_t nextRandom(uint32_t* state) {
  *state = *state * 1664525u + 1013904223u;
  return *state >> 8;
}

// A slope plane of side `side`: mostly gradient-like values, with runs of
// exact zeros (a flat spot), negative zeros, large values whose sums
// cancel, and a few rare values.
std::vector<double> slopePlane(int32_t side, uint32_t seed) {
  std::vector<double> plane(static_cast<size_t>(side) * side);
  uint32_t state = seed;
  const double rare[] = {1e300, -1e-300, __builtin_inf(), -__builtin_inf(), __builtin_nan(""), 4.9e-324, 1e-25};
  for (size_t i = 0; i < plane.size(); ++i) {
    const uint32_t pick = nextRandom(&state) % 100;
    if (pick < 10)
      plane[i] = 0.0;
    else if (pick < 13)
      plane[i] = -0.0;
    else if (pick < 15)
      plane[i] = rare[nextRandom(&state) % 7];
    else if (pick < 25)
      plane[i] = static_cast<double>(static_cast<int32_t>(nextRandom(&state) % 9) - 4);  // ties and axes
    else if (pick < 33)
      plane[i] = nextRandom(&state) % 2 ? 3e16 : -3e16;  // sums that cancel only in the right order
    else
      plane[i] = (static_cast<double>(nextRandom(&state) % 200001) - 100000.0) * 0.00731;
  }
  return plane;
}

TEST(ChromeWidths, IndexRowsEqualTheScalarRow) {
  const int32_t side = 1041;
  const std::vector<double> gx = slopePlane(side, 3), gy = slopePlane(side, 11);
  const ChromeIndicesFunction scalar = chromeIndicesFor(SIMD_SCALAR);
  for (int32_t level = SIMD_SSE2; level <= widestSimdLevel(); ++level) {
    const ChromeIndicesFunction vector = chromeIndicesFor(static_cast<SimdLevel>(level));
    ASSERT_NE(vector, scalar);
    for (int32_t columns : {1, 7, 8, 33, 257, 1031})
      for (bool removeNoise : {false, true})
        for (double s : {1.0, 128.0})
          for (int32_t row = 1; row < side - 1; row += 97) {
            // Rows start one in from the plane's edge, as the field's margin
            // lets the 3x3 sums reach one sample beyond the core.
            const size_t start = static_cast<size_t>(row) * side + 1;
            std::vector<int32_t> expected(columns), got(columns, -1);
            scalar(gx.data() + start, gy.data() + start, side, removeNoise, s, columns, expected.data());
            const int32_t done =
                vector(gx.data() + start, gy.data() + start, side, removeNoise, s, columns, got.data());
            ASSERT_LE(done, columns);
            ASSERT_GT(done, columns - 8);
            // The vectors leave the tail to the scalar row, as the renderer does.
            scalar(gx.data() + start + done, gy.data() + start + done, side, removeNoise, s, columns - done,
                   got.data() + done);
            ASSERT_EQ(got, expected) << simdLevelName(static_cast<SimdLevel>(level)) << " columns " << columns
                                     << " removeNoise " << removeNoise << " s " << s << " row " << row;
          }
  }
}

TEST(HaloWidths, EdgeRowsEqualTheScalarRow) {
  const int32_t columns = 1031;
  const std::vector<double> gx = slopePlane(columns, 5), gy = slopePlane(columns, 17);
  const HaloEdgesFunction scalar = haloEdgesFor(SIMD_SCALAR);
  for (int32_t level = SIMD_SSE2; level <= widestSimdLevel(); ++level) {
    uint32_t state = 23;  // the same cases at every width
    const HaloEdgesFunction vector = haloEdgesFor(static_cast<SimdLevel>(level));
    ASSERT_NE(vector, scalar);
    for (int32_t maxValue : {255, 32768})
      for (bool grey : {false, true})
        for (float g : {1.0f, 23.07692337f, 0.3f})
          for (float k : {0.025f, 1.0f, 37.5f, -2.0f})
            for (int32_t count : {1, 7, 33, 257, 1031}) {
              // Brightness sums as the renderer makes them: a sample, or
              // 1000 times a sample at most; some rows of the slope planes
              // are read, so that values repeat across the cases.
              std::vector<int32_t> brightness(count);
              const uint32_t limit = grey ? maxValue + 1 : maxValue * 1000 + 1;
              for (int32_t& b : brightness) b = static_cast<int32_t>(nextRandom(&state) % limit);
              const size_t row = static_cast<size_t>(nextRandom(&state) % columns) * columns;
              std::vector<int32_t> expected(count), got = brightness;
              scalar(gx.data() + row, gy.data() + row, brightness.data(), grey, g, k, maxValue, count, expected.data());
              // In place, as the renderer calls it, with the tail left to the
              // scalar row.
              const int32_t done =
                  vector(gx.data() + row, gy.data() + row, got.data(), grey, g, k, maxValue, count, got.data());
              ASSERT_GT(done, count - 8);
              scalar(gx.data() + row + done, gy.data() + row + done, got.data() + done, grey, g, k, maxValue,
                     count - done, got.data() + done);
              ASSERT_EQ(got, expected) << simdLevelName(static_cast<SimdLevel>(level)) << " max " << maxValue
                                       << " grey " << grey << " g " << g << " k " << k << " count " << count;
            }
  }
}

}  // namespace
