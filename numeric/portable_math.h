// Elementary functions that give the same bits on every build.
//
// The C libraries of the two builds (glibc natively, the MinGW runtime on
// Windows) implement exp, pow, atan2 and the rest differently, and their
// results may differ in the last place. Everything that reaches a pixel
// therefore calls these instead: each is written in plain IEEE double
// arithmetic (+, -, *, /, and the sqrt instruction), so with contraction off
// both builds compute the same operations in the same order.
//
// Accuracy: within 1 unit in the last place of the true value over the whole
// domain (measured against glibc's extended-precision functions; most
// results are correctly rounded).
// The point is reproducibility, not correct rounding. No function touches
// errno or the floating-point exception flags on purpose, and none loops or
// traps on NaN, infinity, zero or subnormal input. Invalid arguments give a
// quiet NaN; a NaN argument comes back quieted.
#pragma once

#include <emmintrin.h>

#include <cstdint>

namespace numeric {

// The IEEE sqrt instruction (correctly rounded). sqrt(-0) = -0, negative
// input gives NaN, sqrt(inf) = inf.
inline double squareRoot(double x);
inline float squareRootF(float x);

// e^x. exp(0) = 1 exactly, exp(-inf) = +0, exp(inf) = inf; overflows to inf
// above about 709.78 and underflows through the subnormals to +0 below
// about -745.13.
double exponential(double x);

// Natural log. log(1) = +0, log(±0) = -inf, log(inf) = inf, NaN for x < 0
// (including -inf).
double logarithm(double x);

// x^y with the C99 special cases: pow(x, ±0) = 1 and pow(1, y) = 1 even for
// NaN; pow(±0, y) is ±inf / +inf for y < 0 and ±0 / +0 for y > 0 (the sign
// kept only for odd integer y); pow(-1, ±inf) = 1; pow(x, ±inf) and
// pow(±inf, y) follow |x| against 1 and the sign of y. Negative finite x
// with non-integer y gives NaN; with integer y the sign follows y's parity.
// y = 1 gives x, y = 2 gives x*x, y = -1 gives 1/x and y = 0.5 gives
// squareRoot(x) for x > 0, each exactly.
double power(double x, double y);

// Real cube root, odd: cbrt(-x) = -cbrt(x); ±0, ±inf and NaN come back
// unchanged. Exact cubes give their exact root (cbrt(27) = 3).
double cubeRoot(double x);

// sin and cos with the reduction by pi/2 carried out exactly for every
// finite argument (the full bits of 2/pi are used above about 1.6e6), so
// even huge arguments are accurate. sin(±0) = ±0; ±inf gives NaN.
double sine(double x);
double cosine(double x);

// atan, odd; atan(±inf) = ±pi/2 (rounded).
double arcTangent(double x);

// atan2 with the C conventions: the result lies in [-pi, pi] and takes the
// sign of y (also for y = ±0); atan2(±0, +0) = ±0, atan2(±0, -0) = ±pi,
// atan2(±0, x<0) = ±pi, atan2(y, ±0) = ±pi/2 for y != 0,
// atan2(±inf, +inf) = ±pi/4, atan2(±inf, -inf) = ±3pi/4,
// atan2(±inf, finite) = ±pi/2, atan2(±y, +inf) = ±0, atan2(±y, -inf) = ±pi.
double arcTangent2(double y, double x);

// Largest integer not above x, exact. floor(-0) = -0, ±inf and NaN come
// back unchanged (NaN quieted).
double floorOf(double x);

// The logarithm's reduction table and constants, for the vector form of
// the logarithm (numeric/vector_logarithm_lanes.h), which takes the same
// steps lane by lane.
struct LogarithmTables {
  const double (*table)[3];  // 128 rows: inverse centre, -log of it high, low
  uint64_t offsetBits;       // subtracted from x's bits before indexing
  double ln2Hi, ln2Lo;
};
const LogarithmTables& logarithmTables();

// The square roots are the IEEE instructions themselves, in line: they sit
// in the innermost loops of the styles.
inline double squareRoot(double x) {
  __m128d v = _mm_set_sd(x);
  return _mm_cvtsd_f64(_mm_sqrt_sd(v, v));
}
inline float squareRootF(float x) { return _mm_cvtss_f32(_mm_sqrt_ss(_mm_set_ss(x))); }

}  // namespace numeric
