// The row forms of the slow colour modes at N lanes (4 for SSE2, 8 for
// AVX2, 16 for AVX-512), written once with the compiler's vector types: the
// only form of each mode above the per-pixel one. One source file per
// target includes this after it has defined, in glue's anonymous
// namespace, a struct WideLanes: the shared float lanes of its width
// (numeric/simd_lanes_*.h, which give the square root) and
//   Words, HalfWords, Pairs               N and N/2 32-bit integers, N/2
//                                         64-bit integers
//   Words gatherWords(const void* base, Words byteOffsets)   a word per lane
//   Pairs gatherPairs(const void* base, HalfWords byteOffsets)
//                                         8 bytes per lane
//   bool anyLane(Words mask)              whether any lane is set
//   bool ownShuffles                      true if it gives channelLanes<C>
//                                         and storeInterleaved itself
//   bool selectsByBits                    true if a select is best as
//                                         and, and-not and or
//   bool shortProducts                    true if it gives
//                                         Words productOfShorts(Words, Words)
//                                         (a * b of values below 2^15, by
//                                         16-bit halves)
//
// Each lane runs the operations of the per-pixel code in colour_convert.h
// and glue_colour_modes.cpp, in the same order and precision: a branch
// becomes a select between both sides worked out in full (a side thrown
// away may divide by zero, which only makes an unused infinity or NaN),
// and min and max keep the operand order of the scalar comparison. Lanes
// the quick trigonometry cannot settle take numeric:: itself, and a row's
// last count % N pixels the pixel function.
//
// Above SSE2 this code is built with wide instructions, so it must not
// instantiate any inline function of the shared headers: the linker keeps
// one copy of each, and a wide copy would then run on CPUs without the
// instructions. It calls only out-of-line functions (the top-colour cache
// entries, the pixel functions, numeric::), its own lane code and the
// lanes' (internal linkage, one copy per target).
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

#include "glue/colour_convert.h"
#include "glue/glue_channel_modes.h"
#include "glue/fast_angle.h"
#include "glue/glue_colour_shared.h"
#include "glue/glue_scale.h"
#include "glue/glue_simd.h"
#include "numeric/portable_math.h"

