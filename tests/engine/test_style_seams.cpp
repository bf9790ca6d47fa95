// Tile seams, end to end: the plug-in module renders the same picture
// twice, once with the filter rectangle at the picture's corner and once
// moved by (37, 53), so that the 256-pixel tile grid falls elsewhere. Wherever
// a pixel's neighbourhood lies inside both rectangles the two results must
// agree exactly; strokes that cross tile borders included.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "pihost/host_image.h"
#include "pihost/host_options.h"
#include "pihost/host_session.h"
#include "pihost/plugin_module.h"

namespace {

constexpr int32_t WIDTH = 620, HEIGHT = 600;
// The stroke styles' picture: large enough that the compared part lies in
// 512..1023 in both renders, see StrokeSeams.
constexpr int32_t STROKE_SIDE = 1060;
// The field's reach (41) and a little for the dots of the stroke styles,
// which land next to the pixel whose crest they stand for.
constexpr int32_t REACH = 41 + 3;

// Shapes with edges in every direction, soft gradients and fine texture.
HostImage makePicture(int32_t colorPlanes, int32_t depth, int32_t width = WIDTH, int32_t height = HEIGHT) {
  HostImage image;
  hostImageAllocate(&image, width, height, colorPlanes, false, depth, 0);
  const int32_t scale = depth == 16 ? 128 : 1;
  for (int32_t y = 0; y < height; ++y)
    for (int32_t x = 0; x < width; ++x) {
      int32_t dx = x - 300, dy = y - 280;
      int32_t ring = ((dx * dx + dy * dy) / 900) & 1 ? 200 : 40;
      int32_t texture = ((x * 7 + y * 13) ^ (x * y)) & 31;
      int32_t stripes = (x / 23 + y / 31) & 1 ? 30 : 0;
      for (int32_t k = 0; k < colorPlanes; ++k) {
        int32_t v = ring + texture + stripes - 20 * k;
        v = v < 0 ? 0 : (v > 255 ? 255 : v);
        setHostSample(&image, x, y, k, static_cast<uint16_t>(v * scale));
      }
    }
  return image;
}

struct Module {
  PluginModule module;
  bool loaded = false;
  std::string error;
  Module() { loaded = loadPluginModule(ML_PLUGIN_MODULE, &module, &error); }
  ~Module() {
    if (loaded) unloadPluginModule(&module);
  }
};

Module& plugin() {
  static Module m;
  return m;
}

// Runs the filter on `picture` inside the rectangle L, T, R, B; gives the
// filtered picture.
HostImage runFilter(const HostImage& picture, const std::string& style, const std::string& selection,
                    const std::vector<std::string>& more = {}) {
  std::vector<std::string> args = {"marrowline-host", "--edge-style", style, "--smoothing", "20",
                                   "--tweaker",       "80",           "--selection", selection};
  args.insert(args.end(), more.begin(), more.end());
  args.push_back("in.png");
  args.push_back("out.png");
  std::vector<const char*> argv;
  for (const std::string& a : args) argv.push_back(a.c_str());
  HostOptions options;
  std::string error;
  EXPECT_EQ(parseHostOptions(static_cast<int>(argv.size()), argv.data(), &options, &error), ParseOutcome::Run)
      << error;
  auto session = std::make_unique<HostSession>();
  EXPECT_TRUE(hostSessionSetup(session.get(), options, picture, nullptr, &error)) << error;
  EXPECT_EQ(hostSessionRun(session.get(), plugin().module.entry), 0) << session->protocolError;
  HostImage result = session->filtered;
  hostSessionRelease(session.get());
  return result;
}

// Counts the samples that differ inside x0..x1-1, y0..y1-1.
int32_t differencesIn(const HostImage& a, const HostImage& b, int32_t x0, int32_t y0, int32_t x1, int32_t y1) {
  int32_t planes = imagePlanes(a), differ = 0;
  for (int32_t y = y0; y < y1; ++y)
    for (int32_t x = x0; x < x1; ++x)
      for (int32_t k = 0; k < planes; ++k) differ += hostSample(a, x, y, k) != hostSample(b, x, y, k);
  return differ;
}

// Where both rectangles hold the whole neighbourhood: from (left + REACH,
// top + REACH) to the far edges less REACH.
int32_t differencesInCommonInterior(const HostImage& a, const HostImage& b, int32_t left, int32_t top) {
  return differencesIn(a, b, left + REACH, top + REACH, a.width - REACH, a.height - REACH);
}

class StyleSeams : public ::testing::TestWithParam<int> {};

TEST_P(StyleSeams, MovingTheTileGridChangesNoPixel) {
  ASSERT_TRUE(plugin().loaded) << plugin().error;
  const std::string style = std::to_string(GetParam());
  HostImage picture = makePicture(3, 8);
  HostImage atCorner = runFilter(picture, style, "0,0,620,600");
  HostImage moved = runFilter(picture, style, "37,53,620,600");
  EXPECT_EQ(differencesInCommonInterior(atCorner, moved, 37, 53), 0) << "style " << style;
  // The render did something: the output is not the picture.
  EXPECT_FALSE(hostImagesEqual(atCorner, picture));
}

// The shared-loop styles; the stroke styles below.
INSTANTIATE_TEST_SUITE_P(AllStyles, StyleSeams, ::testing::Values(1, 2, 4, 6, 7, 8, 9, 10, 11, 12, 13));

// The stroke styles place their dots at plane coordinates in single
// precision, so a dot's fraction, and with it its split over four cells, is
// the same in two renders only where its coordinates lie in the same power
// of two in both. The compared square is therefore 512..1023 in the plane of
// both renders: x and y from 512 + the offset + REACH to 1023 - REACH. The
// tile borders at 768 (first render) and 805, 821 (second) cross it.
void expectNoStrokeSeams(const HostImage& picture, const char* style, const std::vector<std::string>& more) {
  const int32_t side = STROKE_SIDE;
  std::string whole = "0,0," + std::to_string(side) + "," + std::to_string(side);
  std::string moved = "37,53," + std::to_string(side) + "," + std::to_string(side);
  HostImage a = runFilter(picture, style, whole, more);
  HostImage b = runFilter(picture, style, moved, more);
  EXPECT_EQ(differencesIn(a, b, 512 + 53 + REACH, 512 + 53 + REACH, 1024 - REACH, 1024 - REACH), 0) << style;
  EXPECT_FALSE(hostImagesEqual(a, picture));
}

TEST(StrokeSeams, ThinSoftAndScribbleEightBitRgb) {
  ASSERT_TRUE(plugin().loaded) << plugin().error;
  HostImage rgb = makePicture(3, 8, STROKE_SIDE, STROKE_SIDE);
  expectNoStrokeSeams(rgb, "thin/soft", {});
  expectNoStrokeSeams(rgb, "scribble", {});
}

TEST(StrokeSeams, SixteenBitGreyTurnedAndFlipped) {
  ASSERT_TRUE(plugin().loaded) << plugin().error;
  HostImage grey16 = makePicture(1, 16, STROKE_SIDE, STROKE_SIDE);
  for (const char* style : {"thin/soft", "scribble"}) {
    expectNoStrokeSeams(grey16, style, {"--angle", "-1000"});
    expectNoStrokeSeams(grey16, style, {"--flip", "1", "--glue", "difference"});
  }
}

}  // namespace
