// PixelMap: the level chain, the life of a map, pixel access at the borders,
// and the copy between maps of one size.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "image/pixel_map.h"
#include "pi/plugin_interface.h"

namespace {

struct MapGuard {
  PixelMap map;
  MapGuard() { pixelMapReset(&map, nullptr, nullptr); }
  ~MapGuard() { pixelMapFree(&map); }
};

std::vector<int32_t> sides(int32_t width, int32_t height, bool wantWidths) {
  MapGuard g;
  EXPECT_TRUE(pixelMapCreate(&g.map, width, height, PIXEL_RGBA8, 0));
  std::vector<int32_t> out;
  for (int32_t level = 0; level <= g.map.levelCount; ++level)
    out.push_back(wantWidths ? g.map.levelStride[level] : g.map.levelHeight[level]);
  return out;
}

using Sides = std::vector<int32_t>;

}  // namespace

TEST(PixelMapLevels, ChainSizesFollowTheHalvingRule) {
  EXPECT_EQ(sides(1, 1, true), Sides({1}));
  EXPECT_EQ(sides(1, 100, false), Sides({100, 50, 26, 14, 8, 4, 2, 1}));
  EXPECT_EQ(sides(1, 100, true), Sides({1, 1, 1, 1, 1, 1, 1, 1}));
  EXPECT_EQ(sides(128, 128, true), Sides({128, 64, 32, 16, 8, 4, 2, 1}));
  EXPECT_EQ(sides(5, 11, true), Sides({5, 4, 2, 1, 1}));
  EXPECT_EQ(sides(5, 11, false), Sides({11, 6, 4, 2, 1}));
  EXPECT_EQ(sides(3, 3, true), Sides({3, 2, 1}));
}

TEST(PixelMapLevels, BlockHoldsAllLevelsBackToBack) {
  MapGuard g;
  ASSERT_TRUE(pixelMapCreate(&g.map, 128, 128, PIXEL_RGBA8, 0));
  EXPECT_EQ(g.map.blockBytes, 87380);  // 21,845 pixels
  EXPECT_EQ(g.map.levelCount, 7);
  EXPECT_EQ(g.map.levelBase[0], g.map.pixels);
  for (int32_t level = 0; level < g.map.levelCount; ++level)
    EXPECT_EQ(g.map.levelBase[level + 1],
              g.map.levelBase[level] + g.map.levelStride[level] * g.map.levelHeight[level] * 4);
  EXPECT_EQ(g.map.levelMaxX[1], 63);
  EXPECT_EQ(g.map.levelMaxYf[7], 0.0f);

  MapGuard single;
  ASSERT_TRUE(pixelMapCreate(&single.map, 1, 1, PIXEL_RGBAF, 0));
  EXPECT_EQ(single.map.levelCount, 0);
  EXPECT_EQ(single.map.blockBytes, 16);
}

TEST(PixelMapLife, FailedCreateKeepsThePreviousPixels) {
  MapGuard g;
  ASSERT_TRUE(pixelMapCreate(&g.map, 4, 3, PIXEL_BYTE, 0));
  pixelMapFillBytes(&g.map, 0, 77);
  uint8_t* before = g.map.pixels;
  EXPECT_FALSE(pixelMapCreate(&g.map, 0, 5, PIXEL_BYTE, 0));
  EXPECT_FALSE(pixelMapCreate(&g.map, 5, -1, PIXEL_BYTE, 0));
  EXPECT_FALSE(pixelMapCreate(&g.map, 5, 5, 7, 0));  // no such format
  EXPECT_FALSE(pixelMapCreate(nullptr, 5, 5, PIXEL_BYTE, 0));
  EXPECT_EQ(g.map.pixels, before);
  EXPECT_EQ(getByte(3, 2, &g.map, 0), 77);

  pixelMapFree(&g.map);
  pixelMapFree(&g.map);  // harmless twice
  EXPECT_TRUE(pixelMapEmpty(&g.map));
  EXPECT_EQ(getByte(0, 0, &g.map, 0), 0);
  EXPECT_EQ(getWordChecked(0, 0, &g.map, 0), 0u);
  setByte(0, 0, &g.map, 0, 5);  // nothing to write into
  Rect16 r;
  pixelMapRect(&g.map, 0, &r);
  EXPECT_EQ(r.bottom - r.top, 0);
}

