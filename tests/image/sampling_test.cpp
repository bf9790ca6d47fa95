// The kernel table, the five-tap sample, the copy between sizes and the
// level pyramid.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "image/pixel_map.h"
#include "image/pyramid.h"
#include "image/sampling.h"

namespace {

struct Table {
  uint32_t words[KERNEL_TABLE_SIZE];
  Table() { buildKernelTable(words); }
  int32_t integer(int32_t row, int32_t tap, int32_t phase) const {
    return static_cast<int32_t>(words[(row + tap) * KERNEL_PHASES + phase]);
  }
  float real(int32_t row, int32_t tap, int32_t phase) const {
    float f;
    std::memcpy(&f, &words[(row + tap) * KERNEL_PHASES + phase], 4);
    return f;
  }
};

const Table& table() {
  static Table t;
  return t;
}

struct MapGuard {
  PixelMap map;
  MapGuard() { pixelMapReset(&map, nullptr, table().words); }
  ~MapGuard() { pixelMapFree(&map); }
};

void fillRandom(PixelMap* map, uint32_t seed) {
  std::mt19937 random(seed);
  for (int32_t i = 0; i < map->blockBytes; ++i) map->pixels[i] = static_cast<uint8_t>(random());
  if (map->format == PIXEL_RGBA16)
    for (int32_t y = 0; y < map->baseHeight; ++y)
      for (int32_t x = 0; x < map->baseWidth; ++x)
        setWords4(x, y, map, 0, random() % 32769, random() % 32769, random() % 32769, random() % 32769);
  if (map->format == PIXEL_RGBAF)
    for (int32_t y = 0; y < map->baseHeight; ++y)
      for (int32_t x = 0; x < map->baseWidth; ++x) {
        float v[4];
        for (float& f : v) f = static_cast<float>(random() % 1000) / 999.0f;
        setFloats4(x, y, map, 0, v);
      }
}

// The 5 x 5 sample written out directly: every pixel read through the clamped
// accessors, the weight of offset d being tap 2 - d.
void referenceSample(const PixelMap* map, int32_t level, float u, float v, double out[4]) {
  float x = static_cast<float>(map->levelWidthInt[level]) * u - 0.5f;
  float y = static_cast<float>(map->levelHeightInt[level]) * v - 0.5f;
  float cx = x + 0.5f, cy = y + 0.5f;
  int32_t ix = static_cast<int32_t>(cx), iy = static_cast<int32_t>(cy);
  int32_t fx = static_cast<int32_t>((cx - ix) * 128.0f), fy = static_cast<int32_t>((cy - iy) * 128.0f);
  const Table& t = table();
  int64_t total[4] = {0, 0, 0, 0};
  float totalF[4] = {0, 0, 0, 0};
  for (int32_t dy = -2; dy <= 2; ++dy) {
    int64_t row[4] = {0, 0, 0, 0};
    float rowF[4] = {0, 0, 0, 0};
    for (int32_t dx = -2; dx <= 2; ++dx) {
      int32_t c[4];
      float f[4];
      if (map->format == PIXEL_RGBA8) getBytes4(ix + dx, iy + dy, map, level, c);
      if (map->format == PIXEL_RGBA16) getWords4(ix + dx, iy + dy, map, level, c);
      if (map->format == PIXEL_RGBAF) getFloats4(ix + dx, iy + dy, map, level, f);
      for (int32_t k = 0; k < 4; ++k) {
        if (map->format == PIXEL_RGBA8)
          total[k] += int64_t(t.integer(5, 2 - dy, fy)) * t.integer(5, 2 - dx, fx) * c[k];
        if (map->format == PIXEL_RGBA16) row[k] += int64_t(t.integer(10, 2 - dx, fx)) * c[k];
        if (map->format == PIXEL_RGBAF) rowF[k] += t.real(15, 2 - dx, fx) * f[k];
      }
    }
    for (int32_t k = 0; k < 4; ++k) {
      if (map->format == PIXEL_RGBA16) total[k] += t.integer(10, 2 - dy, fy) * (row[k] / 32768);
      if (map->format == PIXEL_RGBAF) totalF[k] += t.real(15, 2 - dy, fy) * rowF[k];
    }
  }
  for (int32_t k = 0; k < 4; ++k) {
    if (map->format == PIXEL_RGBA8) out[k] = static_cast<float>(total[k]) * std::ldexp(1.0f, -22);
    if (map->format == PIXEL_RGBA16) out[k] = static_cast<float>(total[k]) * std::ldexp(1.0f, -15);
    if (map->format == PIXEL_RGBAF) out[k] = totalF[k];
  }
}

// The kernel in double precision with the true pi.
double kernelDouble(double x) {
  auto sinc = [](double a) { return a == 0.0 ? 1.0 : std::sin(M_PI * a) / (M_PI * a); };
  return std::fabs(x) < 2.0 ? sinc(x) * sinc(x / 2.0) : 0.0;
}

}  // namespace

