// The glue modes that mix each channel pair alone, as functions of one top
// and one base sample, their row form, and the list of every mode by
// number. Included by the per-pixel jump tables and by each vector width's
// row forms, which run these along a row at their own width; everything
// here has internal linkage, so each file keeps the copy built for its own
// target.
//
// Each per-channel mode is written once over the depth constants (M, H, S,
// T); where the 8-bit form uses literal 255/256 or works differently, the
// two forms are spelled out side by side. All arithmetic is signed 32-bit:
// >> floors, / truncates toward zero, and no product exceeds 32768 squared.
#pragma once

#include <cstdint>

#include "glue/glue_scale.h"

namespace glue {
namespace {

using ChannelMix = int32_t (*)(int32_t t, int32_t b);

// n / d (d not 0), truncated toward zero as integer division is, through
// one double division: n and d are exact as doubles, and a quotient that is
// not a whole number lies at least 1/|d| from one, far beyond the division's
// rounding, so truncating it gives the integer quotient. Unlike integer
// division, the compiler can run it on several samples side by side.
inline int32_t quotient(int32_t n, int32_t d) {
  return static_cast<int32_t>(static_cast<double>(n) / static_cast<double>(d));
}

// ---------------------------------------------------------------------------
// Per-channel modes: t is the top (ramp) value, b the base (image) value.

template <class D> int32_t proceduralMinus(int32_t t, int32_t b) {
  return minOf(D::M, t + ((t * b) >> D::T));
}
template <class D> int32_t difference(int32_t t, int32_t b) {
  return ((D::M - b) * t + (D::M - t) * b) >> D::T;
}
template <class D> int32_t lighten(int32_t t, int32_t b) { return maxOf(t, b); }
template <class D> int32_t darken(int32_t t, int32_t b) { return minOf(t, b); }
template <class D> int32_t add(int32_t t, int32_t b) { return minOf(D::M, t + b); }
template <class D> int32_t subtract(int32_t t, int32_t b) { return maxOf(0, t - b); }
template <class D> int32_t multiply(int32_t t, int32_t b) { return (t * b) >> D::T; }
template <class D> int32_t screen(int32_t t, int32_t b) {
  return t + (((D::M - t) * b) >> D::T);
}
template <class D> int32_t hardLight(int32_t t, int32_t b) { return hardMix<D>(t, b); }
template <class D> int32_t overlay(int32_t t, int32_t b) { return hardMix<D>(b, t); }
template <class D> int32_t superlay(int32_t t, int32_t b) {
  return hardMix<D>(squareUp<D>((t * b) >> D::T), squareUp<D>(screen<D>(t, b)));
}
template <class D> int32_t exclusion(int32_t t, int32_t b) {
  // At 8 bits the top's weight runs to 256, so two whites still give 0.
  if constexpr (D::EIGHT_BIT) return ((255 - b) * t + (256 - t) * b) >> 8;
  return difference<D>(t, b);
}
template <class D> int32_t linearLight(int32_t t, int32_t b) {
  if constexpr (D::EIGHT_BIT) {
    // The two halves pivot on 256 and 255 respectively.
    return t < 128 ? maxOf(0, b + 2 * t - 256) : minOf(255, b + 2 * t - 255);
  }
  return limit(b + 2 * t - 32768, 0, 32768);
}
template <class D> int32_t pinLight(int32_t t, int32_t b) { return pinMix<D>(b, t); }
template <class D> int32_t spinLight(int32_t t, int32_t b) { return pinMix<D>(t, b); }

// Colour burn below the half, colour dodge above, at 8-bit precision.
// One division whose operands are chosen by the half with bit masks, so
// that a row of them runs side by side with no branch round the division.
inline int32_t vividA8Unlimited(int32_t t, int32_t b) {
  const bool burn = t < 128;
  const int32_t q = quotient(pickBy(burn, (b - 255) * 256, b * 256), pickBy(burn, 2 * t + 1, 511 - 2 * t));
  return pickBy(burn, 255 + q, q);
}
template <class D> int32_t vividA(int32_t t, int32_t b) {
  if constexpr (D::EIGHT_BIT) return limit(vividA8Unlimited(t, b), 0, 255);
  // Worked at 8 bits; the result is widened so that 255 reaches 32768.
  int32_t r = vividA8Unlimited(minOf((t + 1) >> 7, 255), minOf((b + 1) >> 7, 255));
  if (r < 0) return 0;
  if (r >= 255) return 32768;
  return (r << 7) | (r >> 1);
}
template <class D> int32_t vividB(int32_t t, int32_t b) { return limit(2 * t - b, 0, D::M); }
template <class D> int32_t similarity(int32_t t, int32_t b) {
  return D::M - absOf(t + b - D::M);
}
template <class D> int32_t cross(int32_t t, int32_t b) {
  constexpr int32_t Q = D::EIGHT_BIT ? 64 : 8192;
  int32_t dt = t - D::H, db = b - D::H;
  return limit(D::M - absOf((dt * dt) / Q - (db * db) / Q), 0, D::M);
}
template <class D> int32_t hardDiff(int32_t t, int32_t b) { return absOf(t - b); }

int32_t softLight8Upper(int32_t t, int32_t b) {
  int32_t u = 255 - b;
  return 255 - ((((u * u) / 256) * (t - 130) + (258 - t) * u) >> 7);
}
template <class D> int32_t softLight(int32_t t, int32_t b) {
  if constexpr (D::EIGHT_BIT) {
    if (t < 128) return (t * b + ((b * b) / 256) * (128 - t)) >> 7;
    return softLight8Upper(t, b);
  }
  if (t < 16384) return (t * b + ((b * b) / 32768) * (16384 - t)) >> 14;
  // The upper half works at 8-bit precision. A base of 32768 reads as 256
  // there and, for tops just above the half, the 8-bit form yields 257;
  // keep the widened value on the scale.
  return minOf(softLight8Upper(t / 128, b / 128) << 7, 32768);
}
template <class D> int32_t dodge(int32_t t, int32_t b) {
  if constexpr (D::EIGHT_BIT) return minOf(255, quotient(b * 256, 256 - t));
  // A top of 32768 gives 32768; its divisor is made 1 so that the row's
  // divisions stay side by side with no branch.
  const bool full = t == 32768;
  return pickBy(full, 32768, minOf(32768, quotient(b * 32768, pickBy(full, 1, 32768 - t))));
}
template <class D> int32_t burn(int32_t t, int32_t b) {
  if constexpr (D::EIGHT_BIT) return limit(255 + quotient((b - 255) * 256, t + 1), 0, 255);
  return limit(32768 + quotient((b - 32768) * 32768, t + 1), 0, 32768);
}
template <class D> int32_t ace(int32_t t, int32_t b) {
  if constexpr (D::EIGHT_BIT) return (t * t + (256 - t) * b) >> 8;
  return (t * t + (32768 - t) * b) >> 15;
}
template <class D> int32_t king(int32_t t, int32_t b) {
  if constexpr (D::EIGHT_BIT) return ((t - b + 255) * b) >> 8;
  return ((t - b + 32768) * b) >> 15;
}
template <class D> int32_t queen(int32_t t, int32_t b) {
  if constexpr (D::EIGHT_BIT) return ((255 - t) * t + (t + 1) * b) >> 8;
  return ((b - t + 32768) * t) >> 15;
}
template <class D> int32_t jack(int32_t t, int32_t b) {
  if constexpr (D::EIGHT_BIT) return ((255 - b) * t + (b + 1) * b) >> 8;
  return (b * b + (32768 - b) * t) >> 15;
}
template <class D> int32_t bitAnd(int32_t t, int32_t b) { return t & b; }
// At 16 bits 32768 is a lone bit, so OR and XOR with it would leave the
// scale; the result is held at the top.
template <class D> int32_t bitOr(int32_t t, int32_t b) { return minOf(t | b, D::M); }
template <class D> int32_t bitXor(int32_t t, int32_t b) { return minOf(t ^ b, D::M); }

template <class D> int32_t multibright(int32_t t, int32_t b) {
  float x;
  if constexpr (D::EIGHT_BIT)
    x = float(t * b) * 1.53787e-5f;  // 1 / 255^2, single precision
  else
    x = float(double(t * b) * 9.3132257462e-10);  // 1 / 2^30
  return int32_t((2.0 - x) * double(D::M) * x);
}
template <class D> int32_t hot(int32_t t, int32_t b) {
  return pinMix<D>(pinMix<D>(D::M - t, b), pinMix<D>(t, b));
}
template <class D> int32_t cold(int32_t t, int32_t b) {
  return pinMix<D>(pinMix<D>(D::M - b, t), pinMix<D>(b, t));
}
template <class D> int32_t wet(int32_t t, int32_t b) {
  return pinMix<D>(D::M - hardMix<D>(t, D::M - b), hardMix<D>(b, t));
}
template <class D> int32_t dry(int32_t t, int32_t b) {
  return pinMix<D>(D::M - hardMix<D>(D::M - t, D::M - b), hardMix<D>(b, D::M - t));
}
template <class D> int32_t up(int32_t t, int32_t b) {
  return pinMix<D>(hardMix<D>(b, t), hardMix<D>(t, b));
}
template <class D> int32_t down(int32_t t, int32_t b) {
  return pinMix<D>(hardMix<D>(t, b), hardMix<D>(b, t));
}
template <class D> int32_t hardMixMode(int32_t t, int32_t b) {
  // 8 bits: white from a sum of 256 on; 16 bits: only above 32768.
  if constexpr (D::EIGHT_BIT) return t + b < 256 ? 0 : 255;
  return t + b > 32768 ? 32768 : 0;
}
template <class D> int32_t screendim(int32_t t, int32_t b) {
  float y;
  if constexpr (D::EIGHT_BIT)
    y = 1.0f - float((255 - t) * (255 - b)) * 1.53787e-5f;
  else
    y = float(1.0 - double((32768 - t) * (32768 - b)) * 9.3132257462e-10);
  return int32_t(y * y * float(D::M));
}

// ---------------------------------------------------------------------------
// A per-channel mode along a row: one flat loop over the row's samples,
// which the compiler runs at the vector width of the file that builds it.
template <ChannelMix F>
void channelRow(int32_t* tops, const int32_t* bases, int32_t count, const GlueTables&) {
  const int32_t samples = 3 * count;
  for (int32_t i = 0; i < samples; ++i) tops[i] = F(tops[i], bases[i]);
}

// Every mode by number, once, for the jump tables built from it: CHANNEL
// for a mode that mixes each channel pair alone, WHOLE for one that takes
// the pixel (a table may leave either kind's argument unread). Entry 0 and
// 1 leave the top alone.
#define ML_GLUE_MODES(CHANNEL, WHOLE) \
  WHOLE(glueKeepTop)            /* 0, not a mode */ \
  WHOLE(glueKeepTop)            /* 1 normal */ \
  WHOLE(proceduralPlus<D>)      /* 2 */ \
  CHANNEL(proceduralMinus<D>)   /* 3 */ \
  CHANNEL(difference<D>)        /* 4 */ \
  CHANNEL(lighten<D>)           /* 5 */ \
  CHANNEL(darken<D>)            /* 6 */ \
  CHANNEL(add<D>)               /* 7 */ \
  CHANNEL(subtract<D>)          /* 8 */ \
  CHANNEL(multiply<D>)          /* 9 */ \
  CHANNEL(screen<D>)            /* 10 */ \
  CHANNEL(hardLight<D>)         /* 11 */ \
  CHANNEL(overlay<D>)           /* 12 */ \
  CHANNEL(superlay<D>)          /* 13 */ \
  CHANNEL(exclusion<D>)         /* 14 */ \
  WHOLE(glueColor<D>)           /* 15 */ \
  WHOLE(glueLuminance<D>)       /* 16 */ \
  CHANNEL(linearLight<D>)       /* 17 */ \
  CHANNEL(pinLight<D>)          /* 18 */ \
  CHANNEL(spinLight<D>)         /* 19 */ \
  CHANNEL(vividA<D>)            /* 20 */ \
  CHANNEL(vividB<D>)            /* 21 */ \
  WHOLE(glueSaturation<D>)      /* 22 */ \
  WHOLE(glueHue<D>)             /* 23 */ \
  CHANNEL(similarity<D>)        /* 24 */ \
  CHANNEL(cross<D>)             /* 25 */ \
  CHANNEL(hardDiff<D>)          /* 26 */ \
  CHANNEL(softLight<D>)         /* 27 */ \
  WHOLE(bright<D>)              /* 28 */ \
  WHOLE(dim<D>)                 /* 29 */ \
  CHANNEL(dodge<D>)             /* 30 */ \
  CHANNEL(burn<D>)              /* 31 */ \
  CHANNEL(ace<D>)               /* 32 */ \
  CHANNEL(king<D>)              /* 33 */ \
  CHANNEL(queen<D>)             /* 34 */ \
  CHANNEL(jack<D>)              /* 35 */ \
  CHANNEL(bitAnd<D>)            /* 36 */ \
  CHANNEL(bitOr<D>)             /* 37 */ \
  CHANNEL(bitXor<D>)            /* 38 */ \
  CHANNEL(multibright<D>)       /* 39 */ \
  CHANNEL(hot<D>)               /* 40 */ \
  CHANNEL(cold<D>)              /* 41 */ \
  CHANNEL(wet<D>)               /* 42 */ \
  CHANNEL(dry<D>)               /* 43 */ \
  CHANNEL(up<D>)                /* 44 */ \
  CHANNEL(down<D>)              /* 45 */ \
  WHOLE(glueWax<D>)             /* 46 */ \
  WHOLE(glueWane<D>)            /* 47 */ \
  WHOLE(crossFade<D, false, 1>) /* 48 north */ \
  WHOLE(crossFade<D, false, 2>) /* 49 south */ \
  WHOLE(crossFade<D, true, 1>)  /* 50 east */ \
  WHOLE(crossFade<D, true, 2>)  /* 51 west */ \
  CHANNEL(hardMixMode<D>)       /* 52 */ \
  WHOLE(glueFrontal<D>)         /* 53 */ \
  WHOLE(glueParietal<D>)        /* 54 */ \
  WHOLE(glueTemporal<D>)        /* 55 */ \
  WHOLE(glueOccipital<D>)       /* 56 */ \
  WHOLE(glueLimbic<D>)          /* 57 */ \
  WHOLE(glueDextrous<D>)        /* 58 */ \
  WHOLE(glueSinister<D>)        /* 59 */ \
  WHOLE(glueAnterior<D>)        /* 60 */ \
  WHOLE(gluePosterior<D>)       /* 61 */ \
  CHANNEL(screendim<D>)         /* 62 */

}  // namespace
}  // namespace glue