TEST(PixelMapLife, FillBytesTouchesOnlyOneByteMaps) {
  MapGuard rgba, bytes;
  ASSERT_TRUE(pixelMapCreate(&rgba.map, 3, 3, PIXEL_RGBA8, 0));
  std::memset(rgba.map.pixels, 0x5A, rgba.map.blockBytes);
  pixelMapFillBytes(&rgba.map, 0, 0);
  for (int32_t i = 0; i < rgba.map.blockBytes; ++i) ASSERT_EQ(rgba.map.pixels[i], 0x5A);

  ASSERT_TRUE(pixelMapCreate(&bytes.map, 5, 5, PIXEL_BYTE, 0));
  pixelMapFillBytes(&bytes.map, 0, 1);
  pixelMapFillBytes(&bytes.map, 1, 2);
  pixelMapFillBytes(&bytes.map, bytes.map.levelCount + 1, 3);  // no such level
  EXPECT_EQ(getByte(4, 4, &bytes.map, 0), 1);
  EXPECT_EQ(getByte(3, 3, &bytes.map, 1), 2);
  Rect16 r;
  pixelMapRect(&bytes.map, bytes.map.levelCount + 1, &r);
  EXPECT_EQ(r.right, 0);
}

namespace {

// A host buffer suite that counts what it hands out.
int liveBuffers = 0;
OSErr fakeAllocate(int32_t size, BufferID* id) {
  *id = reinterpret_cast<BufferID>(new char[size]);
  ++liveBuffers;
  return 0;
}
Ptr fakeLock(BufferID id, Boolean) { return reinterpret_cast<Ptr>(id); }
void fakeUnlock(BufferID) {}
void fakeFree(BufferID id) {
  delete[] reinterpret_cast<char*>(id);
  --liveBuffers;
}
int32_t fakeSpace() { return 1 << 30; }

}  // namespace

TEST(PixelMapLife, BlocksComeFromTheHostSuiteWhenOffered) {
  BufferProcs procs{kCurrentBufferProcsVersion, kCurrentBufferProcsCount, fakeAllocate, fakeLock, fakeUnlock,
                    fakeFree, fakeSpace};
  PixelMap map;
  pixelMapReset(&map, nullptr, nullptr);
  map.bufferProcs = &procs;
  ASSERT_TRUE(pixelMapCreate(&map, 10, 10, PIXEL_RGBA16, 0));
  EXPECT_NE(map.bufferId, 0);
  EXPECT_EQ(liveBuffers, 1);
  ASSERT_TRUE(pixelMapCreate(&map, 20, 5, PIXEL_RGBA16, 0));  // frees the old block first
  EXPECT_EQ(liveBuffers, 1);
  pixelMapFree(&map);
  EXPECT_EQ(liveBuffers, 0);
  EXPECT_EQ(map.bufferId, 0);
}

