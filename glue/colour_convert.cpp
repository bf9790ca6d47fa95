// Colour conversions of the colour-space glue modes. Every step keeps the
// precision the modes were tuned with: single precision throughout, double
// only where a step is marked so, float-to-int by truncation.
#include "glue/colour_convert.h"

#include "numeric/portable_math.h"

namespace {

// The six-sector walk round the hue wheel shared by hslToRgb and
// hueLuminance: v is the largest channel, p the smallest.
RgbColour sectorColour(float h, float v, float p) {
  float h6 = h * 6.0f;
  int n = int(h6);
  float f = ((v - p) / v) * v * (h6 - float(n));
  float up = p + f;
  float down = v - f;
  // h = 1 gives n = 6 and wraps to red; nothing valid gives n below 0, but
  // it must still land in a sector.
  int sector = (n > 5 || n < 0) ? 0 : n;
  switch (sector) {
    case 0: return {v, up, p};
    case 1: return {down, v, p};
    case 2: return {p, v, up};
    case 3: return {p, down, v};
    case 4: return {up, p, v};
    default: return {v, p, down};
  }
}

}  // namespace

HslColour rgbToHsl(float r, float g, float b) {
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
  out.s = out.l > 0.5f ? d / (2.0f - mx - mn) : d / (mx + mn);
  float u = 1.0f / (d * d * d);
  auto ratio = [&](float c) { return (mx - c) * u * d * d; };
  float h;
  // The order of the tests breaks ties: red wins over green, green over blue.
  if (r == mx) {
    h = (g == mn) ? 5.0f + ratio(b) : 1.0f - ratio(g);
  } else if (g == mx) {
    h = (b == mn) ? 1.0f + ratio(r) : 3.0f - ratio(b);
  } else {
    h = (r == mn) ? 3.0f + ratio(g) : 5.0f - ratio(r);
  }
  out.h = h * 0.16666667f;
  return out;
}

RgbColour hslToRgb(float h, float s, float l) {
  float v = l <= 0.5f ? (s + 1.0f) * l : s + l - s * l;
  if (!(v > 0.0f)) return {0.0f, 0.0f, 0.0f};
  float p = 2.0f * l - v;
  return sectorColour(h, v, p);
}

float hueLuminance(float h, float s) {
  float v = (s + 1.0f) * 0.5f;
  float p = 1.0f - v;
  RgbColour c = sectorColour(h, v, p);
  // Weights of apparent brightness for the pure hue, summed in double.
  return float(double(c.g) * 0.52 + double(c.r) * 0.28 + double(c.b) * 0.2);
}

HslColour rgbToLightHsl(float r, float g, float b) {
  HslColour hsl = rgbToHsl(r, g, b);
  float c = hueLuminance(hsl.h, hsl.s);
  double l = hsl.l;
  if (l > 0.5)
    hsl.l = float((l - 0.5) * 2.0 * (1.0 - c) + c);
  else
    hsl.l = float(l * 2.0 * c);
  return hsl;
}

RgbColour lightHslToRgb(float h, float s, float l) {
  float c = hueLuminance(h, s);
  float plain;
  if (l >= 1.0f) {
    plain = 1.0f;
  } else if (l <= 0.0f) {
    plain = 0.0f;
  } else {
    if (c < 0.0f) c = 0.0f;
    if (c > 1.0f) c = 1.0f;
    if (l > c)
      plain = float((l - c) / (1.0 - c) * 0.5 + 0.5);
    else
      plain = float((l / c) * 0.5);
  }
  return hslToRgb(h, s, plain);
}

