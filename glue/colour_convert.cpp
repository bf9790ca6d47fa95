// The Lab tables and the out-of-line entry points of the colour conversions;
// the per-colour steps themselves are inline in the header.
#include "glue/colour_convert.h"

#include "numeric/portable_math.h"

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

const LabAxisPoint* labAxis16() {
  static const LabAxisPoint* axis = [] {
    static LabAxisPoint storage[LAB_AXIS_16_SIZE];
    for (int32_t x = 0; x < LAB_AXIS_16_SIZE; ++x)
      storage[x] = colour_detail::labAxisPoint(x, LAB_CELL_16);
    return storage;
  }();
  return axis;
}

void tableConvert(const int32_t in[3], const uint8_t* table, float cell, int32_t out[3]) {
  const int32_t top = int32_t(15.0f * cell);  // 255 or 32768
  LabAxisPoint p[3];
  // Samples outside the scale never come from the modes; keep them in the
  // table anyway.
  for (int axis = 0; axis < 3; ++axis)
    p[axis] = colour_detail::labAxisPoint(colour_detail::limitToScale(in[axis], top), cell);
  colour_detail::labInterpolate(p, table, cell, out);
}

void rgbToLab(const int32_t rgb[3], const uint8_t* labForward, bool eightBit, int32_t lab[3]) {
  if (eightBit)
    labConvert8(rgb, labForward, lab);
  else
    labConvert16(rgb, labForward, labAxis16(), lab);
}

void labToRgb(const int32_t lab[3], const uint8_t* labInverse, bool eightBit, int32_t rgb[3]) {
  if (eightBit)
    labConvert8(lab, labInverse, rgb);
  else
    labConvert16(lab, labInverse, labAxis16(), rgb);
}