TEST(PixelMapAccess, ClampedReadsAndCheckedWritesAtTheBorders) {
  MapGuard g;
  ASSERT_TRUE(pixelMapCreate(&g.map, 4, 3, PIXEL_RGBA8, 0));
  for (int32_t y = 0; y < 3; ++y)
    for (int32_t x = 0; x < 4; ++x) setBytes4(x, y, &g.map, 0, y, x, 10 * y + x, 255);

  EXPECT_EQ(getWord(-1, 1, &g.map, 0), getWord(0, 1, &g.map, 0));
  EXPECT_EQ(getWord(9, 9, &g.map, 0), getWord(3, 2, &g.map, 0));
  int32_t b[4];
  getBytes4(-5, -5, &g.map, 0, b);
  EXPECT_EQ(b[2], 0);
  getBytes4(2, 1, &g.map, 0, b);
  EXPECT_EQ(b[0], 1);
  EXPECT_EQ(b[1], 2);
  EXPECT_EQ(b[2], 12);
  EXPECT_EQ(b[3], 255);

  // x = width must not wrap into the next row; y = height must not touch the next level.
  setBytes4(0, 0, &g.map, 1, 1, 2, 3, 4);
  setBytes4(4, 0, &g.map, 0, 9, 9, 9, 9);
  setBytes4(0, 3, &g.map, 0, 9, 9, 9, 9);
  setBytes4(-1, 0, &g.map, 0, 9, 9, 9, 9);
  getBytes4(0, 1, &g.map, 0, b);
  EXPECT_EQ(b[2], 10);
  EXPECT_EQ(getWord(3, 0, &g.map, 0) & 255u, 255u);
  EXPECT_EQ(getWord(0, 0, &g.map, 1), 0x01020304u);

  // A tile word written alpha, blue, green, red lies in memory as R, G, B, A.
  setBytes4(1, 1, &g.map, 0, 0xA0, 0xB0, 0xC0, 0xD0);
  const uint8_t* p = pixelAddress(&g.map, 1, 1, 0);
  EXPECT_EQ(p[0], 0xD0);
  EXPECT_EQ(p[3], 0xA0);
}

TEST(PixelMapAccess, NormalizedValuesRoundTrip) {
  MapGuard words, bytes;
  ASSERT_TRUE(pixelMapCreate(&words.map, 2, 2, PIXEL_RGBA16, 0));
  setWords4(1, 1, &words.map, 0, 32768, 1, 2, 16384);
  setWords4(2, 1, &words.map, 0, 7, 7, 7, 7);  // outside
  float n[4];
  getNormalized(5, 5, &words.map, 0, n);  // clamped to (1, 1)
  EXPECT_EQ(n[0], 1.0f);
  EXPECT_EQ(n[3], 0.5f);
  setNormalized(0, 0, &words.map, 0, n);
  int32_t w[4];
  getChannels(0, 0, &words.map, 0, w);
  EXPECT_EQ(w[0], 32768);
  EXPECT_EQ(w[3], 16384);

  ASSERT_TRUE(pixelMapCreate(&bytes.map, 1, 1, PIXEL_BYTE, 0));
  setByte(0, 0, &bytes.map, 0, 255);
  getNormalized(0, 0, &bytes.map, 0, n);
  EXPECT_FLOAT_EQ(n[0], 1.0f);
  EXPECT_EQ(n[0], n[2]);
  EXPECT_EQ(n[3], 1.0f);
}

TEST(PixelMapCopy, SameSizeCopiesWholeOrNotAtAll) {
  MapGuard a, b, c;
  ASSERT_TRUE(pixelMapCreate(&a.map, 6, 5, PIXEL_RGBA8, 0));
  ASSERT_TRUE(pixelMapCreate(&b.map, 6, 5, PIXEL_RGBA8, 0));
  ASSERT_TRUE(pixelMapCreate(&c.map, 6, 5, PIXEL_RGBA16, 0));
  for (int32_t y = 0; y < 5; ++y)
    for (int32_t x = 0; x < 6; ++x) setBytes4(x, y, &a.map, 0, x * 40, y * 50, 100, 255);
  pixelMapCopy(&a.map, &b.map);
  EXPECT_EQ(std::memcmp(a.map.pixels, b.map.pixels, 6 * 5 * 4), 0);
  EXPECT_EQ(b.map.levelState, 2);  // the copy ends by building the levels
  EXPECT_NE(getWord(0, 0, &b.map, 1), 0u);

  // Another format of the same size is not converted.
  for (int32_t y = 0; y < 5; ++y)
    for (int32_t x = 0; x < 6; ++x) setWords4(x, y, &c.map, 0, 1, 2, 3, 4);
  pixelMapCopy(&a.map, &c.map);
  int32_t w[4];
  getWords4(3, 3, &c.map, 0, w);
  EXPECT_EQ(w[0], 1);
  EXPECT_EQ(w[3], 4);
}