float lightRatio(float a, float c) {
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

// ---------------------------------------------------------------------------
// Lab tables

namespace {

uint8_t roundToByte(double v) {
  double r = numeric::floorOf(v + 0.5);
  if (!(r > 0.0)) return 0;  // also catches NaN
  if (r > 255.0) return 255;
  return uint8_t(r);
}

double labCurve(double t) {
  return t > 0.008856 ? numeric::cubeRoot(t) : 7.787 * t + 16.0 / 116.0;
}

double labCurveInverse(double u) {
  double v = u > 0.20689 ? u * u * u : (u - 16.0 / 116.0) / 7.787;
  return v < 0.0 ? 0.0 : v;
}

}  // namespace

void generateLabTables(LabTables& tables) {
  for (int k = 0; k < 16; ++k) {
    for (int j = 0; j < 16; ++j) {
      for (int i = 0; i < 16; ++i) {
        int at = 3 * i + 48 * j + 768 * k;

        // Forward: gamma-1.8 RGB to XYZ (white 1, 1, 1) to Lab.
        auto linear = [](int n) { return n == 0 ? 0.0 : numeric::power(n / 15.0, 1.8); };
        double r = linear(i), g = linear(j), b = linear(k);
        double x = 0.480 * r + 0.356 * g + 0.164 * b;
        double y = 0.243 * r + 0.639 * g + 0.118 * b;
        double z = 0.012 * r + 0.104 * g + 0.884 * b;
        double fx = labCurve(x), fy = labCurve(y), fz = labCurve(z);
        tables.forward[at + 0] = roundToByte(2.55 * (116.0 * fy - 16.0));
        tables.forward[at + 1] = roundToByte(500.0 * (fx - fy) + 128.0);
        tables.forward[at + 2] = roundToByte(200.0 * (fy - fz) + 128.0);

        // Inverse: node (i, j, k) is L, a, b.
        double lStar = 17.0 * i / 2.55;
        double aStar = 17.0 * j - 128.0;
        double bStar = 17.0 * k - 128.0;
        double gy = (lStar + 16.0) / 116.0;
        double gx = gy + aStar / 500.0;
        double gz = gy - bStar / 200.0;
        double cx = labCurveInverse(gx), cy = labCurveInverse(gy), cz = labCurveInverse(gz);
        double channel[3] = {
            2.8756 * cx - 1.5489 * cy - 0.3267 * cz,
            -1.1105 * cx + 2.1978 * cy - 0.0874 * cz,
            0.0916 * cx - 0.2375 * cy + 1.1459 * cz,
        };
        for (int c = 0; c < 3; ++c) {
          double v = channel[c] > 0.0 ? numeric::power(channel[c], 1.0 / 1.8) : 0.0;
          tables.inverse[at + c] = roundToByte(255.0 * v);
        }
      }
    }
  }
}

const LabTables& labTables() {
  static const LabTables* tables = [] {
    static LabTables storage;
    generateLabTables(storage);
    return &storage;
  }();
  return *tables;
}

void tableConvert(const int32_t in[3], const uint8_t* table, float cell, int32_t out[3]) {
  static const int NODE_STRIDE[3] = {3, 48, 768};
  const int32_t top = int32_t(15.0f * cell);  // 255 or 32768
  int offset = 0;
  int32_t f[3];
  int stride[3];
  for (int axis = 0; axis < 3; ++axis) {
    int32_t x = in[axis];
    // Samples outside the scale never come from the modes; keep them in the
    // table anyway.
    if (x < 0) x = 0;
    if (x > top) x = top;
    int32_t i;
    if (cell == LAB_CELL_8) {
      // Same as the float steps below: x / 17 lies at least 1/17 from the
      // next integer unless exact, far beyond single-precision error.
      i = x / 17;
      f[axis] = x - 17 * i;
    } else {
      i = int32_t(float(x) / cell);
      if (i > 15) i = 15;
      f[axis] = int32_t(float(x) - float(i) * cell);
    }
    offset += NODE_STRIDE[axis] * i;
    // At the top node the fraction is 0 and the step past it has weight 0;
    // stay on the node rather than read past the table.
    stride[axis] = i == 15 ? 0 : NODE_STRIDE[axis];
  }

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

  int32_t w = int32_t(cell - float(f[o2]));
  int32_t acc[3];
  for (int k = 0; k < 3; ++k) acc[k] = table[offset + k] * w;
  offset += stride[o2];
  w = f[o2] - f[o1];
  for (int k = 0; k < 3; ++k) acc[k] += table[offset + k] * w;
  offset += stride[o1];
  w = f[o1] - f[o0];
  for (int k = 0; k < 3; ++k) acc[k] += table[offset + k] * w;
  offset += stride[o0];
  w = f[o0];
  for (int k = 0; k < 3; ++k) acc[k] += table[offset + k] * w;

  for (int k = 0; k < 3; ++k) out[k] = acc[k] / 17;
}

void rgbToLab(const int32_t rgb[3], const uint8_t* labForward, bool eightBit, int32_t lab[3]) {
  tableConvert(rgb, labForward, eightBit ? LAB_CELL_8 : LAB_CELL_16, lab);
}

void labToRgb(const int32_t lab[3], const uint8_t* labInverse, bool eightBit, int32_t rgb[3]) {
  tableConvert(lab, labInverse, eightBit ? LAB_CELL_8 : LAB_CELL_16, rgb);
}
