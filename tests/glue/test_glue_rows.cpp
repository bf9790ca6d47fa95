// The row forms of the glue modes against their per-pixel functions: every
// pixel of a row must come out bit for bit as glueFunction gives it, at
// every vector width the CPU has, for rows of every length modulo the
// widths' steps and for colours that reach each branch (black, white,
// greys, the half, saturated primaries and random colours).
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "glue/colour_convert.h"
#include "glue/glue_colour_shared.h"
#include "glue/glue_modes.h"
#include "glue/glue_simd.h"

namespace {

struct Lcg {
  uint32_t state;
  uint32_t next() {
    state = state * 1664525u + 1013904223u;
    return state >> 8;
  }
};

// One colour: a quarter special levels per channel, a quarter greys, a
// quarter primaries and secondaries, the rest random.
void randomColour(Lcg& rng, int32_t M, int32_t* out) {
  const int32_t levels[] = {0, 1, M / 2, M / 2 + 1, M - 1, M};
  switch (rng.next() % 4) {
    case 0:
      for (int c = 0; c < 3; ++c) out[c] = levels[rng.next() % 6];
      break;
    case 1: {
      const int32_t v = int32_t(rng.next() % uint32_t(M + 1));
      out[0] = out[1] = out[2] = v;
      break;
    }
    case 2: {
      const int32_t hi = int32_t(rng.next() % uint32_t(M + 1));
      for (int c = 0; c < 3; ++c) out[c] = (rng.next() & 1) ? hi : 0;
      break;
    }
    default:
      for (int c = 0; c < 3; ++c) out[c] = int32_t(rng.next() % uint32_t(M + 1));
  }
}

// The vector widths to compare: each is lowered to what the CPU has, so a
// narrower CPU only repeats a width.
constexpr SimdLevel WIDTHS[] = {SIMD_SSE2, SIMD_AVX2, SIMD_AVX512};
// The modes whose rows work several pixels side by side.
constexpr int WIDE_MODES[] = {GLUE_COLOR,     GLUE_LUMINANCE, GLUE_SATURATION, GLUE_HUE,     GLUE_FRONTAL,
                              GLUE_PARIETAL,  GLUE_TEMPORAL,  GLUE_OCCIPITAL,  GLUE_LIMBIC,  GLUE_DEXTROUS,
                              GLUE_SINISTER,  GLUE_ANTERIOR,  GLUE_POSTERIOR};

GlueTables& runTables() {
  static GlueTables* tables = [] {
    static GlueTables built;
    buildRunTables(built);
    return &built;
  }();
  return *tables;
}

TEST(GlueRows, RowFormsMatchThePerPixelFunctionAtBothDepths) {
  int modesWithRows = 0;
  for (SimdLevel lanes : WIDTHS)
  for (int depth : {8, 16}) {
    const int32_t M = depth == 16 ? 32768 : 255;
    for (int mode = 1; mode <= GLUE_MODE_COUNT; ++mode) {
      const GlueRowFunction row = glueRowFunctionAt(lanes, mode, depth);
      if (row == nullptr) continue;
      ++modesWithRows;
      const GlueFunction pixel = glueFunction(mode, depth);
      Lcg rng{uint32_t(mode * 131 + depth)};
      std::vector<int32_t> counts;
      for (int32_t n = 1; n <= 35; ++n) counts.push_back(n);
      counts.push_back(300);
      counts.push_back(2001);
      for (int32_t count : counts) {
        std::vector<int32_t> tops(3 * count), bases(3 * count);
        for (int32_t i = 0; i < count; ++i) {
          randomColour(rng, M, &tops[3 * i]);
          randomColour(rng, M, &bases[3 * i]);
        }
        // Repeat some tops, as a ramp does, so the top-colour cache hits.
        for (int32_t i = 5; i < count; i += 5)
          for (int c = 0; c < 3; ++c) tops[3 * i + c] = tops[3 * (i - 5) + c];
        std::vector<int32_t> expected = tops;
        for (int32_t i = 0; i < count; ++i)
          pixel(&expected[3 * i], &bases[3 * i], runTables());
        row(tops.data(), bases.data(), count, runTables());
        for (int32_t i = 0; i < 3 * count; ++i)
          ASSERT_EQ(tops[i], expected[i]) << "width " << lanes << " mode " << mode << " depth " << depth << " count "
                                          << count << " pixel " << i / 3 << " channel " << i % 3
                                          << " base " << bases[i - i % 3] << ","
                                          << bases[i - i % 3 + 1] << "," << bases[i - i % 3 + 2];
      }
    }
  }
  EXPECT_GE(modesWithRows, 3 * 2 * 61);  // every mode but "normal", both depths, each width
}

// The colour modes have lane forms at every width, the narrowest too: a
// width that fell back to the per-pixel row would pass the comparisons
// above without testing anything.
TEST(GlueRows, ColourModesHaveLaneFormsAtEveryWidth) {
  for (SimdLevel lanes : WIDTHS)
    for (int mode : WIDE_MODES)
      for (int depth : {8, 16})
        EXPECT_NE(glueRowFunctionAt(lanes, mode, depth), gluePixelRowFunction(mode, depth))
            << "width " << lanes << " mode " << mode << " depth " << depth;
}

// The Lab row forms place 8-bit values on the table's axis with
// (x * 241) >> 12 for x / 17, and take each interpolated sum's quotient by 17
// as (sum * 7711) >> 17 at 8 bits (sums up to 255 * 17) and in single
// precision at 16 bits (sums below 255 times the 16-bit cell); each must
// equal the integer division on every value it meets.
TEST(GlueRows, LabShortcutsEqualIntegerDivisionBySeventeen) {
  for (int32_t x = 0; x <= 255; ++x) ASSERT_EQ((x * 241) >> 12, x / 17) << x;
  for (int32_t sum = 0; sum <= 255 * 17; ++sum) ASSERT_EQ((sum * 7711) >> 17, sum / 17) << sum;
  for (int32_t sum = 0; sum < (1 << 20); ++sum)
    ASSERT_EQ(int32_t(float(sum) / 17.0f), sum / 17) << sum;
}

// Tables of arbitrary bytes instead of the smooth Lab ones: every byte of
// every corner the row forms read must be the one the per-pixel form reads,
// including the last node's, which ends the table.
TEST(GlueRows, LabRowFormsMatchWithArbitraryTables) {
  static uint8_t forward[LAB_TABLE_BYTES], inverse[LAB_TABLE_BYTES];
  Lcg rng{7};
  for (int i = 0; i < LAB_TABLE_BYTES; ++i) {
    forward[i] = uint8_t(rng.next());
    inverse[i] = uint8_t(rng.next());
  }
  forward[LAB_TABLE_BYTES - 1] = inverse[LAB_TABLE_BYTES - 1] = 255;
  static GlueTables tables;
  buildRunTables(tables);
  tables.labForward = forward;
  tables.labInverse = inverse;
  for (SimdLevel lanes : WIDTHS)
  for (int depth : {8, 16}) {
    const int32_t M = depth == 16 ? 32768 : 255;
    for (int mode : {GLUE_PARIETAL, GLUE_TEMPORAL, GLUE_OCCIPITAL, GLUE_LIMBIC}) {
      const int32_t count = 1001;
      std::vector<int32_t> tops(3 * count), bases(3 * count);
      for (int32_t i = 0; i < count; ++i) {
        randomColour(rng, M, &tops[3 * i]);
        randomColour(rng, M, &bases[3 * i]);
      }
      std::vector<int32_t> expected = tops;
      for (int32_t i = 0; i < count; ++i)
        glueFunction(mode, depth)(&expected[3 * i], &bases[3 * i], tables);
      glueRowFunctionAt(lanes, mode, depth)(tops.data(), bases.data(), count, tables);
      ASSERT_EQ(tops, expected) << "width " << lanes << " mode " << mode << " depth " << depth;
    }
  }
}

// A coarse grid of colours as base under a few tops held along the row
// (black, white, grey, a primary, a mixed colour), at both depths: the row
// forms reach the rare branches (equal channels, ties for the largest) and
// the shortcuts for a run of one top colour.
TEST(GlueRows, RowFormsMatchOnAGridOfColoursUnderHeldTops) {
  for (int depth : {8, 16}) {
    const int32_t M = depth == 16 ? 32768 : 255;
    auto scaled = [M](int32_t v) { return v * M / 255; };
    std::vector<int32_t> bases;
    for (int32_t r = 0; r <= 255; r += 15)
      for (int32_t g = 0; g <= 255; g += 15)
        for (int32_t b = 0; b <= 255; b += 15) bases.insert(bases.end(), {scaled(r), scaled(g), scaled(b)});
    const int32_t count = int32_t(bases.size() / 3);
    const int32_t tops[][3] = {{0, 0, 0}, {255, 255, 255}, {128, 128, 128}, {255, 0, 0}, {40, 200, 90}};
    for (SimdLevel lanes : WIDTHS)
      for (int mode = 2; mode <= GLUE_MODE_COUNT; ++mode) {
        const GlueRowFunction row = glueRowFunctionAt(lanes, mode, depth);
        for (const auto& top : tops) {
          std::vector<int32_t> got;
          for (int32_t i = 0; i < count; ++i) got.insert(got.end(), {scaled(top[0]), scaled(top[1]), scaled(top[2])});
          std::vector<int32_t> expected = got;
          for (int32_t i = 0; i < count; ++i) glueFunction(mode, depth)(&expected[3 * i], &bases[3 * i], runTables());
          row(got.data(), bases.data(), count, runTables());
          ASSERT_EQ(got, expected) << "width " << lanes << " mode " << mode << " depth " << depth;
        }
      }
  }
}

// Every 8-bit value of each channel against every value of another (the
// third at a few levels), under tops from a colourful ramp: all hues, all
// saturations and the channel ties, for the modes with wide forms.
TEST(GlueRows, WideFormsMatchOnEveryPairOfEightBitChannels) {
  std::vector<int32_t> bases;
  for (int32_t third : {0, 101, 255})
    for (int32_t x = 0; x <= 255; ++x)
      for (int32_t y = 0; y <= 255; ++y) {
        bases.insert(bases.end(), {x, y, third});
        bases.insert(bases.end(), {third, x, y});
      }
  const int32_t count = int32_t(bases.size() / 3);
  std::vector<int32_t> tops(bases.size());
  for (int32_t i = 0; i < count; ++i)
    for (int c = 0; c < 3; ++c) {
      const int32_t t = (i / 7 + 85 * c) % 256;  // runs of equal tops, as from a ramp
      tops[3 * i + c] = t < 128 ? 2 * t : 511 - 2 * t;
    }
  for (int mode : WIDE_MODES) {
    std::vector<int32_t> expected = tops;
    for (int32_t i = 0; i < count; ++i) glueFunction(mode, 8)(&expected[3 * i], &bases[3 * i], runTables());
    for (SimdLevel lanes : WIDTHS) {
      std::vector<int32_t> got = tops;
      glueRowFunctionAt(lanes, mode, 8)(got.data(), bases.data(), count, runTables());
      ASSERT_EQ(got, expected) << "width " << lanes << " mode " << mode;
    }
  }
}

// Rows of grey tops (the plain ramp), which the wide forms take without the
// top-colour cache, and for which "frontal" finds the mixed point's angle
// from the base's own and "anterior" skips the way back to RGB. Every pair
// of 8-bit channels as base, the third at a few levels (hues on both sides
// of the red wrap among them); at 16 bits bases near the wrap and random
// ones; at both depths black, white and off-scale greys and bases.
TEST(GlueRows, WideFormsMatchUnderGreyTops) {
  for (int depth : {8, 16}) {
    const int32_t M = depth == 16 ? 32768 : 255;
    std::vector<int32_t> bases;
    if (depth == 8) {
      for (int32_t third : {0, 1, 128, 255})
        for (int32_t x = 0; x <= 255; ++x)
          for (int32_t y = 0; y <= 255; ++y) {
            bases.insert(bases.end(), {x, y, third});
            bases.insert(bases.end(), {y, third, x});
          }
    } else {
      Lcg rng{16};
      for (int32_t i = 0; i < 40000; ++i) {
        int32_t c[3];
        randomColour(rng, M, c);
        bases.insert(bases.end(), c, c + 3);
      }
      for (int32_t d = 0; d < 64; ++d)
        bases.insert(bases.end(), {M, d, 0, M, 0, d, M - d, 0, 1, M, d, d + 1, 1, 0, 0, 0, 0, d + 1});
    }
    for (int32_t off : {-3, 1, M + 1, M + 77, 1 << 20}) bases.insert(bases.end(), {off, 7, M / 2, M, off, 0});
    const int32_t count = int32_t(bases.size() / 3);
    std::vector<int32_t> tops(bases.size());
    const int32_t levels = M + 9;  // a few greys off the scale at either end
    for (int32_t i = 0; i < count; ++i) {
      const int32_t grey = (i / 5 * 37) % levels - 4;  // runs of one grey, as from a ramp
      for (int c = 0; c < 3; ++c) tops[3 * i + c] = i % 97 < 16 ? (i % 2) * M : grey;
    }
    for (int mode : {GLUE_COLOR, GLUE_SATURATION, GLUE_HUE, GLUE_FRONTAL, GLUE_SINISTER, GLUE_ANTERIOR,
                     GLUE_POSTERIOR}) {
      std::vector<int32_t> expected = tops;
      for (int32_t i = 0; i < count; ++i) glueFunction(mode, depth)(&expected[3 * i], &bases[3 * i], runTables());
      for (SimdLevel lanes : WIDTHS) {
        std::vector<int32_t> got = tops;
        glueRowFunctionAt(lanes, mode, depth)(got.data(), bases.data(), count, runTables());
        for (int32_t i = 0; i < 3 * count; ++i)
          ASSERT_EQ(got[i], expected[i]) << "width " << lanes << " mode " << mode << " depth " << depth
                                         << " pixel " << i / 3 << " top " << tops[i - i % 3] << " base "
                                         << bases[i - i % 3] << "," << bases[i - i % 3 + 1] << ","
                                         << bases[i - i % 3 + 2];
      }
    }
  }
}

// At 8 bits the wide forms tell a top-colour cache hit by one packed key
// word. A top off the scale whose low bytes match a colour on it, and which
// lands in the same cache entry, must not be taken for that colour (nor the
// other way round): rows alternating the two, with the entry handed back and
// forth, against the per-pixel function.
TEST(GlueRows, OffScaleTopsNeverHitTheirLowByteTwins) {
  using namespace glue;
  auto slot = [](int mode, const int32_t c[3]) {
    const int32_t tag = topTag<Scale8>(mode == GLUE_FRONTAL ? PLAIN_POLAR : mode == GLUE_PARIETAL ? LAB : LIGHT_HSL);
    const uint32_t hash = uint32_t(c[0]) * TOP_HASH_FACTORS[0] + uint32_t(c[1]) * TOP_HASH_FACTORS[1] +
                          uint32_t(c[2]) * TOP_HASH_FACTORS[2] + uint32_t(tag) * TOP_HASH_FACTORS[3];
    return hash >> (32 - GLUE_TOP_CACHE_BITS);
  };
  for (int mode : {GLUE_COLOR, GLUE_FRONTAL, GLUE_PARIETAL}) {
    // A twin pair in one entry: (r, g, b) and a colour 256 times some whole
    // numbers away in each channel.
    const int32_t onScale[3] = {30, 200, 100};
    int32_t offScale[3] = {0, 0, 0};
    bool found = false;
    for (int32_t kr = -8; kr <= 8 && !found; ++kr)
      for (int32_t kg = -8; kg <= 8 && !found; ++kg)
        for (int32_t kb = -8; kb <= 8 && !found; ++kb) {
          const int32_t twin[3] = {onScale[0] + 256 * kr, onScale[1] + 256 * kg, onScale[2] + 256 * kb};
          if ((kr | kg | kb) == 0 || slot(mode, twin) != slot(mode, onScale)) continue;
          std::copy(twin, twin + 3, offScale);
          found = true;
        }
    ASSERT_TRUE(found) << mode;
    const int32_t count = 67;
    std::vector<int32_t> tops, bases;
    Lcg rng{uint32_t(mode)};
    for (int32_t i = 0; i < count; ++i) {
      const int32_t* top = (i / 3) % 2 ? offScale : onScale;
      tops.insert(tops.end(), top, top + 3);
      int32_t base[3];
      randomColour(rng, 255, base);
      bases.insert(bases.end(), base, base + 3);
    }
    for (SimdLevel lanes : WIDTHS) {
      static GlueTables tables;
      buildRunTables(tables);
      std::vector<int32_t> expected = tops, got = tops;
      for (int32_t i = 0; i < count; ++i) glueFunction(mode, 8)(&expected[3 * i], &bases[3 * i], tables);
      glueRowFunctionAt(lanes, mode, 8)(got.data(), bases.data(), count, tables);
      ASSERT_EQ(got, expected) << "width " << lanes << " mode " << mode;
    }
  }
}

// The scalar width is the per-pixel code along the row; a forced width
// holds until the next is forced.
TEST(GlueRows, ForcedWidthChoosesTheRowForms) {
  const SimdLevel before = activeGlueLanes();
  forceGlueLanes(SIMD_SCALAR);
  EXPECT_EQ(glueRowFunction(GLUE_FRONTAL, 8), gluePixelRowFunction(GLUE_FRONTAL, 8));
  forceGlueLanes(SIMD_SSE2);
  EXPECT_EQ(activeGlueLanes(), SIMD_SSE2);
  EXPECT_EQ(glueRowFunction(GLUE_FRONTAL, 8), glueRowFunctionSse2(GLUE_FRONTAL, 8));
  forceGlueLanes(SIMD_AVX512);
  EXPECT_EQ(activeGlueLanes(), widestSimdLevel());
  forceGlueLanes(before);
  EXPECT_EQ(glueRowFunction(1, 8), nullptr);
}

}  // namespace
