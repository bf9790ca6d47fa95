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
//
// The HSL family and the interpolation are defined inline below: the glue
// modes call them for every pixel, and most of their branches depend on the
// image, so they are written as selects where both sides are cheap. A select
// computes the same IEEE operations as the branch it replaces; only the
// unused side's result is thrown away.
#pragma once

#include <cstdint>

struct HslColour {
  float h, s, l;
};
struct RgbColour {
  float r, g, b;
};

inline HslColour rgbToHsl(float r, float g, float b);
inline RgbColour hslToRgb(float h, float s, float l);
// How light the pure colour of this hue and saturation looks, 0..1.
inline float hueLuminance(float h, float s);
inline HslColour rgbToLightHsl(float r, float g, float b);
inline RgbColour lightHslToRgb(float h, float s, float l);
// Ratio used by "dextrous" and "sinister": 0.5 for equal values, toward 0
// when c is above a, toward 1 when a is above c.
inline float lightRatio(float a, float c);

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

// Where a value falls on one axis of a Lab table: the node below it (0..15)
// and how far past that node it lies (0..cell).
struct LabAxisPoint {
  uint16_t node;
  uint16_t fraction;
};
// Every 16-bit value 0..32768, placed by the single-precision steps of
// tableConvert once, so that a pixel needs no float division per axis.
constexpr int LAB_AXIS_16_SIZE = 32769;
// LAB_AXIS_16_SIZE entries, computed on first call, then shared.
const LabAxisPoint* labAxis16();

// Tetrahedral interpolation in one table; cell is LAB_CELL_8 or LAB_CELL_16.
void tableConvert(const int32_t in[3], const uint8_t* table, float cell, int32_t out[3]);
void rgbToLab(const int32_t rgb[3], const uint8_t* labForward, bool eightBit, int32_t lab[3]);
void labToRgb(const int32_t lab[3], const uint8_t* labInverse, bool eightBit, int32_t rgb[3]);

// ---------------------------------------------------------------------------
// Inline definitions.

namespace colour_detail {

// The six-sector walk round the hue wheel shared by hslToRgb and
// hueLuminance: v is the largest channel, p the smallest.
inline RgbColour sectorColour(float h, float v, float p) {
  // Which of v, up, p, down each channel takes, by sector.
  static constexpr uint8_t PICK[6][3] = {{0, 1, 2}, {3, 0, 2}, {2, 0, 1},
                                         {2, 3, 0}, {1, 2, 0}, {0, 2, 3}};
  float h6 = h * 6.0f;
  int n = int(h6);
  float f = ((v - p) / v) * v * (h6 - float(n));
  const float value[4] = {v, p + f, p, v - f};
  // h = 1 gives n = 6 and wraps to red; nothing valid gives n below 0, but
  // it must still land in a sector.
  int sector = (n > 5 || n < 0) ? 0 : n;
  const uint8_t* pick = PICK[sector];
  return {value[pick[0]], value[pick[1]], value[pick[2]]};
}

// Axis placement for one value already limited to 0..15 cells.
inline LabAxisPoint labAxisPoint(int32_t x, float cell) {
  int32_t i, f;
  if (cell == LAB_CELL_8) {
    // Same as the float steps below: x / 17 lies at least 1/17 from the
    // next integer unless exact, far beyond single-precision error.
    i = x / 17;
    f = x - 17 * i;
  } else {
    i = int32_t(float(x) / cell);
    if (i > 15) i = 15;
    f = int32_t(float(x) - float(i) * cell);
  }
  return {uint16_t(i), uint16_t(f)};
}

// The interpolation proper, once every axis is placed.
inline void labInterpolate(const LabAxisPoint p[3], const uint8_t* table, float cell,
                           int32_t out[3]) {
  const int offset0 = 3 * p[0].node + 48 * p[1].node + 768 * p[2].node;
  // At the top node the fraction is 0 and the step past it has weight 0;
  // stay on the node rather than read past the table.
  const int stride[3] = {p[0].node == 15 ? 0 : 3, p[1].node == 15 ? 0 : 48,
                         p[2].node == 15 ? 0 : 768};
  const int32_t f[3] = {p[0].fraction, p[1].fraction, p[2].fraction};

  // Sort the axes by fraction, ascending. Between equal fractions the
  // step has weight 0, so the order of ties cannot show in the result; the
  // swaps are written as selects because image data makes them hard to
  // predict.
  int o0 = 0, o1 = 1, o2 = 2;
  auto order = [&f](int& lo, int& hi) {
    bool swap = f[lo] > f[hi];
    int a = swap ? hi : lo, b = swap ? lo : hi;
    lo = a;
    hi = b;
  };
  order(o0, o1);
  order(o0, o2);
  order(o1, o2);

  // Corners of the tetrahedron and their weights; integer sums, so the
  // order of the additions does not matter.
  const int c1 = offset0 + stride[o2];
  const int c2 = c1 + stride[o1];
  const int c3 = c2 + stride[o0];
  const int32_t w0 = int32_t(cell - float(f[o2]));
  const int32_t w1 = f[o2] - f[o1], w2 = f[o1] - f[o0], w3 = f[o0];
  for (int k = 0; k < 3; ++k)
    out[k] = (table[offset0 + k] * w0 + table[c1 + k] * w1 + table[c2 + k] * w2 +
              table[c3 + k] * w3) /
             17;
}

inline int32_t limitToScale(int32_t x, int32_t top) { return x < 0 ? 0 : (x > top ? top : x); }

}  // namespace colour_detail

