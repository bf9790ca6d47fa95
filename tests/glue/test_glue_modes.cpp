// Glue modes: every mode stays on the scale for every input, modes that
// work channel by channel keep grey grey, and the corner cases where the
// 8-bit and 16-bit forms part ways give the values worked out by hand.
#include <gtest/gtest.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "glue/glue_modes.h"

namespace {

const GlueTables& tables() {
  static GlueTables t = [] {
    GlueTables built;
    buildRunTables(built);
    return built;
  }();
  return t;
}

struct Rgb {
  int32_t c[3];
};

Rgb glue(int mode, int depth, Rgb top, Rgb base) {
  applyGlue(mode, top.c, base.c, depth, tables());
  return top;
}

Rgb grey(int32_t v) { return {{v, v, v}}; }

// The Lab modes move neutral colours off neutral (the opponents go through
// hardMix and the inverse table), so only they may tint a grey.
bool mayTintGrey(int mode) { return mode >= GLUE_PARIETAL && mode <= GLUE_LIMBIC; }

// Channel values for the 16-bit sweeps: a dense grid plus the places where
// forms change (halves, tops, one either side).
std::vector<int32_t> sample16() {
  std::vector<int32_t> v;
  for (int32_t x = 0; x <= 32768; x += 97) v.push_back(x);
  for (int32_t x : {1, 127, 128, 129, 255, 256, 16255, 16383, 16384, 16385, 16639, 32511,
                    32639, 32640, 32641, 32767, 32768})
    v.push_back(x);
  return v;
}

// For one mode and depth, every (t, b) pair of a channel, once as greys and
// once with the other channels set to colours that move with t and b.
void sweep(int mode, int depth, const std::vector<int32_t>& values) {
  const int32_t M = depth == 16 ? 32768 : 255;
  GlueFunction fn = glueFunction(mode, depth);
  int failures = 0;
  for (int32_t t : values) {
    for (int32_t b : values) {
      Rgb top = grey(t), base = grey(b);
      fn(top.c, base.c, tables());
      for (int k = 0; k < 3; ++k) {
        if (top.c[k] < 0 || top.c[k] > M) {
          if (++failures <= 5)
            ADD_FAILURE() << glueModeName(mode) << " at " << depth << " bits, grey t=" << t
                          << " b=" << b << " gives " << top.c[k];
        }
      }
      if (!mayTintGrey(mode) && (top.c[0] != top.c[1] || top.c[0] != top.c[2])) {
        if (++failures <= 5)
          ADD_FAILURE() << glueModeName(mode) << " at " << depth << " bits tints grey t=" << t
                        << " b=" << b;
      }

      Rgb colourTop = {{t, M - t, (t * 3 + 17) % (M + 1)}};
      Rgb colourBase = {{b, (b * 5 + M / 3) % (M + 1), M - b}};
      fn(colourTop.c, colourBase.c, tables());
      for (int k = 0; k < 3; ++k) {
        if (colourTop.c[k] < 0 || colourTop.c[k] > M) {
          if (++failures <= 5)
            ADD_FAILURE() << glueModeName(mode) << " at " << depth << " bits, colour t=" << t
                          << " b=" << b << " channel " << k << " gives " << colourTop.c[k];
        }
      }
    }
  }
}

TEST(GlueRange, EveryModeAt8BitsAllPairs) {
  std::vector<int32_t> all;
  for (int32_t x = 0; x <= 255; ++x) all.push_back(x);
  for (int mode = 1; mode <= GLUE_MODE_COUNT; ++mode) sweep(mode, 8, all);
}

TEST(GlueRange, EveryModeAt16BitsDenseSample) {
  std::vector<int32_t> values = sample16();
  for (int mode = 1; mode <= GLUE_MODE_COUNT; ++mode) sweep(mode, 16, values);
}

// Dodge, burn and vivid A divide through doubles; each must give the integer
// division's quotient for every pair at 8 bits and across the 16-bit scale.
TEST(GlueRange, DividingModesGiveTheIntegerQuotients) {
  auto limited = [](int32_t v, int32_t m) { return v < 0 ? 0 : (v > m ? m : v); };
  for (int depth : {8, 16}) {
    std::vector<int32_t> values;
    if (depth == 8)
      for (int32_t x = 0; x <= 255; ++x) values.push_back(x);
    else
      values = sample16();
    const int32_t M = depth == 8 ? 255 : 32768, S = depth == 8 ? 256 : 32768;
    int failures = 0;
    for (int32_t t : values)
      for (int32_t b : values) {
        const int32_t dodge = t == 32768 ? 32768 : limited((b * S) / (S - t), M);
        const int32_t burn = limited(M + ((b - M) * S) / (t + 1), M);
        int32_t vivid;
        if (depth == 8) {
          vivid = limited(t < 128 ? 255 + ((b - 255) * 256) / (2 * t + 1) : (b * 256) / (511 - 2 * t), 255);
        } else {
          const int32_t t8 = std::min((t + 1) >> 7, 255), b8 = std::min((b + 1) >> 7, 255);
          const int32_t r = t8 < 128 ? 255 + ((b8 - 255) * 256) / (2 * t8 + 1) : (b8 * 256) / (511 - 2 * t8);
          vivid = r < 0 ? 0 : (r >= 255 ? 32768 : (r << 7) | (r >> 1));
        }
        const std::pair<int, int32_t> expected[] = {{GLUE_DODGE, dodge}, {GLUE_BURN, burn}, {GLUE_VIVID_A, vivid}};
        for (const auto& [mode, value] : expected) {
          const int32_t got = glue(mode, depth, grey(t), grey(b)).c[0];
          if (got != value && ++failures <= 5)
            ADD_FAILURE() << glueModeName(mode) << " at " << depth << " bits, t=" << t << " b=" << b << " gives "
                          << got << ", not " << value;
        }
      }
  }
}

TEST(GlueDispatch, UnknownAndNormalModesKeepTheTop) {
  Rgb top = {{10, 20, 30}}, base = {{200, 100, 0}};
  for (int mode : {-3, 0, 1, 63, 1000}) {
    for (int depth : {8, 16}) {
      EXPECT_EQ(glueFunction(mode, depth), &glueKeepTop);
      Rgb r = glue(mode, depth, top, base);
      EXPECT_EQ(r.c[0], 10);
      EXPECT_EQ(r.c[1], 20);
      EXPECT_EQ(r.c[2], 30);
    }
  }
  for (int mode = 2; mode <= GLUE_MODE_COUNT; ++mode) {
    EXPECT_NE(glueFunction(mode, 8), &glueKeepTop) << mode;
    EXPECT_NE(glueFunction(mode, 16), &glueKeepTop) << mode;
    EXPECT_NE(glueFunction(mode, 8), glueFunction(mode, 16)) << mode;
  }
}

int32_t channel(int mode, int depth, int32_t t, int32_t b) {
  return glue(mode, depth, grey(t), grey(b)).c[0];
}

TEST(GlueChannelModes, NeverRoundUp) {
  // At 8 bits the neutral top of screen and multiply both scale the base by
  // 255/256, one level short for most values; 16 bits are exact.
  for (int32_t b = 0; b <= 255; ++b) {
    EXPECT_EQ(channel(GLUE_SCREEN, 8, 0, b), (255 * b) >> 8);
    EXPECT_EQ(channel(GLUE_MULTIPLY, 8, 255, b), (255 * b) >> 8);
  }
  EXPECT_EQ(channel(GLUE_SCREEN, 16, 0, 12345), 12345);
  EXPECT_EQ(channel(GLUE_MULTIPLY, 16, 32768, 12345), 12345);
}

TEST(GlueChannelModes, DifferenceAgainstExclusion) {
  EXPECT_EQ(channel(GLUE_DIFFERENCE, 8, 255, 255), 0);
  EXPECT_EQ(channel(GLUE_EXCLUSION, 8, 255, 255), 0);
  // 8 bits: the top's weight runs to 256 in exclusion only.
  EXPECT_EQ(channel(GLUE_DIFFERENCE, 8, 0, 255), 254);
  EXPECT_EQ(channel(GLUE_EXCLUSION, 8, 0, 255), 255);
  // 16 bits: one form.
  for (int32_t t : {0, 5000, 16384, 32768})
    for (int32_t b : {0, 777, 20000, 32768})
      EXPECT_EQ(channel(GLUE_EXCLUSION, 16, t, b), channel(GLUE_DIFFERENCE, 16, t, b));
  EXPECT_EQ(channel(GLUE_DIFFERENCE, 16, 32768, 0), 32768);
}

TEST(GlueChannelModes, ProceduralPlusFollowsTheBaseMidTones) {
  EXPECT_EQ(channel(GLUE_PROCEDURAL_PLUS, 8, 200, 128), (255 * 200) >> 8);
  EXPECT_EQ(channel(GLUE_PROCEDURAL_PLUS, 8, 200, 0), 0);
  EXPECT_EQ(channel(GLUE_PROCEDURAL_PLUS, 8, 200, 255), (200 + 254 * 255) >> 8);
  EXPECT_EQ(channel(GLUE_PROCEDURAL_PLUS, 16, 30000, 16384), (8192 * 30000 + 8192 * 16384) >> 14);
  EXPECT_EQ(channel(GLUE_PROCEDURAL_PLUS, 16, 30000, 16383), (8191 * 30000 + 8193 * 16383) >> 14);
  EXPECT_EQ(channel(GLUE_PROCEDURAL_PLUS, 16, 30000, 32768), 32768);
}

TEST(GlueChannelModes, EdgesWhereTheDepthsDiffer) {
  // Linear light pivots on 256 below the half and 255 above it at 8 bits.
  EXPECT_EQ(channel(GLUE_LINEAR_LIGHT, 8, 127, 3), 1);
  EXPECT_EQ(channel(GLUE_LINEAR_LIGHT, 8, 128, 0), 1);
  EXPECT_EQ(channel(GLUE_LINEAR_LIGHT, 16, 16384, 5), 5);
  // Hard mix: 256 or more at 8 bits, above 32768 at 16 bits.
  EXPECT_EQ(channel(GLUE_HARD_MIX, 8, 128, 128), 255);
  EXPECT_EQ(channel(GLUE_HARD_MIX, 8, 128, 127), 0);
  EXPECT_EQ(channel(GLUE_HARD_MIX, 16, 16384, 16384), 0);
  EXPECT_EQ(channel(GLUE_HARD_MIX, 16, 16384, 16385), 32768);
  // Dodge: a white top divides by 1 at 8 bits and is handled apart at 16.
  EXPECT_EQ(channel(GLUE_DODGE, 8, 255, 0), 0);
  EXPECT_EQ(channel(GLUE_DODGE, 8, 255, 1), 255);
  EXPECT_EQ(channel(GLUE_DODGE, 16, 32768, 0), 32768);
  EXPECT_EQ(channel(GLUE_DODGE, 16, 16384, 8192), 16384);
  // Burn at the black top.
  EXPECT_EQ(channel(GLUE_BURN, 8, 0, 254), 0);
  EXPECT_EQ(channel(GLUE_BURN, 8, 0, 255), 255);
  EXPECT_EQ(channel(GLUE_BURN, 16, 32767, 32768), 32768);
  // AND: 32768 is a lone bit.
  EXPECT_EQ(channel(GLUE_AND, 16, 32768, 32767), 0);
  EXPECT_EQ(channel(GLUE_AND, 16, 32768, 32768), 32768);
  EXPECT_EQ(channel(GLUE_XOR, 8, 0xF0, 0x3C), 0xCC);
  // Cross: the squares are divided separately, each truncated.
  EXPECT_EQ(channel(GLUE_CROSS, 8, 0, 128), 0);
  EXPECT_EQ(channel(GLUE_CROSS, 8, 136, 128), 255 - 1);
  EXPECT_EQ(channel(GLUE_CROSS, 16, 0, 16384), 0);
  // Queen and jack take different forms at 16 bits.
  EXPECT_EQ(channel(GLUE_QUEEN, 8, 255, 255), 255);
  EXPECT_EQ(channel(GLUE_QUEEN, 8, 127, 255), 191);
  EXPECT_EQ(channel(GLUE_QUEEN, 16, 16384, 0), (16384 * 16384) >> 15);
  EXPECT_EQ(channel(GLUE_JACK, 16, 0, 16384), (16384 * 16384) >> 15);
  EXPECT_EQ(channel(GLUE_KING, 8, 255, 128), 191);
}

TEST(GlueChannelModes, VividAWorksAt8BitPrecisionFor16Bits) {
  // (t+1)>>7 = 128 and (b+1)>>7 = 254 give 254 at 8 bits: 254 << 7 | 127.
  EXPECT_EQ(channel(GLUE_VIVID_A, 16, 16383, 32511), 32639);
  EXPECT_EQ(channel(GLUE_VIVID_A, 16, 16383, 32639), 32768);
  EXPECT_EQ(channel(GLUE_VIVID_A, 16, 0, 0), 0);
  EXPECT_EQ(channel(GLUE_VIVID_A, 8, 128, 254), 254);
  EXPECT_EQ(channel(GLUE_VIVID_A, 8, 128, 255), 255);
  EXPECT_EQ(channel(GLUE_VIVID_A, 8, 0, 254), 0);
}

TEST(GlueChannelModes, SoftLightUpperHalfAt16Bits) {
  // Worked at 8 bits: t8 = 200, b8 = 100, the upper 8-bit branch, << 7.
  int32_t u = 155;
  int32_t r8 = 255 - ((((u * u) / 256) * (200 - 130) + (258 - 200) * u) >> 7);
  EXPECT_EQ(channel(GLUE_SOFT_LIGHT, 16, 200 * 128 + 5, 100 * 128 + 7), r8 << 7);
  EXPECT_EQ(channel(GLUE_SOFT_LIGHT, 8, 200, 100), r8);
  // A white base stays white even where the 8-bit form overshoots.
  EXPECT_EQ(channel(GLUE_SOFT_LIGHT, 16, 16384, 32768), 32768);
  EXPECT_EQ(channel(GLUE_SOFT_LIGHT, 16, 20000, 32768), 32768);
}

TEST(GlueFloatModes, MultibrightAndScreendimEnds) {
  EXPECT_EQ(channel(GLUE_MULTIBRIGHT, 8, 0, 200), 0);
  EXPECT_EQ(channel(GLUE_MULTIBRIGHT, 16, 0, 200), 0);
  EXPECT_EQ(channel(GLUE_SCREENDIM, 8, 255, 17), 255);
  EXPECT_EQ(channel(GLUE_SCREENDIM, 16, 32768, 17), 32768);
  // Mid values: x = 1/4 gives (2 - 1/4) / 4 = 0.4375 of the scale.
  EXPECT_EQ(channel(GLUE_MULTIBRIGHT, 16, 16384, 16384), 14336);
  EXPECT_EQ(channel(GLUE_SCREENDIM, 16, 16384, 16384), 18432);
  // Multibright never passes the scale and screendim never reaches white
  // without a white input.
  EXPECT_LE(channel(GLUE_MULTIBRIGHT, 8, 255, 255), 255);
  EXPECT_LT(channel(GLUE_SCREENDIM, 8, 254, 254), 255);
}

TEST(GlueWholePixel, BrightAndDimNeverMixChannels) {
  Rgb top = {{250, 0, 0}};     // Y = 250 * 77 = 19250
  Rgb base = {{0, 130, 0}};    // Y = 130 * 150 = 19500
  Rgb r = glue(GLUE_BRIGHT, 8, top, base);
  EXPECT_EQ(r.c[0], 0);
  EXPECT_EQ(r.c[1], 130);
  EXPECT_EQ(r.c[2], 0);
  r = glue(GLUE_DIM, 8, top, base);
  EXPECT_EQ(r.c[0], 250);
  EXPECT_EQ(r.c[1], 0);
  // Lumas equal once the low 8 bits are cleared count as a tie: top stays.
  Rgb a = {{0, 100, 0}}, b = {{1, 100, 0}};  // 15000 and 15077, both 14848 + low bits
  EXPECT_EQ(glue(GLUE_BRIGHT, 8, a, b).c[0], 0);
  EXPECT_EQ(glue(GLUE_DIM, 8, b, a).c[0], 1);
}

TEST(GlueCrossChannel, EachChannelFadesByAnotherFromTheOldTop) {
  Rgb top = {{200, 100, 50}}, base = {{10, 20, 30}};
  Rgb n = glue(GLUE_NORTH, 8, top, base);
  EXPECT_EQ(n.c[0], 125);
  EXPECT_EQ(n.c[1], 84);
  EXPECT_EQ(n.c[2], 34);
  Rgb e = glue(GLUE_EAST, 8, top, base);
  EXPECT_EQ(e.c[0], 185);
  EXPECT_EQ(e.c[1], 90);
  EXPECT_EQ(e.c[2], 49);
  // South and west take the other neighbour: red driven by blue.
  EXPECT_EQ(glue(GLUE_SOUTH, 8, top, base).c[0], 162);
  EXPECT_EQ(glue(GLUE_WEST, 8, top, base).c[0], 177);
  // 16 bits: a full driver hands the channel to the base entirely.
  Rgb top16 = {{1000, 32768, 0}}, base16 = {{30000, 20000, 10000}};
  Rgb n16 = glue(GLUE_NORTH, 16, top16, base16);
  EXPECT_EQ(n16.c[0], 30000);
  EXPECT_EQ(n16.c[2], ((32768 - 1000) * 0 + 1000 * 10000) >> 15);
}

}  // namespace
