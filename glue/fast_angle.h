// float(numeric::arcTangent2(y, x)) for four single-precision points at
// once, bit for bit. "frontal" turns every mixed colour back into polar
// form, and the careful double arc tangent is most of its time; here a
// short double evaluation decides the float in nearly every lane, and the
// lanes it cannot decide go through numeric::arcTangent2 itself.
#pragma once

#include <emmintrin.h>

#include <cstdint>

namespace glue {

// Lanes whose approximation lies within this many units in the last place
// (of the double) of a float rounding boundary take the exact path. The
// approximation is within a few units of the true angle (see fast_angle.cpp).
constexpr uint32_t FAST_ANGLE_GUARD_ULPS = 1u << 12;

// The quick double angle of (y, x) for two points, without the checks:
// exposed so that tests can measure its error against numeric::arcTangent2.
__m128d approximateArcTangent2(__m128d y, __m128d x);

// numeric::arcTangent(j / 16) for j = 0..16, the steps the quick arc
// tangent starts from.
const double* arcTangentStepTable();

// float(numeric::arcTangent2(y, x)) where a coordinate is zero, which
// depends on the signs alone: entry 2 * (y negative) + (x negative) for a
// zero y, entry 4 + (y negative) for a zero x and any other y.
const float* arcTangentsOfZeros();

// float(numeric::arcTangent2(y[i], x[i])) for the four lanes.
__m128 floatArcTangent2Of4(__m128 y, __m128 x);

// The quick double cosine and sine of two angles in [0, 7], without the
// checks (for tests).
void approximateCosineAndSine(__m128d angle, __m128d& cosine, __m128d& sine);

// float(numeric::cosine(angle[i])) and float(numeric::sine(angle[i])) in
// every lane whose bit is clear in the returned mask; lanes with their bit
// set must be taken from the exact functions.
int floatCosineAndSineOf4(__m128 angle, __m128& cosine, __m128& sine);

}  // namespace glue
