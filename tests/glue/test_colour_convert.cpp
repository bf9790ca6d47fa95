// Colour conversions and the colour-space glue modes built on them.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>

#include "glue/colour_convert.h"
#include "glue/glue_modes.h"

namespace {

const uint8_t* node(const uint8_t* table, int i, int j, int k) {
  return table + 3 * i + 48 * j + 768 * k;
}

struct TellingRow {
  int in[3];
  int out[3];
};

void expectRows(const uint8_t* table, const TellingRow* rows, int count, int tolerance,
                const char* which) {
  for (int r = 0; r < count; ++r) {
    const uint8_t* n = node(table, rows[r].in[0], rows[r].in[1], rows[r].in[2]);
    for (int c = 0; c < 3; ++c)
      EXPECT_LE(std::abs(int(n[c]) - rows[r].out[c]), tolerance)
          << which << " node " << rows[r].in[0] << "," << rows[r].in[1] << "," << rows[r].in[2]
          << " output " << c << " is " << int(n[c]);
  }
}

TEST(LabTables, TellingRows) {
  const TellingRow forward[] = {
      {{0, 0, 0}, {0, 128, 128}},      {{15, 15, 15}, {255, 128, 128}},
      {{8, 8, 8}, {163, 128, 128}},    {{15, 0, 0}, {144, 208, 208}},
      {{0, 15, 0}, {214, 51, 207}},    {{0, 0, 15}, {104, 158, 33}},
      {{15, 15, 0}, {243, 119, 222}},  {{0, 15, 15}, {228, 75, 111}},
      {{15, 0, 15}, {170, 204, 77}},
  };
  const TellingRow inverse[] = {
      {{0, 0, 0}, {0, 0, 181}},    {{8, 8, 8}, {125, 104, 95}}, {{15, 0, 0}, {0, 255, 255}},
      {{0, 15, 0}, {28, 0, 182}},  {{0, 0, 15}, {0, 0, 0}},     {{15, 0, 15}, {0, 255, 0}},
  };
  const LabTables& lab = labTables();
  // The gamma-1.8 rule puts pure blue's a at 156.4 where the reference row
  // reads 158; every other entry lies within one level.
  expectRows(lab.forward, forward, 9, 2, "forward");
  expectRows(lab.inverse, inverse, 6, 1, "inverse");
  // Lightest L with both opponents at their top lies far outside the
  // displayable colours: red clips to 255, green and blue stay small.
  const uint8_t* far = node(lab.inverse, 15, 15, 15);
  EXPECT_EQ(far[0], 255);
  EXPECT_LE(far[1], 12);
  EXPECT_LE(far[2], 8);
  // Greys map to neutral opponents.
  for (int i = 0; i < 16; ++i) {
    EXPECT_EQ(node(lab.forward, i, i, i)[1], 128);
    EXPECT_EQ(node(lab.forward, i, i, i)[2], 128);
  }
}

TEST(TableConvert, NodesAndInterpolation) {
  const uint8_t* t = labTables().forward;
  // On the nodes the result is the node itself, at every node.
  for (int k = 0; k < 16; ++k)
    for (int j = 0; j < 16; ++j)
      for (int i = 0; i < 16; ++i) {
        int32_t in[3] = {17 * i, 17 * j, 17 * k}, out[3];
        tableConvert(in, t, LAB_CELL_8, out);
        const uint8_t* n = node(t, i, j, k);
        ASSERT_EQ(out[0], n[0]);
        ASSERT_EQ(out[1], n[1]);
        ASSERT_EQ(out[2], n[2]);
      }

  // One fraction: linear between two nodes.
  int32_t in1[3] = {17 * 3 + 8, 17 * 5, 17 * 9}, out1[3];
  tableConvert(in1, t, LAB_CELL_8, out1);
  for (int c = 0; c < 3; ++c)
    EXPECT_EQ(out1[c], (node(t, 3, 5, 9)[c] * 9 + node(t, 4, 5, 9)[c] * 8) / 17);

  // Two fractions: the walk goes along the larger fraction's axis first.
  int32_t in2[3] = {17 * 3 + 10, 17 * 5 + 4, 17 * 9}, out2[3];
  tableConvert(in2, t, LAB_CELL_8, out2);
  for (int c = 0; c < 3; ++c)
    EXPECT_EQ(out2[c],
              (node(t, 3, 5, 9)[c] * 7 + node(t, 4, 5, 9)[c] * 6 + node(t, 4, 6, 9)[c] * 4) / 17);

  // Equal fractions: the weight between them is 0, so the walk's order
  // cannot show.
  int32_t in3[3] = {17 * 2 + 5, 17 * 7 + 5, 17 * 11 + 5}, out3[3];
  tableConvert(in3, t, LAB_CELL_8, out3);
  for (int c = 0; c < 3; ++c)
    EXPECT_EQ(out3[c], (node(t, 2, 7, 11)[c] * 12 + node(t, 3, 8, 12)[c] * 5) / 17);

  // 16 bits: the top of the scale reaches the last node, scaled by 2184/17.
  int32_t top16[3] = {32768, 32768, 32768}, out16[3];
  tableConvert(top16, t, LAB_CELL_16, out16);
  for (int c = 0; c < 3; ++c) EXPECT_EQ(out16[c], node(t, 15, 15, 15)[c] * 2184 / 17);
}

TEST(Hsl, GreyBlackAndWrap) {
  HslColour grey = rgbToHsl(0.5f, 0.5f, 0.5f);
  EXPECT_EQ(grey.h, 0.0f);
  EXPECT_EQ(grey.s, 0.0f);
  EXPECT_EQ(grey.l, 0.5f);
  EXPECT_EQ(rgbToLightHsl(0.5f, 0.5f, 0.5f).l, 0.5f);

  HslColour black = rgbToHsl(0.0f, 0.0f, 0.0f);
  EXPECT_EQ(black.h, 0.0f);
  EXPECT_EQ(black.s, 0.0f);
  EXPECT_EQ(black.l, 0.0f);

  HslColour green = rgbToHsl(0.0f, 1.0f, 0.0f);
  EXPECT_FLOAT_EQ(green.h, 1.0f / 3.0f);
  EXPECT_FLOAT_EQ(green.s, 1.0f);

  RgbColour red = hslToRgb(1.0f, 1.0f, 0.5f);  // h = 1 wraps to red
  EXPECT_EQ(red.r, 1.0f);
  EXPECT_EQ(red.g, 0.0f);
  EXPECT_EQ(red.b, 0.0f);
  RgbColour none = hslToRgb(0.3f, 1.0f, 0.0f);
  EXPECT_EQ(none.r + none.g + none.b, 0.0f);
}

TEST(Hsl, PerceptualLightness) {
  for (float h : {0.0f, 0.2f, 0.5f, 0.9f}) EXPECT_FLOAT_EQ(hueLuminance(h, 0.0f), 0.5f);
  // Pure yellow looks lighter than pure blue at equal plain lightness.
  EXPECT_NEAR(rgbToLightHsl(1.0f, 1.0f, 0.0f).l, 0.8f, 1e-6f);
  EXPECT_NEAR(rgbToLightHsl(0.0f, 0.0f, 1.0f).l, 0.2f, 1e-6f);
}

TEST(Hsl, RoundTripsReturnTheColour) {
  float worstPlain = 0.0f, worstLight = 0.0f;
  for (int r = 0; r <= 8; ++r)
    for (int g = 0; g <= 8; ++g)
      for (int b = 0; b <= 8; ++b) {
        float in[3] = {r / 8.0f, g / 8.0f, b / 8.0f};
        HslColour p = rgbToHsl(in[0], in[1], in[2]);
        RgbColour back = hslToRgb(p.h, p.s, p.l);
        HslColour q = rgbToLightHsl(in[0], in[1], in[2]);
        RgbColour back2 = lightHslToRgb(q.h, q.s, q.l);
        const float outPlain[3] = {back.r, back.g, back.b};
        const float outLight[3] = {back2.r, back2.g, back2.b};
        for (int c = 0; c < 3; ++c) {
          worstPlain = std::fmax(worstPlain, std::fabs(outPlain[c] - in[c]));
          worstLight = std::fmax(worstLight, std::fabs(outLight[c] - in[c]));
        }
      }
  EXPECT_LT(worstPlain, 1e-5f);
  EXPECT_LT(worstLight, 1e-5f);
}

TEST(Hsl, LightRatio) {
  EXPECT_EQ(lightRatio(0.0f, 0.0f), 1.0f);
  EXPECT_EQ(lightRatio(0.4f, 0.4f), 0.5f);
  EXPECT_FLOAT_EQ(lightRatio(0.2f, 0.8f), 0.125f);
  EXPECT_FLOAT_EQ(lightRatio(0.8f, 0.2f), 0.875f);
  EXPECT_EQ(lightRatio(0.5f, 0.0f), 1.0f);
  EXPECT_EQ(lightRatio(0.0f, 0.5f), 0.0f);
}

// ---------------------------------------------------------------------------
// Colour-space glue modes

struct Rgb {
  int32_t c[3];
};

Rgb glue(int mode, int depth, Rgb top, Rgb base) {
  static GlueTables tables = [] {
    GlueTables built;
    buildRunTables(built);
    return built;
  }();
  applyGlue(mode, top.c, base.c, depth, tables);
  return top;
}

void expectGrey(const Rgb& c, int32_t lo, int32_t hi) {
  EXPECT_EQ(c.c[0], c.c[1]);
  EXPECT_EQ(c.c[0], c.c[2]);
  EXPECT_GE(c.c[0], lo);
  EXPECT_LE(c.c[0], hi);
}

TEST(ColourSpaceModes, ColorWithGreyTopTakesTheBaseLuma) {
  // White base: luma weights sum to 255, so the result stays below white.
  expectGrey(glue(GLUE_COLOR, 8, {{90, 90, 90}}, {{255, 255, 255}}), 252, 254);
  expectGrey(glue(GLUE_COLOR, 16, {{9000, 9000, 9000}}, {{32768, 32768, 32768}}), 32500, 32640);
  // Luminance is the mirror: a grey base gives the top's luma.
  expectGrey(glue(GLUE_LUMINANCE, 8, {{0, 255, 0}}, {{40, 40, 40}}), 148, 150);
}

TEST(ColourSpaceModes, WaxAndWaneGates) {
  Rgb base = {{30, 140, 220}};
  for (int32_t v : {0, 255}) {
    Rgb r = glue(GLUE_WAX, 8, {{v, v, v}}, base);
    EXPECT_EQ(r.c[0], 30);
    EXPECT_EQ(r.c[1], 140);
    EXPECT_EQ(r.c[2], 220);
  }
  Rgb r = glue(GLUE_WANE, 8, {{128, 128, 128}}, base);
  expectGrey(r, 128, 128);
  r = glue(GLUE_WANE, 16, {{16384, 16384, 16384}}, {{1, 2, 3}});
  expectGrey(r, 16384, 16384);
  // A saturated mid-tone top shows under wax and not under wane.
  Rgb red = {{255, 0, 0}};
  Rgb waxed = glue(GLUE_WAX, 8, red, base);
  EXPECT_EQ(waxed.c[0], 255);
  EXPECT_EQ(waxed.c[1], 0);
  Rgb waned = glue(GLUE_WANE, 8, red, base);
  EXPECT_EQ(waned.c[1], 140);
}

TEST(ColourSpaceModes, FrontalOfGreysKeepsTheDarker) {
  expectGrey(glue(GLUE_FRONTAL, 8, {{100, 100, 100}}, {{200, 200, 200}}), 99, 100);
  expectGrey(glue(GLUE_FRONTAL, 16, {{30000, 30000, 30000}}, {{8000, 8000, 8000}}), 7999, 8000);
}

TEST(ColourSpaceModes, OccipitalOfEqualColoursIsOneTableRoundTrip) {
  const LabTables& lab = labTables();
  for (int depth : {8, 16}) {
    bool eight = depth == 8;
    for (Rgb c : {Rgb{{10, 200, 90}}, Rgb{{250, 250, 5}}, Rgb{{0, 0, 0}}}) {
      if (!eight)
        for (int32_t& v : c.c) v *= 128;
      int32_t lab3[3], back[3];
      rgbToLab(c.c, lab.forward, eight, lab3);
      labToRgb(lab3, lab.inverse, eight, back);
      Rgb r = glue(GLUE_OCCIPITAL, depth, c, c);
      for (int k = 0; k < 3; ++k) EXPECT_EQ(r.c[k], back[k]);
    }
  }
}

TEST(ColourSpaceModes, DextrousHalvesEqualValues) {
  expectGrey(glue(GLUE_DEXTROUS, 8, {{0, 0, 0}}, {{0, 0, 0}}), 255, 255);
  expectGrey(glue(GLUE_DEXTROUS, 16, {{0, 0, 0}}, {{0, 0, 0}}), 32768, 32768);
  expectGrey(glue(GLUE_DEXTROUS, 8, {{77, 77, 77}}, {{77, 77, 77}}), 127, 127);
  expectGrey(glue(GLUE_DEXTROUS, 16, {{777, 777, 777}}, {{777, 777, 777}}), 16384, 16384);
  // A top above the base darkens, below it lightens.
  EXPECT_LT(glue(GLUE_DEXTROUS, 8, {{200, 0, 0}}, {{100, 0, 0}}).c[0], 127);
  EXPECT_GT(glue(GLUE_DEXTROUS, 8, {{100, 0, 0}}, {{200, 0, 0}}).c[0], 127);
}

TEST(ColourSpaceModes, AnteriorAndPosteriorAnchors) {
  expectGrey(glue(GLUE_ANTERIOR, 8, {{255, 255, 255}}, {{20, 90, 40}}), 255, 255);
  expectGrey(glue(GLUE_ANTERIOR, 16, {{32768, 32768, 32768}}, {{20, 90, 40}}), 32768, 32768);
  expectGrey(glue(GLUE_POSTERIOR, 8, {{20, 90, 40}}, {{0, 0, 0}}), 0, 0);
  // Posterior keeps the base's hue: a red base stays red-dominant.
  Rgb r = glue(GLUE_POSTERIOR, 8, {{200, 200, 200}}, {{200, 40, 40}});
  EXPECT_GT(r.c[0], r.c[1]);
  EXPECT_NEAR(r.c[1], r.c[2], 1);
}

}  // namespace
