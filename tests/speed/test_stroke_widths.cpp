// The stroke styles at every vector width and thread count: the crest
// tests of the thin styles against the one-pixel test, and strokes drawn in
// bands of rows against the same dots drawn one after another.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "engine/crest_kernels.h"
#include "engine/styles.h"
#include "image/pixel_map.h"
#include "platform/threads.h"
#include "session/session.h"

namespace {

uint32_t nextRandom(uint32_t* state) {
  *state = *state * 1664525u + 1013904223u;
  return *state >> 8;
}

std::vector<SimdLevel> vectorLevelsHere() {
  std::vector<SimdLevel> levels;
  for (int32_t l = SIMD_SSE2; l <= widestSimdLevel(); ++l) levels.push_back(static_cast<SimdLevel>(l));
  return levels;
}

// Three rows of magnitudes round a row of slopes. `ties` draws from a few
// small values, so that equal neighbours, plateaus and zero slopes (of
// either sign) are common; otherwise the values are spread widely.
struct CrestRows {
  int32_t columns;
  std::vector<double> magnitudes, gx, gy;
  const double* centre() const { return magnitudes.data() + (columns + 2) + 1; }
};

CrestRows crestRows(int32_t columns, bool ties, uint32_t seed) {
  CrestRows r{columns, std::vector<double>(size_t(3) * (columns + 2)), std::vector<double>(size_t(columns)),
              std::vector<double>(size_t(columns))};
  uint32_t state = seed;
  auto value = [&](bool signed_) {
    double v = ties ? static_cast<double>(nextRandom(&state) % 4)
                    : static_cast<double>(nextRandom(&state) % 100000) * 0.0137;
    if (signed_ && nextRandom(&state) % 2) v = -v;
    return v;
  };
  for (double& m : r.magnitudes) m = value(false);
  for (int32_t c = 0; c < columns; ++c) r.gx[c] = value(true), r.gy[c] = value(true);
  return r;
}

bool sameCrests(const std::vector<CrestPixel>& a, const std::vector<CrestPixel>& b, int32_t count) {
  for (int32_t i = 0; i < count; ++i)
    if (a[i].column != b[i].column || std::memcmp(&a[i].p1, &b[i].p1, sizeof(float)) != 0 ||
        std::memcmp(&a[i].p2, &b[i].p2, sizeof(float)) != 0 ||
        std::memcmp(&a[i].sign, &b[i].sign, sizeof(double)) != 0)
      return false;
  return true;
}

// Rows that leave tails at every width, ties and spread values, both
// planes, one or none, weights of both signs and both depths' limits:
// every width lists the same crests and gives the same edges as the
// one-pixel test.
TEST(CrestWidths, EveryWidthGivesTheOnePixelCrests) {
  const CrestKernels scalar = crestKernelsFor(SIMD_SCALAR);
  for (int32_t columns : {1, 7, 33, 257})
    for (bool ties : {true, false}) {
      CrestRows rows = crestRows(columns, ties, static_cast<uint32_t>(columns * 2 + ties));
      rows.gy[0] = -0.0;  // a signed zero slope
      const intptr_t stride = columns + 2;
      for (int32_t planes = 0; planes < 4; ++planes) {
        const double* gx = planes & 1 ? rows.gx.data() : nullptr;
        const double* gy = planes & 2 ? rows.gy.data() : nullptr;
        std::vector<CrestPixel> expected(size_t(columns) + 1), got(expected.size());
        const int32_t count = scalar.thinSoftRow(rows.centre(), stride, gx, gy, columns, expected.data());
        std::vector<int32_t> expectedEdges(static_cast<size_t>(columns)), edges(expectedEdges.size());
        for (SimdLevel level : vectorLevelsHere()) {
          const CrestKernels kernels = crestKernelsFor(level);
          SCOPED_TRACE(std::string(simdLevelName(level)) + " columns " + std::to_string(columns) + " planes " +
                       std::to_string(planes) + (ties ? " ties" : ""));
          ASSERT_EQ(kernels.thinSoftRow(rows.centre(), stride, gx, gy, columns, got.data()), count);
          EXPECT_TRUE(sameCrests(got, expected, count));
          for (double weight : {110.0, -3.0, 25600.0})
            for (int32_t maxValue : {255, 32768}) {
              const double depthScale = maxValue == 255 ? 1.0 : 128.0;
              scalar.thinHardRow(rows.centre(), stride, gx, gy, columns, weight, depthScale, maxValue,
                                 expectedEdges.data());
              kernels.thinHardRow(rows.centre(), stride, gx, gy, columns, weight, depthScale, maxValue, edges.data());
              EXPECT_EQ(edges, expectedEdges) << "weight " << weight << " max " << maxValue;
            }
        }
      }
    }
}

// A crest test that found nothing, or every pixel, still gives a list the
// length the row says: a flat row has crests only where ties allow.
TEST(CrestWidths, FlatRowsAgreeOnEveryWidth) {
  const int32_t columns = 19;
  std::vector<double> flat(size_t(3) * (columns + 2), 5.0), slope(size_t(columns), 1.0);
  const double* centre = flat.data() + (columns + 2) + 1;
  std::vector<CrestPixel> expected(size_t(columns) + 1), got(expected.size());
  const int32_t count = crestKernelsFor(SIMD_SCALAR).thinSoftRow(centre, columns + 2, slope.data(), slope.data(),
                                                                 columns, expected.data());
  EXPECT_EQ(count, columns);  // equal neighbours: p1 = p2 = 0 is a crest
  for (SimdLevel level : vectorLevelsHere()) {
    EXPECT_EQ(crestKernelsFor(level).thinSoftRow(centre, columns + 2, slope.data(), slope.data(), columns, got.data()),
              count);
    EXPECT_TRUE(sameCrests(got, expected, count)) << simdLevelName(level);
  }
}

struct BandPlane {
  FilterSession session{};
  BandPlane(int32_t width, int32_t height, int32_t tileTop) {
    pixelMapInit(&session.strokePlane, nullptr, nullptr);
    pixelMapCreate(&session.strokePlane, width, height, PIXEL_BYTE, 0);
    pixelMapFillBytes(&session.strokePlane, 0, 0);
    session.tileTop = tileTop;
  }
  ~BandPlane() { pixelMapFree(&session.strokePlane); }
  std::vector<uint8_t> bytes() const {
    std::vector<uint8_t> out;
    for (int32_t y = 0; y < session.strokePlane.baseHeight; ++y)
      for (int32_t x = 0; x < session.strokePlane.baseWidth; ++x) out.push_back(getByte(x, y, &session.strokePlane, 0));
    return out;
  }
};

// The dots of core row `row`: most near the row, some a long way off (as a
// crest with a tiny denominator throws them), some beyond the plane's
// edges, and values past both ends of a cell's range.
std::vector<StrokeDot> dotsOfRow(int32_t row, int32_t tileTop, int32_t width) {
  std::vector<StrokeDot> dots;
  uint32_t state = static_cast<uint32_t>(row * 977 + 3);
  for (int32_t i = 0; i < 40; ++i) {
    const float x = static_cast<float>(nextRandom(&state) % (width * 100 + 400)) * 0.01f - 2.0f;
    float offset = static_cast<float>(nextRandom(&state) % 400) * 0.01f - 2.0f;  // -2 .. 2 rows
    if (i % 13 == 0) offset *= 40.0f;
    const float value = static_cast<float>(nextRandom(&state) % 320) - 20.0f;
    dots.push_back(StrokeDot{x, static_cast<float>(row + tileTop) + offset, value});
  }
  return dots;
}

// Strokes that cross the seams between bands, and the plane's top and
// bottom, give for every thread count the plane the same dots give drawn
// one after another in reverse order: a cell keeps the largest share.
TEST(StrokeBands, EveryThreadCountGivesTheDotsDrawnInAnyOrder) {
  const int32_t width = 23, rows = 100;
  for (int32_t tileTop : {0, 37}) {
    BandPlane serial(width, rows + 40 + tileTop, tileTop);
    for (int32_t row = rows - 1; row >= 0; --row) {
      std::vector<StrokeDot> dots = dotsOfRow(row, tileTop, width);
      for (auto dot = dots.rbegin(); dot != dots.rend(); ++dot)
        drawStrokeDot(dot->x, dot->y, &serial.session.strokePlane, dot->value);
    }
    const std::vector<uint8_t> expected = serial.bytes();
    for (int32_t threads : {1, 2, 3, 7}) {
      forceRenderThreads(threads);
      BandPlane banded(width, rows + 40 + tileTop, tileTop);
      int32_t bandCount = 0;
      drawStrokesInBands(&banded.session, rows, [&](int32_t begin, int32_t end, StrokeBand* band) {
        EXPECT_LT(begin, end);
        for (int32_t row = begin; row < end; ++row)
          for (const StrokeDot& dot : dotsOfRow(row, tileTop, width)) drawBandDot(band, dot.x, dot.y, dot.value);
        __atomic_add_fetch(&bandCount, 1, __ATOMIC_RELAXED);
      });
      EXPECT_GT(bandCount, 2);  // the rows do cross seams
      EXPECT_EQ(banded.bytes(), expected) << "threads " << threads << " tile top " << tileTop;
    }
  }
  forceRenderThreads(platformCoreCount());
}

// Contour cells drawn through a band keep the whole plane's numbers.
TEST(StrokeBands, ContourCellsThroughABandEqualTheWholePlane) {
  BandPlane whole(12, 12, 0), banded(12, 12, 0);
  std::vector<StrokeDot> spill;
  StrokeBand band{&banded.session.strokePlane, 4, 8, &spill};
  for (int32_t y = 2; y < 9; ++y) {
    contourCell(1.0f, -0.5f, -1.0f, 0.25f, 0.0f, 3, y, &whole.session.strokePlane, 180);
    contourCell(1.0f, -0.5f, -1.0f, 0.25f, 0.0f, 3, y, &band, 180);
  }
  EXPECT_FALSE(spill.empty());  // the rows outside 4 .. 7 wait
  for (const StrokeDot& dot : spill) drawStrokeDot(dot.x, dot.y, &banded.session.strokePlane, dot.value);
  EXPECT_EQ(banded.bytes(), whole.bytes());
}

}  // namespace