namespace glue {
namespace {

// ---------------------------------------------------------------------------
// Lanes

constexpr int N = WideLanes::width;
typedef float F __attribute__((vector_size(4 * N)));
typedef int32_t I __attribute__((vector_size(4 * N)));
typedef double D __attribute__((vector_size(8 * N)));
typedef int64_t L __attribute__((vector_size(8 * N)));
typedef uint32_t U __attribute__((vector_size(4 * N)));

// Lane shuffles by an index vector: lane k of the result is lane at[k] of
// `a` (of `a` then `b` for two). GCC has them as builtins; clang, which
// builds only the fuzz targets, takes them lane by lane.
template <class V>
inline V shuffleLanes(V a, I at) {
#if defined(__clang__)
  V result;
  for (int k = 0; k < N; ++k) result[k] = a[at[k] & (N - 1)];
  return result;
#else
  return __builtin_shuffle(a, at);
#endif
}
template <class V>
inline V shuffleLanes(V a, V b, I at) {
#if defined(__clang__)
  V result;
  for (int k = 0; k < N; ++k) {
    const int from = at[k] & (2 * N - 1);
    result[k] = from < N ? a[from] : b[from - N];
  }
  return result;
#else
  return __builtin_shuffle(a, b, at);
#endif
}

inline F rootOf(F x) { return F(WideLanes::sqrt(x)); }
inline I gatherWords(const void* base, I byteOffsets) {
  return I(WideLanes::gatherWords(base, WideLanes::Words(byteOffsets)));
}
inline bool anyLane(I mask) { return WideLanes::anyLane(WideLanes::Words(mask)); }
// The two words at each lane's byte offset: first and second.
inline void pairsOf(const void* base, I byteOffsets, I& first, I& second) {
  typedef uint64_t UL __attribute__((vector_size(8 * N)));
  WideLanes::HalfWords at[2];
  std::memcpy(at, &byteOffsets, sizeof at);
  const WideLanes::Pairs halves[2] = {WideLanes::gatherPairs(base, at[0]), WideLanes::gatherPairs(base, at[1])};
  UL pairs;
  std::memcpy(&pairs, halves, sizeof pairs);
  first = I(__builtin_convertvector(pairs, U));
  second = I(__builtin_convertvector(pairs >> 32, U));
}
inline F splat(float v) { return F{} + v; }
inline D splatD(double v) { return D{} + v; }
inline I splatI(int32_t v) { return I{} + v; }

// Every mask here is a comparison's (all ones or all zeros in a lane) or a
// combination of them. Without a blend instruction a select is by bits:
// the compiler, which cannot know the masks are whole, would first compare
// them with zero again. (Lanes is WideLanes, as in channelLanes.)
template <class Lanes = WideLanes>
inline I pickI(I mask, I a, I b) {
  if constexpr (Lanes::selectsByBits)
    return (a & mask) | (b & ~mask);
  else
    return mask ? a : b;
}
template <class Lanes = WideLanes>
inline F pick(I mask, F a, F b) {
  if constexpr (!Lanes::selectsByBits) return mask ? a : b;
  I bitsA, bitsB;
  std::memcpy(&bitsA, &a, sizeof a);
  std::memcpy(&bitsB, &b, sizeof b);
  const I chosen = pickI(mask, bitsA, bitsB);
  F out;
  std::memcpy(&out, &chosen, sizeof out);
  return out;
}
// The doubles and int64 span two registers, where the compiler would take
// selects and comparisons lane by lane: selects go by bits, comparisons by
// halves.
inline D pickD(L mask, D a, D b) {
  L bitsA, bitsB;
  std::memcpy(&bitsA, &a, sizeof a);
  std::memcpy(&bitsB, &b, sizeof b);
  const L chosen = (bitsA & mask) | (bitsB & ~mask);
  D out;
  std::memcpy(&out, &chosen, sizeof out);
  return out;
}
typedef double DoubleHalf __attribute__((vector_size(4 * N)));
typedef int64_t Int64Half __attribute__((vector_size(4 * N)));
template <class Half, class Whole, class Compare>
inline L byHalves(Whole a, Whole b, Compare compare) {
  Half x[2], y[2];
  std::memcpy(x, &a, sizeof a);
  std::memcpy(y, &b, sizeof b);
  const Int64Half m[2] = {compare(x[0], y[0]), compare(x[1], y[1])};
  L out;
  std::memcpy(&out, m, sizeof out);
  return out;
}
inline L aboveD(D a, double b) {
  return byHalves<DoubleHalf>(a, splatD(b), [](DoubleHalf x, DoubleHalf y) -> Int64Half { return x > y; });
}
inline L atLeastL(L a, int64_t b) {
  return byHalves<Int64Half>(a, L{} + b, [](Int64Half x, Int64Half y) -> Int64Half { return x >= y; });
}
inline L belowL(L a, int64_t b) {
  return byHalves<Int64Half>(a, L{} + b, [](Int64Half x, Int64Half y) -> Int64Half { return x < y; });
}
// a * b where both are in -2^15 .. 2^15 - 1 and one is not negative: one
// 16-bit multiply-add where the lanes have it cheaper than a 32-bit
// product (SSE2 has no 32-bit product at all).
template <class Lanes = WideLanes>
inline I shortProduct(I a, I b) {
  if constexpr (Lanes::shortProducts)
    return I(Lanes::productOfShorts(typename Lanes::Words(a), typename Lanes::Words(b)));
  else
    return a * b;
}
inline I shortProduct(I a, int32_t b) { return shortProduct(a, splatI(b)); }
inline F keepWhere(I mask, F a) { return pick(mask, a, F{}); }

// a > b ? a : b and a < b ? a : b, as the scalar code compares: the
// instructions' own max and min, which give the second operand unless the
// first is strictly larger (smaller).
inline F greater(F a, F b) { return F(WideLanes::max(a, b)); }
inline F lesser(F a, F b) { return F(WideLanes::min(a, b)); }
inline I greaterI(I a, I b) { return a > b ? a : b; }
inline I lesserI(I a, I b) { return a < b ? a : b; }

inline D wide(F x) { return __builtin_convertvector(x, D); }
inline F narrow(D x) { return __builtin_convertvector(x, F); }
inline L wideMask(I m) { return __builtin_convertvector(m, L); }
inline I narrowMask(L m) { return __builtin_convertvector(m, I); }
inline I truncated(F x) { return __builtin_convertvector(x, I); }
inline F toFloat(I x) { return __builtin_convertvector(x, F); }


// ---------------------------------------------------------------------------
// Samples

template <class S>
struct Units {
  static constexpr float inv = float(1.0 / double(S::M));
  static constexpr float top = float(S::M);
};

// Interleaved pixels (r0 g0 b0 r1 ...) in and out of channel lanes by two
// two-source shuffles per vector, with masks fixed at compile time: a
// gather or scatter moves one word at a time.
struct ShuffleMasks {
  int32_t first[N], second[N];
};
// Channel `channel` of the 3N words w0 w1 w2: lane k is word 3k + channel.
// The first shuffle takes the lanes found in w0 and w1, the second keeps
// them and brings in those of w2.
constexpr ShuffleMasks splitMasks(int channel) {
  ShuffleMasks m{};
  for (int k = 0; k < N; ++k) {
    const int word = 3 * k + channel;
    m.first[k] = word < 2 * N ? word : 0;
    m.second[k] = word < 2 * N ? k : N + word - 2 * N;
  }
  return m;
}
// Output vector `part` of the interleaved words: its position p is word
// j = part * N + p, channel j % 3 of lane j / 3. The first shuffle takes
// red and green, the second keeps them and brings in blue.
constexpr ShuffleMasks joinMasks(int part) {
  ShuffleMasks m{};
  for (int p = 0; p < N; ++p) {
    const int word = part * N + p, lane = word / 3, channel = word % 3;
    m.first[p] = channel == 1 ? N + lane : lane;
    m.second[p] = channel == 2 ? N + lane : p;
  }
  return m;
}
template <size_t... K>
constexpr I maskOf(const int32_t (&m)[N], std::index_sequence<K...>) {
  return I{m[K]...};
}

// (Lanes is WideLanes, a parameter so that the branch not taken is never
// compiled.)
template <int Channel, class Lanes = WideLanes>
inline I channelLanes(const int32_t* c) {
  if constexpr (Lanes::ownShuffles) return I(Lanes::template channelLanes<Channel>(c));
  constexpr ShuffleMasks m = splitMasks(Channel);
  constexpr I first = maskOf(m.first, std::make_index_sequence<N>());
  constexpr I second = maskOf(m.second, std::make_index_sequence<N>());
  I w[3];
  std::memcpy(w, c, sizeof w);
  return shuffleLanes(shuffleLanes(w[0], w[1], first), w[2], second);
}

template <int Part>
inline I joinedPart(I r, I g, I b) {
  constexpr ShuffleMasks m = joinMasks(Part);
  constexpr I first = maskOf(m.first, std::make_index_sequence<N>());
  constexpr I second = maskOf(m.second, std::make_index_sequence<N>());
  return shuffleLanes(shuffleLanes(r, g, first), b, second);
}

// r0 g0 b0 r1 g1 b1 ... into out.
template <class Lanes = WideLanes>
inline void storeInterleaved(int32_t* out, I r, I g, I b) {
  if constexpr (Lanes::ownShuffles) {
    using Words = typename Lanes::Words;
    Lanes::storeInterleaved(out, Words(r), Words(g), Words(b));
    return;
  }
  const I w[3] = {joinedPart<0>(r, g, b), joinedPart<1>(r, g, b), joinedPart<2>(r, g, b)};
  std::memcpy(out, w, sizeof w);
}

// One channel of N interleaved pixels.
inline I channelOf(const int32_t* c, int channel) {
  return channel == 0 ? channelLanes<0>(c) : channel == 1 ? channelLanes<1>(c) : channelLanes<2>(c);
}

struct RgbL {
  F r, g, b;
};
struct HslL {
  F h, s, l;
};

template <class S>
inline F unitsOf(const int32_t* c, int channel) {
  return toFloat(channelOf(c, channel)) * Units<S>::inv;
}

template <class S>
inline RgbL coloursOf(const int32_t* c) {
  return {unitsOf<S>(c, 0), unitsOf<S>(c, 1), unitsOf<S>(c, 2)};
}

// unitLuma; the integer part is exact in any order.
template <class S>
inline F lumasOf(const int32_t* c) {
  const I luma = (channelOf(c, 1) * 150 + channelOf(c, 0) * 77 + channelOf(c, 2) * 28) >> 8;
  return toFloat(luma) * Units<S>::inv;
}


template <class S>
inline void storeColours(int32_t* out, const RgbL& c) {
  const float m = Units<S>::top;
  storeInterleaved(out, truncated(m * c.r), truncated(m * c.g), truncated(m * c.b));
}

// Whether the N colours all equal the first: the 3N samples against the
// first colour repeated, its channels picked by fixed masks (word v N + k
// is channel (v N + k) % 3).
template <int V, size_t... K>
constexpr I channelNumbers(std::index_sequence<K...>) {
  return I{int32_t((V * N + int(K)) % 3)...};
}
inline bool allTopsAlike(const int32_t* tops) {
  I c[3];
  std::memcpy(c, tops, sizeof c);
  constexpr I channel0 = channelNumbers<0>(std::make_index_sequence<N>());
  constexpr I channel1 = channelNumbers<1>(std::make_index_sequence<N>());
  constexpr I channel2 = channelNumbers<2>(std::make_index_sequence<N>());
  const I first[3] = {splatI(tops[0]), splatI(tops[1]), splatI(tops[2])};
  auto repeated = [&](I channel) { return pickI(channel == 0, first[0], pickI(channel == 1, first[1], first[2])); };
  const I differs = (c[0] != repeated(channel0)) | (c[1] != repeated(channel1)) | (c[2] != repeated(channel2));
  return !anyLane(differs);
}

// The cached values of each lane's top colour, of the kind `tag`: those
// whose bit is set in Used, of the first Count; the others are left zero.
// The lanes probe the tables' top-colour cache side by side. At 8 bits an
// entry's packedKey holds the tag and the colour's bytes (topKeyWord,
// worked out again here on the lanes), which settles a hit alone for
// colours on the scale; at 16 bits, or with a colour off the scale, the
// whole key is compared as topWorking does. A lane that misses fills its
// entry through the out-of-line lookup and copies it at once, after the
// hits are read (a fill may take over an entry another lane read).
using TopEntry = const float* (*)(const GlueTables&, const int32_t*);
template <class S, int Count, unsigned Used>
inline void topValuesOf(TopEntry entry, int32_t tag, const GlueTables& tables, const int32_t* tops,
                        F value[Count]) {
  constexpr auto used = [](int i) { return ((Used >> i) & 1u) != 0; };
  // Flat parts of the picture give runs of one top colour: one lookup.
  if (allTopsAlike(tops)) {
    const float* t = entry(tables, tops);
    for (int i = 0; i < Count; ++i) value[i] = used(i) ? splat(t[i]) : F{};
    return;
  }
  const I r = channelOf(tops, 0), g = channelOf(tops, 1), b = channelOf(tops, 2);
  const U hash = U(r) * TOP_HASH_FACTORS[0] + U(g) * TOP_HASH_FACTORS[1] + U(b) * TOP_HASH_FACTORS[2] +
                 uint32_t(tag) * TOP_HASH_FACTORS[3];
  const I at = I(hash >> (32 - GLUE_TOP_CACHE_BITS)) * int32_t(sizeof(GlueTopEntry));
  const char* cache = reinterpret_cast<const char*>(tables.topCache);
  const char* keys = cache + offsetof(GlueTopEntry, key);
  I hit;
  if constexpr (S::EIGHT_BIT) {
    const I offScale = U(r | g | b) > 0xFFu;
    const I packed = pickI(offScale, splatI(tag | TOP_KEY_OFF_SCALE), I(uint32_t(tag) | U(r) << 8 | U(g) << 16 | U(b) << 24));
    hit = gatherWords(cache + offsetof(GlueTopEntry, packedKey), at) == packed;
    if (anyLane(offScale))
      hit &= (gatherWords(keys + 4, at) == r) & (gatherWords(keys + 8, at) == g) & (gatherWords(keys + 12, at) == b);
  } else {
    hit = (gatherWords(keys, at) == tag) & (gatherWords(keys + 4, at) == r) & (gatherWords(keys + 8, at) == g) &
          (gatherWords(keys + 12, at) == b);
  }
  const char* values = cache + offsetof(GlueTopEntry, value);
  for (int i = 0; i < Count; ++i) {
    value[i] = F{};
    if (!used(i)) continue;
    I bits;
    if (i + 1 < Count && used(i + 1)) {
      // Two neighbouring values in one fetch of 8 bytes per lane: half the
      // words a gather moves one by one.
      I second;
      pairsOf(values + 4 * i, at, bits, second);
      std::memcpy(&value[i + 1], &second, sizeof second);
      std::memcpy(&value[i], &bits, sizeof bits);
      ++i;
      continue;
    }
    bits = gatherWords(values + 4 * i, at);
    std::memcpy(&value[i], &bits, sizeof bits);
  }
  if (!anyLane(~hit)) return;
  alignas(64) float copied[Count][N];
  std::memcpy(copied, value, sizeof copied);
  for (int k = 0; k < N; ++k) {
    if (hit[k]) continue;
    const float* t = entry(tables, tops + 3 * k);
    for (int i = 0; i < Count; ++i)
      if (used(i)) copied[i][k] = t[i];
  }
  std::memcpy(value, copied, sizeof copied);
}

// ---------------------------------------------------------------------------
// Plain and perceptual HSL

inline HslL rgbToHslL(const RgbL& c) {
  const F mx = greater(c.b, greater(c.r, c.g));
  const F mn = lesser(c.b, lesser(c.r, c.g));
  const F l = (mx + mn) * 0.5f;
  const I lightPositive = l > 0.0f;
  const F d = mx - mn;
  const I spread = d > 0.0f;
  const F divisor = pick(l > 0.5f, (2.0f - mx) - mn, mx + mn);
  const F s = d / divisor;
  const F u = 1.0f / ((d * d) * d);
  // The case by the largest channel (ties: red, then green) and whether
  // the next channel round the wheel is the smallest.
  const I redMax = c.r == mx;
  const I greenMax = ~redMax & (c.g == mx);
  const I blueMax = ~(redMax | greenMax);
  const I nextIsMin = (redMax & (c.g == mn)) | (greenMax & (c.b == mn)) | (blueMax & (c.r == mn));
  const F channel = pick(redMax, pick(nextIsMin, c.b, c.g),
                         pick(greenMax, pick(nextIsMin, c.r, c.b), pick(nextIsMin, c.g, c.r)));
  const F start = pick(redMax, pick(nextIsMin, splat(5.0f), splat(1.0f)),
                       pick(greenMax, pick(nextIsMin, splat(1.0f), splat(3.0f)),
                            pick(nextIsMin, splat(3.0f), splat(5.0f))));
  const F sign = pick(nextIsMin, splat(1.0f), splat(-1.0f));
  const F ratio = (((mx - channel) * u) * d) * d;
  const F h = (start + sign * ratio) * 0.16666667f;
  return {keepWhere(lightPositive & spread, h), keepWhere(lightPositive, pick(spread, s, d)), l};
}

// colour_detail::sectorColourWith.
inline RgbL sectorColourL(F h, F v, F p, F factor) {
  const F h6 = h * 6.0f;
  const I n = truncated(h6);
  const F f = factor * (h6 - toFloat(n));
  const F up = p + f;
  const F down = v - f;
  const I sector = ~((n > 5) | (n < 0)) & n;
  const I s1 = sector == 1, s2 = sector == 2, s3 = sector == 3, s4 = sector == 4, s5 = sector == 5;
  // Sectors 0..5 give (v, up, p), (down, v, p), (p, v, up), (p, down, v),
  // (up, p, v), (v, p, down).
  const F r = pick(s1, down, pick(s2 | s3, p, pick(s4, up, v)));
  const F g = pick(s1 | s2, v, pick(s3, down, pick(s4 | s5, p, up)));
  const F b = pick(s3 | s4, v, pick(s2, up, pick(s5, down, p)));
  return {r, g, b};
}

inline RgbL hslToRgbL(F h, F s, F l) {
  const F v = pick(l <= 0.5f, (s + 1.0f) * l, (s + l) - s * l);
  const I lit = v > 0.0f;
  const F p = 2.0f * l - v;
  const F factor = ((v - p) / v) * v;
  const RgbL c = sectorColourL(h, v, p, factor);
  return {keepWhere(lit, c.r), keepWhere(lit, c.g), keepWhere(lit, c.b)};
}

inline F hueLuminanceFactorL(F s) {
  const F v = (s + 1.0f) * 0.5f;
  const F p = 1.0f - v;
  return ((v - p) / v) * v;
}

inline F hueLuminanceWithL(F h, F s, F factor) {
  const F v = (s + 1.0f) * 0.5f;
  const F p = 1.0f - v;
  const RgbL c = sectorColourL(h, v, p, factor);
  return narrow((wide(c.g) * 0.52 + wide(c.r) * 0.28) + wide(c.b) * 0.2);
}

// rgbToLightHslKeeping's lightness from the plain one and the pure hue's.
inline F perceptualLightnessL(F plain, F hueLight) {
  const D l = wide(plain), cd = wide(hueLight);
  const D upper = ((l - 0.5) * 2.0) * (1.0 - cd) + cd;
  const D lower = (l * 2.0) * cd;
  return narrow(pickD(wideMask(plain > 0.5f), upper, lower));
}

// rgbToLightHslKeeping. Always built into its caller: called out of line,
// its results go through memory (AVX-512 "luminance" took a sixth longer).
__attribute__((always_inline)) inline HslL rgbToLightHslL(const RgbL& colour, F& hueLight, F& hueFactor) {
  HslL hsl = rgbToHslL(colour);
  hueFactor = hueLuminanceFactorL(hsl.s);
  const F c = hueLuminanceWithL(hsl.h, hsl.s, hueFactor);
  hueLight = c;
  hsl.l = perceptualLightnessL(hsl.l, c);
  return hsl;
}

// lightHslToRgbGiven's plain lightness: l - c and l / c' in single, the
// rest in double.
inline F plainLightnessL(F l, F hueLight) {
  const F c = lesser(splat(1.0f), greater(F{}, hueLight));
  const F lMinusC = l - c;
  const F lOverC = l / pick(c > 0.0f, c, splat(1.0f));
  const D cd = wide(c);
  const D above = (wide(lMinusC) / pickD(wideMask(c < 1.0f), 1.0 - cd, splatD(1.0))) * 0.5 + 0.5;
  const D below = wide(lOverC) * 0.5;
  const F middle = narrow(pickD(wideMask(l > c), above, below));
  return pick(l >= 1.0f, splat(1.0f), pick(l <= 0.0f, F{}, middle));
}

inline RgbL lightHslToRgbL(F h, F s, F l, F hueLight) { return hslToRgbL(h, s, plainLightnessL(l, hueLight)); }

// lightHslToRgbGiven of a grey (saturation +0, which the plain lightness
// p, 0..1, makes v = p and p' = 2p - v = p, so the sector's step is 0):
// p in every channel, whatever the hue.
inline RgbL greyOfLightnessL(F l, F hueLight) {
  const F plain = plainLightnessL(l, hueLight);
  const F grey = keepWhere(plain > 0.0f, plain);
  return {grey, grey, grey};
}

// lightRatio: the double quotients of both sides, the side by the test.
inline F lightRatioL(F a, F c) {
  const D ad = wide(a), cd = wide(c);
  const F one = splat(1.0f);
  const F darker = lesser(one, narrow((ad * 0.5) / cd));
  const F lighter = lesser(one, narrow(1.0 - (cd * 0.5) / ad));
  return pick(c > a, pick(c > 0.0f, darker, one), pick(a > 0.0f, lighter, one));
}

// anchoredLightness, every step in the scalar code's precision. The
// anchor is a float, and the floats nearest 0.8 and 0.2 lie above them, so
// a > 0.8 and a < 0.2 in double are anchor >= 0.8f and anchor < 0.2f. The
// two end zones share one formula but for its weight, worked out once
// where some lane is in one.
inline F anchoredLightnessL(F l1, F l2, F anchor) {
  static_assert(double(0.8f) > 0.8 && double(0.2f) > 0.2, "the nearest floats lie above");
  const D p = wide(l1 * l2);
  const F v = narrow((2.0 - p) * p);
  const I upper = anchor >= 0.8f, lower = anchor < 0.2f;
  F out = v;
  if (anyLane(upper | lower)) {
    const D a = wide(anchor), vd = wide(v);
    const D weight = pickD(wideMask(upper), (a - 0.8) * 5.0, (0.2 - a) * 5.0);
    out = pick(upper | lower, narrow(weight * (a - vd) + vd), v);
  }
  return lesser(splat(1.0f), greater(F{}, out));
}

// midGate: the doubling is exact in single, and so is 2 - y for y in
// (1, 2], which the double steps of tent round to the same floats.
inline F midGateL(F x) {
  const F y = x * 2.0f;
  const F q = 1.0f - pick(y > 1.0f, 2.0f - y, y);
  return 1.0f - ((q * q) * q) * q;
}

// ---------------------------------------------------------------------------
// Quick trigonometry (the reasoning is in fast_angle.cpp).

// Lanes whose double approximation does not settle its float rounding,
// worked out on the two 32-bit halves of each double: the high half holds
// the magnitude's range, the low half the 29 bits float rounding drops.
inline I unsettledD(D a) {
  L bits;
  std::memcpy(&bits, &a, sizeof bits);
  const I high = __builtin_convertvector(bits >> 32, I) & 0x7fffffff;
  const I low = __builtin_convertvector(bits, I);
  const I normal = (high >= 0x38100000) & (high < 0x7ff00000);
  const int32_t guard = int32_t(FAST_ANGLE_GUARD_ULPS);
  const I fromMidpoint = (low & 0x1fffffff) - ((1 << 28) - guard);
  return ~normal | ((fromMidpoint >= 0) & (fromMidpoint <= 2 * guard));
}

inline F absOf(F x) {
  I bits;
  std::memcpy(&bits, &x, sizeof bits);
  bits &= 0x7fffffff;
  std::memcpy(&x, &bits, sizeof x);
  return x;
}
inline D absOfD(D x) {
  L bits;
  std::memcpy(&bits, &x, sizeof bits);
  bits &= 0x7fffffffffffffffll;
  std::memcpy(&x, &bits, sizeof x);
  return x;
}

inline I bitsOf(F x) {
  I bits;
  std::memcpy(&bits, &x, sizeof bits);
  return bits;
}

// Lane k of the result is entry at[k] of a table of Vectors * N lanes
// (at[k] in range). One or two vectors are one shuffle; more (the 16-entry
// tables at 4 lanes) are read lane by lane, as the compiler would move the
// words anyway without a variable shuffle.
template <class V, int Vectors>
inline V byIndex(const V (&table)[Vectors], I at) {
  if constexpr (Vectors == 1) {
    return shuffleLanes(table[0], at);
  } else if constexpr (Vectors == 2) {
    return shuffleLanes(table[0], table[1], at);
  } else {
    static_assert((Vectors & (Vectors - 1)) == 0, "a whole number of bits of index");
    V out;
    for (int k = 0; k < N; ++k) {
      const int entry = at[k] & (Vectors * N - 1);
      out[k] = table[entry / N][entry % N];
    }
    return out;
  }
}

// arcTangentStepTable()[j] for j in 0..16, without a gather: the low and
// high words of the 17 doubles are each looked up by j, the last entry
// taken by a select.
struct StepWords {
  I low[16 / N], high[16 / N];
  int32_t lastLow, lastHigh;
};
inline StepWords stepWords() {
  StepWords w{};
  const double* steps = arcTangentStepTable();
  uint32_t words[2][17];
  for (int j = 0; j < 17; ++j) {
    uint64_t bits;
    std::memcpy(&bits, &steps[j], sizeof bits);
    words[0][j] = uint32_t(bits);
    words[1][j] = uint32_t(bits >> 32);
  }
  std::memcpy(w.low, words[0], sizeof w.low);
  std::memcpy(w.high, words[1], sizeof w.high);
  w.lastLow = int32_t(words[0][16]);
  w.lastHigh = int32_t(words[1][16]);
  return w;
}
inline D arcTangentStepsAt(I j) {
  static const StepWords w = stepWords();
  const I at = j & 15, last = j == 16;
  typedef uint64_t UL __attribute__((vector_size(8 * N)));
  const UL low = __builtin_convertvector(U(pickI(last, splatI(w.lastLow), byIndex(w.low, at))), UL);
  const UL high = __builtin_convertvector(U(pickI(last, splatI(w.lastHigh), byIndex(w.high, at))), UL);
  const UL bits = high << 32 | low;
  D out;
  std::memcpy(&out, &bits, sizeof out);
  return out;
}

// The quick double angle of (y, x), before the checks.
inline D approximateArcTangent2L(F y, F x) {
  const F ax = absOf(x), ay = absOf(y);
  const I j = truncated((lesser(ax, ay) / greater(ax, ay)) * 16.0f + 0.5f);
  const D yd = wide(y), xd = wide(x);
  const D axd = absOfD(xd), ayd = absOfD(yd);
  const D small = pickD(wideMask(ax < ay), axd, ayd), large = pickD(wideMask(ax > ay), axd, ayd);
  const D c = __builtin_convertvector(j, D) * (1.0 / 16);
  const D t = (small - c * large) / (large + c * small);
  const D z = t * t;
  D series = splatD(-1.0 / 11);
  series = series * z + 1.0 / 9;
  series = series * z + -1.0 / 7;
  series = series * z + 1.0 / 5;
  series = series * z + -1.0 / 3;
  const D tail = (t * z) * series;
  // j is 0..16 but in NaN lanes, which take the exact path.
  const D base = arcTangentStepsAt(pickI((j >= 0) & (j <= 16), j, I{}));
  D r = base + (t + tail);
  // Widening is exact, so the float comparisons decide as the double ones.
  r = pickD(wideMask(ay > ax), 1.5707963267948966 - r, r);
  r = pickD(wideMask(x < 0.0f), 3.141592653589793 - r, r);
  L rBits, yBits;
  std::memcpy(&rBits, &r, sizeof r);
  std::memcpy(&yBits, &yd, sizeof yd);
  rBits ^= yBits & (1ll << 63);
  std::memcpy(&r, &rBits, sizeof r);
  return r;
}

// float(numeric::arcTangent2(y, x)) from a double approximation r of it,
// within a few units in its last place wherever y and x are finite and
// not zero.
inline F settledArcTangent2L(F y, F x, D r) {
  F quick = narrow(r);
  // A zero coordinate gives one of a few angles, by the signs alone; they
  // come from numeric:: (see arcTangentsOfZeros). Common in "frontal", where
  // a black or white top colour makes the mixed point the top's own (0, 0).
  const I zeroY = y == 0.0f, zeroX = ~zeroY & (x == 0.0f);
  if (anyLane(zeroY | zeroX)) {
    const I yNegative = (bitsOf(y) >> 31) & 1, xNegative = (bitsOf(x) >> 31) & 1;
    const I zeroAt = pickI(zeroY, 2 * yNegative + xNegative, 4 + yNegative);
    F zeros[(6 + N - 1) / N] = {};
    std::memcpy(zeros, arcTangentsOfZeros(), 6 * sizeof(float));
    quick = pick(zeroY | zeroX, byIndex(zeros, zeroAt), quick);
  }
  const I unsettled = (x != x) | (y != y) | (~(zeroY | zeroX) & unsettledD(r));
  if (anyLane(unsettled))
    for (int k = 0; k < N; ++k)
      if (unsettled[k]) quick[k] = float(numeric::arcTangent2(y[k], x[k]));
  return quick;
}

inline F arcTangent2L(F y, F x) { return settledArcTangent2L(y, x, approximateArcTangent2L(y, x)); }

// The angle of a point (x, y) that lies along a known angle a in [0, 7]
// whose cosine c and sine s are known in double: x and y are the float
// roundings of c and s, each times positive factors, so the point's angle
// is a plus a turn u of a few float units, u = atan(cross / dot) with
// cross = y c - x s, dot = x c + y s. Both products of cross are about
// |sin(2a)| / 2 times the radius, so cross carries an error of a few double
// units of that, and u of a few double units of |sin(2a)|, which is below
// both the angle and its distance to pi; u cubed is far below a unit. With
// c and s good to a few units, the result is within a few units of the true
// angle. It is brought into (-pi, pi]: below the axis (a in pi .. 2 pi,
// where only y's sign tells a float a next to pi) and past 2 pi, a is
// taken less 2 pi in two parts, a head whose difference from a is exact
// and the rest. Lanes where this holds are left set in `along`: the point
// is finite and on a's side of the origin (dot above zero), so the factors
// were positive.
inline D arcTangentAlongL(F y, F x, F a, D c, D s, I& along) {
  const D xd = wide(x), yd = wide(y);
  const D cross = yd * c - xd * s, dot = xd * c + yd * s;
  along &= narrowMask(aboveD(dot, 0.0)) & (absOf(x) < __builtin_inff()) & (absOf(y) < __builtin_inff());
  const D ad = wide(a);
  const D turnedBack = (ad - 0x1.921fb544p2) - 0x1.0b4611a626331p-32;
  return pickD(wideMask((y < 0.0f) | (a > 4.0f)), turnedBack, ad) + cross / dot;
}

// float(cosine(angle)) and float(sine(angle)); lanes the quick form cannot
// settle (set in the returned mask) are left for the caller. cosineD and
// sineD are the double approximations, within a few units of the true
// values for angles in [0, 7].
inline I cosineAndSineL(F angle, F& cosine, F& sine, D& cosineD, D& sineD) {
  const D a = wide(angle);
  const I k = __builtin_convertvector(a * 0x1.45f306dc9c883p-1 + 0.5, I);
  const D kd = __builtin_convertvector(k, D);
  const D r = (a - kd * 0x1.921fb544p0) - kd * 0x1.0b4611a626331p-34;
  const D z = r * r, w = z * z;
  D p = (1.0 / 39916800.0 + -1.0 / 6227020800.0 * z) + w * (1.0 / 1307674368000.0);
  p = (1.0 / 5040.0 + -1.0 / 362880.0 * z) + w * p;
  p = (1.0 / 6.0 + -1.0 / 120.0 * z) + w * p;
  const D s = r - (r * z) * p;
  D q = -1.0 / 87178291200.0 + 1.0 / 20922789888000.0 * z;
  q = (-1.0 / 3628800.0 + 1.0 / 479001600.0 * z) + w * q;
  q = (-1.0 / 720.0 + 1.0 / 40320.0 * z) + w * q;
  q = (-0.5 + 1.0 / 24.0 * z) + w * q;
  const D c = 1.0 + z * q;
  // Quadrant k: bit 0 swaps sine and cosine, then sin is negated in
  // quadrants 2 and 3, cos in quadrants 1 and 2.
  const L quadrant = __builtin_convertvector(k, L);
  const L odd = wideMask((k & 1) == 1);
  D sd = pickD(odd, c, s), cd = pickD(odd, s, c);
  L sBits, cBits;
  std::memcpy(&sBits, &sd, sizeof sd);
  std::memcpy(&cBits, &cd, sizeof cd);
  sBits ^= ((quadrant & 2) >> 1) << 63;
  cBits ^= (((quadrant + 1) & 2) >> 1) << 63;
  std::memcpy(&sd, &sBits, sizeof sd);
  std::memcpy(&cd, &cBits, sizeof cd);
  cosine = narrow(cd);
  sine = narrow(sd);
  cosineD = cd;
  sineD = sd;
  return ~((angle >= 0.0f) & (angle <= 7.0f)) | (unsettledD(cd) | unsettledD(sd));
}

// ---------------------------------------------------------------------------
// The Lab tables (labInterpolate step by step; every sum is of small
// non-negative integers, exact in any order).

struct LabL {
  I c[3];
};

// The three bytes at each lane's offset, as the low three bytes of a word.
// The table's last node has no fourth byte after it, so a read there starts
// one byte early and the word is shifted down.
inline I cornerWords(I offset, const uint8_t* table) {
  const I last = splatI(LAB_TABLE_BYTES - 4);
  const I words = gatherWords(table, lesserI(offset, last));
  return pickI(offset > last, (words >> 8) & 0xFFFFFF, words);
}

inline I byteOf(I word, int shift) { return (word >> shift) & 0xFF; }

template <class S>
__attribute__((always_inline)) inline LabL labConvertL(const LabL& in, const uint8_t* table, const LabAxisPoint* axis) {
  I node[3], fraction[3];
  for (int a = 0; a < 3; ++a) {
    const I x = greaterI(I{}, lesserI(in.c[a], splatI(S::M)));
    if constexpr (S::EIGHT_BIT) {
      node[a] = shortProduct(x, 241) >> 12;  // x / 17 on 0..255
      fraction[a] = x - shortProduct(node[a], 17);
    } else {
      static_assert(sizeof(LabAxisPoint) == 4, "node and fraction in one word");
      const I word = gatherWords(axis, x * 4);
      node[a] = word & 0xFFFF;
      fraction[a] = (word >> 16) & 0xFFFF;
    }
  }
  const I offset0 = shortProduct(node[0], 3) + shortProduct(node[1], 48) + shortProduct(node[2], 768);
  const I s0 = pickI(node[0] == 15, I{}, splatI(3));
  const I s1 = pickI(node[1] == 15, I{}, splatI(48));
  const I s2 = pickI(node[2] == 15, I{}, splatI(768));
  const I f0 = fraction[0], f1 = fraction[1], f2 = fraction[2];
  const I firstIsLargest = (f0 >= f1) & (f0 >= f2), secondOverThird = f1 >= f2;
  const I largest = pickI(firstIsLargest, f0, pickI(secondOverThird, f1, f2));
  const I strideOfLargest = pickI(firstIsLargest, s0, pickI(secondOverThird, s1, s2));
  const I firstIsSmallest = (f0 <= f1) & (f0 <= f2);
  const I smallest = pickI(firstIsSmallest, f0, pickI(secondOverThird, f2, f1));
  const I strideOfSmallest = pickI(firstIsSmallest, s0, pickI(secondOverThird, s2, s1));
  const I middle = f0 + f1 + f2 - largest - smallest;
  const I c1 = offset0 + strideOfLargest;
  const I c3 = offset0 + s0 + s1 + s2;
  const I c2 = c3 - strideOfSmallest;
  I w0;
  if constexpr (S::EIGHT_BIT)
    w0 = 17 - largest;
  else
    w0 = truncated(LAB_CELL_16 - toFloat(largest));
  const I w1 = largest - middle, w2 = middle - smallest;
  const I corner0 = cornerWords(offset0, table), corner1 = cornerWords(c1, table);
  const I corner2 = cornerWords(c2, table), corner3 = cornerWords(c3, table);
  LabL out;
  for (int k = 0; k < 3; ++k) {
    // Bytes times weights of at most the cell's width.
    const I acc = shortProduct(byteOf(corner0, 8 * k), w0) + shortProduct(byteOf(corner1, 8 * k), w1) +
                  shortProduct(byteOf(corner2, 8 * k), w2) + shortProduct(byteOf(corner3, 8 * k), smallest);
    if constexpr (S::EIGHT_BIT) {
      // The weights sum to 17, so acc is at most 255 * 17; below 8754 the
      // product by 7711 shifted down 17 bits is the integer quotient.
      out.c[k] = shortProduct(acc, 7711) >> 17;
    } else {
      // acc is below 2^20, so its single-precision quotient is never rounded
      // across an integer, and truncation gives the integer quotient.
      out.c[k] = truncated(toFloat(acc) / 17.0f);
    }
  }
  return out;
}

// hardMixUnbranched and pinMixUnbranched; every product is of values in
// 0..M and fits in 31 bits, and at 8 bits in 16-bit halves.
template <class S>
inline I productOfSamples(I x, I y) {
  if constexpr (S::EIGHT_BIT)
    return shortProduct(x, y);
  else
    return x * y;
}
template <class S>
inline I hardMixL(I x, I y) {
  return pickI(x >= S::H, S::M - (productOfSamples<S>(S::M - x, S::M - y) >> S::S),
               productOfSamples<S>(x, y) >> S::S);
}
template <class S>
inline I pinMixL(I x, I y) {
  return pickI(y >= S::H, greaterI(x, 2 * y - S::M), lesserI(x, 2 * y));
}

template <class S>
LabL parietalMixL(const LabL& b, const LabL& t) {
  return {{productOfSamples<S>(b.c[0], t.c[0]) >> S::T, hardMixL<S>(b.c[1], t.c[1]), hardMixL<S>(b.c[2], t.c[2])}};
}
template <class S>
LabL temporalMixL(const LabL& b, const LabL& t) {
  return {{S::M - (productOfSamples<S>(S::M - b.c[0], S::M - t.c[0]) >> S::T), hardMixL<S>(b.c[1], t.c[1]),
           hardMixL<S>(b.c[2], t.c[2])}};
}
template <class S>
LabL occipitalMixL(const LabL& b, const LabL& t) {
  return {{pinMixL<S>(b.c[0], t.c[0]), pinMixL<S>(b.c[1], t.c[1]), pinMixL<S>(b.c[2], t.c[2])}};
}
template <class S>
LabL limbicMixL(const LabL& b, const LabL& t) {
  return {{pinMixL<S>(t.c[0], b.c[0]), pinMixL<S>(t.c[1], b.c[1]), pinMixL<S>(t.c[2], b.c[2])}};
}

// ---------------------------------------------------------------------------
// The modes, N pixels per call.

// Whether every top colour of the N is a grey, as the plain ramp's are.
inline bool greyTops(const int32_t* tops) {
  const I r = channelOf(tops, 0);
  return !anyLane((r != channelOf(tops, 1)) | (r != channelOf(tops, 2)));
}

// Only the values a mode reads are fetched: Used has bit i for value i.
enum : unsigned { TOP_H = 1, TOP_S = 2, TOP_L = 4, TOP_HUE_LIGHT = 8, TOP_HUE_FACTOR = 16 };
template <class S, unsigned Used>
struct TopLightL {
  F value[5];  // h, s, l, hueLight, hueFactor
  bool grey;    // every lane's top is a grey
  TopLightL() = default;
  TopLightL(const GlueTables& tables, const int32_t* tops) {
    grey = greyTops(tops);
    if (!grey) {
      topValuesOf<S, 5, Used>(topLightHslEntry<S>, topTag<S>(LIGHT_HSL), tables, tops, value);
      return;
    }
    // Greys (the plain ramp's colours) need no cache: rgbToLightHslKeeping
    // of a grey, whose plain HSL is hue +0, saturation +0 and the channel
    // as lightness.
    value[0] = value[1] = F{};
    value[4] = hueLuminanceFactorL(F{});
    value[3] = hueLuminanceWithL(F{}, F{}, value[4]);
    value[2] = perceptualLightnessL(unitsOf<S>(tops, 0), value[3]);
  }
  // Each accessor is compiled only where a mode calls it: reading a value
  // the mode did not fetch fails to build.
  F h() const { static_assert(Used & TOP_H, "fetch h"); return value[0]; }
  F s() const { static_assert(Used & TOP_S, "fetch s"); return value[1]; }
  F l() const { static_assert(Used & TOP_L, "fetch l"); return value[2]; }
  F hueLight() const { static_assert(Used & TOP_HUE_LIGHT, "fetch hueLight"); return value[3]; }
  F hueFactor() const { static_assert(Used & TOP_HUE_FACTOR, "fetch hueFactor"); return value[4]; }
};

// A grey top's way back is a grey.
template <class S>
void colorLanes(int32_t* tops, const int32_t* bases, const GlueTables& tables) {
  const TopLightL<S, TOP_H | TOP_S | TOP_HUE_LIGHT> t(tables, tops);
  const F luma = lumasOf<S>(bases);
  storeColours<S>(tops, t.grey ? greyOfLightnessL(luma, t.hueLight()) : lightHslToRgbL(t.h(), t.s(), luma, t.hueLight()));
}

template <class S>
void luminanceLanes(int32_t* tops, const int32_t* bases, const GlueTables&) {
  F hueLight, hueFactor;
  const HslL b = rgbToLightHslL(coloursOf<S>(bases), hueLight, hueFactor);
  storeColours<S>(tops, lightHslToRgbL(b.h, b.s, lumasOf<S>(tops), hueLight));
}

template <class S>
void saturationLanes(int32_t* tops, const int32_t* bases, const GlueTables& tables) {
  const TopLightL<S, TOP_S | TOP_HUE_FACTOR> t(tables, tops);
  F hueLight, hueFactor;
  const HslL b = rgbToLightHslL(coloursOf<S>(bases), hueLight, hueFactor);
  storeColours<S>(tops, lightHslToRgbL(b.h, t.s(), b.l, hueLuminanceWithL(b.h, t.s(), t.hueFactor())));
}

template <class S>
void hueLanes(int32_t* tops, const int32_t* bases, const GlueTables& tables) {
  const TopLightL<S, TOP_H> t(tables, tops);
  F hueLight, hueFactor;
  const HslL b = rgbToLightHslL(coloursOf<S>(bases), hueLight, hueFactor);
  storeColours<S>(tops, lightHslToRgbL(t.h(), b.s, b.l, hueLuminanceWithL(t.h(), b.s, hueFactor)));
}

template <class S>
void sinisterLanes(int32_t* tops, const int32_t* bases, const GlueTables& tables) {
  const TopLightL<S, TOP_H | TOP_S | TOP_L | TOP_HUE_LIGHT> t(tables, tops);
  const F l = lightRatioL(lumasOf<S>(bases), t.l());
  storeColours<S>(tops, t.grey ? greyOfLightnessL(l, t.hueLight()) : lightHslToRgbL(t.h(), t.s(), l, t.hueLight()));
}

// "anterior" and "posterior" at G groups of N pixels per call, each step
// taken for every group before the next: their steps form one long chain
// (conversions both ways with divisions), and a second group's steps fill
// the first's waits. (The lighter modes measured no faster so.) The loops
// over the groups are unrolled, as the optimiser does anyway: GCC 12 with
// both address and undefined-behaviour sanitizers at -O2 gave wrong lanes
// from the rolled loop of "frontal".
#define ML_EACH_GROUP _Pragma("GCC unroll 4") for (int g = 0; g < G; ++g)
template <class S, int G>
void anteriorLanes(int32_t* tops, const int32_t* bases, const GlueTables& tables) {
  TopLightL<S, TOP_H | TOP_S | TOP_L | TOP_HUE_LIGHT> t[G];
  HslL b[G];
  F hueLight[G], hueFactor[G], l[G];
  ML_EACH_GROUP t[g] = {tables, tops + 3 * N * g};
  ML_EACH_GROUP b[g] = rgbToLightHslL(coloursOf<S>(bases + 3 * N * g), hueLight[g], hueFactor[g]);
  ML_EACH_GROUP l[g] = anchoredLightnessL(t[g].l(), b[g].l, t[g].l());
  ML_EACH_GROUP
    storeColours<S>(tops + 3 * N * g, t[g].grey ? greyOfLightnessL(l[g], t[g].hueLight())
                                                : lightHslToRgbL(t[g].h(), t[g].s(), l[g], t[g].hueLight()));
}

template <class S, int G>
void posteriorLanes(int32_t* tops, const int32_t* bases, const GlueTables& tables) {
  TopLightL<S, TOP_L> t[G];
  HslL b[G];
  F hueLight[G], hueFactor[G], l[G];
  ML_EACH_GROUP t[g] = {tables, tops + 3 * N * g};
  ML_EACH_GROUP b[g] = rgbToLightHslL(coloursOf<S>(bases + 3 * N * g), hueLight[g], hueFactor[g]);
  ML_EACH_GROUP l[g] = anchoredLightnessL(t[g].l(), b[g].l, b[g].l);
  ML_EACH_GROUP
    storeColours<S>(tops + 3 * N * g, lightHslToRgbL(b[g].h, b[g].s, l[g], hueLight[g]));
}

// Per channel, as glueDextrous: lightRatio of base against top.
template <class S>
void dextrousLanes(int32_t* tops, const int32_t* bases, const GlueTables&) {
  const RgbL b = coloursOf<S>(bases), t = coloursOf<S>(tops);
  storeColours<S>(tops, {lightRatioL(b.r, t.r), lightRatioL(b.g, t.g), lightRatioL(b.b, t.b)});
}

// float(angle / 6.283185307): the product by the reciprocal lies within a
// few units in the last place of the quotient, so where it settles (see
// fast_angle.cpp) it rounds to the same float; the other lanes divide.
inline F turnsOf(F angle) {
  const D a = wide(angle);
  const D quick = a * (1.0 / 6.283185307);
  const I unsettled = unsettledD(quick);
  if (!anyLane(unsettled)) return narrow(quick);
  return narrow(pickD(wideMask(unsettled), a / 6.283185307, quick));
}

// topPolar of each lane's top colour: x1, y1, gate, l1. Grey tops (the
// plain ramp's every colour) need no cache: rgbToHsl gives them hue 0,
// saturation +0 and their channel as lightness, so the point is
// (cos 0 times +0, sin 0 times +0) = (+0, +0).
template <class S>
void topPolarsOf(const int32_t* tops, const GlueTables& tables, F top[4]) {
  if (!greyTops(tops)) {
    topValuesOf<S, 4, 15>(topPolar<S>, topTag<S>(PLAIN_POLAR), tables, tops, top);
    return;
  }
  const F l = unitsOf<S>(tops, 0);
  top[0] = F{};
  top[1] = F{};
  top[2] = midGateL(l);
  top[3] = l;
}

// G groups of N pixels per call, each step taken for every group before
// the next, as in "anterior". Everything it calls is built into it
// (flatten): the compiler would keep the cosine, the arc tangent's last
// steps and the way back out of line, called once per group.
template <class S, int G>
__attribute__((flatten)) void frontalLanes(int32_t* tops, const int32_t* bases, const GlueTables& tables) {
  F top[G][4];  // x1, y1, gate, l1
  HslL c2[G];
  bool mixes[G];
  ML_EACH_GROUP {
    topPolarsOf<S>(tops + 3 * N * g, tables, top[g]);
    c2[g] = rgbToHslL(coloursOf<S>(bases + 3 * N * g));
    // Grey tops at black or white (the ramp's ends, common in flat parts
    // of the picture): the point is (0, 0) scaled by a gate of 0 and stays
    // a signed zero whatever the base's hue, so the radius is 0, and
    // hslToRgb of a zero saturation gives the lightness in every channel,
    // whatever the hue.
    mixes[g] = anyLane((top[g][0] != 0.0f) | (top[g][1] != 0.0f) | (top[g][2] != 0.0f));
    if (!mixes[g]) {
      const F l = lesser(top[g][3], c2[g].l);
      storeColours<S>(tops + 3 * N * g, {l, l, l});
    }
  }
  // (Zeroed, as are x, y and approximate: the compiler cannot tell that a
  // group left out of one step is left out of every step.)
  F angle2[G]{}, cosine[G]{}, sine[G]{};
  D cosineD[G]{}, sineD[G]{};
  ML_EACH_GROUP {
    if (!mixes[g]) continue;
    angle2[g] = narrow(wide(c2[g].h) * 6.283185307);
    const I unsettled = cosineAndSineL(angle2[g], cosine[g], sine[g], cosineD[g], sineD[g]);
    if (anyLane(unsettled))
      for (int k = 0; k < N; ++k) {
        if (!unsettled[k]) continue;
        const GlueAngleEntry& entry = cosineAndSine(tables, angle2[g][k]);
        cosine[g][k] = entry.cosine;
        sine[g][k] = entry.sine;
      }
  }
  F x[G]{}, y[G]{};
  D approximate[G]{};
  ML_EACH_GROUP {
    if (!mixes[g]) continue;
    const F x2 = cosine[g] * c2[g].s, y2 = sine[g] * c2[g].s;
    const F k = midGateL(c2[g].l) * top[g][2];
    x[g] = (x2 - top[g][0]) * k + top[g][0];
    y[g] = (y2 - top[g][1]) * k + top[g][1];
    // Where the top's point is the origin (grey tops), the mixed point
    // lies along the base's own angle, and its angle is that angle turned
    // a little; other lanes take the full arc tangent, but for those with
    // a zero coordinate (a gate of 0 at a black or white top, a grey
    // base), whose angle comes from the signs alone.
    I along = (top[g][0] == 0.0f) & (top[g][1] == 0.0f) & (angle2[g] >= 0.0f) & (angle2[g] <= 7.0f);
    approximate[g] = arcTangentAlongL(y[g], x[g], angle2[g], cosineD[g], sineD[g], along);
    if (anyLane(~along & (x[g] != 0.0f) & (y[g] != 0.0f)))
      approximate[g] = pickD(wideMask(along), approximate[g], approximateArcTangent2L(y[g], x[g]));
  }
  ML_EACH_GROUP {
    if (!mixes[g]) continue;
    const F radius = rootOf(x[g] * x[g] + y[g] * y[g]);
    F angle = settledArcTangent2L(y[g], x[g], approximate[g]);
    angle = pick(angle < 0.0f, angle + 6.2831855f, angle);
    const F h = turnsOf(angle);
    storeColours<S>(tops + 3 * N * g, hslToRgbL(h, radius, lesser(top[g][3], c2[g].l)));
  }
}

// throughLab; the tops' Lab values come from the cache. G groups of
// pixels side by side, each step for every group before the next, so that
// one group's table reads are awaited while the other's are in flight.
template <class S, LabL (*Mix)(const LabL&, const LabL&), int G>
void labLanes(int32_t* tops, const int32_t* bases, const GlueTables& tables) {
  const LabAxisPoint* axis = tables.labAxis16 ? tables.labAxis16 : labAxis16();
  const uint8_t* forward = tables.labForward ? tables.labForward : labTables().forward;
  const uint8_t* inverse = tables.labInverse ? tables.labInverse : labTables().inverse;
  LabL top[G], mixed[G];
  ML_EACH_GROUP {
    F value[3];
    topValuesOf<S, 3, 7>(topLabEntry<S>, topTag<S>(LAB), tables, tops + 3 * N * g, value);
    top[g] = LabL{{truncated(value[0]), truncated(value[1]), truncated(value[2])}};
  }
  ML_EACH_GROUP {
    const int32_t* b = bases + 3 * N * g;
    mixed[g] = Mix(labConvertL<S>(LabL{{channelOf(b, 0), channelOf(b, 1), channelOf(b, 2)}}, forward, axis), top[g]);
  }
  ML_EACH_GROUP {
    const LabL out = labConvertL<S>(mixed[g], inverse, axis);
    storeInterleaved(tops + 3 * N * g, out.c[0], out.c[1], out.c[2]);
  }
}

using LanesFunction = void (*)(int32_t* tops, const int32_t* bases, const GlueTables& tables);

template <LanesFunction Lanes, GlueFunction Pixel, LanesFunction PairOfLanes = nullptr>
void rowOfLanes(int32_t* tops, const int32_t* bases, int32_t count, const GlueTables& tables) {
  int32_t i = 0;
  if constexpr (PairOfLanes != nullptr)
    for (; i + 2 * N <= count; i += 2 * N) PairOfLanes(tops + 3 * i, bases + 3 * i, tables);
  for (; i + N <= count; i += N) Lanes(tops + 3 * i, bases + 3 * i, tables);
  for (; i < count; ++i) Pixel(tops + 3 * i, bases + 3 * i, tables);
}

// The per-channel modes' rows, built at this file's width; null for the
// other modes.
template <class D>
const GlueRowFunction CHANNEL_ROWS[GLUE_MODE_COUNT + 1] = {
#define ML_LANES_CHANNEL(...) &channelRow<&__VA_ARGS__>,
#define ML_LANES_WHOLE(...) nullptr,
    ML_GLUE_MODES(ML_LANES_CHANNEL, ML_LANES_WHOLE)
#undef ML_LANES_CHANNEL
#undef ML_LANES_WHOLE
};

template <class S>
GlueRowFunction wideRowFunctionOf(int mode) {
  switch (mode) {
    case GLUE_COLOR: return rowOfLanes<colorLanes<S>, glueColor<S>>;
    case GLUE_LUMINANCE: return rowOfLanes<luminanceLanes<S>, glueLuminance<S>>;
    case GLUE_SATURATION: return rowOfLanes<saturationLanes<S>, glueSaturation<S>>;
    case GLUE_HUE: return rowOfLanes<hueLanes<S>, glueHue<S>>;
    case GLUE_FRONTAL: return rowOfLanes<frontalLanes<S, 1>, glueFrontal<S>, frontalLanes<S, 2>>;
    case GLUE_DEXTROUS: return rowOfLanes<dextrousLanes<S>, glueDextrous<S>>;
    case GLUE_SINISTER: return rowOfLanes<sinisterLanes<S>, glueSinister<S>>;
    case GLUE_ANTERIOR: return rowOfLanes<anteriorLanes<S, 1>, glueAnterior<S>, anteriorLanes<S, 2>>;
    case GLUE_POSTERIOR: return rowOfLanes<posteriorLanes<S, 1>, gluePosterior<S>, posteriorLanes<S, 2>>;
    case GLUE_PARIETAL: return rowOfLanes<labLanes<S, parietalMixL<S>, 1>, glueParietal<S>, labLanes<S, parietalMixL<S>, 2>>;
    case GLUE_TEMPORAL: return rowOfLanes<labLanes<S, temporalMixL<S>, 1>, glueTemporal<S>, labLanes<S, temporalMixL<S>, 2>>;
    case GLUE_OCCIPITAL: return rowOfLanes<labLanes<S, occipitalMixL<S>, 1>, glueOccipital<S>, labLanes<S, occipitalMixL<S>, 2>>;
    case GLUE_LIMBIC: return rowOfLanes<labLanes<S, limbicMixL<S>, 1>, glueLimbic<S>, labLanes<S, limbicMixL<S>, 2>>;
    default: return mode >= 2 && mode <= GLUE_MODE_COUNT ? CHANNEL_ROWS<S>[mode] : nullptr;
  }
}

// The row form of this mode at N lanes, or null when it has none.
inline GlueRowFunction wideRowFunction(int mode, int depth) {
  return depth == 16 ? wideRowFunctionOf<Scale16>(mode) : wideRowFunctionOf<Scale8>(mode);
}

#undef ML_EACH_GROUP

}  // namespace
}  // namespace glue
