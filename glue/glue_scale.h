// Inside the glue library: the constants of each image depth, the shared
// integer shorthands, and the colour-space modes that the jump table in
// glue_modes.cpp refers to.
#pragma once

#include <cstdint>

#include "glue/glue_modes.h"

namespace glue {

// M the top of the scale, H its half, S and T the shifts by H and by M's
// power of two.
struct Scale8 {
  static constexpr bool EIGHT_BIT = true;
  static constexpr int32_t M = 255, H = 128, S = 7, T = 8;
};
struct Scale16 {
  static constexpr bool EIGHT_BIT = false;
  static constexpr int32_t M = 32768, H = 16384, S = 14, T = 15;
};

// Internal linkage: the files built for wide targets include these too, and
// no copy compiled for one target may stand in for another file's.
namespace {

inline int32_t minOf(int32_t a, int32_t b) { return a < b ? a : b; }
inline int32_t maxOf(int32_t a, int32_t b) { return a > b ? a : b; }
inline int32_t limit(int32_t v, int32_t lo, int32_t hi) { return v < lo ? lo : (v > hi ? hi : v); }
inline int32_t absOf(int32_t v) { return v < 0 ? -v : v; }

// Multiply below the half, screen above it, chosen by x.
template <class D>
inline int32_t hardMix(int32_t x, int32_t y) {
  return x >= D::H ? D::M - (((D::M - x) * (D::M - y)) >> D::S) : (x * y) >> D::S;
}

// Keep x unless y pulls it: y in the upper half raises x to 2y - M, y in the
// lower half lowers it to 2y.
template <class D>
inline int32_t pinMix(int32_t x, int32_t y) {
  return y >= D::H ? maxOf(x, 2 * y - D::M) : minOf(x, 2 * y);
}

// hardMix and pinMix with the half chosen by bit masks rather than a
// branch, for operands that fall on either side of the half at random (the
// Lab opponents of image colours). Same results; the integer modes keep the
// plain forms, which the compiler handles well there.
inline int32_t pickBy(bool condition, int32_t a, int32_t b) {
  const int32_t mask = -int32_t(condition);
  return (a & mask) | (b & ~mask);
}
template <class D>
inline int32_t hardMixUnbranched(int32_t x, int32_t y) {
  return pickBy(x >= D::H, D::M - (((D::M - x) * (D::M - y)) >> D::S), (x * y) >> D::S);
}
template <class D>
inline int32_t pinMixUnbranched(int32_t x, int32_t y) {
  return pickBy(y >= D::H, maxOf(x, 2 * y - D::M), minOf(x, 2 * y));
}

template <class D>
inline int32_t squareUp(int32_t x) {
  return D::M - (((D::M - x) * (D::M - x)) >> D::T);
}

}  // namespace

// Colour-space modes (glue_colour_modes.cpp), instantiated for both scales.
#define ML_GLUE_COLOUR_MODE(name) \
  template <class D>              \
  void name(int32_t top[3], const int32_t base[3], const GlueTables& tables);
ML_GLUE_COLOUR_MODE(glueColor)
ML_GLUE_COLOUR_MODE(glueLuminance)
ML_GLUE_COLOUR_MODE(glueSaturation)
ML_GLUE_COLOUR_MODE(glueHue)
ML_GLUE_COLOUR_MODE(glueWax)
ML_GLUE_COLOUR_MODE(glueWane)
ML_GLUE_COLOUR_MODE(glueFrontal)
ML_GLUE_COLOUR_MODE(glueParietal)
ML_GLUE_COLOUR_MODE(glueTemporal)
ML_GLUE_COLOUR_MODE(glueOccipital)
ML_GLUE_COLOUR_MODE(glueLimbic)
ML_GLUE_COLOUR_MODE(glueDextrous)
ML_GLUE_COLOUR_MODE(glueSinister)
ML_GLUE_COLOUR_MODE(glueAnterior)
ML_GLUE_COLOUR_MODE(gluePosterior)
#undef ML_GLUE_COLOUR_MODE

}  // namespace glue