TEST(KernelTable, IntegerRowsSumExactlyAndFloatsFollowTheKernel) {
  const Table& t = table();
  int64_t absolute8 = 0;
  for (int32_t p = 0; p < KERNEL_PHASES; ++p) {
    int32_t sum8 = 0, sum16 = 0, abs8 = 0;
    double s[5] = {0, 0, 0, 0, 0};
    for (int32_t j = 0; j < 20; ++j)
      for (int32_t tap = 0; tap < 5; ++tap) s[tap] += kernelDouble(p / 128.0 - 2.0 - j / 21.0 + tap);
    double norm = s[0] + s[1] + s[2] + s[3] + s[4];
    for (int32_t tap = 0; tap < 5; ++tap) {
      sum8 += t.integer(5, tap, p);
      sum16 += t.integer(10, tap, p);
      abs8 += std::abs(t.integer(5, tap, p));
      EXPECT_NEAR(t.real(0, tap, p), s[tap] / norm, 2e-5) << "phase " << p << " tap " << tap;
      EXPECT_EQ(t.words[tap * KERNEL_PHASES + p], t.words[(15 + tap) * KERNEL_PHASES + p]);
      if (tap < 4) {
        EXPECT_EQ(t.integer(5, tap, p), static_cast<int32_t>(t.real(0, tap, p) * 2048.0f));
      }
    }
    ASSERT_EQ(sum8, 2048) << "phase " << p;
    ASSERT_EQ(sum16, 32768) << "phase " << p;
    if (abs8 > absolute8) absolute8 = abs8;
  }
  // The 8-bit sum of 5 x 5 products stays inside 32 bits even with the negative lobes.
  EXPECT_LT(absolute8 * absolute8 * 255, int64_t(INT32_MAX));
  EXPECT_EQ(kernelWeight(0.0f), 1.0f);
  EXPECT_EQ(kernelWeight(2.0f), 0.0f);
  EXPECT_EQ(kernelWeight(-2.5f), 0.0f);
}

TEST(Sampling, ConstantImagesStayConstantEverywhere) {
  MapGuard bytes, rgba, words, floats;
  ASSERT_TRUE(pixelMapCreate(&bytes.map, 9, 7, PIXEL_BYTE, 0));
  ASSERT_TRUE(pixelMapCreate(&rgba.map, 9, 7, PIXEL_RGBA8, 0));
  ASSERT_TRUE(pixelMapCreate(&words.map, 9, 7, PIXEL_RGBA16, 0));
  ASSERT_TRUE(pixelMapCreate(&floats.map, 9, 7, PIXEL_RGBAF, 0));
  pixelMapFillBytes(&bytes.map, 0, 100);
  const float quarter[4] = {0.25f, 0.5f, 0.75f, 1.0f};
  for (int32_t y = 0; y < 7; ++y)
    for (int32_t x = 0; x < 9; ++x) {
      setBytes4(x, y, &rgba.map, 0, 10, 100, 200, 255);
      setWords4(x, y, &words.map, 0, 0, 12345, 32768, 1);
      setFloats4(x, y, &floats.map, 0, quarter);
    }
  pixelMapBuildLevels(&bytes.map);  // 100 stays 100 on every level
  pixelMapBuildLevels(&floats.map);
  const float positions[] = {0.0f, 0.03f, 0.5f, 0.77f, 0.999f, 1.0f};
  for (float u : positions)
    for (float v : positions) {
      float out[4];
      sampleFiltered(&bytes.map, 0, 0.5f, u, v, out);
      EXPECT_EQ(std::vector<float>(out, out + 4), std::vector<float>({100, 100, 100, 255}));
      sampleFiltered(&rgba.map, 0, 0.0f, u, v, out);
      EXPECT_EQ(std::vector<float>(out, out + 4), std::vector<float>({10, 100, 200, 255}));
      sampleFiltered(&words.map, 0, 0.0f, u, v, out);
      EXPECT_EQ(std::vector<float>(out, out + 4), std::vector<float>({0, 12345, 32768, 1}));
      sampleNormalized(&floats.map, 1, 0.25f, u, v, out);
      for (int32_t k = 0; k < 4; ++k) EXPECT_NEAR(out[k], quarter[k], 1e-6);
    }
}

