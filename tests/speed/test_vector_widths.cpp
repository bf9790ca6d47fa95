// The field's vector widths: each must give the bits of the scalar loop,
// on the planes themselves and on whole renders through the entry point.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "engine/edge_field.h"
#include "engine/field_kernels.h"
#include "glue/glue_simd.h"
#include "image/pixel_map.h"
#include "session/session.h"
#include "pihost/host_options.h"
#include "pihost/host_session.h"
#include "platform/threads.h"

extern "C" void PluginMain(int16_t selector, FilterRecord* record, intptr_t* data, int16_t* result);

namespace {

std::vector<SimdLevel> levelsHere() {
  std::vector<SimdLevel> levels;
  for (int32_t l = SIMD_SCALAR; l <= widestSimdLevel(); ++l) levels.push_back(static_cast<SimdLevel>(l));
  return levels;
}

uint32_t nextRandom(uint32_t* state) {
  *state = *state * 1664525u + 1013904223u;
  return *state >> 8;
}

// The field written straight from its definition, one sample at a time.
struct DirectField {
  std::vector<double> gx, gy;
};

DirectField directField(const std::vector<double>& s, int32_t t, const EdgeKernels& k) {
  const int32_t s1 = t - 40, s2 = t - 80, n = k.tapCount;
  std::vector<double> down(size_t(s1) * s1), across(down.size());
  auto at = [&](int32_t y, int32_t x) { return s[size_t(y) * t + x]; };
  for (int32_t r = 0; r < s1; ++r)
    for (int32_t c = 0; c < s1; ++c) {
      double d = at(r + 20, c + 20) * k.smoothTaps[0], a = d;
      for (int32_t i = 1; i <= n - 2; ++i) {
        d += (at(r + 20 - i, c + 20) + at(r + 20 + i, c + 20)) * k.smoothTaps[i];
        a += (at(r + 20, c + 20 - i) + at(r + 20, c + 20 + i)) * k.smoothTaps[i];
      }
      down[size_t(r) * s1 + c] = d;
      across[size_t(r) * s1 + c] = a;
    }
  DirectField f{std::vector<double>(size_t(s2) * s2), std::vector<double>(size_t(s2) * s2)};
  for (int32_t r = 0; r < s2; ++r)
    for (int32_t c = 0; c < s2; ++c) {
      double x = 0.0, y = 0.0;
      for (int32_t i = 1; i <= n - 1; ++i) {
        x += (down[size_t(r + 20) * s1 + c + 20 - i] - down[size_t(r + 20) * s1 + c + 20 + i]) * k.slopeTaps[i];
        y += (across[size_t(r + 20 - i) * s1 + c + 20] - across[size_t(r + 20 + i) * s1 + c + 20]) * k.slopeTaps[i];
      }
      f.gx[size_t(r) * s2 + c] = x;
      f.gy[size_t(r) * s2 + c] = y;
    }
  return f;
}

// Cores whose widths are no multiple of any vector width, and one that is,
// at both depths and with both kinds of source; every width must match the
// direct sums bit for bit.
TEST(FieldWidths, EveryWidthGivesTheDirectSums) {
  for (int32_t core : {1, 7, 33, 64}) {
    const int32_t t = core + 82;
    for (int32_t format : {PIXEL_RGBA8, PIXEL_RGBA16}) {
      PixelMap tile;
      pixelMapInit(&tile, nullptr, nullptr);
      ASSERT_TRUE(pixelMapCreate(&tile, t, t, format, 0));
      uint32_t state = static_cast<uint32_t>(core * 7 + format);
      for (int32_t y = 0; y < t; ++y)
        for (int32_t x = 0; x < t; ++x) {
          int32_t v[3];
          for (int32_t& c : v) c = format == PIXEL_RGBA8 ? nextRandom(&state) % 256 : nextRandom(&state) % 32769;
          if (format == PIXEL_RGBA8)
            setBytes4(x, y, &tile, 0, v[0], v[1], v[2], 255);
          else
            setWords4(x, y, &tile, 0, v[0], v[1], v[2], 32768);
        }
      for (uint16_t selector : {uint16_t(1), SOURCE_LUMINANCE})
        for (double sigma : {0.2, 2.0, 10.0}) {
          EdgeKernels k;
          buildEdgeKernels(sigma, &k);
          std::vector<double> source(size_t(t) * t), down(size_t(t - 40) * (t - 40)), across(down.size());
          std::vector<double> gx(size_t(t - 80) * (t - 80)), gy(gx.size());
          DirectField expected;
          for (SimdLevel level : levelsHere()) {
            forceSimdLevel(level);
            computeEdgeField(selector, k, source.data(), down.data(), across.data(), gx.data(), gy.data(), &tile);
            if (expected.gx.empty()) expected = directField(source, t, k);
            SCOPED_TRACE(std::string(simdLevelName(level)) + " core " + std::to_string(core) + " sigma " +
                         std::to_string(sigma) + " selector " + std::to_string(selector));
            ASSERT_EQ(std::memcmp(gx.data(), expected.gx.data(), gx.size() * sizeof(double)), 0);
            ASSERT_EQ(std::memcmp(gy.data(), expected.gy.data(), gy.size() * sizeof(double)), 0);
          }
        }
      pixelMapFree(&tile);
    }
  }
  forceSimdLevel(widestSimdLevel());
}

// "blurry"'s edge values at every width: slopes near the limits, both
// planes or one, a negative weight; row lengths that leave tails.
TEST(FieldWidths, SlopeEdgesEqualTheScalarValues) {
  uint32_t state = 5;
  std::vector<double> gx(37), gy(37);
  for (size_t i = 0; i < gx.size(); ++i) {
    gx[i] = (static_cast<double>(nextRandom(&state) % 20001) - 10000.0) * 0.0371;
    gy[i] = (static_cast<double>(nextRandom(&state) % 20001) - 10000.0) * 0.0113;
  }
  gx[3] = 0.0, gy[3] = -0.0;
  for (double k : {1.0, 0.37, 64.0, -2.0, HUGE_VAL})  // HUGE_VAL: a zero slope gives NaN, the limits maxValue
    for (int32_t maxValue : {255, 32768})
      for (int32_t planes = 1; planes <= 3; ++planes)
        for (int32_t count : {1, 8, 37}) {
          const double* x = planes & 1 ? gx.data() : nullptr;
          const double* y = planes & 2 ? gy.data() : nullptr;
          std::vector<int32_t> expected(count), got(count);
          fieldKernelsFor(SIMD_SCALAR).slopeEdges(x, y, k, maxValue, count, expected.data());
          for (SimdLevel level : levelsHere()) {
            fieldKernelsFor(level).slopeEdges(x, y, k, maxValue, count, got.data());
            EXPECT_EQ(got, expected) << simdLevelName(level) << " k " << k << " planes " << planes;
          }
        }
}

TEST(FieldWidths, ForcedLevelsNeverExceedTheCpu) {
  const SimdLevel widest = widestSimdLevel();
  EXPECT_GE(widest, SIMD_SSE2);  // every x86-64 CPU has SSE2
  EXPECT_EQ(fieldKernelsFor(SIMD_AVX512).level, widest);
  EXPECT_EQ(fieldKernelsFor(SIMD_SCALAR).level, SIMD_SCALAR);
  EXPECT_EQ(simdLevelName(static_cast<SimdLevel>(9)), nullptr);
}

// A picture whose content changes from column to column and row to row.
HostImage picture(int32_t width, int32_t height, int32_t colourPlanes, bool alpha, int32_t depth) {
  HostImage image;
  hostImageAllocate(&image, width, height, colourPlanes, alpha, depth, 0);
  uint32_t state = static_cast<uint32_t>(width * 31 + depth);
  if (depth == 8)
    for (auto& b : image.bytes) b = static_cast<uint8_t>(nextRandom(&state) % 256);
  else
    for (auto& w : image.words) w = static_cast<uint16_t>(nextRandom(&state) % 32769);
  return image;
}

std::vector<uint8_t> renderBytes(const HostImage& image, const HostMask* mask, int32_t style, int32_t glue,
                                 int16_t expectedResult = 0, const char* cancelAfter = nullptr) {
  std::vector<std::string> arguments = {"test", "--edge-style", std::to_string(style), "--smoothing", "30",
                                        "--glue", std::to_string(glue)};
  if (cancelAfter) arguments.insert(arguments.end(), {"--cancel-after", cancelAfter});
  arguments.insert(arguments.end(), {"in.png", "out.png"});
  std::vector<const char*> argv;
  for (const auto& a : arguments) argv.push_back(a.c_str());
  HostOptions options;
  std::string error;
  EXPECT_EQ(parseHostOptions(static_cast<int>(argv.size()), argv.data(), &options, &error), ParseOutcome::Run);
  HostSession session;
  EXPECT_TRUE(hostSessionSetup(&session, options, image, mask, &error)) << error;
  EXPECT_EQ(hostSessionRun(&session, PluginMain), expectedResult);
  HostImage result;
  hostSessionComposeResult(session, &result);
  hostSessionRelease(&session);
  if (image.depth == 8) return result.bytes;
  std::vector<uint8_t> bytes(result.words.size() * 2);
  std::memcpy(bytes.data(), result.words.data(), bytes.size());
  return bytes;
}

// The pictures the whole-render tests run on: RGB and grey, 8 and 16 bits,
// with and without transparency and a selection mask.
struct Kind {
  int32_t colourPlanes;
  bool alpha;
  int32_t depth;
  bool masked;
};
const Kind kinds[] = {{3, true, 8, true}, {1, false, 8, false}, {3, false, 16, false}, {1, true, 16, true}};

// Whole renders: every style at every width and thread count equals the
// scalar render on one thread, on
// pictures of awkward widths, both depths, grey and RGB, with transparency
// and a selection mask.
TEST(RenderWidths, EveryStyleEqualsTheScalarRender) {
  const int32_t widths[] = {1, 7, 33, 257, 1031};
  for (const Kind& kind : kinds)
    for (size_t w = 0; w < sizeof(widths) / sizeof(widths[0]); ++w) {
      const int32_t width = widths[w], height = 6;
      HostImage image = picture(width, height, kind.colourPlanes, kind.alpha, kind.depth);
      HostMask mask{width, height, std::vector<uint8_t>(size_t(width) * height)};
      for (size_t i = 0; i < mask.values.size(); ++i) mask.values[i] = static_cast<uint8_t>(i * 37);
      for (int32_t style = 1; style <= 13; ++style) {
        // Glue modes cycle with the style, so the row forms are crossed too.
        const int32_t glue = 1 + (style * 5 + static_cast<int32_t>(w)) % 20;
        forceSimdLevel(SIMD_SCALAR);
        forceRenderThreads(1);
        const std::vector<uint8_t> expected = renderBytes(image, kind.masked ? &mask : nullptr, style, glue);
        const int32_t threadCounts[] = {1, 2, 3, 7};
        for (SimdLevel level : levelsHere())
          for (int32_t threads : threadCounts) {
            if (level == SIMD_SCALAR && threads == 1) continue;
            forceSimdLevel(level);
            forceRenderThreads(threads);
            EXPECT_EQ(renderBytes(image, kind.masked ? &mask : nullptr, style, glue), expected)
                << simdLevelName(level) << " threads " << threads << " style " << style << " width " << width
                << " depth " << kind.depth;
          }
      }
    }
  forceSimdLevel(widestSimdLevel());
  forceRenderThreads(platformCoreCount());
  EXPECT_EQ(platformLiveWorkers(), 0);  // each run took its workers down
}

// Pictures tall enough for several bands of rows per tile, and wider than
// one tile: the style rows, the plane pass and every kind of glue (plain,
// per-pixel, row form, the modes that keep caches) split over threads must
// give the one-thread bytes.
TEST(RenderThreads, BandsOfRowsGiveTheOneThreadBytes) {
  const Kind twoKinds[] = {{3, true, 8, false}, {1, false, 16, false}};
  for (const Kind& kind : twoKinds) {
    HostImage image = picture(300, 45, kind.colourPlanes, kind.alpha, kind.depth);
    for (int32_t style = 1; style <= 13; ++style)
      for (int32_t glue : {1, 3, 15, 46, 53, 54}) {
        forceRenderThreads(1);
        const std::vector<uint8_t> expected = renderBytes(image, nullptr, style, glue);
        for (int32_t threads : {2, 3, 7}) {
          forceRenderThreads(threads);
          EXPECT_EQ(renderBytes(image, nullptr, style, glue), expected)
              << "threads " << threads << " style " << style << " glue " << glue << " depth " << kind.depth;
        }
      }
  }
  forceRenderThreads(platformCoreCount());
}

// "blurry" shades each band of rows as soon as its field rows are done:
// pictures taller than a tile, whose last tile row ends part way (the foot),
// at several thread counts and both ends of the widths, with a plain and a
// row-form glue, against the scalar one-thread bytes.
TEST(RenderThreads, BlurryShadedWithItsFieldGivesTheOneThreadBytes) {
  const Kind twoKinds[] = {{3, true, 8, false}, {1, false, 16, false}};
  for (const Kind& kind : twoKinds)
    for (int32_t height : {257, 345}) {
      HostImage image = picture(19, height, kind.colourPlanes, kind.alpha, kind.depth);
      for (int32_t glue : {1, 15}) {
        forceSimdLevel(SIMD_SCALAR);
        forceRenderThreads(1);
        const std::vector<uint8_t> expected = renderBytes(image, nullptr, 1, glue);
        for (SimdLevel level : {SIMD_SCALAR, widestSimdLevel()})
          for (int32_t threads : {2, 3, 7}) {
            forceSimdLevel(level);
            forceRenderThreads(threads);
            EXPECT_EQ(renderBytes(image, nullptr, 1, glue), expected)
                << simdLevelName(level) << " threads " << threads << " height " << height << " glue " << glue
                << " depth " << kind.depth;
          }
      }
    }
  forceSimdLevel(widestSimdLevel());
  forceRenderThreads(platformCoreCount());
}

// The glue modes with row forms at several widths, through the whole filter:
// every glue width and a threaded run give the bytes of the per-pixel glue
// on one thread, at both depths, grey and RGB, with transparency and a
// selection, on a width that leaves a remainder at every step.
TEST(RenderWidths, ColourGlueModesEqualThePerPixelGlueAtEveryWidth) {
  const SimdLevel before = activeGlueLanes();
  const int32_t width = 37;  // 2 x 16 + 5, 4 x 8 + 5, 9 x 4 + 1
  for (const Kind& kind : kinds) {
    HostImage image = picture(width, 5, kind.colourPlanes, kind.alpha, kind.depth);
    HostMask mask{width, 5, std::vector<uint8_t>(size_t(width) * 5)};
    for (size_t i = 0; i < mask.values.size(); ++i) mask.values[i] = static_cast<uint8_t>(i * 53);
    const HostMask* selection = kind.masked ? &mask : nullptr;
    for (int32_t glue : {15, 16, 22, 23, 53, 54, 55, 56, 57, 58, 59, 60, 61}) {
      forceGlueLanes(SIMD_SCALAR);
      forceRenderThreads(1);
      const std::vector<uint8_t> expected = renderBytes(image, selection, 1, glue);
      for (SimdLevel lanes : {SIMD_SSE2, SIMD_AVX2, SIMD_AVX512})
        for (int32_t threads : {1, 3}) {
          forceGlueLanes(lanes);
          forceRenderThreads(threads);
          EXPECT_EQ(renderBytes(image, selection, 1, glue), expected)
              << "glue width " << lanes << " threads " << threads << " glue " << glue << " depth " << kind.depth
              << " planes " << kind.colourPlanes;
        }
    }
  }
  forceGlueLanes(before);
  forceRenderThreads(platformCoreCount());
}

// A cancel between tiles of a threaded run: the host's abort answers yes
// after a few checks, the run ends with the user's cancel (checked inside
// the render helper) and no worker is left running.
TEST(RenderThreads, CancelLeavesNoOutputAndNoThread) {
  forceRenderThreads(7);
  HostImage image = picture(700, 600, 3, false, 8);
  renderBytes(image, nullptr, 1, 1, -128, "2");
  EXPECT_EQ(platformLiveWorkers(), 0);
  forceRenderThreads(platformCoreCount());
}

}  // namespace
