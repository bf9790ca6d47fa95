// Glue modes that work on whole colours: they take top and base apart into
// hue, saturation and lightness (or Lab through the tables), mix there and
// convert back. Both depths share one code path; only the scale differs.
//
// A channel enters as (value as single) times 1/M and leaves as the
// truncation of M times the float, so the white of a round trip may come
// back one level short.
#include "glue/colour_convert.h"
#include "glue/glue_scale.h"
#include "numeric/portable_math.h"

namespace glue {
namespace {

template <class D>
struct FloatScale {
  const float inv = float(1.0 / double(D::M));
  const float top = float(D::M);
};

template <class D>
float toUnit(int32_t v) {
  return float(v) * FloatScale<D>().inv;
}

template <class D>
void store(int32_t out[3], const RgbColour& c) {
  const float m = FloatScale<D>().top;
  out[0] = int32_t(m * c.r);
  out[1] = int32_t(m * c.g);
  out[2] = int32_t(m * c.b);
}

// Luma with weights summing to 255, so white gives 254/255 of the scale.
template <class D>
float unitLuma(const int32_t c[3]) {
  return float((c[1] * 150 + c[0] * 77 + c[2] * 28) >> 8) * FloatScale<D>().inv;
}

template <class D>
HslColour lightHslOf(const int32_t c[3]) {
  return rgbToLightHsl(toUnit<D>(c[0]), toUnit<D>(c[1]), toUnit<D>(c[2]));
}

template <class D>
HslColour hslOf(const int32_t c[3]) {
  return rgbToHsl(toUnit<D>(c[0]), toUnit<D>(c[1]), toUnit<D>(c[2]));
}

float tent(float x) {
  float y = float(double(x) * 2.0);
  if (y > 1.0f) y = float(2.0 - y);
  return y;
}

// 0 at black and white, rising quickly toward the mid-tones.
float midGate(float x) {
  float q = 1.0f - tent(x);
  return 1.0f - q * q * q * q;
}

// Per-channel cross-fade from base (k = 0) to top (k = 1), on the image scale.
void fadeTo(int32_t top[3], const int32_t base[3], float k) {
  for (int c = 0; c < 3; ++c)
    top[c] = int32_t(float(base[c]) * (1.0f - k) + float(top[c]) * k);
}

const uint8_t* forwardTable(const GlueTables& tables) {
  return tables.labForward ? tables.labForward : labTables().forward;
}
const uint8_t* inverseTable(const GlueTables& tables) {
  return tables.labInverse ? tables.labInverse : labTables().inverse;
}
const LabAxisPoint* axisTable(const GlueTables& tables) {
  return tables.labAxis16 ? tables.labAxis16 : labAxis16();
}

// rgbToLab / labToRgb on the scale of D, inline.
template <class D>
void labConvert(const int32_t in[3], const uint8_t* table, const GlueTables& tables,
                int32_t out[3]) {
  if constexpr (D::EIGHT_BIT)
    labConvert8(in, table, out);
  else
    labConvert16(in, table, axisTable(tables), out);
}

// Converts both colours to Lab, lets mix combine them (base first), and
// converts the result back into top.
template <class D, class Mix>
void throughLab(int32_t top[3], const int32_t base[3], const GlueTables& tables, Mix mix) {
  int32_t labTop[3], labBase[3], mixed[3];
  const uint8_t* forward = forwardTable(tables);
  labConvert<D>(top, forward, tables, labTop);
  labConvert<D>(base, forward, tables, labBase);
  mix(labBase, labTop, mixed);
  labConvert<D>(mixed, inverseTable(tables), tables, top);
}

// Shared by anterior and posterior: the "multibright" curve of the product
// of both lightnesses, handing over to the anchor's own lightness in the
// 0.2-wide zones at black and white.
float anchoredLightness(float l1, float l2, float anchor) {
  float p = l1 * l2;
  float v = float((2.0 - p) * p);
  // Whole step in double, so that an anchor of exactly 1 or 0 comes out as
  // exactly 1 or 0.
  double a = anchor;
  if (a > 0.8)
    v = float(((a - 0.8) * 5.0) * (a - v) + v);
  else if (a < 0.2)
    v = float(((0.2 - a) * 5.0) * (a - v) + v);
  if (v < 0.0f) v = 0.0f;
  if (v > 1.0f) v = 1.0f;
  return v;
}

}  // namespace

template <class D>
void glueColor(int32_t top[3], const int32_t base[3], const GlueTables&) {
  HslColour t = lightHslOf<D>(top);
  store<D>(top, lightHslToRgb(t.h, t.s, unitLuma<D>(base)));
}

template <class D>
void glueLuminance(int32_t top[3], const int32_t base[3], const GlueTables&) {
  HslColour b = lightHslOf<D>(base);
  store<D>(top, lightHslToRgb(b.h, b.s, unitLuma<D>(top)));
}

template <class D>
void glueSaturation(int32_t top[3], const int32_t base[3], const GlueTables&) {
  HslColour t = lightHslOf<D>(top);
  HslColour b = lightHslOf<D>(base);
  store<D>(top, lightHslToRgb(b.h, t.s, b.l));
}

template <class D>
void glueHue(int32_t top[3], const int32_t base[3], const GlueTables&) {
  HslColour t = lightHslOf<D>(top);
  HslColour b = lightHslOf<D>(base);
  store<D>(top, lightHslToRgb(t.h, b.s, b.l));
}

// Saturated mid-tones of the top show, everything else shows the base.
template <class D>
void glueWax(int32_t top[3], const int32_t base[3], const GlueTables&) {
  HslColour t = hslOf<D>(top);
  fadeTo(top, base, t.s * midGate(t.l));
}

// Grey mid-tones of the top show.
template <class D>
void glueWane(int32_t top[3], const int32_t base[3], const GlueTables&) {
  HslColour t = hslOf<D>(top);
  fadeTo(top, base, (1.0f - t.s) * midGate(t.l));
}

// Mixes the two colours as points of the hue/saturation disc, weighted by
// how mid-toned both are, and keeps the darker lightness.
template <class D>
void glueFrontal(int32_t top[3], const int32_t base[3], const GlueTables&) {
  HslColour c1 = hslOf<D>(top);
  HslColour c2 = hslOf<D>(base);
  float angle1 = c1.h * 6.2831855f;
  float x1 = float(numeric::cosine(angle1)) * c1.s;
  float y1 = float(numeric::sine(angle1)) * c1.s;
  float angle2 = float(c2.h * 6.283185307);
  float x2 = float(numeric::cosine(angle2)) * c2.s;
  float y2 = float(numeric::sine(angle2)) * c2.s;
  float k = midGate(c2.l) * midGate(c1.l);
  float x = (x2 - x1) * k + x1;
  float y = (y2 - y1) * k + y1;
  float radius = numeric::squareRootF(x * x + y * y);
  float angle = float(numeric::arcTangent2(y, x));
  if (angle < 0.0f) angle += 6.2831855f;
  float h = float(angle / 6.283185307);
  float l = c1.l < c2.l ? c1.l : c2.l;
  store<D>(top, hslToRgb(h, radius, l));
}

// Multiplies lightness and overlays the opponents.
template <class D>
void glueParietal(int32_t top[3], const int32_t base[3], const GlueTables& tables) {
  throughLab<D>(top, base, tables, [](const int32_t b[3], const int32_t t[3], int32_t out[3]) {
    out[0] = (b[0] * t[0]) >> D::T;
    out[1] = hardMix<D>(b[1], t[1]);
    out[2] = hardMix<D>(b[2], t[2]);
  });
}

// Screens lightness and overlays the opponents.
template <class D>
void glueTemporal(int32_t top[3], const int32_t base[3], const GlueTables& tables) {
  throughLab<D>(top, base, tables, [](const int32_t b[3], const int32_t t[3], int32_t out[3]) {
    out[0] = D::M - (((D::M - b[0]) * (D::M - t[0])) >> D::T);
    out[1] = hardMix<D>(b[1], t[1]);
    out[2] = hardMix<D>(b[2], t[2]);
  });
}

// Pin light in Lab.
template <class D>
void glueOccipital(int32_t top[3], const int32_t base[3], const GlueTables& tables) {
  throughLab<D>(top, base, tables, [](const int32_t b[3], const int32_t t[3], int32_t out[3]) {
    for (int k = 0; k < 3; ++k) out[k] = pinMix<D>(b[k], t[k]);
  });
}

// Spin light in Lab.
template <class D>
void glueLimbic(int32_t top[3], const int32_t base[3], const GlueTables& tables) {
  throughLab<D>(top, base, tables, [](const int32_t b[3], const int32_t t[3], int32_t out[3]) {
    for (int k = 0; k < 3; ++k) out[k] = pinMix<D>(t[k], b[k]);
  });
}

// Per channel: half for equal values, darker where the top is above the
// base, lighter where it is below.
template <class D>
void glueDextrous(int32_t top[3], const int32_t base[3], const GlueTables&) {
  const float m = FloatScale<D>().top;
  for (int c = 0; c < 3; ++c)
    top[c] = int32_t(lightRatio(toUnit<D>(base[c]), toUnit<D>(top[c])) * m);
}

// The same ratio on the top's perceptual lightness against the base's luma.
template <class D>
void glueSinister(int32_t top[3], const int32_t base[3], const GlueTables&) {
  HslColour t = lightHslOf<D>(top);
  store<D>(top, lightHslToRgb(t.h, t.s, lightRatio(unitLuma<D>(base), t.l)));
}

template <class D>
void glueAnterior(int32_t top[3], const int32_t base[3], const GlueTables&) {
  HslColour t = lightHslOf<D>(top);
  HslColour b = lightHslOf<D>(base);
  store<D>(top, lightHslToRgb(t.h, t.s, anchoredLightness(t.l, b.l, t.l)));
}

template <class D>
void gluePosterior(int32_t top[3], const int32_t base[3], const GlueTables&) {
  HslColour t = lightHslOf<D>(top);
  HslColour b = lightHslOf<D>(base);
  store<D>(top, lightHslToRgb(b.h, b.s, anchoredLightness(t.l, b.l, b.l)));
}

#define ML_INSTANTIATE(name)                                                             \
  template void name<Scale8>(int32_t top[3], const int32_t base[3], const GlueTables&); \
  template void name<Scale16>(int32_t top[3], const int32_t base[3], const GlueTables&);
ML_INSTANTIATE(glueColor)
ML_INSTANTIATE(glueLuminance)
ML_INSTANTIATE(glueSaturation)
ML_INSTANTIATE(glueHue)
ML_INSTANTIATE(glueWax)
ML_INSTANTIATE(glueWane)
ML_INSTANTIATE(glueFrontal)
ML_INSTANTIATE(glueParietal)
ML_INSTANTIATE(glueTemporal)
ML_INSTANTIATE(glueOccipital)
ML_INSTANTIATE(glueLimbic)
ML_INSTANTIATE(glueDextrous)
ML_INSTANTIATE(glueSinister)
ML_INSTANTIATE(glueAnterior)
ML_INSTANTIATE(gluePosterior)
#undef ML_INSTANTIATE

}  // namespace glue