TEST(Sampling, MatchesTheDirectFiveByFiveSum) {
  for (int32_t format : {PIXEL_RGBA8, PIXEL_RGBA16, PIXEL_RGBAF}) {
    MapGuard g;
    ASSERT_TRUE(pixelMapCreate(&g.map, 23, 17, format, 0));
    fillRandom(&g.map, 17u + static_cast<uint32_t>(format));
    pixelMapBuildLevels(&g.map);
    // Corners and borders (clamped path), the interior, and a reduced level.
    const float us[] = {0.0f, 0.02f, 0.31f, 0.5f, 0.8137f, 0.97f, 1.0f};
    for (int32_t level : {0, 1})
      for (float u : us)
        for (float v : us) {
          float got[4];
          double want[4];
          sampleFiltered(&g.map, level, 0.0f, u, v, got);
          referenceSample(&g.map, level, u, v, want);
          for (int32_t k = 0; k < 4; ++k)
            ASSERT_EQ(got[k], static_cast<float>(want[k])) << "format " << format << " u " << u << " v " << v;
        }
    // A blend mixes the two levels' samples.
    float a[4], b[4], mixed[4];
    sampleFiltered(&g.map, 0, 0.0f, 0.4f, 0.6f, a);
    sampleFiltered(&g.map, 1, 0.0f, 0.4f, 0.6f, b);
    sampleFiltered(&g.map, 0, 0.25f, 0.4f, 0.6f, mixed);
    for (int32_t k = 0; k < 4; ++k) EXPECT_EQ(mixed[k], a[k] + (b[k] - a[k]) * 0.25f);
  }
}

TEST(Sampling, ImpulseResponseFallsOffWithDistance) {
  MapGuard g;
  ASSERT_TRUE(pixelMapCreate(&g.map, 21, 21, PIXEL_BYTE, 0));
  pixelMapFillBytes(&g.map, 0, 0);
  setByte(10, 10, &g.map, 0, 255);
  auto at = [&](float x) {  // pixel coordinate x on row 10
    float out[4];
    sampleFiltered(&g.map, 0, 0.0f, (x + 0.5f) / 21.0f, 10.5f / 21.0f, out);
    return out[0];
  };
  EXPECT_GT(at(10.0f), 170.0f);  // the taps' averaging softens the peak
  EXPECT_GT(at(10.0f), at(10.3f));
  EXPECT_GT(at(10.3f), at(10.7f));
  EXPECT_GT(at(10.7f), 0.0f);
  EXPECT_GT(at(10.7f), at(11.3f));
  // Near symmetric; each tap averages the kernel over a step that sits
  // 1/42 pixel off centre, so the two sides differ a little.
  EXPECT_NEAR(at(9.7f), at(10.3f), 20.0f);
  EXPECT_NEAR(at(14.0f), 0.0f, 1e-6);       // beyond the five taps
}

TEST(Resampling, LevelAndBlendPicks) {
  int32_t level;
  float blend;
  resampleLevelAndBlend(128, 64, 0.5f, 7, &level, &blend);
  EXPECT_EQ(level, 0);
  EXPECT_EQ(blend, 0.5f);
  resampleLevelAndBlend(256, 64, 0.5f, 8, &level, &blend);
  EXPECT_EQ(level, 1);
  EXPECT_EQ(blend, 0.5f);
  resampleLevelAndBlend(64, 128, 0.5f, 6, &level, &blend);  // enlargement
  EXPECT_EQ(level, 0);
  EXPECT_EQ(blend, 0.0f);
  resampleLevelAndBlend(1000, 1, 0.5f, 3, &level, &blend);  // held to the chain
  EXPECT_EQ(level, 3);
  EXPECT_EQ(blend, 0.0f);
  EXPECT_EQ(log2Exact(1024.0), 10.0);
  EXPECT_EQ(log2Exact(0.125), -3.0);
  EXPECT_NEAR(log2Exact(3.0), 1.584962500721156, 1e-12);
}