// Lab conversion of a colour on the 8-bit scale.
inline void labConvert8(const int32_t in[3], const uint8_t* table, int32_t out[3]) {
  LabAxisPoint p[3];
  for (int a = 0; a < 3; ++a)
    p[a] = colour_detail::labAxisPoint(colour_detail::limitToScale(in[a], 255), LAB_CELL_8);
  colour_detail::labInterpolate(p, table, LAB_CELL_8, out);
}

// Lab conversion of a colour on the 16-bit scale; axis is labAxis16().
inline void labConvert16(const int32_t in[3], const uint8_t* table, const LabAxisPoint* axis,
                         int32_t out[3]) {
  LabAxisPoint p[3];
  for (int a = 0; a < 3; ++a) p[a] = axis[colour_detail::limitToScale(in[a], 32768)];
  colour_detail::labInterpolate(p, table, LAB_CELL_16, out);
}

inline HslColour rgbToHsl(float r, float g, float b) {
  float mx = r > g ? r : g;
  if (b > mx) mx = b;
  float mn = r < g ? r : g;
  if (b < mn) mn = b;
  HslColour out{0.0f, 0.0f, (mx + mn) * 0.5f};
  if (!(out.l > 0.0f)) return out;
  float d = mx - mn;
  if (!(d > 0.0f)) {
    out.s = d;
    return out;
  }
  out.s = d / (out.l > 0.5f ? 2.0f - mx - mn : mx + mn);
  float u = 1.0f / (d * d * d);
  // The order of the tests breaks ties: red wins over green, green over
  // blue. Each case is start + ratio(c) or start - ratio(c); the ratio is
  // (mx - c) times u times d times d, and subtracting equals adding the
  // negated ratio, so one expression serves all six.
  float start, sign, c;
  if (r == mx) {
    bool low = g == mn;
    start = low ? 5.0f : 1.0f;
    sign = low ? 1.0f : -1.0f;
    c = low ? b : g;
  } else if (g == mx) {
    bool low = b == mn;
    start = low ? 1.0f : 3.0f;
    sign = low ? 1.0f : -1.0f;
    c = low ? r : b;
  } else {
    bool low = r == mn;
    start = low ? 3.0f : 5.0f;
    sign = low ? 1.0f : -1.0f;
    c = low ? g : r;
  }
  float h = start + sign * ((mx - c) * u * d * d);
  out.h = h * 0.16666667f;
  return out;
}

inline RgbColour hslToRgb(float h, float s, float l) {
  float v = l <= 0.5f ? (s + 1.0f) * l : s + l - s * l;
  if (!(v > 0.0f)) return {0.0f, 0.0f, 0.0f};
  float p = 2.0f * l - v;
  return colour_detail::sectorColour(h, v, p);
}

inline float hueLuminance(float h, float s) {
  float v = (s + 1.0f) * 0.5f;
  float p = 1.0f - v;
  RgbColour c = colour_detail::sectorColour(h, v, p);
  // Weights of apparent brightness for the pure hue, summed in double.
  return float(double(c.g) * 0.52 + double(c.r) * 0.28 + double(c.b) * 0.2);
}

inline HslColour rgbToLightHsl(float r, float g, float b) {
  HslColour hsl = rgbToHsl(r, g, b);
  float c = hueLuminance(hsl.h, hsl.s);
  double l = hsl.l;
  double upper = (l - 0.5) * 2.0 * (1.0 - c) + c;
  double lower = l * 2.0 * c;
  hsl.l = float(l > 0.5 ? upper : lower);
  return hsl;
}

inline RgbColour lightHslToRgb(float h, float s, float l) {
  float plain;
  if (l >= 1.0f) {
    plain = 1.0f;
  } else if (l <= 0.0f) {
    plain = 0.0f;
  } else {
    // Only this case reads the pure hue's lightness.
    float c = hueLuminance(h, s);
    if (c < 0.0f) c = 0.0f;
    if (c > 1.0f) c = 1.0f;
    // Both sides are worked out and one is kept. A c of 1 only reaches the
    // lower side and a c of 0 only the upper one (l lies strictly between
    // 0 and 1), so the side thrown away gets a harmless divisor instead of
    // a zero.
    double above = (l - c) / (c < 1.0f ? 1.0 - c : 1.0) * 0.5 + 0.5;
    double below = (l / (c > 0.0f ? c : 1.0f)) * 0.5;
    plain = float(l > c ? above : below);
  }
  return hslToRgb(h, s, plain);
}

inline float lightRatio(float a, float c) {
  if (c > a) {
    if (c > 0.0f) {
      float r = float(a * 0.5 / c);
      return r > 1.0f ? 1.0f : r;
    }
  } else if (a > 0.0f) {
    float r = float(1.0 - c * 0.5 / a);
    return r > 1.0f ? 1.0f : r;
  }
  return 1.0f;
}
