// Inside the glue library: the steps the colour-space modes share between
// their per-pixel form (glue_colour_modes.cpp) and their row form
// (glue_rows_wide.h) - reading and scaling samples, storing results, the
// top-colour cache and the way through the Lab tables - so that both forms
// run the very same operations.
#pragma once

#include <cstdint>

#include "glue/colour_convert.h"
#include "glue/glue_modes.h"
#include "glue/glue_scale.h"

namespace glue {

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

inline const uint8_t* forwardTable(const GlueTables& tables) {
  return tables.labForward ? tables.labForward : labTables().forward;
}
inline const uint8_t* inverseTable(const GlueTables& tables) {
  return tables.labInverse ? tables.labInverse : labTables().inverse;
}
inline const LabAxisPoint* axisTable(const GlueTables& tables) {
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

// An entry's key[0]: the kind and the depth.
template <class D>
constexpr int32_t topTag(TopWorking kind) {
  return 2 * int32_t(kind) + (D::EIGHT_BIT ? 0 : 1);
}
// The entry of a colour is at the top GLUE_TOP_CACHE_BITS bits of the sum
// of red, green, blue and the tag times these.
constexpr uint32_t TOP_HASH_FACTORS[4] = {0x9E3779B1u, 0x85EBCA77u, 0xC2B2AE3Du, 0x27D4EB2Fu};

// An entry's packedKey: the tag, and at 8 bits the colour's three bytes
// above it. For colours on the 8-bit scale that word alone tells a hit, so
// the wide row forms fetch one word per lane rather than four; a colour off
// the scale gets the tag with its top bit set instead (tags are small), a
// word no colour on the scale has. It is written with the entry; the lookup
// here compares the whole key and leaves it alone.
constexpr int32_t TOP_KEY_OFF_SCALE = 0x80;
template <class D>
constexpr int32_t topKeyWord(int32_t tag, int32_t r, int32_t g, int32_t b) {
  if constexpr (D::EIGHT_BIT) {
    if (uint32_t(r | g | b) > 0xFFu) return tag | TOP_KEY_OFF_SCALE;
    return int32_t(uint32_t(tag) | uint32_t(r) << 8 | uint32_t(g) << 16 | uint32_t(b) << 24);
  } else {
    return tag;
  }
}

template <class D, class Fill>
const float* topWorking(const GlueTables& tables, TopWorking kind, const int32_t top[3],
                        Fill fill) {
  const int32_t tag = topTag<D>(kind);
  const int32_t r = sampleAt(top, 0), g = sampleAt(top, 1), b = sampleAt(top, 2);
  const uint32_t hash = uint32_t(r) * TOP_HASH_FACTORS[0] + uint32_t(g) * TOP_HASH_FACTORS[1] +
                        uint32_t(b) * TOP_HASH_FACTORS[2] + uint32_t(tag) * TOP_HASH_FACTORS[3];
  GlueTopEntry& entry = tables.topCache[hash >> (32 - GLUE_TOP_CACHE_BITS)];
  if (entry.key[0] != tag || entry.key[1] != r || entry.key[2] != g || entry.key[3] != b) {
    const int32_t colour[3] = {r, g, b};
    fill(colour, entry.value);
    entry.packedKey = topKeyWord<D>(tag, r, g, b);
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

// The top colour's Lab values: integers below 2^24, kept exactly as floats
// in the cache.
template <class D>
const float* topLab(const GlueTables& tables, const int32_t top[3]) {
  return topWorking<D>(tables, LAB, top, [&](const int32_t c[3], float* value) {
    int32_t lab[3];
    labConvert<D>(c, forwardTable(tables), tables, lab);
    for (int k = 0; k < 3; ++k) value[k] = float(lab[k]);
  });
}

// Converts both colours to Lab, lets mix combine them (base first), and
// converts the result back into top.
template <class D, class Mix>
void throughLab(int32_t top[3], const int32_t base[3], const GlueTables& tables, Mix mix) {
  const uint8_t* forward = forwardTable(tables);
  const float* t = topLab<D>(tables, top);
  const int32_t labTop[3] = {int32_t(t[0]), int32_t(t[1]), int32_t(t[2])};
  const int32_t baseColour[3] = {sampleAt(base, 0), sampleAt(base, 1), sampleAt(base, 2)};
  int32_t labBase[3], mixed[3];
  labConvert<D>(baseColour, forward, tables, labBase);
  mix(labBase, labTop, mixed);
  labConvert<D>(mixed, inverseTable(tables), tables, top);
}


// The Lab modes' mixes, base first: Lab of the base, of the top, result.
// Multiplies lightness and overlays the opponents.
template <class D>
inline void parietalMix(const int32_t b[3], const int32_t t[3], int32_t out[3]) {
  out[0] = (b[0] * t[0]) >> D::T;
  out[1] = hardMixUnbranched<D>(b[1], t[1]);
  out[2] = hardMixUnbranched<D>(b[2], t[2]);
}
// Screens lightness and overlays the opponents.
template <class D>
inline void temporalMix(const int32_t b[3], const int32_t t[3], int32_t out[3]) {
  out[0] = D::M - (((D::M - b[0]) * (D::M - t[0])) >> D::T);
  out[1] = hardMixUnbranched<D>(b[1], t[1]);
  out[2] = hardMixUnbranched<D>(b[2], t[2]);
}
// Pin light in Lab.
template <class D>
inline void occipitalMix(const int32_t b[3], const int32_t t[3], int32_t out[3]) {
  for (int k = 0; k < 3; ++k) out[k] = pinMixUnbranched<D>(b[k], t[k]);
}
// Spin light in Lab.
template <class D>
inline void limbicMix(const int32_t b[3], const int32_t t[3], int32_t out[3]) {
  for (int k = 0; k < 3; ++k) out[k] = pinMixUnbranched<D>(t[k], b[k]);
}

// Shared with "frontal"'s row form (defined in glue_colour_modes.cpp).
float tent(float x);
// 0 at black and white, rising quickly toward the mid-tones.
float midGate(float x);
const GlueAngleEntry& cosineAndSine(const GlueTables& tables, float angle);
template <class D>
const float* topPolar(const GlueTables& tables, const int32_t top[3]);
// Out-of-line forms of topLightHsl and topLab for the wide row forms,
// which are built for other targets and must not instantiate inline code.
template <class D>
const float* topLightHslEntry(const GlueTables& tables, const int32_t top[3]);
template <class D>
const float* topLabEntry(const GlueTables& tables, const int32_t top[3]);

}  // namespace glue
