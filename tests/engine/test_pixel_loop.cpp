// The pixel loop's row forms against its pixel-at-a-time form: the same
// output bytes, and the same bytes left alone, for grey and colour, with
// and without alpha, flipped or not, and for widths that end part way
// through a stretch.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "engine/pixel_loop.h"
#include "glue/glue_modes.h"
#include "image/pixel_map.h"
#include "session/session.h"

namespace {

struct LoopCase {
  bool grey, alpha, flip;
  int32_t columnStep;  // samples per output pixel
  int32_t width;
};

uint32_t nextRandom(uint32_t& state) {
  state = state * 1664525u + 1013904223u;
  return state >> 8;
}

// Shades one row of `width` pixels in mode `mode`, by rows or pixel by
// pixel, into an output that starts as a fixed pattern.
std::vector<uint8_t> shadeOneRow(int mode, const LoopCase& c, bool byRows) {
  uint32_t state = 99u + uint32_t(c.width);
  PixelMap tile;
  pixelMapReset(&tile, nullptr, nullptr);
  EXPECT_TRUE(pixelMapCreate(&tile, c.width + 2 * TILE_MARGIN, 1 + 2 * TILE_MARGIN, PIXEL_RGBA8, -1));
  for (int32_t y = 0; y < tile.baseHeight; ++y)
    for (int32_t x = 0; x < tile.baseWidth; ++x) {
      uint8_t* p = pixelAddress(&tile, x, y, 0);
      for (int k = 0; k < 4; ++k) p[k] = uint8_t(nextRandom(state));
    }
  uint8_t ramp[256][4];
  for (int i = 0; i < 256; ++i)
    for (int k = 0; k < 4; ++k) ramp[i][k] = uint8_t((i * (k + 1) * 37 + k * 91) & 255);
  std::vector<int32_t> edges(size_t(c.width));
  for (int32_t& e : edges) e = int32_t(nextRandom(state) & 255);

  static GlueTables tables;
  buildRunTables(tables);
  PixelLoop loop{};
  loop.eightBit = true;
  loop.greyImage = c.grey;
  loop.flip = c.flip;
  loop.transparency = c.alpha;
  loop.maxValue = 255;
  loop.target = 0;
  loop.rows = 1;
  loop.columns = c.width;
  loop.ramp = ramp;
  loop.glue = glueFunction(mode, 8);
  loop.glueRow = byRows ? glueRowFunction(mode, 8) : nullptr;
  EXPECT_TRUE(!byRows || loop.glueRow != nullptr) << "mode " << mode;
  loop.glueTables = &tables;
  std::vector<uint8_t> out(size_t(c.width) * size_t(c.columnStep) + 16, 0xA5);
  loop.out = out.data();
  loop.outRowStep = c.width * c.columnStep;
  loop.outColumnStep = c.columnStep;
  loop.alphaIndex = c.columnStep - 1;
  shadeRow(loop, 0, edges.data(), &tile, true);
  pixelMapFree(&tile);
  return out;
}

TEST(PixelLoop, RowFormsGiveThePixelFormsBytes) {
  const LoopCase cases[] = {
      {false, false, false, 3, 300}, {false, false, true, 3, 1},   {false, true, false, 4, 129},
      {false, false, false, 4, 7},   {true, false, true, 1, 257},  {true, true, false, 2, 33},
  };
  // Multiply, a grey-friendly mode, the HSL family, "frontal" and the Lab
  // and anchored-lightness modes: every kind of row form.
  for (int mode : {2, 9, 15, 16, 22, 23, 53, 54, 60, 61})
    for (const LoopCase& c : cases)
      ASSERT_EQ(shadeOneRow(mode, c, true), shadeOneRow(mode, c, false))
          << "mode " << mode << " grey " << c.grey << " alpha " << c.alpha << " flip " << c.flip << " step "
          << c.columnStep << " width " << c.width;
}

}  // namespace
