// The field walked band by band, in runs of rows over the threads: the
// gradients must be the one-thread planes' byte for byte (no row missed, none
// written past the rows the core needs), and each band must be reported once,
// only when its rows are final.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <mutex>
#include <string>
#include <vector>

#include "engine/edge_field.h"
#include "engine/field_kernels.h"
#include "image/pixel_map.h"
#include "session/session.h"
#include "platform/threads.h"

namespace {

uint32_t nextRandom(uint32_t* state) {
  *state = *state * 1664525u + 1013904223u;
  return *state >> 8;
}

struct Planes {
  std::vector<double> source, down, across, gx, gy;
  explicit Planes(int32_t t)
      : source(size_t(t) * t), down(size_t(t - 40) * (t - 40)), across(down.size()), gx(size_t(t - 80) * (t - 80)),
        gy(gx.size()) {
    // A byte pattern no computed sample has, so rows left alone show.
    for (auto* plane : {&source, &down, &across, &gx, &gy})
      std::memset(plane->data(), 0xa5, plane->size() * sizeof(double));
  }
  EdgeFieldRequest request(uint16_t selector, const EdgeKernels& k, const PixelMap* tile, int32_t coreRows) {
    return {selector, &k, source.data(), down.data(), across.data(), gx.data(), gy.data(), tile, coreRows};
  }
};

// Byte for byte, the untouched pattern included.
bool sameBytes(const Planes& a, const Planes& b) {
  auto same = [](const std::vector<double>& x, const std::vector<double>& y) {
    return x.size() == y.size() && std::memcmp(x.data(), y.data(), x.size() * sizeof(double)) == 0;
  };
  return same(a.source, b.source) && same(a.down, b.down) && same(a.across, b.across) && same(a.gx, b.gx) &&
         same(a.gy, b.gy);
}

void randomTile(PixelMap* tile, int32_t t, int32_t format, uint32_t seed) {
  pixelMapInit(tile, nullptr, nullptr);
  ASSERT_TRUE(pixelMapCreate(tile, t, t, format, 0));
  uint32_t state = seed;
  for (int32_t y = 0; y < t; ++y)
    for (int32_t x = 0; x < t; ++x) {
      // Smooth ramps with noise, so the slopes are neither flat nor wild.
      const int32_t base = (x * 3 + y * 5) % 200;
      int32_t v[3];
      for (int32_t& c : v) c = base + static_cast<int32_t>(nextRandom(&state) % 56);
      if (format == PIXEL_RGBA8)
        setBytes4(x, y, tile, 0, v[0], v[1], v[2], 255);
      else
        setWords4(x, y, tile, 0, v[0] * 128, v[1] * 128, v[2] * 128, 32768);
    }
}

// The gradients alone, from runs over the threads whose source and smoothed
// rows live in windows that fill up and move (full tiles in one to three
// runs, a smaller tile, cores that end early as at the foot of a picture),
// must be the gradient planes of the one-thread fill, and leave the other
// planes untouched; the fill itself is the same at every width.
TEST(FieldBands, WindowsGiveTheGradientsOfThePlanes) {
  for (int32_t t : {338, 251})
    for (int32_t format : {PIXEL_RGBA8, PIXEL_RGBA16}) {
      PixelMap tile;
      randomTile(&tile, t, format, static_cast<uint32_t>(t + format));
      const uint16_t selector = format == PIXEL_RGBA8 ? SOURCE_LUMINANCE : 1;
      const Planes untouched(t);
      for (double sigma : {2.0, 10.0}) {
        EdgeKernels k;
        buildEdgeKernels(sigma, &k);
        for (int32_t coreRows : {ALL_ROWS, 88, 3}) {
          forceSimdLevel(SIMD_SCALAR);
          Planes expected(t);
          computeEdgeFieldInBands(expected.request(selector, k, &tile, coreRows), nullptr, nullptr);
          for (SimdLevel level : {SIMD_SCALAR, widestSimdLevel()}) {
            SCOPED_TRACE("side " + std::to_string(t) + " sigma " + std::to_string(sigma) + " core rows " +
                         std::to_string(coreRows) + " " + simdLevelName(level));
            forceSimdLevel(level);
            Planes filled(t);
            computeEdgeFieldInBands(filled.request(selector, k, &tile, coreRows), nullptr, nullptr);
            EXPECT_TRUE(sameBytes(filled, expected));
            for (int32_t threads : {1, 2, 3, 7}) {
              if (level == SIMD_SCALAR && threads != 3) continue;  // the scalar sums are slow
              forceRenderThreads(threads);
              Planes alone(t);
              EdgeFieldRequest request = alone.request(selector, k, &tile, coreRows);
              request.source = request.smoothedDown = request.smoothedAcross = nullptr;
              computeEdgeFieldInBands(request, nullptr, nullptr);
              EXPECT_TRUE(alone.gx == expected.gx && alone.gy == expected.gy) << "threads " << threads;
              EXPECT_TRUE(alone.source == untouched.source && alone.down == untouched.down &&
                          alone.across == untouched.across);
            }
          }
        }
      }
      pixelMapFree(&tile);
    }
  forceSimdLevel(widestSimdLevel());
  forceRenderThreads(platformCoreCount());
}

// The source channel of 8-bit pixels at every width: extreme bytes and
// random ones, every channel and the luminance, lengths with tails.
TEST(FieldBands, SourceBytesAtEveryWidthEqualOneByOne) {
  uint32_t state = 3;
  std::vector<uint8_t> pixels(4 * 1031);
  for (size_t i = 0; i < pixels.size(); ++i)
    pixels[i] = i < 64 ? (i & 4 ? 255 : 0) : static_cast<uint8_t>(nextRandom(&state));
  for (uint16_t selector : {uint16_t(0), uint16_t(1), uint16_t(2), SOURCE_LUMINANCE})
    for (size_t count : {1, 3, 8, 9, 17, 33, 1031}) {
      std::vector<double> expected(count), got(count);
      fieldKernelsFor(SIMD_SCALAR).sourceBytes(selector, pixels.data(), count, expected.data());
      for (int32_t l = SIMD_SSE2; l <= widestSimdLevel(); ++l) {
        const SimdLevel level = static_cast<SimdLevel>(l);
        std::fill(got.begin(), got.end(), -1.0);
        fieldKernelsFor(level).sourceBytes(selector, pixels.data(), count, got.data());
        EXPECT_EQ(std::memcmp(got.data(), expected.data(), count * sizeof(double)), 0)
            << simdLevelName(level) << " selector " << selector << " count " << count;
      }
    }
}

struct Reports {
  std::mutex lock;
  std::vector<int32_t> timesReported;        // per gradient row
  std::vector<std::vector<double>> rowsSeen;  // gx then gy of the row when reported
  const Planes* planes = nullptr;
  int32_t side = 0;
};

void noteRows(void* context, int32_t rowBegin, int32_t rowEnd) {
  Reports& r = *static_cast<Reports*>(context);
  std::lock_guard<std::mutex> hold(r.lock);
  for (int32_t row = rowBegin; row < rowEnd; ++row) {
    ASSERT_GE(row, 0);
    ASSERT_LT(row, static_cast<int32_t>(r.timesReported.size()));
    ++r.timesReported[size_t(row)];
    const double* x = r.planes->gx.data() + size_t(row) * r.side;
    const double* y = r.planes->gy.data() + size_t(row) * r.side;
    std::vector<double>& seen = r.rowsSeen[size_t(row)];
    seen.assign(x, x + r.side);
    seen.insert(seen.end(), y, y + r.side);
  }
}

// Every gradient row the core reads is reported exactly once, none past
// them, and what a reader sees at that moment is the row's final value.
TEST(FieldBands, EachBandIsReportedOnceWhenFinal) {
  const int32_t t = 338, s2 = t - 80;
  PixelMap tile;
  randomTile(&tile, t, PIXEL_RGBA8, 9);
  EdgeKernels k;
  buildEdgeKernels(6.0, &k);
  for (int32_t coreRows : {ALL_ROWS, 100, 0})
    for (int32_t threads : {1, 2, 3})
      for (bool windows : {false, true}) {
        forceRenderThreads(threads);
        Planes planes(t);
        Reports reports;
        const int32_t rows = std::min(coreRows + 2, s2);
        reports.timesReported.assign(size_t(s2), 0);
        reports.rowsSeen.resize(size_t(s2));
        reports.planes = &planes;
        reports.side = s2;
        EdgeFieldRequest request = planes.request(SOURCE_LUMINANCE, k, &tile, coreRows);
        if (windows) request.source = request.smoothedDown = request.smoothedAcross = nullptr;
        computeEdgeFieldInBands(request, noteRows, &reports);
        for (int32_t row = 0; row < s2; ++row) {
          SCOPED_TRACE("row " + std::to_string(row) + " core rows " + std::to_string(coreRows) + " threads " +
                       std::to_string(threads) + (windows ? " windows" : " planes"));
          ASSERT_EQ(reports.timesReported[size_t(row)], row < rows ? 1 : 0);
          if (row >= rows) continue;
          const std::vector<double>& seen = reports.rowsSeen[size_t(row)];
          ASSERT_EQ(std::memcmp(seen.data(), planes.gx.data() + size_t(row) * s2, s2 * sizeof(double)), 0);
          ASSERT_EQ(std::memcmp(seen.data() + s2, planes.gy.data() + size_t(row) * s2, s2 * sizeof(double)), 0);
        }
      }
  forceRenderThreads(platformCoreCount());
  pixelMapFree(&tile);
}

}  // namespace
