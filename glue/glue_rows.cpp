// Row forms of the perceptual-HSL glue modes, of "frontal" and of the Lab
// modes: four pixels at a time, one per lane of an SSE register.
//
// Each lane runs exactly the operations of the per-pixel code in
// colour_convert.h, in the same order and precision: IEEE addition,
// multiplication, division and conversion give the same bits in a lane as
// in a scalar register. A branch becomes a select between both sides, each
// worked out in full; a side that is thrown away may divide by zero, which
// only makes an unused infinity or NaN (floating-point traps are off).
// min and max are written with the operands in the order that matches the
// scalar comparison: _mm_max_ps(a, b) is a > b ? a : b.
//
// What depends on the top colour alone still comes from the top-colour
// cache, lane by lane; a row's last count % 4 pixels go through the
// per-pixel function.
#include <emmintrin.h>

#include <cstring>

#include "glue/colour_convert.h"
#include "glue/fast_angle.h"
#include "glue/glue_colour_shared.h"
#include "glue/glue_scale.h"
#include "glue/glue_simd.h"
#include "numeric/portable_math.h"

namespace glue {
namespace {

struct Rgb4 {
  __m128 r, g, b;
};
struct Hsl4 {
  __m128 h, s, l;
};

inline __m128 splat(float v) { return _mm_set1_ps(v); }
inline __m128d splatD(double v) { return _mm_set1_pd(v); }

// mask ? a : b, lane by lane.
inline __m128 pick(__m128 mask, __m128 a, __m128 b) {
  return _mm_or_ps(_mm_and_ps(mask, a), _mm_andnot_ps(mask, b));
}
inline __m128d pickD(__m128d mask, __m128d a, __m128d b) {
  return _mm_or_pd(_mm_and_pd(mask, a), _mm_andnot_pd(mask, b));
}

// The four lanes widened to double, two by two, and narrowed back with the
// same rounding as float(double).
inline __m128d lowHalf(__m128 x) { return _mm_cvtps_pd(x); }
inline __m128d highHalf(__m128 x) { return _mm_cvtps_pd(_mm_movehl_ps(x, x)); }
inline __m128 narrow(__m128d low, __m128d high) {
  return _mm_movelh_ps(_mm_cvtpd_ps(low), _mm_cvtpd_ps(high));
}

// One channel of four interleaved pixels, as (value as single) times 1/M.
template <class D>
inline __m128 unitsOf(const int32_t* c, int channel) {
  const __m128i v = _mm_setr_epi32(c[channel], c[3 + channel], c[6 + channel], c[9 + channel]);
  return _mm_mul_ps(_mm_cvtepi32_ps(v), splat(FloatScale<D>().inv));
}

template <class D>
inline Rgb4 coloursOf(const int32_t* c) {
  return {unitsOf<D>(c, 0), unitsOf<D>(c, 1), unitsOf<D>(c, 2)};
}

// unitLuma of four pixels; the integer part is exact in any order.
template <class D>
inline __m128 lumasOf(const int32_t* c) {
  int32_t luma[4];
  for (int k = 0; k < 4; ++k)
    luma[k] = (c[3 * k + 1] * 150 + c[3 * k] * 77 + c[3 * k + 2] * 28) >> 8;
  const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(luma));
  return _mm_mul_ps(_mm_cvtepi32_ps(v), splat(FloatScale<D>().inv));
}

template <class D>
inline void storeColours(int32_t* out, const Rgb4& c) {
  const __m128 m = splat(FloatScale<D>().top);
  alignas(16) int32_t channel[3][4];
  _mm_store_si128(reinterpret_cast<__m128i*>(channel[0]), _mm_cvttps_epi32(_mm_mul_ps(m, c.r)));
  _mm_store_si128(reinterpret_cast<__m128i*>(channel[1]), _mm_cvttps_epi32(_mm_mul_ps(m, c.g)));
  _mm_store_si128(reinterpret_cast<__m128i*>(channel[2]), _mm_cvttps_epi32(_mm_mul_ps(m, c.b)));
  for (int k = 0; k < 4; ++k) {
    out[3 * k] = channel[0][k];
    out[3 * k + 1] = channel[1][k];
    out[3 * k + 2] = channel[2][k];
  }
}

// The cached perceptual HSL of four top colours: value `index` of each.
struct TopLight4 {
  __m128 h, s, l, hueLight, hueFactor;
};
template <class D>
inline TopLight4 topLightsOf(const GlueTables& tables, const int32_t* tops) {
  alignas(16) float value[5][4];
  for (int k = 0; k < 4; ++k) {
    const float* t = topLightHsl<D>(tables, tops + 3 * k);
    for (int i = 0; i < 5; ++i) value[i][k] = t[i];
  }
  return {_mm_load_ps(value[0]), _mm_load_ps(value[1]), _mm_load_ps(value[2]),
          _mm_load_ps(value[3]), _mm_load_ps(value[4])};
}

// rgbToHsl.
inline Hsl4 rgbToHsl4(const Rgb4& c) {
  const __m128 mx = _mm_max_ps(c.b, _mm_max_ps(c.r, c.g));
  const __m128 mn = _mm_min_ps(c.b, _mm_min_ps(c.r, c.g));
  const __m128 l = _mm_mul_ps(_mm_add_ps(mx, mn), splat(0.5f));
  const __m128 lightPositive = _mm_cmpgt_ps(l, _mm_setzero_ps());
  const __m128 d = _mm_sub_ps(mx, mn);
  const __m128 spread = _mm_cmpgt_ps(d, _mm_setzero_ps());
  const __m128 divisor = pick(_mm_cmpgt_ps(l, splat(0.5f)),
                              _mm_sub_ps(_mm_sub_ps(splat(2.0f), mx), mn), _mm_add_ps(mx, mn));
  const __m128 s = _mm_div_ps(d, divisor);
  const __m128 u = _mm_div_ps(splat(1.0f), _mm_mul_ps(_mm_mul_ps(d, d), d));
  // The case by the largest channel (ties: red, then green) and whether
  // the next channel round the wheel is the smallest.
  const __m128 redMax = _mm_cmpeq_ps(c.r, mx);
  const __m128 greenMax = _mm_andnot_ps(redMax, _mm_cmpeq_ps(c.g, mx));
  const __m128 blueMax = _mm_andnot_ps(_mm_or_ps(redMax, greenMax), _mm_castsi128_ps(_mm_set1_epi32(-1)));
  const __m128 nextIsMin = _mm_or_ps(
      _mm_or_ps(_mm_and_ps(redMax, _mm_cmpeq_ps(c.g, mn)), _mm_and_ps(greenMax, _mm_cmpeq_ps(c.b, mn))),
      _mm_and_ps(blueMax, _mm_cmpeq_ps(c.r, mn)));
  const __m128 channel = pick(redMax, pick(nextIsMin, c.b, c.g),
                              pick(greenMax, pick(nextIsMin, c.r, c.b), pick(nextIsMin, c.g, c.r)));
  const __m128 start = pick(redMax, pick(nextIsMin, splat(5.0f), splat(1.0f)),
                            pick(greenMax, pick(nextIsMin, splat(1.0f), splat(3.0f)),
                                 pick(nextIsMin, splat(3.0f), splat(5.0f))));
  const __m128 sign = pick(nextIsMin, splat(1.0f), splat(-1.0f));
  const __m128 ratio = _mm_mul_ps(_mm_mul_ps(_mm_mul_ps(_mm_sub_ps(mx, channel), u), d), d);
  const __m128 h = _mm_mul_ps(_mm_add_ps(start, _mm_mul_ps(sign, ratio)), splat(0.16666667f));
  const __m128 coloured = _mm_and_ps(lightPositive, spread);
  return {_mm_and_ps(coloured, h), _mm_and_ps(lightPositive, pick(spread, s, d)), l};
}

// colour_detail::sectorColourWith.
inline Rgb4 sectorColour4(__m128 h, __m128 v, __m128 p, __m128 factor) {
  const __m128 h6 = _mm_mul_ps(h, splat(6.0f));
  const __m128i n = _mm_cvttps_epi32(h6);
  const __m128 f = _mm_mul_ps(factor, _mm_sub_ps(h6, _mm_cvtepi32_ps(n)));
  const __m128 up = _mm_add_ps(p, f);
  const __m128 down = _mm_sub_ps(v, f);
  const __m128i outside = _mm_or_si128(_mm_cmpgt_epi32(n, _mm_set1_epi32(5)),
                                       _mm_cmplt_epi32(n, _mm_setzero_si128()));
  const __m128i sector = _mm_andnot_si128(outside, n);
  auto is = [&](int k) { return _mm_castsi128_ps(_mm_cmpeq_epi32(sector, _mm_set1_epi32(k))); };
  const __m128 s1 = is(1), s2 = is(2), s3 = is(3), s4 = is(4), s5 = is(5);
  // Sectors 0..5 give (v, up, p), (down, v, p), (p, v, up), (p, down, v),
  // (up, p, v), (v, p, down).
  const __m128 r = pick(s1, down, pick(_mm_or_ps(s2, s3), p, pick(s4, up, v)));
  const __m128 g = pick(_mm_or_ps(s1, s2), v, pick(s3, down, pick(_mm_or_ps(s4, s5), p, up)));
  const __m128 b = pick(_mm_or_ps(s3, s4), v, pick(s2, up, pick(s5, down, p)));
  return {r, g, b};
}

// hslToRgb.
inline Rgb4 hslToRgb4(__m128 h, __m128 s, __m128 l) {
  const __m128 v = pick(_mm_cmple_ps(l, splat(0.5f)), _mm_mul_ps(_mm_add_ps(s, splat(1.0f)), l),
                        _mm_sub_ps(_mm_add_ps(s, l), _mm_mul_ps(s, l)));
  const __m128 lit = _mm_cmpgt_ps(v, _mm_setzero_ps());
  const __m128 p = _mm_sub_ps(_mm_mul_ps(splat(2.0f), l), v);
  const __m128 factor = _mm_mul_ps(_mm_div_ps(_mm_sub_ps(v, p), v), v);
  const Rgb4 c = sectorColour4(h, v, p, factor);
  return {_mm_and_ps(lit, c.r), _mm_and_ps(lit, c.g), _mm_and_ps(lit, c.b)};
}

// hueLuminanceFactor.
inline __m128 hueLuminanceFactor4(__m128 s) {
  const __m128 v = _mm_mul_ps(_mm_add_ps(s, splat(1.0f)), splat(0.5f));
  const __m128 p = _mm_sub_ps(splat(1.0f), v);
  return _mm_mul_ps(_mm_div_ps(_mm_sub_ps(v, p), v), v);
}

// float(g * 0.52 + r * 0.28 + b * 0.2) in double, two lanes at a time.
inline __m128d brightnessHalf(__m128d r, __m128d g, __m128d b) {
  return _mm_add_pd(_mm_add_pd(_mm_mul_pd(g, splatD(0.52)), _mm_mul_pd(r, splatD(0.28))),
                    _mm_mul_pd(b, splatD(0.2)));
}

// hueLuminanceWith.
inline __m128 hueLuminanceWith4(__m128 h, __m128 s, __m128 factor) {
  const __m128 v = _mm_mul_ps(_mm_add_ps(s, splat(1.0f)), splat(0.5f));
  const __m128 p = _mm_sub_ps(splat(1.0f), v);
  const Rgb4 c = sectorColour4(h, v, p, factor);
  return narrow(brightnessHalf(lowHalf(c.r), lowHalf(c.g), lowHalf(c.b)),
                brightnessHalf(highHalf(c.r), highHalf(c.g), highHalf(c.b)));
}

// The lightness step of rgbToLightHslKeeping, two lanes.
inline __m128d bentLightnessHalf(__m128d l, __m128d c) {
  const __m128d upper = _mm_add_pd(
      _mm_mul_pd(_mm_mul_pd(_mm_sub_pd(l, splatD(0.5)), splatD(2.0)), _mm_sub_pd(splatD(1.0), c)), c);
  const __m128d lower = _mm_mul_pd(_mm_mul_pd(l, splatD(2.0)), c);
  return pickD(_mm_cmpgt_pd(l, splatD(0.5)), upper, lower);
}

// rgbToLightHslKeeping.
inline Hsl4 rgbToLightHsl4(const Rgb4& colour, __m128& hueLight, __m128& hueFactor) {
  Hsl4 hsl = rgbToHsl4(colour);
  hueFactor = hueLuminanceFactor4(hsl.s);
  const __m128 c = hueLuminanceWith4(hsl.h, hsl.s, hueFactor);
  hueLight = c;
  hsl.l = narrow(bentLightnessHalf(lowHalf(hsl.l), lowHalf(c)),
                 bentLightnessHalf(highHalf(hsl.l), highHalf(c)));
  return hsl;
}

// The middle case of lightHslToRgbGiven, two lanes: l - c and l / c' in
// single, the rest in double.
inline __m128d plainLightnessHalf(__m128d lMinusC, __m128d c, __m128d cBelowOne, __m128d lOverC,
                                  __m128d lAboveC) {
  const __m128d above = _mm_add_pd(
      _mm_mul_pd(_mm_div_pd(lMinusC, pickD(cBelowOne, _mm_sub_pd(splatD(1.0), c), splatD(1.0))),
                 splatD(0.5)),
      splatD(0.5));
  const __m128d below = _mm_mul_pd(lOverC, splatD(0.5));
  return pickD(lAboveC, above, below);
}

// lightHslToRgbGiven.
inline Rgb4 lightHslToRgb4(__m128 h, __m128 s, __m128 l, __m128 hueLight) {
  const __m128 c = _mm_min_ps(splat(1.0f), _mm_max_ps(_mm_setzero_ps(), hueLight));
  const __m128 lMinusC = _mm_sub_ps(l, c);
  const __m128 lOverC = _mm_div_ps(l, pick(_mm_cmpgt_ps(c, _mm_setzero_ps()), c, splat(1.0f)));
  const __m128 cBelowOne = _mm_cmplt_ps(c, splat(1.0f));
  const __m128 lAboveC = _mm_cmpgt_ps(l, c);
  auto wideMask = [](__m128 mask, bool high) {
    // Lanes 0,1 (or 2,3) of a float mask spread over two double lanes.
    const __m128i m = _mm_castps_si128(mask);
    return _mm_castsi128_pd(high ? _mm_unpackhi_epi32(m, m) : _mm_unpacklo_epi32(m, m));
  };
  const __m128 middle = narrow(
      plainLightnessHalf(lowHalf(lMinusC), lowHalf(c), wideMask(cBelowOne, false), lowHalf(lOverC),
                         wideMask(lAboveC, false)),
      plainLightnessHalf(highHalf(lMinusC), highHalf(c), wideMask(cBelowOne, true),
                         highHalf(lOverC), wideMask(lAboveC, true)));
  const __m128 plain = pick(_mm_cmpge_ps(l, splat(1.0f)), splat(1.0f),
                            pick(_mm_cmple_ps(l, _mm_setzero_ps()), _mm_setzero_ps(), middle));
  return hslToRgb4(h, s, plain);
}

// lightRatio: the double quotients of both sides, the side by the test.
inline __m128d ratioHalf(__m128d a, __m128d c, bool cOverA) {
  return cOverA ? _mm_div_pd(_mm_mul_pd(a, splatD(0.5)), c)
                : _mm_sub_pd(splatD(1.0), _mm_div_pd(_mm_mul_pd(c, splatD(0.5)), a));
}
inline __m128 lightRatio4(__m128 a, __m128 c) {
  const __m128 one = splat(1.0f);
  const __m128 darker = _mm_min_ps(one, narrow(ratioHalf(lowHalf(a), lowHalf(c), true),
                                               ratioHalf(highHalf(a), highHalf(c), true)));
  const __m128 lighter = _mm_min_ps(one, narrow(ratioHalf(lowHalf(a), lowHalf(c), false),
                                                ratioHalf(highHalf(a), highHalf(c), false)));
  const __m128 zero = _mm_setzero_ps();
  return pick(_mm_cmpgt_ps(c, a), pick(_mm_cmpgt_ps(c, zero), darker, one),
              pick(_mm_cmpgt_ps(a, zero), lighter, one));
}

// anchoredLightness, two lanes, every step in the scalar code's precision.
inline __m128d roundToSingle(__m128d x) { return _mm_cvtps_pd(_mm_cvtpd_ps(x)); }
inline __m128d anchoredHalf(__m128d p, __m128d a) {
  const __m128d v = roundToSingle(_mm_mul_pd(_mm_sub_pd(splatD(2.0), p), p));
  const __m128d high = roundToSingle(
      _mm_add_pd(_mm_mul_pd(_mm_mul_pd(_mm_sub_pd(a, splatD(0.8)), splatD(5.0)), _mm_sub_pd(a, v)), v));
  const __m128d low = roundToSingle(
      _mm_add_pd(_mm_mul_pd(_mm_mul_pd(_mm_sub_pd(splatD(0.2), a), splatD(5.0)), _mm_sub_pd(a, v)), v));
  return pickD(_mm_cmpgt_pd(a, splatD(0.8)), high, pickD(_mm_cmplt_pd(a, splatD(0.2)), low, v));
}
inline __m128 anchoredLightness4(__m128 l1, __m128 l2, __m128 anchor) {
  const __m128 p = _mm_mul_ps(l1, l2);
  const __m128 v = narrow(anchoredHalf(lowHalf(p), lowHalf(anchor)),
                          anchoredHalf(highHalf(p), highHalf(anchor)));
  return _mm_min_ps(splat(1.0f), _mm_max_ps(_mm_setzero_ps(), v));
}

// ---------------------------------------------------------------------------
// The modes. Each quad function does four pixels; rowOf runs it along the
// row and finishes with the per-pixel function.

using QuadFunction = void (*)(int32_t* tops, const int32_t* bases, const GlueTables& tables);

template <QuadFunction Quad, GlueFunction Pixel>
void rowOf(int32_t* tops, const int32_t* bases, int32_t count, const GlueTables& tables) {
  int32_t i = 0;
  for (; i + 4 <= count; i += 4) Quad(tops + 3 * i, bases + 3 * i, tables);
  for (; i < count; ++i) Pixel(tops + 3 * i, bases + 3 * i, tables);
}

template <class D>
void colorQuad(int32_t* tops, const int32_t* bases, const GlueTables& tables) {
  const TopLight4 t = topLightsOf<D>(tables, tops);
  storeColours<D>(tops, lightHslToRgb4(t.h, t.s, lumasOf<D>(bases), t.hueLight));
}

template <class D>
void luminanceQuad(int32_t* tops, const int32_t* bases, const GlueTables&) {
  __m128 hueLight, hueFactor;
  const Hsl4 b = rgbToLightHsl4(coloursOf<D>(bases), hueLight, hueFactor);
  storeColours<D>(tops, lightHslToRgb4(b.h, b.s, lumasOf<D>(tops), hueLight));
}

template <class D>
void saturationQuad(int32_t* tops, const int32_t* bases, const GlueTables& tables) {
  const TopLight4 t = topLightsOf<D>(tables, tops);
  __m128 hueLight, hueFactor;
  const Hsl4 b = rgbToLightHsl4(coloursOf<D>(bases), hueLight, hueFactor);
  storeColours<D>(tops, lightHslToRgb4(b.h, t.s, b.l, hueLuminanceWith4(b.h, t.s, t.hueFactor)));
}

template <class D>
void hueQuad(int32_t* tops, const int32_t* bases, const GlueTables& tables) {
  const TopLight4 t = topLightsOf<D>(tables, tops);
  __m128 hueLight, hueFactor;
  const Hsl4 b = rgbToLightHsl4(coloursOf<D>(bases), hueLight, hueFactor);
  storeColours<D>(tops, lightHslToRgb4(t.h, b.s, b.l, hueLuminanceWith4(t.h, b.s, hueFactor)));
}

template <class D>
void sinisterQuad(int32_t* tops, const int32_t* bases, const GlueTables& tables) {
  const TopLight4 t = topLightsOf<D>(tables, tops);
  storeColours<D>(tops, lightHslToRgb4(t.h, t.s, lightRatio4(lumasOf<D>(bases), t.l), t.hueLight));
}

template <class D>
void anteriorQuad(int32_t* tops, const int32_t* bases, const GlueTables& tables) {
  const TopLight4 t = topLightsOf<D>(tables, tops);
  __m128 hueLight, hueFactor;
  const Hsl4 b = rgbToLightHsl4(coloursOf<D>(bases), hueLight, hueFactor);
  storeColours<D>(tops, lightHslToRgb4(t.h, t.s, anchoredLightness4(t.l, b.l, t.l), t.hueLight));
}

template <class D>
void posteriorQuad(int32_t* tops, const int32_t* bases, const GlueTables& tables) {
  const TopLight4 t = topLightsOf<D>(tables, tops);
  __m128 hueLight, hueFactor;
  const Hsl4 b = rgbToLightHsl4(coloursOf<D>(bases), hueLight, hueFactor);
  storeColours<D>(tops, lightHslToRgb4(b.h, b.s, anchoredLightness4(t.l, b.l, b.l), hueLight));
}

// midGate: the doubling is exact in single, and so is 2 - y for y in
// (1, 2], which the double steps of tent round to the same floats.
inline __m128 midGate4(__m128 x) {
  const __m128 y = _mm_mul_ps(x, splat(2.0f));
  const __m128 tented = pick(_mm_cmpgt_ps(y, splat(1.0f)), _mm_sub_ps(splat(2.0f), y), y);
  const __m128 q = _mm_sub_ps(splat(1.0f), tented);
  return _mm_sub_ps(splat(1.0f), _mm_mul_ps(_mm_mul_ps(_mm_mul_ps(q, q), q), q));
}

// "frontal": the cosine, sine and arc tangent are the quick four-lane ones
// of fast_angle.h, which give the floats of numeric:: exactly; the few
// lanes they cannot settle take the angle cache or numeric:: itself.
template <class D>
void frontalQuad(int32_t* tops, const int32_t* bases, const GlueTables& tables) {
  alignas(16) float value[4][4];
  for (int k = 0; k < 4; ++k) {
    const float* t = topPolar<D>(tables, tops + 3 * k);
    for (int i = 0; i < 4; ++i) value[i][k] = t[i];
  }
  const __m128 x1 = _mm_load_ps(value[0]), y1 = _mm_load_ps(value[1]);
  const __m128 gate = _mm_load_ps(value[2]), l1 = _mm_load_ps(value[3]);
  const Hsl4 c2 = rgbToHsl4(coloursOf<D>(bases));
  const __m128d turn = splatD(6.283185307);
  const __m128 angle2 = narrow(_mm_mul_pd(lowHalf(c2.h), turn), _mm_mul_pd(highHalf(c2.h), turn));
  __m128 quickCosine, quickSine;
  const int unsettled = floatCosineAndSineOf4(angle2, quickCosine, quickSine);
  if (unsettled) {
    alignas(16) float angles2[4], cosine[4], sine[4];
    _mm_store_ps(angles2, angle2);
    _mm_store_ps(cosine, quickCosine);
    _mm_store_ps(sine, quickSine);
    for (int k = 0; k < 4; ++k) {
      if (!(unsettled >> k & 1)) continue;
      const GlueAngleEntry& entry = cosineAndSine(tables, angles2[k]);
      cosine[k] = entry.cosine;
      sine[k] = entry.sine;
    }
    quickCosine = _mm_load_ps(cosine);
    quickSine = _mm_load_ps(sine);
  }
  const __m128 x2 = _mm_mul_ps(quickCosine, c2.s);
  const __m128 y2 = _mm_mul_ps(quickSine, c2.s);
  const __m128 k = _mm_mul_ps(midGate4(c2.l), gate);
  const __m128 x = _mm_add_ps(_mm_mul_ps(_mm_sub_ps(x2, x1), k), x1);
  const __m128 y = _mm_add_ps(_mm_mul_ps(_mm_sub_ps(y2, y1), k), y1);
  const __m128 radius = _mm_sqrt_ps(_mm_add_ps(_mm_mul_ps(x, x), _mm_mul_ps(y, y)));
  __m128 angle = floatArcTangent2Of4(y, x);
  angle = pick(_mm_cmplt_ps(angle, _mm_setzero_ps()), _mm_add_ps(angle, splat(6.2831855f)), angle);
  const __m128 h = narrow(_mm_div_pd(lowHalf(angle), turn), _mm_div_pd(highHalf(angle), turn));
  storeColours<D>(tops, hslToRgb4(h, radius, _mm_min_ps(l1, c2.l)));
}

// ---------------------------------------------------------------------------
// The Lab modes: both table conversions of four pixels at once. The axis
// placement, the tetrahedron's selects and weights, the sums and the mixes
// run in the lanes; only the table reads go one at a time, one 32-bit word
// per corner holding its three bytes. Every sum is of small non-negative
// integers, exact in any order.

// SSE2 has no 32-bit min, max or low multiply; these give what int32_t does.
inline __m128i pickI(__m128i mask, __m128i a, __m128i b) {
  return _mm_or_si128(_mm_and_si128(mask, a), _mm_andnot_si128(mask, b));
}
inline __m128i minI(__m128i a, __m128i b) { return pickI(_mm_cmplt_epi32(a, b), a, b); }
inline __m128i maxI(__m128i a, __m128i b) { return pickI(_mm_cmpgt_epi32(a, b), a, b); }
inline __m128i multiplyLow(__m128i a, __m128i b) {
  const __m128i even = _mm_mul_epu32(a, b);
  const __m128i odd = _mm_mul_epu32(_mm_srli_epi64(a, 32), _mm_srli_epi64(b, 32));
  return _mm_unpacklo_epi32(_mm_shuffle_epi32(even, _MM_SHUFFLE(0, 0, 2, 0)),
                            _mm_shuffle_epi32(odd, _MM_SHUFFLE(0, 0, 2, 0)));
}
inline __m128i splatI(int32_t v) { return _mm_set1_epi32(v); }
// x >= y, lane by lane.
inline __m128i atLeast(__m128i x, __m128i y) {
  return _mm_xor_si128(_mm_cmpgt_epi32(y, x), splatI(-1));
}

// One channel of four interleaved pixels.
inline __m128i channelOf(const int32_t* c, int channel) {
  return _mm_setr_epi32(c[channel], c[3 + channel], c[6 + channel], c[9 + channel]);
}

struct Lab4 {
  __m128i c[3];
};

// The 8-bit axis placement: node x / 17 as (x * 241) >> 12, which equals it
// on 0..255 (the tests check every value), in 16-bit halves whose upper half
// stays 0.
inline void placeOnAxis8(__m128i x, __m128i& node, __m128i& fraction) {
  node = _mm_srli_epi16(_mm_mullo_epi16(x, splatI(241)), 12);
  fraction = _mm_sub_epi32(x, _mm_mullo_epi16(node, splatI(17)));
}

// The 16-bit placement from the shared axis table, lane by lane.
inline void placeOnAxis16(__m128i x, const LabAxisPoint* axis, __m128i& node, __m128i& fraction) {
  static_assert(sizeof(LabAxisPoint) == 4, "node and fraction in one word");
  alignas(16) int32_t at[4];
  _mm_store_si128(reinterpret_cast<__m128i*>(at), x);
  uint32_t word[4];
  for (int k = 0; k < 4; ++k) std::memcpy(&word[k], &axis[at[k]], 4);
  const __m128i words = _mm_setr_epi32(int32_t(word[0]), int32_t(word[1]), int32_t(word[2]),
                                       int32_t(word[3]));
  node = _mm_and_si128(words, splatI(0xFFFF));
  fraction = _mm_srli_epi32(words, 16);
}

// The three bytes at each lane's offset, as the low three bytes of a word.
// The table's last node has no fourth byte after it, so a read there starts
// one byte early and the word is shifted down.
inline __m128i cornerWords(__m128i offset, const uint8_t* table) {
  const __m128i last = splatI(LAB_TABLE_BYTES - 4);
  const __m128i past = _mm_cmpgt_epi32(offset, last);
  alignas(16) int32_t at[4];
  _mm_store_si128(reinterpret_cast<__m128i*>(at), minI(offset, last));
  uint32_t word[4];
  for (int k = 0; k < 4; ++k) std::memcpy(&word[k], table + at[k], 4);
  const __m128i words = _mm_setr_epi32(int32_t(word[0]), int32_t(word[1]), int32_t(word[2]),
                                       int32_t(word[3]));
  return pickI(past, _mm_srli_epi32(words, 8), words);
}

// Byte `Shift / 8` of two corners' words side by side in 16-bit halves,
// ready for _mm_madd_epi16 against the two corners' weights.
template <int Shift>
inline __m128i bytePair(__m128i low, __m128i high) {
  const __m128i a = _mm_and_si128(_mm_srli_epi32(low, Shift), splatI(0xFF));
  const __m128i b = Shift <= 16 ? _mm_slli_epi32(high, 16 - Shift) : high;
  return _mm_or_si128(a, _mm_and_si128(b, splatI(0xFF0000)));
}

// The acc / 17 of labInterpolate: acc is below 2^20, so its single-precision
// quotient is never rounded across an integer, and truncation gives the
// integer quotient.
template <int Shift>
inline __m128i interpolatedByte(const __m128i word[4], __m128i weights01, __m128i weights23) {
  const __m128i acc = _mm_add_epi32(_mm_madd_epi16(bytePair<Shift>(word[0], word[1]), weights01),
                                    _mm_madd_epi16(bytePair<Shift>(word[2], word[3]), weights23));
  return _mm_cvttps_epi32(_mm_div_ps(_mm_cvtepi32_ps(acc), splat(17.0f)));
}

// labConvert8 / labConvert16 of four colours (labInterpolate step by step).
template <class D>
inline Lab4 labConvert4(const Lab4& in, const uint8_t* table, const GlueTables& tables) {
  __m128i node[3], fraction[3];
  for (int a = 0; a < 3; ++a) {
    const __m128i x = maxI(_mm_setzero_si128(), minI(in.c[a], splatI(D::M)));
    if constexpr (D::EIGHT_BIT)
      placeOnAxis8(x, node[a], fraction[a]);
    else
      placeOnAxis16(x, axisTable(tables), node[a], fraction[a]);
  }
  // Offsets and strides stay below 2^15: 16-bit products serve.
  const __m128i offset0 =
      _mm_add_epi32(_mm_add_epi32(_mm_mullo_epi16(node[0], splatI(3)), _mm_mullo_epi16(node[1], splatI(48))),
                    _mm_mullo_epi16(node[2], splatI(768)));
  const __m128i fifteen = splatI(15);
  const __m128i s0 = _mm_andnot_si128(_mm_cmpeq_epi32(node[0], fifteen), splatI(3));
  const __m128i s1 = _mm_andnot_si128(_mm_cmpeq_epi32(node[1], fifteen), splatI(48));
  const __m128i s2 = _mm_andnot_si128(_mm_cmpeq_epi32(node[2], fifteen), splatI(768));
  const __m128i f0 = fraction[0], f1 = fraction[1], f2 = fraction[2];

  const __m128i firstIsLargest = _mm_and_si128(atLeast(f0, f1), atLeast(f0, f2));
  const __m128i secondOverThird = atLeast(f1, f2);
  const __m128i largest = pickI(firstIsLargest, f0, pickI(secondOverThird, f1, f2));
  const __m128i strideOfLargest = pickI(firstIsLargest, s0, pickI(secondOverThird, s1, s2));
  const __m128i firstIsSmallest = _mm_and_si128(atLeast(f1, f0), atLeast(f2, f0));
  const __m128i smallest = pickI(firstIsSmallest, f0, pickI(secondOverThird, f2, f1));
  const __m128i strideOfSmallest = pickI(firstIsSmallest, s0, pickI(secondOverThird, s2, s1));
  const __m128i middle =
      _mm_sub_epi32(_mm_sub_epi32(_mm_add_epi32(_mm_add_epi32(f0, f1), f2), largest), smallest);

  const __m128i c1 = _mm_add_epi32(offset0, strideOfLargest);
  const __m128i c3 = _mm_add_epi32(_mm_add_epi32(_mm_add_epi32(offset0, s0), s1), s2);
  const __m128i c2 = _mm_sub_epi32(c3, strideOfSmallest);
  __m128i w0;
  if constexpr (D::EIGHT_BIT)
    w0 = _mm_sub_epi32(splatI(17), largest);
  else
    w0 = _mm_cvttps_epi32(_mm_sub_ps(splat(LAB_CELL_16), _mm_cvtepi32_ps(largest)));
  const __m128i w1 = _mm_sub_epi32(largest, middle), w2 = _mm_sub_epi32(middle, smallest);
  const __m128i weights01 = _mm_or_si128(w0, _mm_slli_epi32(w1, 16));
  const __m128i weights23 = _mm_or_si128(w2, _mm_slli_epi32(smallest, 16));

  const __m128i word[4] = {cornerWords(offset0, table), cornerWords(c1, table),
                           cornerWords(c2, table), cornerWords(c3, table)};
  return {{interpolatedByte<0>(word, weights01, weights23),
           interpolatedByte<8>(word, weights01, weights23),
           interpolatedByte<16>(word, weights01, weights23)}};
}

// hardMixUnbranched and pinMixUnbranched; every product is of values in
// 0..M and fits in 31 bits.
template <class D>
inline __m128i hardMix4(__m128i x, __m128i y) {
  const __m128i m = splatI(D::M);
  const __m128i upper = _mm_sub_epi32(
      m, _mm_srai_epi32(multiplyLow(_mm_sub_epi32(m, x), _mm_sub_epi32(m, y)), D::S));
  const __m128i lower = _mm_srai_epi32(multiplyLow(x, y), D::S);
  return pickI(atLeast(x, splatI(D::H)), upper, lower);
}
template <class D>
inline __m128i pinMix4(__m128i x, __m128i y) {
  const __m128i twice = _mm_add_epi32(y, y);
  return pickI(atLeast(y, splatI(D::H)), maxI(x, _mm_sub_epi32(twice, splatI(D::M))),
               minI(x, twice));
}

// The mixes of glue_colour_shared.h, base first.
template <class D>
Lab4 parietalMix4(const Lab4& b, const Lab4& t) {
  return {{_mm_srai_epi32(multiplyLow(b.c[0], t.c[0]), D::T), hardMix4<D>(b.c[1], t.c[1]),
           hardMix4<D>(b.c[2], t.c[2])}};
}
template <class D>
Lab4 temporalMix4(const Lab4& b, const Lab4& t) {
  const __m128i m = splatI(D::M);
  const __m128i screened = _mm_sub_epi32(
      m, _mm_srai_epi32(multiplyLow(_mm_sub_epi32(m, b.c[0]), _mm_sub_epi32(m, t.c[0])), D::T));
  return {{screened, hardMix4<D>(b.c[1], t.c[1]), hardMix4<D>(b.c[2], t.c[2])}};
}
template <class D>
Lab4 occipitalMix4(const Lab4& b, const Lab4& t) {
  return {{pinMix4<D>(b.c[0], t.c[0]), pinMix4<D>(b.c[1], t.c[1]), pinMix4<D>(b.c[2], t.c[2])}};
}
template <class D>
Lab4 limbicMix4(const Lab4& b, const Lab4& t) {
  return {{pinMix4<D>(t.c[0], b.c[0]), pinMix4<D>(t.c[1], b.c[1]), pinMix4<D>(t.c[2], b.c[2])}};
}

// throughLab for four pixels; the tops' Lab values come from the cache.
template <class D, Lab4 (*Mix)(const Lab4&, const Lab4&)>
void labQuad(int32_t* tops, const int32_t* bases, const GlueTables& tables) {
  alignas(16) float value[3][4];
  for (int k = 0; k < 4; ++k) {
    const float* t = topLab<D>(tables, tops + 3 * k);
    for (int i = 0; i < 3; ++i) value[i][k] = t[i];
  }
  const Lab4 labTop{{_mm_cvttps_epi32(_mm_load_ps(value[0])), _mm_cvttps_epi32(_mm_load_ps(value[1])),
                     _mm_cvttps_epi32(_mm_load_ps(value[2]))}};
  const Lab4 base{{channelOf(bases, 0), channelOf(bases, 1), channelOf(bases, 2)}};
  const Lab4 labBase = labConvert4<D>(base, forwardTable(tables), tables);
  const Lab4 out = labConvert4<D>(Mix(labBase, labTop), inverseTable(tables), tables);
  alignas(16) int32_t channel[3][4];
  for (int i = 0; i < 3; ++i) _mm_store_si128(reinterpret_cast<__m128i*>(channel[i]), out.c[i]);
  for (int k = 0; k < 4; ++k)
    for (int i = 0; i < 3; ++i) tops[3 * k + i] = channel[i][k];
}

template <class D>
GlueRowFunction rowFunctionOf(int mode) {
  switch (mode) {
    case GLUE_COLOR: return rowOf<colorQuad<D>, glueColor<D>>;
    case GLUE_LUMINANCE: return rowOf<luminanceQuad<D>, glueLuminance<D>>;
    case GLUE_SATURATION: return rowOf<saturationQuad<D>, glueSaturation<D>>;
    case GLUE_HUE: return rowOf<hueQuad<D>, glueHue<D>>;
    case GLUE_FRONTAL: return rowOf<frontalQuad<D>, glueFrontal<D>>;
    case GLUE_SINISTER: return rowOf<sinisterQuad<D>, glueSinister<D>>;
    case GLUE_ANTERIOR: return rowOf<anteriorQuad<D>, glueAnterior<D>>;
    case GLUE_POSTERIOR: return rowOf<posteriorQuad<D>, gluePosterior<D>>;
    case GLUE_PARIETAL: return rowOf<labQuad<D, parietalMix4<D>>, glueParietal<D>>;
    case GLUE_TEMPORAL: return rowOf<labQuad<D, temporalMix4<D>>, glueTemporal<D>>;
    case GLUE_OCCIPITAL: return rowOf<labQuad<D, occipitalMix4<D>>, glueOccipital<D>>;
    case GLUE_LIMBIC: return rowOf<labQuad<D, limbicMix4<D>>, glueLimbic<D>>;
    default: return nullptr;
  }
}

}  // namespace
}  // namespace glue

GlueRowFunction glueRowFunctionSse2(int mode, int depth) {
  return depth == 16 ? glue::rowFunctionOf<glue::Scale16>(mode) : glue::rowFunctionOf<glue::Scale8>(mode);
}
