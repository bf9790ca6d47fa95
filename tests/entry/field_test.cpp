// The edge field: taps, their reach, and the field of simple pictures.
#include <gtest/gtest.h>

#include <vector>

#include "engine/edge_field.h"
#include "engine/render.h"
#include "session/session.h"
#include "image/pixel_map.h"

namespace {

TEST(Kernels, TapCountFollowsSigma) {
  EdgeKernels k;
  buildEdgeKernels(0.2, &k);
  EXPECT_EQ(k.tapCount, 2);  // taps 0 and 1 always exist
  buildEdgeKernels(2.0, &k);
  EXPECT_EQ(k.tapCount, 7);
  buildEdgeKernels(6.0, &k);
  EXPECT_EQ(k.tapCount, 20);
  buildEdgeKernels(10.0, &k);
  EXPECT_EQ(k.tapCount, 20);
  for (int32_t i = 1; i < k.tapCount; ++i) EXPECT_LT(k.slopeTaps[i], 0.0) << i;
  // The smoothing taps carry the two-dimensional normalisation: a larger
  // sigma lowers the whole field.
  EdgeKernels narrow;
  buildEdgeKernels(1.0, &narrow);
  EXPECT_GT(narrow.smoothTaps[0], k.smoothTaps[0]);
}

TEST(Weight, TweakerActsOnACurve) {
  EXPECT_EQ(tweakerWeight(0), 0);
  EXPECT_EQ(tweakerWeight(50), 75);
  EXPECT_EQ(tweakerWeight(100), 200);
}

TEST(Selector, GreyscaleReadsChannelZeroOnlyOnEightBitGrey) {
  EXPECT_EQ(sourceSelectorFor(0, 1), 0);
  EXPECT_EQ(sourceSelectorFor(0, 3), SOURCE_LUMINANCE);
  EXPECT_EQ(sourceSelectorFor(0, 10), SOURCE_LUMINANCE);
  EXPECT_EQ(sourceSelectorFor(1, 3), 0);
  EXPECT_EQ(sourceSelectorFor(3, 3), 2);
  EXPECT_EQ(sourceSelectorFor(-1, 3), SOURCE_LUMINANCE);  // out of range: a defined channel
  EXPECT_EQ(sourceSelectorFor(8, 3), SOURCE_LUMINANCE);
}

struct Field {
  std::vector<double> source, down, across, gx, gy;
  explicit Field(int32_t t)
      : source(size_t(t) * t), down(size_t(t - 40) * (t - 40)), across(down.size()), gx(size_t(t - 80) * (t - 80)),
        gy(gx.size()) {}
};

void fillTile(PixelMap* tile, int32_t format, int32_t (*value)(int32_t x, int32_t y)) {
  pixelMapInit(tile, nullptr, nullptr);
  ASSERT_TRUE(pixelMapCreate(tile, 90, 90, format, 0));
  for (int32_t y = 0; y < 90; ++y)
    for (int32_t x = 0; x < 90; ++x) {
      int32_t v = value(x, y);
      if (format == PIXEL_RGBA8)
        setBytes4(x, y, tile, 0, 255, v, v, v);
      else
        setWords4(x, y, tile, 0, v * 128, v * 128, v * 128, 32768);
    }
}

TEST(Field, FlatTileGivesExactZero) {
  PixelMap tile;
  fillTile(&tile, PIXEL_RGBA8, [](int32_t, int32_t) { return 123; });
  for (double sigma : {0.2, 2.0, 10.0}) {
    EdgeKernels k;
    buildEdgeKernels(sigma, &k);
    Field f(90);
    computeEdgeField(SOURCE_LUMINANCE, k, f.source.data(), f.down.data(), f.across.data(), f.gx.data(), f.gy.data(),
                     &tile);
    for (size_t i = 0; i < f.gx.size(); ++i) {
      ASSERT_EQ(f.gx[i], 0.0);
      ASSERT_EQ(f.gy[i], 0.0);
    }
  }
  pixelMapFree(&tile);
}

TEST(Field, SlopesPointUphillAndScaleWithDepth) {
  PixelMap eight, sixteen;
  fillTile(&eight, PIXEL_RGBA8, [](int32_t x, int32_t) { return x; });
  fillTile(&sixteen, PIXEL_RGBA16, [](int32_t x, int32_t) { return x; });
  EdgeKernels k;
  buildEdgeKernels(0.2, &k);
  Field a(90), b(90);
  computeEdgeField(0, k, a.source.data(), a.down.data(), a.across.data(), a.gx.data(), a.gy.data(), &eight);
  computeEdgeField(0, k, b.source.data(), b.down.data(), b.across.data(), b.gx.data(), b.gy.data(), &sixteen);
  // Brightness rising to the right: gradientX positive, gradientY zero. With
  // sigma 0.2 the slope is the plain difference of the two neighbours times
  // D[1] applied to the centre-tap smoothing.
  for (size_t i = 0; i < a.gx.size(); ++i) {
    double c = static_cast<double>(i % 10);  // the gradient planes are 10 wide
    double expected = 0.0 + ((c + 39.0) * k.smoothTaps[0] - (c + 41.0) * k.smoothTaps[0]) * k.slopeTaps[1];
    ASSERT_EQ(a.gx[i], expected);
    ASSERT_GT(a.gx[i], 0.0);
    ASSERT_EQ(a.gy[i], 0.0);
    ASSERT_DOUBLE_EQ(b.gx[i], 128.0 * a.gx[i]);
  }
  pixelMapFree(&eight);
  pixelMapFree(&sixteen);
}

}  // namespace
