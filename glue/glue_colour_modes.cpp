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
#include "glue/glue_scale.h"
#include "numeric/portable_math.h"

namespace glue {
namespace {

template <class D>
struct FloatScale {
  const float inv = float(1.0 / double(D::M));
  const float top = float(D::M);
};

// Reads one sample on its own. The pixel loop stores the three samples one
// at a time just before it calls the mode; a wider load that spans two of
// those stores, which the compiler would form to convert two samples at
// once, cannot take its data from them and stalls for many cycles. The
// empty statement hides the value's origin so each load stays single.
inline int32_t sampleAt(const int32_t* c, int i) {
  int32_t v = c[i];
#if defined(__GNUC__)
  __asm__("" : "+r"(v));
#endif
  return v;
}

template <class D>
float toUnit(int32_t v) {
  return float(v) * FloatScale<D>().inv;
}

template <class D>
float unitAt(const int32_t* c, int i) {
  return toUnit<D>(sampleAt(c, i));
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
  return float((sampleAt(c, 1) * 150 + sampleAt(c, 0) * 77 + sampleAt(c, 2) * 28) >> 8) *
         FloatScale<D>().inv;
}

template <class D>
HslColour hslOf(const int32_t c[3]) {
  return rgbToHsl(unitAt<D>(c, 0), unitAt<D>(c, 1), unitAt<D>(c, 2));
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
    top[c] = int32_t(float(sampleAt(base, c)) * (1.0f - k) + float(sampleAt(top, c)) * k);
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

// The cache entry for what kind of working (one per mode family and
// depth) of this top colour; filled by fill(value) when it holds another.
// Kinds start at 1, so an emptied entry never matches.
enum TopWorking : int32_t { LIGHT_HSL = 1, PLAIN_POLAR, LAB, WAX_WEIGHT, WANE_WEIGHT };

template <class D, class Fill>
const float* topWorking(const GlueTables& tables, TopWorking kind, const int32_t top[3],
                        Fill fill) {
  const int32_t tag = 2 * int32_t(kind) + (D::EIGHT_BIT ? 0 : 1);
  const int32_t r = sampleAt(top, 0), g = sampleAt(top, 1), b = sampleAt(top, 2);
  const uint32_t hash = uint32_t(r) * 0x9E3779B1u + uint32_t(g) * 0x85EBCA77u +
                        uint32_t(b) * 0xC2B2AE3Du + uint32_t(tag) * 0x27D4EB2Fu;
  GlueTopEntry& entry = tables.topCache[hash >> (32 - GLUE_TOP_CACHE_BITS)];
  if (entry.key[0] != tag || entry.key[1] != r || entry.key[2] != g || entry.key[3] != b) {
    const int32_t colour[3] = {r, g, b};
    fill(colour, entry.value);
    entry.key[0] = tag;
    entry.key[1] = r;
    entry.key[2] = g;
    entry.key[3] = b;
  }
  return entry.value;
}

// The top colour's perceptual HSL, its pure hue's lightness and the
// hue-free factor of that: value h, s, l, hueLight, hueFactor.
template <class D>
const float* topLightHsl(const GlueTables& tables, const int32_t top[3]) {
  return topWorking<D>(tables, LIGHT_HSL, top, [](const int32_t c[3], float* value) {
    HslColour t = rgbToLightHslKeeping(toUnit<D>(c[0]), toUnit<D>(c[1]), toUnit<D>(c[2]),
                                       value[3], value[4]);
    value[0] = t.h;
    value[1] = t.s;
    value[2] = t.l;
  });
}

template <class D>
HslColour lightHslKeeping(const int32_t c[3], float& hueLight, float& hueFactor) {
  return rgbToLightHslKeeping(unitAt<D>(c, 0), unitAt<D>(c, 1), unitAt<D>(c, 2), hueLight,
                              hueFactor);
}

// Converts both colours to Lab, lets mix combine them (base first), and
// converts the result back into top. The top's Lab values are integers
// below 2^24, kept exactly as floats in the cache.
template <class D, class Mix>
void throughLab(int32_t top[3], const int32_t base[3], const GlueTables& tables, Mix mix) {
  const uint8_t* forward = forwardTable(tables);
  const float* t = topWorking<D>(tables, LAB, top, [&](const int32_t c[3], float* value) {
    int32_t lab[3];
    labConvert<D>(c, forward, tables, lab);
    for (int k = 0; k < 3; ++k) value[k] = float(lab[k]);
  });
  const int32_t labTop[3] = {int32_t(t[0]), int32_t(t[1]), int32_t(t[2])};
  const int32_t baseColour[3] = {sampleAt(base, 0), sampleAt(base, 1), sampleAt(base, 2)};
  int32_t labBase[3], mixed[3];
  labConvert<D>(baseColour, forward, tables, labBase);
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
  // The top's point on the disc, its gate and lightness: x1, y1, gate, l.
  const float* t = topWorking<D>(tables, PLAIN_POLAR, top, [](const int32_t c[3], float* value) {
    HslColour c1 = rgbToHsl(toUnit<D>(c[0]), toUnit<D>(c[1]), toUnit<D>(c[2]));
    float angle1 = c1.h * 6.2831855f;
    value[0] = float(numeric::cosine(angle1)) * c1.s;
    value[1] = float(numeric::sine(angle1)) * c1.s;
    value[2] = midGate(c1.l);
    value[3] = c1.l;
  });
  const float x1 = t[0], y1 = t[1], l1 = t[3];
  HslColour c2 = hslOf<D>(base);
  float angle2 = float(c2.h * 6.283185307);
  float x2 = float(numeric::cosine(angle2)) * c2.s;
  float y2 = float(numeric::sine(angle2)) * c2.s;
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

// Multiplies lightness and overlays the opponents.
template <class D>
void glueParietal(int32_t top[3], const int32_t base[3], const GlueTables& tables) {
  throughLab<D>(top, base, tables, [](const int32_t b[3], const int32_t t[3], int32_t out[3]) {
    out[0] = (b[0] * t[0]) >> D::T;
    out[1] = hardMixUnbranched<D>(b[1], t[1]);
    out[2] = hardMixUnbranched<D>(b[2], t[2]);
  });
}

// Screens lightness and overlays the opponents.
template <class D>
void glueTemporal(int32_t top[3], const int32_t base[3], const GlueTables& tables) {
  throughLab<D>(top, base, tables, [](const int32_t b[3], const int32_t t[3], int32_t out[3]) {
    out[0] = D::M - (((D::M - b[0]) * (D::M - t[0])) >> D::T);
    out[1] = hardMixUnbranched<D>(b[1], t[1]);
    out[2] = hardMixUnbranched<D>(b[2], t[2]);
  });
}

// Pin light in Lab.
template <class D>
void glueOccipital(int32_t top[3], const int32_t base[3], const GlueTables& tables) {
  throughLab<D>(top, base, tables, [](const int32_t b[3], const int32_t t[3], int32_t out[3]) {
    for (int k = 0; k < 3; ++k) out[k] = pinMixUnbranched<D>(b[k], t[k]);
  });
}

// Spin light in Lab.
template <class D>
void glueLimbic(int32_t top[3], const int32_t base[3], const GlueTables& tables) {
  throughLab<D>(top, base, tables, [](const int32_t b[3], const int32_t t[3], int32_t out[3]) {
    for (int k = 0; k < 3; ++k) out[k] = pinMixUnbranched<D>(t[k], b[k]);
  });
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
