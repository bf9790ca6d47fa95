// Glue modes that work on whole colours: they take top and base apart into
// hue, saturation and lightness (or Lab through the tables), mix there and
// convert back. Both depths share one code path; only the scale differs.
//
// A channel enters as (value as single) times 1/M and leaves as the
// truncation of M times the float, so the white of a round trip may come
// back one level short.
//
// Speed: what depends on the top colour alone is kept in the run tables'
// top-colour cache (the top colours repeat, the base colours mostly do
// not), a conversion whose result is needed twice is done once, and the
// samples are read one at a time (see sampleAt). Every value is still
// computed by the same operations in the same order.
#include "glue/colour_convert.h"
#include "glue/glue_colour_shared.h"
#include "glue/glue_scale.h"
#include "numeric/portable_math.h"

#include <cstring>

namespace glue {
namespace {

// Per-channel cross-fade from base (k = 0) to top (k = 1), on the image scale.
void fadeTo(int32_t top[3], const int32_t base[3], float k) {
  for (int c = 0; c < 3; ++c)
    top[c] = int32_t(float(sampleAt(base, c)) * (1.0f - k) + float(sampleAt(top, c)) * k);
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

// float(cosine(angle)) and float(sine(angle)) through the angle cache.
const GlueAngleEntry& cosineAndSine(const GlueTables& tables, float angle) {
  uint32_t bits;
  std::memcpy(&bits, &angle, sizeof bits);
  const uint32_t key = bits + 1u;
  GlueAngleEntry& entry = tables.angleCache[(key * 0x9E3779B1u) >> (32 - GLUE_ANGLE_CACHE_BITS)];
  if (entry.key != key) {
    entry.cosine = float(numeric::cosine(angle));
    entry.sine = float(numeric::sine(angle));
    entry.key = key;
  }
  return entry;
}

// The top's point on the disc, its gate and lightness: x1, y1, gate, l.
template <class D>
const float* topPolar(const GlueTables& tables, const int32_t top[3]) {
  return topWorking<D>(tables, PLAIN_POLAR, top, [](const int32_t c[3], float* value) {
    HslColour c1 = rgbToHsl(toUnit<D>(c[0]), toUnit<D>(c[1]), toUnit<D>(c[2]));
    float angle1 = c1.h * 6.2831855f;
    value[0] = float(numeric::cosine(angle1)) * c1.s;
    value[1] = float(numeric::sine(angle1)) * c1.s;
    value[2] = midGate(c1.l);
    value[3] = c1.l;
  });
}
template const float* topPolar<Scale8>(const GlueTables&, const int32_t[3]);
template const float* topPolar<Scale16>(const GlueTables&, const int32_t[3]);

template <class D>
const float* topLightHslEntry(const GlueTables& tables, const int32_t top[3]) {
  return topLightHsl<D>(tables, top);
}
template const float* topLightHslEntry<Scale8>(const GlueTables&, const int32_t[3]);
template const float* topLightHslEntry<Scale16>(const GlueTables&, const int32_t[3]);

template <class D>
const float* topLabEntry(const GlueTables& tables, const int32_t top[3]) {
  return topLab<D>(tables, top);
}
template const float* topLabEntry<Scale8>(const GlueTables&, const int32_t[3]);
template const float* topLabEntry<Scale16>(const GlueTables&, const int32_t[3]);

template <class D>
void glueColor(int32_t top[3], const int32_t base[3], const GlueTables& tables) {
  const float* t = topLightHsl<D>(tables, top);
  store<D>(top, lightHslToRgbGiven(t[0], t[1], unitLuma<D>(base), t[3]));
}

template <class D>
void glueLuminance(int32_t top[3], const int32_t base[3], const GlueTables&) {
  float hueLight, hueFactor;
  HslColour b = lightHslKeeping<D>(base, hueLight, hueFactor);
  store<D>(top, lightHslToRgbGiven(b.h, b.s, unitLuma<D>(top), hueLight));
}

// The way back needs hueLuminance(base h, top s); its h-free part belongs to
// the top's saturation and comes from the cache.
template <class D>
void glueSaturation(int32_t top[3], const int32_t base[3], const GlueTables& tables) {
  const float* t = topLightHsl<D>(tables, top);
  float hueLight, hueFactor;
  HslColour b = lightHslKeeping<D>(base, hueLight, hueFactor);
  store<D>(top, lightHslToRgbGiven(b.h, t[1], b.l, hueLuminanceWith(b.h, t[1], t[4])));
}

// The way back needs hueLuminance(top h, base s); its h-free part is the
// base's own.
template <class D>
void glueHue(int32_t top[3], const int32_t base[3], const GlueTables& tables) {
  const float* t = topLightHsl<D>(tables, top);
  float hueLight, hueFactor;
  HslColour b = lightHslKeeping<D>(base, hueLight, hueFactor);
  store<D>(top, lightHslToRgbGiven(t[0], b.s, b.l, hueLuminanceWith(t[0], b.s, hueFactor)));
}

// Saturated mid-tones of the top show, everything else shows the base.
template <class D>
void glueWax(int32_t top[3], const int32_t base[3], const GlueTables& tables) {
  const float* k = topWorking<D>(tables, WAX_WEIGHT, top, [](const int32_t c[3], float* value) {
    HslColour t = rgbToHsl(toUnit<D>(c[0]), toUnit<D>(c[1]), toUnit<D>(c[2]));
    value[0] = t.s * midGate(t.l);
  });
  fadeTo(top, base, k[0]);
}

// Grey mid-tones of the top show.
template <class D>
void glueWane(int32_t top[3], const int32_t base[3], const GlueTables& tables) {
  const float* k = topWorking<D>(tables, WANE_WEIGHT, top, [](const int32_t c[3], float* value) {
    HslColour t = rgbToHsl(toUnit<D>(c[0]), toUnit<D>(c[1]), toUnit<D>(c[2]));
    value[0] = (1.0f - t.s) * midGate(t.l);
  });
  fadeTo(top, base, k[0]);
}

// Mixes the two colours as points of the hue/saturation disc, weighted by
// how mid-toned both are, and keeps the darker lightness.
template <class D>
void glueFrontal(int32_t top[3], const int32_t base[3], const GlueTables& tables) {
  const float* t = topPolar<D>(tables, top);
  const float x1 = t[0], y1 = t[1], l1 = t[3];
  HslColour c2 = hslOf<D>(base);
  float angle2 = float(c2.h * 6.283185307);
  const GlueAngleEntry& turn = cosineAndSine(tables, angle2);
  float x2 = turn.cosine * c2.s;
  float y2 = turn.sine * c2.s;
  float k = midGate(c2.l) * t[2];
  float x = (x2 - x1) * k + x1;
  float y = (y2 - y1) * k + y1;
  float radius = numeric::squareRootF(x * x + y * y);
  float angle = float(numeric::arcTangent2(y, x));
  if (angle < 0.0f) angle += 6.2831855f;
  float h = float(angle / 6.283185307);
  float l = l1 < c2.l ? l1 : c2.l;
  store<D>(top, hslToRgb(h, radius, l));
}

template <class D>
void glueParietal(int32_t top[3], const int32_t base[3], const GlueTables& tables) {
  throughLab<D>(top, base, tables, [](const int32_t* b, const int32_t* t, int32_t* out) { parietalMix<D>(b, t, out); });
}

template <class D>
void glueTemporal(int32_t top[3], const int32_t base[3], const GlueTables& tables) {
  throughLab<D>(top, base, tables, [](const int32_t* b, const int32_t* t, int32_t* out) { temporalMix<D>(b, t, out); });
}

template <class D>
void glueOccipital(int32_t top[3], const int32_t base[3], const GlueTables& tables) {
  throughLab<D>(top, base, tables, [](const int32_t* b, const int32_t* t, int32_t* out) { occipitalMix<D>(b, t, out); });
}

template <class D>
void glueLimbic(int32_t top[3], const int32_t base[3], const GlueTables& tables) {
  throughLab<D>(top, base, tables, [](const int32_t* b, const int32_t* t, int32_t* out) { limbicMix<D>(b, t, out); });
}

// Per channel: half for equal values, darker where the top is above the
// base, lighter where it is below.
template <class D>
void glueDextrous(int32_t top[3], const int32_t base[3], const GlueTables&) {
  const float m = FloatScale<D>().top;
  for (int c = 0; c < 3; ++c)
    top[c] = int32_t(lightRatio(unitAt<D>(base, c), unitAt<D>(top, c)) * m);
}

// The same ratio on the top's perceptual lightness against the base's luma.
template <class D>
void glueSinister(int32_t top[3], const int32_t base[3], const GlueTables& tables) {
  const float* t = topLightHsl<D>(tables, top);
  store<D>(top, lightHslToRgbGiven(t[0], t[1], lightRatio(unitLuma<D>(base), t[2]), t[3]));
}

template <class D>
void glueAnterior(int32_t top[3], const int32_t base[3], const GlueTables& tables) {
  const float* t = topLightHsl<D>(tables, top);
  float hueLight, hueFactor;
  HslColour b = lightHslKeeping<D>(base, hueLight, hueFactor);
  store<D>(top, lightHslToRgbGiven(t[0], t[1], anchoredLightness(t[2], b.l, t[2]), t[3]));
}

template <class D>
void gluePosterior(int32_t top[3], const int32_t base[3], const GlueTables& tables) {
  const float* t = topLightHsl<D>(tables, top);
  float hueLight, hueFactor;
  HslColour b = lightHslKeeping<D>(base, hueLight, hueFactor);
  store<D>(top, lightHslToRgbGiven(b.h, b.s, anchoredLightness(t[2], b.l, b.l), hueLight));
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
