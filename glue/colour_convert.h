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
#include <cstring>
#include <type_traits>

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

// a where the condition holds, else b, picked with bit masks: the compiler
// turns a plain select into a branch (or works out only the chosen side),
// and on image data such branches go wrong about every other pixel. The
// bits of the chosen value pass through unchanged.
template <class T>
inline T chooseBy(bool condition, T a, T b) {
  using Bits = typename std::conditional<sizeof(T) == 8, uint64_t, uint32_t>::type;
  static_assert(sizeof(T) == sizeof(Bits), "float, double or a 32-bit integer");
  Bits bitsA, bitsB;
  std::memcpy(&bitsA, &a, sizeof a);
  std::memcpy(&bitsB, &b, sizeof b);
  const Bits mask = Bits(0) - Bits(condition ? 1 : 0);
  const Bits chosen = (bitsA & mask) | (bitsB & ~mask);
  T out;
  std::memcpy(&out, &chosen, sizeof out);
  return out;
}

// The six-sector walk round the hue wheel shared by hslToRgb and
// hueLuminance: v is the largest channel, p the smallest.
// factor is ((v - p) / v) * v, the part that does not depend on h.
inline RgbColour sectorColourWith(float h, float v, float p, float factor) {
  // Which of v, up, p, down each channel takes, by sector.
  static constexpr uint8_t PICK[6][3] = {{0, 1, 2}, {3, 0, 2}, {2, 0, 1},
                                         {2, 3, 0}, {1, 2, 0}, {0, 2, 3}};
  float h6 = h * 6.0f;
  int n = int(h6);
  float f = factor * (h6 - float(n));
  // Picked by index rather than by a switch, whose branches would follow
  // the image's hues. volatile keeps the four stores single: the compiler
  // would merge them into one wide store, and a narrow load from part of
  // it may not be forwarded and stall.
  volatile float value[4] = {v, p + f, p, v - f};
  // h = 1 gives n = 6 and wraps to red; nothing valid gives n below 0, but
  // it must still land in a sector.
  int sector = chooseBy(n > 5 || n < 0, 0, n);
  const uint8_t* pick = PICK[sector];
  return {value[pick[0]], value[pick[1]], value[pick[2]]};
}

inline RgbColour sectorColour(float h, float v, float p) {
  return sectorColourWith(h, v, p, ((v - p) / v) * v);
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

// a where the condition holds, else b, worked out with masks: the compiler
// would turn a plain select into a branch, and on image data such branches
// go wrong about every other pixel.
inline int32_t maskSelect(bool condition, int32_t a, int32_t b) {
  const int32_t mask = -int32_t(condition);
  return (a & mask) | (b & ~mask);
}

// The interpolation proper, once every axis is placed.
inline void labInterpolate(const LabAxisPoint p[3], const uint8_t* table, float cell,
                           int32_t out[3]) {
  const int32_t offset0 = 3 * p[0].node + 48 * p[1].node + 768 * p[2].node;
  // At the top node the fraction is 0 and the step past it has weight 0;
  // stay on the node rather than read past the table.
  const int32_t s0 = maskSelect(p[0].node != 15, 3, 0);
  const int32_t s1 = maskSelect(p[1].node != 15, 48, 0);
  const int32_t s2 = maskSelect(p[2].node != 15, 768, 0);
  const int32_t f0 = p[0].fraction, f1 = p[1].fraction, f2 = p[2].fraction;

  // The tetrahedron: from the base corner step along the axis of the
  // largest fraction, then the middle one, then the smallest, reaching the
  // far corner. Between equal fractions the step has weight 0, so which of
  // the tied axes is taken cannot show in the result.
  const bool firstIsLargest = (f0 >= f1) & (f0 >= f2), secondOverThird = f1 >= f2;
  const int32_t largest = maskSelect(firstIsLargest, f0, maskSelect(secondOverThird, f1, f2));
  const int32_t strideOfLargest =
      maskSelect(firstIsLargest, s0, maskSelect(secondOverThird, s1, s2));
  const bool firstIsSmallest = (f0 <= f1) & (f0 <= f2);
  const int32_t smallest = maskSelect(firstIsSmallest, f0, maskSelect(secondOverThird, f2, f1));
  const int32_t strideOfSmallest =
      maskSelect(firstIsSmallest, s0, maskSelect(secondOverThird, s2, s1));
  const int32_t middle = f0 + f1 + f2 - largest - smallest;

  const int32_t c1 = offset0 + strideOfLargest;
  const int32_t c3 = offset0 + s0 + s1 + s2;
  const int32_t c2 = c3 - strideOfSmallest;
  // On the 8-bit scale the cell and the fractions are small integers, so
  // the single-precision difference is exact and equals the integer one.
  const int32_t w0 = cell == LAB_CELL_8 ? 17 - largest : int32_t(cell - float(largest));
  const int32_t w1 = largest - middle, w2 = middle - smallest, w3 = smallest;
  // Every weight and table entry is non-negative, so the quotient may be
  // taken unsigned: the same truncation, a shorter division.
  for (int k = 0; k < 3; ++k)
    out[k] = int32_t(uint32_t(table[offset0 + k] * w0 + table[c1 + k] * w1 +
                              table[c2 + k] * w2 + table[c3 + k] * w3) /
                     17u);
}

inline int32_t limitToScale(int32_t x, int32_t top) {
  return maskSelect(x < 0, 0, maskSelect(x > top, top, x));
}

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
  using colour_detail::chooseBy;
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
  out.s = d / chooseBy(out.l > 0.5f, 2.0f - mx - mn, mx + mn);
  float u = 1.0f / (d * d * d);
  // The order of the tests breaks ties: red wins over green, green over
  // blue. The six cases, by the largest channel and whether the next one
  // round the wheel is the smallest:
  //   red:   5 + ratio(b) or 1 - ratio(g)
  //   green: 1 + ratio(r) or 3 - ratio(b)
  //   blue:  3 + ratio(g) or 5 - ratio(r)
  // with ratio(c) = (mx - c) times u times d times d. Subtracting equals
  // adding the negated ratio, so one expression serves all six; the case
  // is counted from the comparisons rather than branched on.
  static constexpr float START[6] = {5.0f, 1.0f, 1.0f, 3.0f, 3.0f, 5.0f};
  static constexpr float SIGN[6] = {1.0f, -1.0f, 1.0f, -1.0f, 1.0f, -1.0f};
  static constexpr uint8_t CHANNEL[6] = {2, 1, 0, 2, 1, 0};
  const int redMax = r == mx;
  const int greenMax = (1 - redMax) & int(g == mx);
  const int blueMax = (1 - redMax) & (1 - greenMax);
  const int nextIsMin =
      (redMax & int(g == mn)) | (greenMax & int(b == mn)) | (blueMax & int(r == mn));
  const int which = 2 * greenMax + 4 * blueMax + (1 - nextIsMin);
  volatile float channel[3] = {r, g, b};  // single stores, as in sectorColour
  const float c = channel[CHANNEL[which]];
  float h = START[which] + SIGN[which] * ((mx - c) * u * d * d);
  out.h = h * 0.16666667f;
  return out;
}

