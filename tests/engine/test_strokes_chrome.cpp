// The pieces of the styles that stand alone: the dot, the contour cell, the
// chrome ring and its lookups, the plane pass's mapping.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>

#include "session/session.h"
#include "engine/styles.h"

namespace {

struct Plane {
  PixelMap map{};
  Plane(int32_t w, int32_t h) {
    pixelMapInit(&map, nullptr, nullptr);
    pixelMapCreate(&map, w, h, PIXEL_BYTE, 0);
    pixelMapFillBytes(&map, 0, 0);
  }
  ~Plane() { pixelMapFree(&map); }
  int at(int x, int y) const { return getByte(x, y, &map, 0); }
  int sum() const {
    int s = 0;
    for (int y = 0; y < map.baseHeight; ++y)
      for (int x = 0; x < map.baseWidth; ++x) s += at(x, y);
    return s;
  }
  int nonZero() const {
    int n = 0;
    for (int y = 0; y < map.baseHeight; ++y)
      for (int x = 0; x < map.baseWidth; ++x) n += at(x, y) != 0;
    return n;
  }
};

TEST(StrokeDot, SplitsBilinearlyAndCombinesByMaximum) {
  Plane p(8, 8);
  drawStrokeDot(2.25f, 3.5f, &p.map, 200.0f);
  EXPECT_EQ(p.at(2, 3), 75);  // 200 * 0.75 * 0.5
  EXPECT_EQ(p.at(3, 3), 25);
  EXPECT_EQ(p.at(2, 4), 75);
  EXPECT_EQ(p.at(3, 4), 25);
  // A weaker dot on top changes nothing; a stronger one raises, capped at 255.
  drawStrokeDot(2.25f, 3.5f, &p.map, 100.0f);
  EXPECT_EQ(p.at(2, 3), 75);
  drawStrokeDot(2.0f, 3.0f, &p.map, 1000.0f);
  EXPECT_EQ(p.at(2, 3), 255);
  EXPECT_EQ(p.at(3, 3), 25);
  // A negative value leaves the plane as it was.
  int before = p.sum();
  drawStrokeDot(5.5f, 5.5f, &p.map, -80.0f);
  EXPECT_EQ(p.sum(), before);
}

TEST(StrokeDot, NegativeCoordinatesDropOnlyTheCellsOutside) {
  Plane p(4, 4);
  // ix = -1 for x = -0.5: the cells at -1 are dropped, the cells at 0 keep
  // their share (no clamping of the write onto the border).
  drawStrokeDot(-0.5f, 1.0f, &p.map, 200.0f);
  EXPECT_EQ(p.at(0, 1), 100);
  EXPECT_EQ(p.nonZero(), 1);
  // Beyond the right and bottom edges nothing is written either.
  drawStrokeDot(3.5f, 3.5f, &p.map, 200.0f);
  EXPECT_EQ(p.at(3, 3), 50);
  EXPECT_EQ(p.nonZero(), 2);
  // Wild coordinates are ignored, not converted.
  drawStrokeDot(1e30f, -1e30f, &p.map, 255.0f);
  drawStrokeDot(std::numeric_limits<float>::quiet_NaN(), 1.0f, &p.map, 255.0f);
  drawStrokeDot(-3e9f, 2.0f, &p.map, 255.0f);
  EXPECT_EQ(p.nonZero(), 2);
}

TEST(ContourCell, FlatOrOneSidedCellsDrawNothing) {
  Plane p(8, 8);
  contourCell(0.5f, 0.5f, 0.5f, 0.5f, 0.5f, 3, 3, &p.map, 255);  // equal to the level: not above
  contourCell(0.0f, 0.0f, 0.0f, 0.0f, 1.0f, 3, 3, &p.map, 255);
  contourCell(2.0f, 2.0f, 2.0f, 2.0f, 1.0f, 3, 3, &p.map, 255);
  EXPECT_EQ(p.nonZero(), 0);
}

TEST(ContourCell, OneCornerAboveGivesOneDotAtTheSegmentsMiddle) {
  Plane p(8, 8);
  // Corner 00 above by 1, the others below by 1: the crossings lie half way
  // along the top and the left side, the segment from (0.5, 0) to (0, 0.5);
  // its middle is (0.25, 0.25), its length sqrt(0.5).
  contourCell(1.0f, -1.0f, -1.0f, -1.0f, 0.0f, 2, 2, &p.map, 200);
  float value = static_cast<float>(std::sqrt(0.5) * 200.0);
  EXPECT_EQ(p.at(2, 2), static_cast<int>(value * 0.75f * 0.75f));
  EXPECT_EQ(p.at(3, 3), static_cast<int>(value * 0.25f * 0.25f));
  EXPECT_EQ(p.nonZero(), 4);
}

TEST(ContourCell, SaddleCasesDrawTwoDots) {
  // Case 6 (01 and 10 above) and case 9 (00 and 11 above): two segments each,
  // at opposite corners of the cell, so their dots land in different cells.
  for (int diagonal = 0; diagonal < 2; ++diagonal) {
    Plane p(16, 16);
    if (diagonal == 0)
      contourCell(-1.0f, 1.0f, 1.0f, -1.0f, 0.0f, 4, 4, &p.map, 250);
    else
      contourCell(1.0f, -1.0f, -1.0f, 1.0f, 0.0f, 4, 4, &p.map, 250);
    // Each dot sits a quarter in from a corner: one near (4, 4) side, one
    // near (5, 5); both have the length sqrt(0.5).
    int strong = 0;
    for (int y = 0; y < 16; ++y)
      for (int x = 0; x < 16; ++x) strong += p.at(x, y) >= 99;
    EXPECT_EQ(strong, 2) << "case " << (diagonal == 0 ? 6 : 9);
  }
}

TEST(ChromeTable, WeightZeroFigures) {
  uint8_t t[361];
  buildChromeTable(0, 0, 0, t);  // Phong: pow(x, 0) = 1
  for (int i = 0; i < 361; ++i) ASSERT_EQ(t[i], 255) << i;
  buildChromeTable(1, 0, 0, t);  // sine: phase 0, (0 + 1) / 2
  for (int i = 0; i < 361; ++i) ASSERT_EQ(t[i], 127) << i;
  buildChromeTable(2, 0, 0, t);  // puddles
  for (int i = 0; i < 361; ++i) ASSERT_EQ(t[i], 255) << i;
  buildChromeTable(4, 0, 0, t);  // spike
  for (int i = 0; i < 361; ++i) ASSERT_EQ(t[i], 255) << i;
  buildChromeTable(5, 0, 0, t);  // raw
  for (int i = 0; i < 361; ++i) ASSERT_EQ(t[i], 0) << i;
  buildChromeTable(3, 0, 0, t);  // bumps: 1 - u^2
  EXPECT_EQ(t[180], 255);
  EXPECT_EQ(t[270], 191);  // u = 0.5: 0.75 * 255 = 191.25
  EXPECT_LE(t[0], 1);
  EXPECT_LE(t[360], 1);
}

TEST(ChromeTable, AngleTurnsTheRing) {
  uint8_t straight[361], turned[361];
  buildChromeTable(5, 0, 100, straight);  // raw: a ramp, every slot distinct enough
  // angle 0 gives chromeAngle 180: slot 180 of the sequence lands at 360,
  // and slot 181 wraps round to 0.
  buildChromeTable(5, 180, 100, turned);
  for (int i = 0; i < 361; ++i) ASSERT_EQ(turned[(180 + i) % 361], straight[i]) << i;
  EXPECT_EQ(turned[360], straight[180]);
  EXPECT_EQ(turned[0], straight[181]);
  // A negative turn (a script's angle below -180) is the same place on the ring.
  buildChromeTable(5, -100, 100, turned);
  for (int i = 0; i < 361; ++i) ASSERT_EQ(turned[(261 + i) % 361], straight[i]) << i;
}

TEST(ChromeTable, CurvesOutsideTheEnumerationGiveAZeroTable) {
  uint8_t t[361];
  for (int style : {-1, 6, 7, 1000000}) {
    std::memset(t, 99, sizeof t);
    buildChromeTable(style, 180, 75, t);
    for (int i = 0; i < 361; ++i) ASSERT_EQ(t[i], 0) << style;
  }
  // Extreme weights keep every curve defined.
  for (int style = 0; style < 6; ++style)
    for (int w : {-32768, -1, 32767}) buildChromeTable(style, 359, w, t);
}

TEST(ChromeShade, SixteenBitInterpolationAndItsWrap) {
  uint8_t t[361];
  for (int i = 0; i < 361; ++i) t[i] = static_cast<uint8_t>(i % 200);
  t[0] = 7;
  t[1] = 100;
  t[360] = 200 - 40;
  EXPECT_EQ(chromeShade(t, 181, true), t[181]);
  EXPECT_EQ(chromeShade(t, 180 * 128, false), t[180] * 128);
  EXPECT_EQ(chromeShade(t, 180 * 128 + 32, false), t[180] * 96 + t[181] * 32);
  // At 360 * 128 exactly: j = 360, f = 0, nothing of the next place.
  EXPECT_EQ(chromeShade(t, 360 * 128, false), t[360] * 128);
  // Beyond it the next place is slot 1, not slot 0.
  EXPECT_EQ(chromeShade(t, 360 * 128 + 64, false), t[360] * 64 + t[1] * 64);
  // Indices outside the ring are held at its ends.
  EXPECT_EQ(chromeShade(t, -5, true), t[0]);
  EXPECT_EQ(chromeShade(t, 9999, true), t[360]);
  EXPECT_EQ(chromeShade(t, 99999, false), t[360] + t[1] * 127);
  EXPECT_EQ(chromeShade(t, -5, false), t[0] * 128);
}

TEST(PlaneEdgeValue, ToneCurveFlipAndSixteenBitWidening) {
  EXPECT_EQ(planeEdgeValue(128, false, true), 190);
  EXPECT_EQ(planeEdgeValue(0, false, true), 0);
  EXPECT_EQ(planeEdgeValue(0, true, true), 255);  // an empty plane flipped: maxValue
  EXPECT_EQ(planeEdgeValue(0, true, false), 32768);
  EXPECT_EQ(planeEdgeValue(100, true, true), 155);  // flip bypasses the curve
  // 16 bits: 255 is 32768 with or without the curve; 254 through the curve is 255 too.
  EXPECT_EQ(planeEdgeValue(255, false, false), 32768);
  EXPECT_EQ(planeEdgeValue(255, true, false), 0);
  EXPECT_EQ(planeEdgeValue(254, false, false), 32768);
  EXPECT_EQ(planeEdgeValue(254, true, false), 128);  // v = 1: (1 << 7) | 0
  EXPECT_EQ(planeEdgeValue(128, false, false), (190 << 7) | 95);
  // The curve rises and never falls.
  for (int a = 1; a < 256; ++a) ASSERT_GE(TONE_CURVE[a], TONE_CURVE[a - 1]);
}

}  // namespace
