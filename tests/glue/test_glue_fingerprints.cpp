// Pins the exact output of every glue mode at both depths: a 64-bit hash of
// the results over a fixed, dense set of (top, base) colour pairs. The
// values were taken from the straightforward per-pixel code; any faster path
// (tables, caches, reordered control flow) must reproduce them bit for bit.
#include <gtest/gtest.h>

#include <cinttypes>
#include <cstdio>
#include <vector>

#include "glue/glue_modes.h"

namespace {

struct Rgb {
  int32_t c[3];
};

// Every triple of a few telling levels (black, white, the half, one either
// side), the greys along the scale, and pseudo-random colours.
std::vector<Rgb> colours(int depth) {
  const int32_t M = depth == 16 ? 32768 : 255;
  const std::vector<int32_t> levels =
      depth == 16 ? std::vector<int32_t>{0, 1, 2184, 16383, 16384, 16385, 32767, 32768}
                  : std::vector<int32_t>{0, 1, 17, 127, 128, 129, 254, 255};
  std::vector<Rgb> out;
  for (int32_t r : levels)
    for (int32_t g : levels)
      for (int32_t b : levels) out.push_back({{r, g, b}});
  for (int32_t v = 0; v <= M; v += M / 40) out.push_back({{v, v, v}});
  uint32_t state = depth;
  auto next = [&] {
    state = state * 1664525u + 1013904223u;
    return int32_t((state >> 8) % uint32_t(M + 1));
  };
  for (int i = 0; i < 160; ++i) {
    int32_t r = next(), g = next(), b = next();
    out.push_back({{r, g, b}});
  }
  return out;
}

uint64_t fingerprint(int mode, int depth, const GlueTables& tables) {
  const std::vector<Rgb> set = colours(depth);
  const GlueFunction fn = glueFunction(mode, depth);
  uint64_t hash = 14695981039346656037ull;  // FNV-1a
  for (const Rgb& top : set) {
    for (const Rgb& base : set) {
      Rgb out = top;
      fn(out.c, base.c, tables);
      for (int32_t v : out.c) {
        for (int byte = 0; byte < 4; ++byte) {
          hash ^= (uint32_t(v) >> (8 * byte)) & 255u;
          hash *= 1099511628211ull;
        }
      }
    }
  }
  return hash;
}

// Index by mode number - 1; first the 8-bit, then the 16-bit fingerprints.
const uint64_t EXPECTED[2][GLUE_MODE_COUNT] = {
#include "glue_fingerprints.inc"
};

TEST(GlueFingerprints, EveryModeAtBothDepthsGivesThePinnedBits) {
  GlueTables tables;
  buildRunTables(tables);
  for (int d = 0; d < 2; ++d) {
    const int depth = d == 0 ? 8 : 16;
    for (int mode = 1; mode <= GLUE_MODE_COUNT; ++mode) {
      uint64_t got = fingerprint(mode, depth, tables);
      char text[32];
      std::snprintf(text, sizeof text, "0x%016" PRIx64 "ull", got);
      EXPECT_EQ(got, EXPECTED[d][mode - 1])
          << glueModeName(mode) << " (" << mode << ") at " << depth << " bits gives " << text;
    }
  }
}

}  // namespace
