// Colour conversions used by the colour-space glue modes.
//
// Three families, each a pure function of one colour:
// - plain HSL, single precision, channels and results 0..1, hue a fraction
//   of the wheel (0 red, 1/3 green, 2/3 blue);
// - perceptual HSL, whose lightness is bent so that 0.5 stands for the
//   apparent lightness of the pure hue (hueLuminance);
// - a Lab-like space through two 16x16x16 byte tables with tetrahedral
//   interpolation.
// The float/double steps are fixed so that both builds give the same bits.
#pragma once

#include <cstdint>

struct HslColour {
  float h, s, l;
};
struct RgbColour {
  float r, g, b;
};

HslColour rgbToHsl(float r, float g, float b);
RgbColour hslToRgb(float h, float s, float l);
// How light the pure colour of this hue and saturation looks, 0..1.
float hueLuminance(float h, float s);
HslColour rgbToLightHsl(float r, float g, float b);
RgbColour lightHslToRgb(float h, float s, float l);
// Ratio used by "dextrous" and "sinister": 0.5 for equal values, toward 0
// when c is above a, toward 1 when a is above c.
float lightRatio(float a, float c);

// The Lab tables: node (i, j, k) at byte 3i + 48j + 768k, node i on an axis
// stands for the value 17i, three output bytes per node.
constexpr int LAB_TABLE_BYTES = 16 * 16 * 16 * 3;
struct LabTables {
  uint8_t forward[LAB_TABLE_BYTES];  // red, green, blue -> L, a, b
  uint8_t inverse[LAB_TABLE_BYTES];  // L, a, b -> red, green, blue
};
// Computed from the gamma-1.8 RGB / CIE Lab rule on first call, then shared.
const LabTables& labTables();
void generateLabTables(LabTables& tables);

constexpr float LAB_CELL_8 = 17.0f;
constexpr float LAB_CELL_16 = 2184.5334f;  // 0..32768 over 15 cells

// Tetrahedral interpolation in one table; cell is LAB_CELL_8 or LAB_CELL_16.
void tableConvert(const int32_t in[3], const uint8_t* table, float cell, int32_t out[3]);
void rgbToLab(const int32_t rgb[3], const uint8_t* labForward, bool eightBit, int32_t lab[3]);
void labToRgb(const int32_t lab[3], const uint8_t* labInverse, bool eightBit, int32_t rgb[3]);