TEST(Resampling, CopiesBetweenSizes) {
  MapGuard source, target;
  ASSERT_TRUE(pixelMapCreate(&source.map, 200, 150, PIXEL_RGBA8, 0));
  ASSERT_TRUE(pixelMapCreate(&target.map, 50, 40, PIXEL_RGBA8, 0));
  for (int32_t y = 0; y < 150; ++y)
    for (int32_t x = 0; x < 200; ++x) setBytes4(x, y, &source.map, 0, 100, 100, 100, 7);
  pixelMapBuildLevels(&source.map);
  pixelMapCopy(&source.map, &target.map);
  for (int32_t y = 0; y < 40; ++y)
    for (int32_t x = 0; x < 50; ++x) ASSERT_EQ(getWord(x, y, &target.map, 0), 0x646464FFu) << x << "," << y;
  EXPECT_EQ(target.map.levelState, 2);

  // A horizontal ramp keeps its place: destination column c covers source
  // columns 4c .. 4c + 3 of a 256-wide ramp (level 1 is 0.6% brighter).
  MapGuard ramp, small;
  ASSERT_TRUE(pixelMapCreate(&ramp.map, 256, 8, PIXEL_RGBA8, 0));
  ASSERT_TRUE(pixelMapCreate(&small.map, 64, 2, PIXEL_RGBA8, 0));
  for (int32_t y = 0; y < 8; ++y)
    for (int32_t x = 0; x < 256; ++x) setBytes4(x, y, &ramp.map, 0, x, 255 - x, 0, 255);
  pixelMapBuildLevels(&ramp.map);
  pixelMapCopy(&ramp.map, &small.map);
  for (int32_t c = 4; c < 60; ++c) {
    int32_t b[4];
    getBytes4(c, 1, &small.map, 0, b);
    EXPECT_NEAR(b[0], 4 * c + 1.5, 3.0) << c;
    EXPECT_NEAR(b[1], 255 - (4 * c + 1.5), 3.0) << c;
  }
}

TEST(Resampling, EmptyDestinationRectangleWritesNothing) {
  MapGuard source, target;
  ASSERT_TRUE(pixelMapCreate(&source.map, 16, 16, PIXEL_RGBA8, 0));
  ASSERT_TRUE(pixelMapCreate(&target.map, 8, 8, PIXEL_RGBA8, 0));
  fillRandom(&source.map, 3);
  for (int32_t y = 0; y < 8; ++y)
    for (int32_t x = 0; x < 8; ++x) setBytes4(x, y, &target.map, 0, 1, 2, 3, 4);
  Rect16 from{0, 0, 16, 16}, flat{2, 0, 2, 8};
  resampleInto(&source.map, &target.map, from, flat, 0.5f);
  for (int32_t y = 0; y < 8; ++y)
    for (int32_t x = 0; x < 8; ++x) ASSERT_EQ(getWord(x, y, &target.map, 0), 0x01020304u);
  EXPECT_EQ(target.map.levelState, 2);  // the levels are still built
}

TEST(Pyramid, IntegerGainAndFloatLevels) {
  EXPECT_EQ(pyramidWeight(0, 0), 256);
  EXPECT_EQ(pyramidWeight(-2, -2), 0);
  int32_t sum = 0;
  for (int32_t dy = -2; dy <= 3; ++dy)
    for (int32_t dx = -2; dx <= 3; ++dx) sum += pyramidWeight(dx, dy);
  EXPECT_EQ(sum, PYRAMID_WEIGHT_SUM);

  MapGuard g;
  ASSERT_TRUE(pixelMapCreate(&g.map, 12, 10, PIXEL_RGBA8, 0));
  for (int32_t y = 0; y < 10; ++y)
    for (int32_t x = 0; x < 12; ++x) setBytes4(x, y, &g.map, 0, 100, 200, 255, 0);
  pixelMapBuildLevels(&g.map);
  EXPECT_EQ(g.map.levelState, 2);
  for (int32_t level = 1; level <= g.map.levelCount; ++level) {
    int32_t b[4];
    getBytes4(1, 1, &g.map, level, b);
    EXPECT_EQ(b[0], 100);  // trunc(100.6)
    EXPECT_EQ(b[2], 255);  // the limit
    EXPECT_EQ(b[3], 0);
    if (level == 1) {
      EXPECT_EQ(b[1], 201);  // trunc(201.2)
    } else if (level == 2) {
      EXPECT_EQ(b[1], 202);  // the gain adds up
    }
  }

  MapGuard floats, words;
  ASSERT_TRUE(pixelMapCreate(&floats.map, 7, 30, PIXEL_RGBAF, 0));
  ASSERT_TRUE(pixelMapCreate(&words.map, 7, 30, PIXEL_RGBA16, 0));
  const float half[4] = {0.5f, 0.5f, 0.5f, 0.5f};
  for (int32_t y = 0; y < 30; ++y)
    for (int32_t x = 0; x < 7; ++x) {
      setFloats4(x, y, &floats.map, 0, half);
      setWords4(x, y, &words.map, 0, 32768, 32768, 16000, 0);
    }
  pixelMapBuildLevels(&floats.map);
  pixelMapBuildLevels(&words.map);
  for (int32_t level = 1; level <= floats.map.levelCount; ++level) {
    float f[4];
    getFloats4(0, 0, &floats.map, level, f);
    EXPECT_EQ(f[0], 0.5f) << level;
    int32_t w[4];
    getWords4(0, 0, &words.map, level, w);
    EXPECT_EQ(w[0], 32768) << level;
  }
}