inline RgbColour hslToRgb(float h, float s, float l) {
  float v = colour_detail::chooseBy(l <= 0.5f, (s + 1.0f) * l, s + l - s * l);
  if (!(v > 0.0f)) return {0.0f, 0.0f, 0.0f};
  float p = 2.0f * l - v;
  return colour_detail::sectorColour(h, v, p);
}

// The h-free part of hueLuminance(h, s): it depends on s alone, so colours
// that share a saturation can share it.
inline float hueLuminanceFactor(float s) {
  float v = (s + 1.0f) * 0.5f;
  float p = 1.0f - v;
  return ((v - p) / v) * v;
}

// hueLuminance(h, s) given hueLuminanceFactor(s).
inline float hueLuminanceWith(float h, float s, float factor) {
  float v = (s + 1.0f) * 0.5f;
  float p = 1.0f - v;
  RgbColour c = colour_detail::sectorColourWith(h, v, p, factor);
  // Weights of apparent brightness for the pure hue, summed in double.
  return float(double(c.g) * 0.52 + double(c.r) * 0.28 + double(c.b) * 0.2);
}

inline float hueLuminance(float h, float s) {
  return hueLuminanceWith(h, s, hueLuminanceFactor(s));
}

// rgbToLightHsl that also hands back the pure hue's lightness it used
// (hueLuminance of the result's h and s) and hueLuminanceFactor of its s,
// for a way back with the same hue or saturation to reuse.
inline HslColour rgbToLightHslKeeping(float r, float g, float b, float& hueLight,
                                      float& hueFactor) {
  HslColour hsl = rgbToHsl(r, g, b);
  hueFactor = hueLuminanceFactor(hsl.s);
  float c = hueLuminanceWith(hsl.h, hsl.s, hueFactor);
  hueLight = c;
  double l = hsl.l;
  double upper = (l - 0.5) * 2.0 * (1.0 - c) + c;
  double lower = l * 2.0 * c;
  hsl.l = float(colour_detail::chooseBy(l > 0.5, upper, lower));
  return hsl;
}

inline HslColour rgbToLightHsl(float r, float g, float b) {
  float hueLight, hueFactor;
  return rgbToLightHslKeeping(r, g, b, hueLight, hueFactor);
}

// lightHslToRgb with hueLuminance(h, s) already known.
inline RgbColour lightHslToRgbGiven(float h, float s, float l, float hueLight) {
  float plain;
  if (l >= 1.0f) {
    plain = 1.0f;
  } else if (l <= 0.0f) {
    plain = 0.0f;
  } else {
    float c = hueLight;
    if (c < 0.0f) c = 0.0f;
    if (c > 1.0f) c = 1.0f;
    // Both sides are worked out and one is kept. A c of 1 only reaches the
    // lower side and a c of 0 only the upper one (l lies strictly between
    // 0 and 1), so the side thrown away gets a harmless divisor instead of
    // a zero.
    double above = (l - c) / (c < 1.0f ? 1.0 - c : 1.0) * 0.5 + 0.5;
    double below = (l / (c > 0.0f ? c : 1.0f)) * 0.5;
    plain = float(colour_detail::chooseBy(l > c, above, below));
  }
  return hslToRgb(h, s, plain);
}

inline RgbColour lightHslToRgb(float h, float s, float l) {
  // Only lightness strictly between 0 and 1 reads the pure hue's lightness.
  const float c = (l >= 1.0f || l <= 0.0f) ? 0.0f : hueLuminance(h, s);
  return lightHslToRgbGiven(h, s, l, c);
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
