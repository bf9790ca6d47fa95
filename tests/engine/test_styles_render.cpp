// Every style through the dispatcher on hand-made tiles: flat pictures,
// weight 0, grey against RGB, and script values far outside their ranges.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>

#include "engine/edge_field.h"
#include "engine/styles.h"
#include "render_rig.h"

namespace {

constexpr int32_t CORE = 48;

// A picture with edges in all directions: a bright disc on a ramp.
int32_t discOnRamp(int32_t x, int32_t y) {
  int32_t dx = x - 20, dy = y - 26;
  return dx * dx + dy * dy < 14 * 14 ? 230 : 20 + ((x + 2 * y) & 63);
}

bool isTwoPass(int32_t style) { return style == 3 || style == 5; }

// Renders a style as the walk would, the two-pass styles in both passes.
void renderStyleFully(RenderRig& rig) {
  rig.render();
  if (isTwoPass(rig.params.edgeStyle)) rig.renderPlane();
}

TEST(FlatPictures, DrawNothingInAnyStyle) {
  for (int32_t depth : {8, 16})
    for (int32_t style = 1; style <= 13; ++style) {
      RenderRig rig(CORE, 3, depth);
      rig.set(style, 20, 60);
      rig.makeStrokePlane();
      rig.fillGrey([](int32_t, int32_t) { return 0; });  // black, so halo's Y is 0 too
      rig.fillOutput(77);
      renderStyleFully(rig);
      if (isTwoPass(style)) {
        for (uint8_t v : rig.planeCopy()) ASSERT_EQ(v, 0) << "style " << style;
      }
      std::vector<int32_t> out = rig.outputCopy();
      // Chrome shades the flat direction (index 180) by its curve: one
      // colour everywhere. Every other style gives E = 0: black.
      int32_t expected = style == 4 ? out[0] : 0;
      for (int32_t v : out) ASSERT_EQ(v, expected) << "style " << style << " depth " << depth;
    }
}

// "halo" on a flat picture: no slope, so E = k * Y with k = weight / 40 in
// single precision, limited to maxValue.
int32_t flatHalo(int32_t tweaker, int32_t Y) {
  float k = static_cast<float>(tweakerWeight(tweaker) / 40.0);
  double e = k * static_cast<double>(Y);
  return e > 255.0 ? 255 : static_cast<int32_t>(e);
}

TEST(FlatPictures, HaloOnWhiteIsTheWeightTimesBrightness) {
  for (int32_t tweaker : {50, 10}) {
    RenderRig rig(CORE, 3, 8);
    rig.set(6, 20, tweaker);
    rig.fillGrey([](int32_t, int32_t) { return 255; });
    rig.render();
    int32_t expected = flatHalo(tweaker, 255);
    EXPECT_EQ(expected, tweaker == 50 ? 255 : 63);  // tweaker 10 is weight 10: 0.11 rounds below
    for (int32_t v : rig.outputCopy()) ASSERT_EQ(v, expected) << tweaker;
  }
}

TEST(WeightZero, GainStylesGoBlack) {
  for (int32_t style = 1; style <= 13; ++style) {
    if (style == 4 || style == 5) continue;  // the weight bends chrome's curve; scribble below
    RenderRig rig(CORE, 3, 8);
    rig.set(style, 20, 0);
    rig.makeStrokePlane();
    rig.fillGrey(discOnRamp);
    rig.render();
    if (style == 3) {
      for (uint8_t v : rig.planeCopy()) ASSERT_EQ(v, 0) << "a dot of value 0 cannot raise the plane";
    } else {
      for (int32_t v : rig.outputCopy()) ASSERT_EQ(v, 0) << "style " << style;
    }
  }
}

TEST(WeightZero, ScribbleStrokesIgnoreTheSlopesStrength) {
  // Halving the picture halves every slope exactly but keeps its direction:
  // at weight 0 every stroke has value 255, so the strokes stay the same;
  // at weight 100 they follow the slope and change.
  auto strokes = [](int32_t tweaker, int32_t divisor) {
    RenderRig rig(CORE, 3, 8);
    rig.set(5, 20, tweaker);
    rig.makeStrokePlane();
    rig.fillGrey([divisor](int32_t x, int32_t y) { return (discOnRamp(x, y) & ~1) / divisor; });
    rig.render();
    return rig.planeCopy();
  };
  std::vector<uint8_t> full = strokes(0, 1), half = strokes(0, 2);
  int32_t drawn = 0;
  for (uint8_t v : full) drawn += v != 0;
  EXPECT_GT(drawn, 0);
  EXPECT_EQ(full, half);
  EXPECT_NE(strokes(71, 1), strokes(71, 2));  // tweaker 71: weight above 100
}

TEST(Styles, TangledSubModesCombineTroughsAndRidges) {
  // racetrack is the larger, checker the smaller, zero the difference of
  // tangled's troughs and antitangled's ridges, pixel by pixel.
  auto run = [](int32_t style) {
    RenderRig rig(CORE, 3, 8);
    rig.set(style, 20, 100);
    rig.fillGrey(discOnRamp);
    rig.render();
    return rig.outputCopy();
  };
  std::vector<int32_t> A = run(7), B = run(11), max = run(9), diff = run(10), min = run(12);
  int32_t both = 0;
  for (size_t i = 0; i < A.size(); ++i) {
    ASSERT_EQ(max[i], std::max(A[i], B[i])) << i;
    ASSERT_EQ(min[i], std::min(A[i], B[i])) << i;
    // Each is limited to 255 only after combining: compare below the limit.
    if (A[i] < 255 && B[i] < 255) {
      ASSERT_EQ(diff[i], std::abs(A[i] - B[i])) << i;
    }
    both += A[i] > 0 && B[i] > 0;
  }
  EXPECT_GT(both, 0);
}

TEST(ThinHard, OneOfTwoEqualCrestSamplesSurvives) {
  // A vertical step between columns 24 and 25: the two magnitudes there are
  // exactly equal. The test's ties are one-sided, so the line is one pixel
  // wide, at the left one of the pair.
  RenderRig rig(CORE, 3, 8);
  rig.set(2, 20, 60);
  rig.fillGrey([](int32_t x, int32_t) { return x <= 24 ? 0 : 200; });
  rig.render();
  for (int32_t y = 0; y < CORE; ++y)
    for (int32_t x = 0; x < CORE; ++x) ASSERT_EQ(rig.outputAt(x, y, 0) != 0, x == 24) << x << "," << y;
}

TEST(GreyAndRgb, SameFieldFromAGreyPicture) {
  // The three selectors and the luminance read one field from a grey tile:
  // the luminance weights add up to exactly 1000.
  for (int32_t depth : {8, 16}) {
    RenderRig rig(CORE, 3, depth);
    int32_t scale = depth == 8 ? 1 : 128;
    rig.fillGrey([scale](int32_t x, int32_t y) { return ((x * 37 + y * 91) % 256) * scale; });
    int32_t t = rig.tile.baseWidth, s1 = t - 40, s2 = t - 80;
    std::vector<double> source(static_cast<size_t>(t) * t), down(static_cast<size_t>(s1) * s1),
        across(down.size()), gx[2], gy[2];
    EdgeKernels kernels;
    buildEdgeKernels(2.0, &kernels);
    uint16_t selectors[2] = {0, SOURCE_LUMINANCE};
    for (int i = 0; i < 2; ++i) {
      gx[i].resize(static_cast<size_t>(s2) * s2);
      gy[i].resize(gx[i].size());
      computeEdgeField(selectors[i], kernels, source.data(), down.data(), across.data(), gx[i].data(), gy[i].data(),
                       &rig.tile);
    }
    EXPECT_EQ(gx[0], gx[1]) << depth;
    EXPECT_EQ(gy[0], gy[1]) << depth;
  }
}

TEST(GreyAndRgb, SameStrokesFromAGreyPicture) {
  // An 8-bit grey image reads channel 0, RGB the luminance: the strokes of
  // the two-pass styles must not tell them apart.
  for (int32_t style : {3, 5}) {
    std::vector<uint8_t> planes[2];
    for (int32_t k = 0; k < 2; ++k) {
      RenderRig rig(CORE, k == 0 ? 1 : 3, 8);
      rig.set(style, 20, 80);
      rig.makeStrokePlane();
      rig.fillGrey(discOnRamp);
      rig.render();
      planes[k] = rig.planeCopy();
    }
    EXPECT_EQ(planes[0], planes[1]) << "style " << style;
  }
}

// Script values far outside their ranges: no crash, nothing out of range.
TEST(OutOfRange, StyleNumbersOutsideTheEnumerationRenderNothing) {
  for (int32_t style : {0, -1, 14, 65536 + 1, INT_MIN + 1, INT_MAX}) {
    RenderRig rig(CORE, 3, 8);
    rig.set(style);
    rig.fillGrey(discOnRamp);
    rig.fillOutput(123);
    rig.render();
    for (int32_t v : rig.outputCopy()) ASSERT_EQ(v, 123) << "style " << style;
  }
}

TEST(OutOfRange, WildParametersKeepEveryStyleInBounds) {
  struct Wild {
    int32_t source, chromeStyle, extent, angle, smoothing, tweaker, removeNoise, glue;
  };
  const Wild cases[] = {
      {0, 0, 0, -1000, -5, -50, 1, 1},           {9, 7, 4, 1000000, 1000, 1000, 0, 1},
      {-7, -3, -1, INT_MIN, INT_MAX, 65535, 2, 62}, {70000, 100, 3, INT_MAX, INT_MIN, INT_MAX, 1, 99},
      {3, 6, 1, -181, 0, 100, 1, 0},             {4, 1, 2, 359, 2000000000, -2000000000, 1, -3},
  };
  for (const Wild& w : cases)
    for (int32_t depth : {8, 16})
      for (int32_t style = 1; style <= 13; ++style) {
        RenderRig rig(CORE, 3, depth);
        rig.params.source = w.source;
        rig.params.chromeStyle = w.chromeStyle;
        rig.params.edgeExtent = w.extent;
        rig.params.angle = w.angle;
        rig.params.removeNoise = w.removeNoise;
        rig.params.glue = w.glue;
        rig.set(style, w.smoothing, w.tweaker);
        rig.makeStrokePlane();
        int32_t scale = depth == 8 ? 1 : 128;
        rig.fillGrey([scale](int32_t x, int32_t y) { return discOnRamp(x, y) * scale; });
        renderStyleFully(rig);
        ASSERT_EQ(rig.result, 0);
        for (int32_t v : rig.outputCopy())
          ASSERT_LE(v, depth == 8 ? 255 : 32768) << "style " << style << " source " << w.source;
      }
}

TEST(OutOfRange, NeitherPlaneBehavesAsAFlatField) {
  // Extent 0 or 4 leaves both planes out; each style then sees no slope.
  for (int32_t extent : {0, 4})
    for (int32_t style = 1; style <= 13; ++style) {
      if (style == 6) continue;  // halo: the brightness alone, tested below
      RenderRig rig(CORE, 3, 8);
      rig.params.edgeExtent = extent;
      rig.set(style, 20, 80);
      rig.makeStrokePlane();
      rig.fillGrey(discOnRamp);
      renderStyleFully(rig);
      std::vector<int32_t> out = rig.outputCopy();
      for (int32_t v : out) ASSERT_EQ(v, out[0]) << "style " << style << " extent " << extent;
    }
  RenderRig halo(CORE, 3, 8);
  halo.params.edgeExtent = 0;
  halo.set(6, 20, 10);
  halo.fillGrey([](int32_t, int32_t) { return 200; });
  halo.render();
  for (int32_t v : halo.outputCopy()) ASSERT_EQ(v, flatHalo(10, 200));
}

TEST(PlanePass, EmptyPlaneGivesTheRampsEnds) {
  for (int32_t depth : {8, 16})
    for (int32_t flip = 0; flip < 2; ++flip) {
      RenderRig rig(CORE, 3, depth);
      rig.params.flip = flip;
      rig.params.colorize = 1;
      rig.record.backColor[0] = 10, rig.record.backColor[1] = 20, rig.record.backColor[2] = 30;
      rig.record.foreColor[0] = 250, rig.record.foreColor[1] = 240, rig.record.foreColor[2] = 230;
      rig.set(3);
      rig.makeStrokePlane();
      rig.fillGrey([](int32_t x, int32_t y) { return (x * y) & 255; });
      rig.renderPlane();
      uint8_t ramp[256][4];
      buildColorRamp(rig.record.backColor, rig.record.foreColor, ramp);
      const uint8_t* end = ramp[flip ? 255 : 0];
      for (int32_t y = 0; y < CORE; ++y)
        for (int32_t x = 0; x < CORE; ++x)
          for (int32_t k = 0; k < 3; ++k)
            ASSERT_EQ(rig.outputAt(x, y, k), depth == 8 ? end[k] : end[k] * 128) << flip;
    }
}

TEST(PlanePass, ReadsThePlaneAtTheTilesOffset) {
  RenderRig rig(CORE, 3, 8);
  rig.set(5);
  pixelMapCreate(&rig.session.strokePlane, 3 * CORE, 2 * CORE, PIXEL_BYTE, 0);
  pixelMapFillBytes(&rig.session.strokePlane, 0, 0);
  rig.session.tileLeft = 2 * CORE;
  rig.session.tileTop = CORE;
  setByte(2 * CORE + 5, CORE + 7, &rig.session.strokePlane, 0, 128);
  rig.fillGrey([](int32_t, int32_t) { return 0; });
  rig.renderPlane();
  EXPECT_EQ(rig.outputAt(5, 7, 0), 190);
  EXPECT_EQ(rig.outputAt(5, 7, 2), 190);
  EXPECT_EQ(rig.outputAt(6, 7, 0), 0);
}

}  // namespace