TEST(Pyramid, MatchesTheDirectWindowSumWithRepeatedBorders) {
  MapGuard g;
  ASSERT_TRUE(pixelMapCreate(&g.map, 13, 9, PIXEL_RGBA8, 0));
  fillRandom(&g.map, 11);
  pixelMapBuildLevels(&g.map);
  for (int32_t level = 1; level <= g.map.levelCount; ++level)
    for (int32_t y = 0; y < g.map.levelHeight[level]; ++y)
      for (int32_t x = 0; x < g.map.levelStride[level]; ++x) {
        int32_t s[4] = {0, 0, 0, 0};
        for (int32_t dy = -2; dy <= 3; ++dy)
          for (int32_t dx = -2; dx <= 3; ++dx) {
            int32_t b[4];
            getBytes4(2 * x + dx, 2 * y + dy, &g.map, level - 1, b);
            for (int32_t k = 0; k < 4; ++k) s[k] += pyramidWeight(dx, dy) * b[k];
          }
        int32_t got[4];
        getBytes4(x, y, &g.map, level, got);
        for (int32_t k = 0; k < 4; ++k) {
          int32_t want = static_cast<int32_t>(static_cast<float>(s[k]) * 0.00061349693f);
          ASSERT_EQ(got[k], want > 255 ? 255 : want) << level << ": " << x << "," << y;
        }
      }

  // A one-pixel-wide column: all horizontal weight falls on column 0.
  MapGuard column;
  ASSERT_TRUE(pixelMapCreate(&column.map, 1, 10, PIXEL_BYTE, 0));
  for (int32_t y = 0; y < 10; ++y) setByte(0, y, &column.map, 0, static_cast<uint8_t>(20 * y));
  pixelMapBuildLevels(&column.map);
  const int32_t rowWeights[6] = {10, 162, 648, 648, 162, 10};
  int32_t s = 0;
  for (int32_t j = 0; j < 6; ++j) s += rowWeights[j] * 20 * (j < 2 ? 0 : j - 2);  // rows -2, -1 repeat row 0
  EXPECT_EQ(getByte(0, 0, &column.map, 1), static_cast<int32_t>(static_cast<float>(s) * 0.00061349693f));
}

TEST(Pyramid, PolicyAndRectangleLimits) {
  MapGuard never;
  ASSERT_TRUE(pixelMapCreate(&never.map, 8, 8, PIXEL_BYTE, -1));
  pixelMapFillBytes(&never.map, 0, 50);
  pixelMapFillBytes(&never.map, 1, 9);
  pixelMapBuildLevels(&never.map);
  EXPECT_EQ(never.map.levelState, 0);
  EXPECT_EQ(getByte(1, 1, &never.map, 1), 9);

  MapGuard g;
  ASSERT_TRUE(pixelMapCreate(&g.map, 8, 8, PIXEL_BYTE, 0));
  pixelMapFillBytes(&g.map, 0, 50);
  pixelMapFillBytes(&g.map, 1, 9);
  buildLevel(&g.map, 0, Rect16{-4, -4, 2, 100});  // cut to rows 0..1 of level 1
  EXPECT_EQ(getByte(3, 1, &g.map, 1), 50);
  EXPECT_EQ(getByte(3, 2, &g.map, 1), 9);
  buildLevel(&g.map, g.map.levelCount, Rect16{0, 0, 10, 10});  // no level below the last
  buildLevel(&g.map, -1, Rect16{0, 0, 10, 10});
}
