// The stroke styles at every vector width and thread count: the crest
// tests of the thin styles against the one-pixel test, and strokes drawn in
// bands of rows against the same dots drawn one after another.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "engine/stroke_kernels.h"
#include "engine/styles.h"
#include "image/pixel_map.h"
#include "platform/threads.h"
#include "session/session.h"

namespace {

uint32_t nextRandom(uint32_t* state) {
  *state = *state * 1664525u + 1013904223u;
  return *state >> 8;
}

std::vector<SimdLevel> levelsHere() {
  std::vector<SimdLevel> levels;
  for (int32_t l = SIMD_SCALAR; l <= widestSimdLevel(); ++l) levels.push_back(static_cast<SimdLevel>(l));
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

// The crest test for one pixel as the styles define it, the case picked
// by index: A dx dy > 0 and |dy| > |dx|, B dx dy > 0, C |dy| > |dx|, D
// otherwise; a reads its corner and side, b the mirrored ones.
struct OnePixelCrest {
  double P, a, b, sign;
};

OnePixelCrest onePixelCrest(const double* m, intptr_t w, double dx, double dy) {
  auto abs = [](double v) { return v < 0.0 ? -v : v; };
  auto at = [&](int32_t dr, int32_t dc) { return m[dr * w + dc]; };
  const int32_t kase = (dx * dy > 0.0 ? 0 : 2) + (abs(dy) > abs(dx) ? 0 : 1);
  const int32_t aCorner[4][2] = {{1, 1}, {1, 1}, {-1, 1}, {-1, 1}};
  const int32_t aSide[4][2] = {{1, 0}, {0, 1}, {-1, 0}, {0, 1}};
  const double major = kase & 1 ? dx : dy, minor = kase & 1 ? dy : dx;
  const double side = kase >> 1 ? -(dy + dx) : major - minor;
  const double signs[4] = {dy, dx, -dy, dx};
  OnePixelCrest k;
  k.P = abs(m[0] * major);
  k.a = abs(at(aCorner[kase][0], aCorner[kase][1]) * minor + side * at(aSide[kase][0], aSide[kase][1]));
  k.b = abs(at(-aCorner[kase][0], -aCorner[kase][1]) * minor + side * at(-aSide[kase][0], -aSide[kase][1]));
  k.sign = signs[kase];
  return k;
}

// x rounded to single precision. Through memory: GCC 12 at -O2 pairs the
// two round trips of the caller into one vector subtraction and drops the
// rounding.
double single(double x) {
  volatile float rounded = static_cast<float>(x);
  return rounded;
}

void thinHardOnePixel(const CrestRows& rows, const double* gx, const double* gy, double weight, double depthScale,
                      int32_t maxValue, std::vector<int32_t>* edges) {
  for (int32_t c = 0; c < rows.columns; ++c) {
    const OnePixelCrest k = onePixelCrest(rows.centre() + c, rows.columns + 2, gx ? gx[c] : 0.0, gy ? gy[c] : 0.0);
    const double v = (rows.centre()[c] * weight) / depthScale;
    const int32_t e = !(v > 0.0) ? 0 : v >= maxValue ? maxValue : static_cast<int32_t>(v);
    (*edges)[c] = k.a <= k.P && k.b < k.P ? e : 0;
  }
}

// A crest pixel as the kernels list it.
struct Crest {
  int32_t column;
  float p1, p2, flip, dx, dy;
  double magnitude;
};

std::vector<Crest> thinSoftOnePixel(const CrestRows& rows, const double* gx, const double* gy) {
  std::vector<Crest> crests;
  for (int32_t c = 0; c < rows.columns; ++c) {
    const double dx = gx ? gx[c] : 0.0, dy = gy ? gy[c] : 0.0;
    const OnePixelCrest k = onePixelCrest(rows.centre() + c, rows.columns + 2, dx, dy);
    const float p1 = static_cast<float>(k.P - single(k.a));
    const float p2 = static_cast<float>(k.P - single(k.b));
    if ((p1 >= 0.0f && p2 > -0.001) || (p1 > -0.001 && p2 >= 0.0f))
      crests.push_back(Crest{c, p1, p2, k.sign > 0.0 ? 1.0f : 0.0f, static_cast<float>(dx), static_cast<float>(dy),
                             rows.centre()[c]});
  }
  return crests;
}

// The kernels' lists, one array per number.
struct CrestLists {
  std::vector<int32_t> column;
  std::vector<float> numbers;
  std::vector<double> magnitude;
  CrestPixels crests;
  explicit CrestLists(int32_t columns)
      : column(size_t(columns) + 8), numbers(column.size() * 5), magnitude(column.size()) {
    const size_t room = column.size();
    float* at = numbers.data();
    crests = CrestPixels{column.data(), at, at + room, at + 2 * room, at + 3 * room, at + 4 * room, magnitude.data()};
  }
  Crest at(int32_t i) const {
    return Crest{crests.column[i], crests.p1[i], crests.p2[i], crests.flip[i],
                 crests.dx[i], crests.dy[i], crests.magnitude[i]};
  }
};

bool sameCrests(const CrestLists& got, const std::vector<Crest>& expected, int32_t count) {
  for (int32_t i = 0; i < count; ++i) {
    const Crest a = got.at(i), &b = expected[size_t(i)];
    if (a.column != b.column || std::memcmp(&a.p1, &b.p1, 5 * sizeof(float)) != 0 ||
        std::memcmp(&a.magnitude, &b.magnitude, sizeof(double)) != 0)
      return false;
  }
  return true;
}

// Rows that leave tails at every width, ties and spread values, both
// planes, one or none, weights of both signs and both depths' limits:
// every level, the scalar one included, lists the crests and gives the
// edges of the one-pixel test.
TEST(CrestWidths, EveryLevelGivesTheOnePixelCrests) {
  for (int32_t columns : {1, 7, 33, 257})
    for (bool ties : {true, false}) {
      CrestRows rows = crestRows(columns, ties, static_cast<uint32_t>(columns * 2 + ties));
      rows.gy[0] = -0.0;  // a signed zero slope
      const intptr_t stride = columns + 2;
      for (int32_t planes = 0; planes < 4; ++planes) {
        const double* gx = planes & 1 ? rows.gx.data() : nullptr;
        const double* gy = planes & 2 ? rows.gy.data() : nullptr;
        const std::vector<Crest> expected = thinSoftOnePixel(rows, gx, gy);
        const int32_t count = static_cast<int32_t>(expected.size());
        CrestLists got(columns);
        std::vector<int32_t> expectedEdges(static_cast<size_t>(columns)), edges(expectedEdges.size());
        for (SimdLevel level : levelsHere()) {
          const StrokeKernels kernels = strokeKernelsFor(level);
          SCOPED_TRACE(std::string(simdLevelName(level)) + " columns " + std::to_string(columns) + " planes " +
                       std::to_string(planes) + (ties ? " ties" : ""));
          ASSERT_EQ(kernels.thinSoftRow(rows.centre(), stride, gx, gy, columns, got.crests), count);
          EXPECT_TRUE(sameCrests(got, expected, count));
          for (double weight : {110.0, -3.0, 25600.0})
            for (int32_t maxValue : {255, 32768}) {
              const double depthScale = maxValue == 255 ? 1.0 : 128.0;
              thinHardOnePixel(rows, gx, gy, weight, depthScale, maxValue, &expectedEdges);
              kernels.thinHardRow(rows.centre(), stride, gx, gy, columns, weight, depthScale, maxValue, edges.data());
              EXPECT_EQ(edges, expectedEdges) << "weight " << weight << " max " << maxValue;
            }
        }
      }
    }
}

// Equal neighbours all along a row: p1 = p2 = 0 makes every pixel a crest.
TEST(CrestWidths, FlatRowsAreCrestsEverywhere) {
  const int32_t columns = 19;
  CrestRows rows{columns, std::vector<double>(size_t(3) * (columns + 2), 5.0),
                 std::vector<double>(size_t(columns), 1.0), std::vector<double>(size_t(columns), 1.0)};
  CrestLists got(columns);
  for (SimdLevel level : levelsHere()) {
    EXPECT_EQ(strokeKernelsFor(level).thinSoftRow(rows.centre(), columns + 2, rows.gx.data(), rows.gy.data(), columns,
                                                  got.crests),
              columns)
        << simdLevelName(level);
    EXPECT_TRUE(sameCrests(got, thinSoftOnePixel(rows, rows.gx.data(), rows.gy.data()), columns));
  }
}

// The crossing cells of a row, in arrays of their own.
struct RowCells {
  std::vector<int32_t> column, value;
  std::vector<double> slopes;
  std::vector<float> numbers;
  ScribbleCells cells;
  explicit RowCells(int32_t count)
      : column(size_t(count) + 8), value(column.size()), slopes(column.size() * 2), numbers(column.size() * 5) {
    const size_t room = column.size();
    cells = ScribbleCells{column.data(), slopes.data(), slopes.data() + room, value.data(), numbers.data(),
                          {numbers.data() + room, numbers.data() + 2 * room, numbers.data() + 3 * room,
                           numbers.data() + 4 * room}};
  }
  bool sameAs(const RowCells& other, int32_t count) const {
    for (int32_t i = 0; i < count; ++i) {
      if (column[i] != other.column[i] || value[i] != other.value[i]) return false;
      for (int32_t k = 0; k < 5; ++k)
        if (std::memcmp(&numbers[k * column.size() + i], &other.numbers[k * column.size() + i], sizeof(float)) != 0)
          return false;
    }
    return true;
  }
};

// "scribble"'s row numbers at every vector width against the scalar level:
// directions all round the circle and far outside it (the scalar fallback),
// NaN and signed zeros; slopes of both signs through every plane
// combination and both depths; corners on, above and below each level.
TEST(ScribbleWidths, EveryWidthGivesTheScalarNumbers) {
  const StrokeKernels scalar = strokeKernelsFor(SIMD_SCALAR);
  uint32_t state = 11;
  for (int32_t count : {1, 7, 33, 257}) {
    std::vector<double> directions(static_cast<size_t>(count)), gx(directions.size()), gy(directions.size());
    for (int32_t j = 0; j < count; ++j) {
      directions[j] = (static_cast<double>(nextRandom(&state) % 20001) - 10000.0) * 0.000314159;
      gx[j] = (static_cast<double>(nextRandom(&state) % 20001) - 10000.0) * 0.0713;
      gy[j] = (static_cast<double>(nextRandom(&state) % 20001) - 10000.0) * 0.0291;
    }
    if (count > 5) directions[1] = 1e12, directions[2] = std::numeric_limits<double>::quiet_NaN(), directions[3] = -0.0;
    gx[0] = -0.0;
    for (int32_t angle : {0, 97, -250}) {
      ScribbleNumbers n;
      n.rotation = angle * 0.3333333 * 3.141592653 / 180.0;
      n.strengthScale = 100.0;
      n.strengthDivisor = angle == 97 ? 128.0 : 1.0;
      n.weight = angle == -250 ? -40.0 : 110.0;
      n.flatShare = (100.0 - n.weight) * 255.0;
      for (int32_t band = 0; band < 3; ++band)
        n.thresholds[band] = static_cast<float>(((band + 1) * 0.66666 - 1.0) * 3.141592653);
      std::vector<float> angles(directions.size()), bands(directions.size()), gotAngles(angles), gotBands(bands);
      scalar.scribbleTurn(directions.data(), count, n, angles.data(), bands.data());
      // Two rows of corners: the turned angles and, below, some of them on
      // the levels exactly.
      std::vector<float> below(angles), belowBands(bands);
      for (int32_t j = 0; j < count; j += 3) below[j] = n.thresholds[j % 3], belowBands[j] = static_cast<float>(j % 3);
      for (int32_t planes = 0; planes < 4; ++planes) {
        const double* x = planes & 1 ? gx.data() : nullptr;
        const double* y = planes & 2 ? gy.data() : nullptr;
        std::vector<int32_t> values(directions.size()), gotValues(values);
        scalar.scribbleStrength(x, y, count, n, values.data());
        for (SimdLevel level : levelsHere()) {
          const StrokeKernels kernels = strokeKernelsFor(level);
          SCOPED_TRACE(std::string(simdLevelName(level)) + " count " + std::to_string(count) + " angle " +
                       std::to_string(angle) + " planes " + std::to_string(planes));
          kernels.scribbleTurn(directions.data(), count, n, gotAngles.data(), gotBands.data());
          EXPECT_EQ(std::memcmp(gotAngles.data(), angles.data(), angles.size() * sizeof(float)), 0);
          EXPECT_EQ(gotBands, bands);
          kernels.scribbleStrength(x, y, count, n, gotValues.data());
          EXPECT_EQ(gotValues, values);
        }
      }
      if (count < 2) continue;
      const int32_t cellsWide = count - 1;
      const float* corners[4] = {angles.data(), angles.data() + 1, below.data(), below.data() + 1};
      const float* cornerBands[4] = {bands.data(), bands.data() + 1, belowBands.data(), belowBands.data() + 1};
      RowCells expected(cellsWide), got(cellsWide);
      const int32_t crossing =
          scalar.scribbleCrossings(corners, cornerBands, gx.data(), gy.data(), cellsWide, n, expected.cells);
      // The slopes travel with the cells: their strengths are those of
      // their columns.
      scalar.scribbleStrength(expected.cells.slopeX, expected.cells.slopeY, crossing, n, expected.cells.value);
      std::vector<int32_t> everyValue(directions.size());
      scalar.scribbleStrength(gx.data(), gy.data(), cellsWide, n, everyValue.data());
      for (int32_t i = 0; i < crossing; ++i) EXPECT_EQ(expected.cells.value[i], everyValue[expected.cells.column[i]]);
      std::vector<StrokeDot> expectedDots(size_t(2 * crossing + 2)), gotDots(expectedDots.size());
      const int32_t dotCount = scalar.scribbleDots(expected.cells, crossing, 37, 5, expectedDots.data());
      for (SimdLevel level : levelsHere()) {
        const StrokeKernels kernels = strokeKernelsFor(level);
        SCOPED_TRACE(std::string(simdLevelName(level)) + " count " + std::to_string(count));
        ASSERT_EQ(kernels.scribbleCrossings(corners, cornerBands, gx.data(), gy.data(), cellsWide, n, got.cells),
                  crossing);
        kernels.scribbleStrength(got.cells.slopeX, got.cells.slopeY, crossing, n, got.cells.value);
        EXPECT_TRUE(got.sameAs(expected, crossing));
        ASSERT_EQ(kernels.scribbleDots(expected.cells, crossing, 37, 5, gotDots.data()), dotCount);
        EXPECT_EQ(std::memcmp(gotDots.data(), expectedDots.data(), sizeof(StrokeDot) * size_t(dotCount)), 0);
      }
    }
  }
}

// Marching squares on one cell as a table of segments by case, each end
// the crossing on one side (top, left, right, bottom); 0 and 15 have none,
// the saddles 6 and 9 two.
int32_t cornerCase(const float a[4], float threshold) {
  int32_t index = 0;
  for (int32_t k = 0; k < 4; ++k) index += a[k] > threshold ? 1 << k : 0;
  return index;
}

std::vector<StrokeDot> tableContourDots(const float a[4], float threshold, int32_t x, int32_t y, int32_t value) {
  static const int8_t SEGMENTS[16][4] = {{-1, -1, -1, -1}, {0, 1, -1, -1}, {0, 2, -1, -1}, {1, 2, -1, -1},
                                         {3, 1, -1, -1},   {0, 3, -1, -1}, {0, 2, 3, 1},   {3, 2, -1, -1},
                                         {3, 2, -1, -1},   {0, 1, 3, 2},   {0, 3, -1, -1}, {3, 1, -1, -1},
                                         {1, 2, -1, -1},   {0, 2, -1, -1}, {0, 1, -1, -1}, {-1, -1, -1, -1}};
  const int32_t index = cornerCase(a, threshold);
  float b[4];
  for (int32_t k = 0; k < 4; ++k) b[k] = a[k] - threshold;
  // Corner pairs of the sides, and where on each the level lies.
  const int32_t ends[4][2] = {{0, 1}, {0, 2}, {1, 3}, {2, 3}};
  double t[4];
  for (int32_t side = 0; side < 4; ++side) {
    const float p = b[ends[side][0]], q = b[ends[side][1]];
    t[side] = p > q ? static_cast<double>(-p / (q - p)) : 1.0 - static_cast<double>(-q / (p - q));
  }
  const double across[4] = {t[0], 0.0, 1.0, t[3]}, down[4] = {0.0, t[1], t[2], 1.0};
  std::vector<StrokeDot> dots;
  for (int32_t k = 0; k < 4 && SEGMENTS[index][k] >= 0; k += 2) {
    const int32_t from = SEGMENTS[index][k], to = SEGMENTS[index][k + 1];
    const double dx = across[from] - across[to], dy = down[from] - down[to];
    dots.push_back(StrokeDot{static_cast<float>((across[from] + across[to]) / 2.0 + x),
                             static_cast<float>((down[from] + down[to]) / 2.0 + y),
                             static_cast<float>(std::sqrt(dy * dy + dx * dx) * value)});
  }
  return dots;
}

// Every corner pattern, saddles included, with corners on, just above and
// far from the level, gives at every width the dots of the table.
TEST(ScribbleWidths, ContourDotsFollowTheCaseTable) {
  const float levels[] = {0.0f, -1.25f, 2.0f};
  const float offsets[] = {0.5f, 1e-7f, 3.75f, 0.0f};
  for (SimdLevel level : levelsHere()) {
    const StrokeKernels kernels = strokeKernelsFor(level);
    uint32_t state = 5;
    for (float threshold : levels) {
      // One row of 37 cells, every case twice or more, each corner a
      // little or a lot above or below the level.
      const int32_t cells = 37;
      std::vector<float> top(size_t(cells) + 1), bottom(top.size());
      std::vector<float> cornerValues[4];
      RowCells row(cells);
      for (int32_t c = 0; c < cells; ++c) {
        const int32_t kase = c % 16;
        for (int32_t k = 0; k < 4; ++k) {
          const float offset = offsets[nextRandom(&state) % 4];
          const float corner = kase >> k & 1 ? threshold + (offset == 0.0f ? 1.0f : offset) : threshold - offset;
          cornerValues[k].push_back(corner);
        }
        row.cells.column[c] = c;
        row.cells.value[c] = static_cast<int32_t>(nextRandom(&state) % 300);
        row.cells.threshold[c] = threshold;
        for (int32_t k = 0; k < 4; ++k) row.cells.corner[k][c] = cornerValues[k][size_t(c)];
      }
      // Only crossing cells are listed for the dots. (A corner just above
      // a large level may round onto it and change the case.)
      std::vector<StrokeDot> expected;
      int32_t listed = 0, saddles = 0;
      for (int32_t c = 0; c < cells; ++c) {
        const float a[4] = {cornerValues[0][size_t(c)], cornerValues[1][size_t(c)], cornerValues[2][size_t(c)],
                            cornerValues[3][size_t(c)]};
        const int32_t kase = cornerCase(a, threshold);
        if (kase == 0 || kase == 15) continue;
        saddles += kase == 6 || kase == 9;
        for (const StrokeDot& dot : tableContourDots(a, threshold, c + 9, 4, row.cells.value[c]))
          expected.push_back(dot);
        row.cells.column[listed] = row.cells.column[c], row.cells.value[listed] = row.cells.value[c];
        row.cells.threshold[listed] = row.cells.threshold[c];
        for (int32_t k = 0; k < 4; ++k) row.cells.corner[k][listed] = row.cells.corner[k][c];
        ++listed;
      }
      EXPECT_GT(saddles, 1);
      std::vector<StrokeDot> got(size_t(2 * listed + 2));
      ASSERT_EQ(kernels.scribbleDots(row.cells, listed, 9, 4, got.data()), static_cast<int32_t>(expected.size()))
          << simdLevelName(level);
      EXPECT_EQ(std::memcmp(got.data(), expected.data(), sizeof(StrokeDot) * expected.size()), 0)
          << simdLevelName(level) << " level " << threshold;
    }
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
std::vector<StrokeDot> dotsOfRow(int32_t row, int32_t tileTop, int32_t width, int32_t extra) {
  std::vector<StrokeDot> dots;
  uint32_t state = static_cast<uint32_t>(row * 977 + 3);
  for (int32_t i = 0; i < 40 + extra; ++i) {
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
      std::vector<StrokeDot> dots = dotsOfRow(row, tileTop, width, row % 3);
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
        // A row's dots as one list (four at a time and a tail), or, on
        // some rows, one by one.
        for (int32_t row = begin; row < end; ++row) {
          const std::vector<StrokeDot> dots = dotsOfRow(row, tileTop, width, row % 3);
          if (row % 5 == 0)
            for (const StrokeDot& dot : dots) drawBandDot(band, dot.x, dot.y, dot.value);
          else
            drawBandDots(band, dots.data(), static_cast<int32_t>(dots.size()));
        }
        __atomic_add_fetch(&bandCount, 1, __ATOMIC_RELAXED);
      });
      EXPECT_GT(bandCount, 2);  // the rows do cross seams
      EXPECT_EQ(banded.bytes(), expected) << "threads " << threads << " tile top " << tileTop;
    }
  }
  forceRenderThreads(platformCoreCount());
}

// Contour dots drawn through a band keep the whole plane's numbers; a
// saddle cell gives two.
TEST(StrokeBands, ContourDotsThroughABandEqualTheWholePlane) {
  BandPlane whole(12, 12, 0), banded(12, 12, 0);
  std::vector<StrokeDot> spill;
  StrokeBand band{&banded.session.strokePlane, 4, 8, &spill};
  for (int32_t y = 2; y < 9; ++y) {
    const float saddle = y % 2 ? 1.0f : -1.0f;
    contourCell(1.0f, -0.5f, -1.0f, 0.25f * saddle, 0.0f, 3, y, &whole.session.strokePlane, 180);
    StrokeDot dots[2];
    const int32_t count = contourDots(1.0f, -0.5f, -1.0f, 0.25f * saddle, 0.0f, 3, y, 180, dots);
    EXPECT_EQ(count, y % 2 ? 2 : 1);
    for (int32_t k = 0; k < count; ++k) drawBandDot(&band, dots[k].x, dots[k].y, dots[k].value);
  }
  EXPECT_FALSE(spill.empty());  // the rows outside 4 .. 7 wait
  for (const StrokeDot& dot : spill) drawStrokeDot(dot.x, dot.y, &banded.session.strokePlane, dot.value);
  EXPECT_EQ(banded.bytes(), whole.bytes());
}

// A dot inside the plane raises its four cells at once; each must come out
// as the one-cell raise gives it: the share if larger than the cell, at
// most 255, truncated. Values of every sign and size, NaN and infinity,
// drawn over cells already raised.
TEST(StrokeBands, DotsRaiseEachCellAsOneAtATime) {
  const int32_t side = 16;
  BandPlane drawn(side, side, 0);
  std::vector<float> expected(size_t(side) * side, 0.0f);
  auto raise = [&](int32_t x, int32_t y, float share) {
    float& cell = expected[size_t(y) * side + x];
    float v = share > cell ? share : cell;
    if (v > 255.0f) v = 255.0f;
    cell = static_cast<float>(static_cast<int32_t>(v));
  };
  uint32_t state = 29;
  const float odd[] = {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(), -1e30f,
                       1e30f, -0.0f, 255.9f, 0.99f};
  for (int32_t i = 0; i < 3000; ++i) {
    const float x = static_cast<float>(nextRandom(&state) % 1400) * 0.01f;
    const float y = static_cast<float>(nextRandom(&state) % 1400) * 0.01f;
    const float value = i % 10 == 0 ? odd[(i / 10) % 7] : static_cast<float>(nextRandom(&state) % 700) * 0.5f - 50.0f;
    drawStrokeDot(x, y, &drawn.session.strokePlane, value);
    const int32_t ix = static_cast<int32_t>(x), iy = static_cast<int32_t>(y);
    const float fx = x - static_cast<float>(ix), fy = y - static_cast<float>(iy);
    const float left = value - value * fx, right = value * fx;
    raise(ix, iy, left - left * fy);
    raise(ix + 1, iy, right - right * fy);
    raise(ix, iy + 1, left * fy);
    raise(ix + 1, iy + 1, right * fy);
  }
  const std::vector<uint8_t> bytes = drawn.bytes();
  for (size_t i = 0; i < bytes.size(); ++i) ASSERT_EQ(bytes[i], expected[i]) << "cell " << i;
}

}  // namespace
