// Elementary functions in plain IEEE double arithmetic.
//
// Every function reduces its argument to a small interval with exact or
// error-free steps, evaluates a fixed polynomial there, and puts the result
// back together with the error of the reduction carried in a second double.
// The error-free steps (twoSum, twoProduct) need round-to-nearest and no
// fused multiply-add, which the build guarantees with -ffp-contract=off.
// Tables and constants come from make_tables.py (math_tables.inc).
#include "numeric/portable_math.h"

#include <emmintrin.h>
#include <xmmintrin.h>

#include <cstdint>
#include <cstring>

namespace numeric {
namespace {

#include "math_tables.inc"

constexpr uint64_t SIGN_MASK = 0x8000000000000000ULL;
constexpr uint64_t ABS_MASK = 0x7fffffffffffffffULL;
constexpr uint64_t MANTISSA_MASK = 0x000fffffffffffffULL;
constexpr uint64_t EXPONENT_ALL_ONES = 0x7ff0000000000000ULL;
constexpr uint64_t SMALLEST_NORMAL_BITS = 0x0010000000000000ULL;

uint64_t bitsOf(double x) {
  uint64_t bits;
  std::memcpy(&bits, &x, sizeof bits);
  return bits;
}

double doubleFromBits(uint64_t bits) {
  double x;
  std::memcpy(&x, &bits, sizeof x);
  return x;
}

double quietNan() { return doubleFromBits(0x7ff8000000000000ULL); }
double infinity() { return doubleFromBits(EXPONENT_ALL_ONES); }
bool isNan(double x) { return (bitsOf(x) & ABS_MASK) > EXPONENT_ALL_ONES; }
bool signBit(double x) { return (bitsOf(x) & SIGN_MASK) != 0; }
double absolute(double x) { return doubleFromBits(bitsOf(x) & ABS_MASK); }

// 2^n for n in the normal range [-1022, 1023].
double powerOfTwo(int n) { return doubleFromBits(static_cast<uint64_t>(n + 1023) << 52); }

// Nearest integer (ties either way) for |v| < 2^51, as a double.
double roundToIntegral(double v) {
  const double SHIFTER = 0x1.8p52;
  return (v + SHIFTER) - SHIFTER;
}

// A value carried as an unevaluated sum hi + lo with |lo| far below |hi|.
struct Pair {
  double hi;
  double lo;
};

// s + e == a + b exactly, s the rounded sum (Knuth).
Pair twoSum(double a, double b) {
  double s = a + b;
  double bPart = s - a;
  double aPart = s - bPart;
  return {s, (a - aPart) + (b - bPart)};
}

// Splits a into two halves of 26 bits each, a == hi + lo (Veltkamp).
Pair splitHalves(double a) {
  const double SPLITTER = 134217729.0;  // 2^27 + 1
  double t = SPLITTER * a;
  double hi = t - (t - a);
  return {hi, a - hi};
}

// p + e == a * b exactly, p the rounded product (Dekker), barring overflow
// and underflow of the partial products.
Pair twoProduct(double a, double b) {
  double p = a * b;
  Pair as = splitHalves(a);
  Pair bs = splitHalves(b);
  double err = ((as.hi * bs.hi - p) + as.hi * bs.lo + as.lo * bs.hi) + as.lo * bs.lo;
  return {p, err};
}

// ---------------------------------------------------------------------------
// Exponential

// e^(hi + lo) for finite hi and |lo| at most an ulp of hi.
// hi = k*ln2/64 + r with |r| <= ln2/128; e^r by a Taylor polynomial of degree
// 6 (truncation below 2^-64), and 2^(k/64) from the table.
double expOfPair(double hi, double lo) {
  if (hi > 709.79) return infinity();
  if (hi < -745.2) return 0.0;
  double kd = roundToIntegral(hi * SIXTYFOUR_BY_LN2);
  int k = static_cast<int>(kd);
  double exact = hi - kd * LN2_BY_64_HI;  // exact: |k| < 2^17, Sterbenz
  double r = exact + (lo - kd * LN2_BY_64_LO);
  double poly =
      r + r * r *
              (1.0 / 2 + r * (1.0 / 6 + r * (1.0 / 24 + r * (1.0 / 120 + r * (1.0 / 720)))));
  int j = k & 63;
  int m = (k - j) / 64;
  const double* t = EXP2_TABLE[j];
  double y = t[0] + (t[1] + t[0] * poly);  // in [0.99, 2.01)
  // Scale by 2^m so that only the last multiplication can round (into the
  // subnormals) or overflow.
  if (m > 1000) return (y * powerOfTwo(m - 100)) * powerOfTwo(100);
  if (m < -1000) return (y * powerOfTwo(m + 100)) * powerOfTwo(-100);
  return y * powerOfTwo(m);
}

// ---------------------------------------------------------------------------
// Logarithm

// The bit pattern subtracted before indexing LOG_TABLE: it puts the reduced
// mantissa z in [0.709, 1.418) and 1.0 in the middle of interval 74, whose
// centre is exactly 1, so that log is exact in relative terms near 1.
constexpr uint64_t LOG_OFFSET_BITS = 0x3ff0000000000000ULL - (0x95ULL << 44);

// log(x) for positive finite x (subnormals included) as hi + lo, hi being
// the rounded sum. x = 2^k * z, z = c * (1 + r) with c from the table and
// |r| < 2^-8; log(1 + r) by its series to degree 10. The relative error of
// hi + lo is far below 2^-64, which pow needs for large |y*log x|.
Pair logOfPair(double x) {
  uint64_t ix = bitsOf(x);
  int k = 0;
  if (ix < SMALLEST_NORMAL_BITS) {
    ix = bitsOf(x * 0x1p54);
    k = -54;
  }
  uint64_t tmp = ix - LOG_OFFSET_BITS;
  int index = static_cast<int>((tmp >> 45) & 127);
  int exponent = static_cast<int>(tmp >> 52);  // 12 bits, two's complement
  if (exponent >= 2048) exponent -= 4096;
  k += exponent;
  double z = doubleFromBits(ix - (tmp & (0xfffULL << 52)));

  const double* entry = LOG_TABLE[index];
  Pair product = twoProduct(z, entry[0]);
  double rh = product.hi - 1.0;  // exact: product.hi lies in [0.99, 1.01]
  double rl = product.lo;

  Pair square = twoProduct(rh, rh);
  double cubic =
      rh * square.hi *
      (1.0 / 3 +
       rh * (-1.0 / 4 +
             rh * (1.0 / 5 +
                   rh * (-1.0 / 6 +
                         rh * (1.0 / 7 + rh * (-1.0 / 8 + rh * (1.0 / 9 + rh * (-1.0 / 10))))))));

  double kd = k;
  Pair s1 = twoSum(kd * LN2_HI, entry[1]);  // kd * LN2_HI is exact
  Pair s2 = twoSum(s1.hi, rh);
  Pair s3 = twoSum(s2.hi, -0.5 * square.hi);
  double lo = ((s1.lo + s2.lo) + s3.lo) + (kd * LN2_LO + entry[2]) +
              ((rl / (1.0 + rh) - 0.5 * square.lo) + cubic);
  return twoSum(s3.hi, lo);
}

// ---------------------------------------------------------------------------
// Power

bool isIntegral(double y) { return floorOf(y) == y; }

bool isOddIntegral(double y) {
  if (absolute(y) >= 0x1p53) return false;  // every double this large is even
  return isIntegral(y) && !isIntegral(y * 0.5);
}

// ---------------------------------------------------------------------------
// Sine and cosine

// An angle reduced to x = quadrant * pi/2 + (hi + lo), |hi + lo| <= ~pi/4.
struct ReducedAngle {
  int quadrant;
  double hi;
  double lo;
};

// Below this |x| the quadrant count k stays under 2^20, so k times each
// 33-bit part of pi/2 is exact.
constexpr double CODY_WAITE_LIMIT = 1.6e6;

// Reduction of a large finite ax >= CODY_WAITE_LIMIT with the bits of 2/pi:
// ax = mant * 2^e; only the window of 2/pi whose product with mant lands
// between 2^1 and 2^-137 matters (higher bits give multiples of 4). The
// product is formed exactly in integers, so the result is accurate for every
// double.
ReducedAngle reduceLargeAngle(double ax) {
  __extension__ typedef unsigned __int128 UInt128;
  uint64_t ix = bitsOf(ax);
  int e = static_cast<int>(ix >> 52) - 1075;
  uint64_t mant = (ix & MANTISSA_MASK) | (1ULL << 52);

  int first = e - 1 > 1 ? e - 1 : 1;  // index of the first bit of 2/pi used
  int shift = first + 191 - e;        // ax * 2/pi = mant * window / 2^shift
  int offset = first - 1;
  int word = offset / 64;
  int bit = offset % 64;
  uint64_t window[3];  // most significant first
  for (int n = 0; n < 3; ++n) {
    uint64_t high = TWO_OVER_PI_BITS[word + n];
    uint64_t low = TWO_OVER_PI_BITS[word + n + 1];
    window[n] = bit ? (high << bit) | (low >> (64 - bit)) : high;
  }

  uint64_t product[5];  // least significant first
  UInt128 acc = static_cast<UInt128>(mant) * window[2];
  product[0] = static_cast<uint64_t>(acc);
  acc = static_cast<UInt128>(mant) * window[1] + (acc >> 64);
  product[1] = static_cast<uint64_t>(acc);
  acc = static_cast<UInt128>(mant) * window[0] + (acc >> 64);
  product[2] = static_cast<uint64_t>(acc);
  product[3] = static_cast<uint64_t>(acc >> 64);
  product[4] = 0;
  auto bitsAt = [&product](int pos) {
    int limb = pos / 64;
    int off = pos % 64;
    uint64_t v = product[limb] >> off;
    if (off) v |= product[limb + 1] << (64 - off);
    return v;
  };

  int quadrant = static_cast<int>(bitsAt(shift) & 3);
  uint64_t fracHi = bitsAt(shift - 64);
  uint64_t fracLo = bitsAt(shift - 128);
  // Fraction of a quadrant in [0, 1); from 1/2 up, count the next quadrant
  // and keep the negative remainder.
  bool negative = (fracHi >> 63) != 0;
  if (negative) {
    fracLo = ~fracLo + 1;
    fracHi = ~fracHi + (fracLo == 0 ? 1 : 0);
    quadrant = (quadrant + 1) & 3;
  }
  // The 128-bit magnitude in three exactly representable chunks.
  int64_t chunkA = static_cast<int64_t>(fracHi >> 21);
  int64_t chunkB = static_cast<int64_t>(((fracHi & ((1ULL << 21) - 1)) << 22) | (fracLo >> 42));
  int64_t chunkC = static_cast<int64_t>(fracLo & ((1ULL << 42) - 1));
  Pair sum = twoSum(static_cast<double>(chunkA) * 0x1p-43, static_cast<double>(chunkB) * 0x1p-86);
  Pair fraction = twoSum(sum.hi, sum.lo + static_cast<double>(chunkC) * 0x1p-128);

  Pair angle = twoProduct(fraction.hi, PIO2_HI);
  Pair r = twoSum(angle.hi, angle.lo + (fraction.hi * PIO2_LO + fraction.lo * PIO2_HI));
  if (negative) r = {-r.hi, -r.lo};
  return {quadrant, r.hi, r.lo};
}

// Reduces finite x by multiples of pi/2.
ReducedAngle reduceAngle(double x) {
  double ax = absolute(x);
  if (ax <= PIO4) return {0, x, 0.0};
  ReducedAngle reduced;
  if (ax < CODY_WAITE_LIMIT) {
    double kd = roundToIntegral(ax * TWO_BY_PI);
    double a = ax - kd * PIO2_1;  // exact
    Pair b = twoSum(a, -kd * PIO2_2);
    Pair c = twoSum(b.hi, -kd * PIO2_3);
    double lo = (b.lo + c.lo) - kd * PIO2_4;
    Pair r = twoSum(c.hi, lo);
    reduced = {static_cast<int>(kd) & 3, r.hi, r.lo};
  } else {
    reduced = reduceLargeAngle(ax);
  }
  if (x < 0) reduced = {(4 - reduced.quadrant) & 3, -reduced.hi, -reduced.lo};
  return reduced;
}

// sin(hi + lo) for |hi| <= ~pi/4: Taylor to degree 17 (truncation < 2^-62).
double sineKernel(double hi, double lo) {
  double z = hi * hi;
  double poly =
      z * (-1.0 / 6 +
           z * (1.0 / 120 +
                z * (-1.0 / 5040 +
                     z * (1.0 / 362880 +
                          z * (-1.0 / 39916800 +
                               z * (1.0 / 6227020800 +
                                    z * (-1.0 / 1307674368000 + z * (1.0 / 355687428096000))))))));
  return hi + (hi * poly + lo * (1.0 - 0.5 * z));
}

// cos(hi + lo) for |hi| <= ~pi/4: Taylor to degree 18, with 1 - hi^2/2
// formed exactly.
double cosineKernel(double hi, double lo) {
  Pair square = twoProduct(hi, hi);
  double z = square.hi;
  Pair w = twoSum(1.0, -0.5 * z);
  double poly =
      z * z *
      (1.0 / 24 +
       z * (-1.0 / 720 +
            z * (1.0 / 40320 +
                 z * (-1.0 / 3628800 +
                      z * (1.0 / 479001600 +
                           z * (-1.0 / 87178291200 +
                                z * (1.0 / 20922789888000 + z * (-1.0 / 6402373705728000))))))));
  return w.hi + ((w.lo - 0.5 * square.lo) + (poly - hi * lo));
}

// ---------------------------------------------------------------------------
// Arc tangent

// atan(t) - t for |t| <= 3/64: the series to degree 15 (truncation < 2^-70
// relative).
double arcTangentSeriesTail(double t) {
  double z = t * t;
  return t * z *
         (-1.0 / 3 +
          z * (1.0 / 5 +
               z * (-1.0 / 7 +
                    z * (1.0 / 9 + z * (-1.0 / 11 + z * (1.0 / 13 + z * (-1.0 / 15)))))));
}

// atan(num / den) as hi + lo (not normalised), for 0 < num <= den with
// num / den >= 2^-62 and den within [2^-900, 2^900]. The ratio is rounded to
// the nearest c = j/32 and atan(num/den) = atan(c) + atan(t),
// t = (num - c*den) / (den + c*num), |t| <= 1/64. Below 3/64 the series is
// used directly, with the quotient's rounding error carried along.
Pair arcTangentOfRatio(double num, double den) {
  double u = num / den;
  int j = static_cast<int>(u * 32.0 + 0.5);
  if (j < 2) {
    Pair back = twoProduct(u, den);
    double correction = ((num - back.hi) - back.lo) / den;  // num - back.hi is exact
    return {u, correction * (1.0 - u * u) + arcTangentSeriesTail(u)};
  }
  double c = j * (1.0 / 32);
  Pair cd = twoProduct(c, den);
  double numerator = (num - cd.hi) - cd.lo;  // num - cd.hi is exact
  double denominator = den + c * num;
  double t = numerator / denominator;
  return {ATAN_TABLE[j][0], ATAN_TABLE[j][1] + (t + arcTangentSeriesTail(t))};
}

// base - (hi + lo), rounded once (up to the tiny error of lo).
double subtractFrom(double baseHi, double baseLo, Pair a) {
  Pair s = twoSum(baseHi, -a.hi);
  return s.hi + (s.lo + (baseLo - a.lo));
}

// atan2(ay, ax) for positive finite ay, ax, mirrored into x < 0 when asked.
double arcTangent2Positive(double ay, double ax, bool xNegative) {
  double originalY = ay;
  double originalX = ax;
  double larger = ax > ay ? ax : ay;
  if (larger > 0x1p900) {
    ax *= 0x1p-600;
    ay *= 0x1p-600;
  } else if (larger < 0x1p-900) {
    ax *= 0x1p600;
    ay *= 0x1p600;
  }
  if (ax >= ay) {
    if (ay < ax * 0x1p-60) return xNegative ? PI_HI : originalY / originalX;
    Pair a = arcTangentOfRatio(ay, ax);
    return xNegative ? subtractFrom(PI_HI, PI_LO, a) : a.hi + a.lo;
  }
  if (ax < ay * 0x1p-60) return PIO2_HI;
  Pair a = arcTangentOfRatio(ax, ay);
  if (!xNegative) return subtractFrom(PIO2_HI, PIO2_LO, a);
  Pair s = twoSum(PIO2_HI, a.hi);
  return s.hi + (s.lo + (PIO2_LO + a.lo));
}

}  // namespace

// ---------------------------------------------------------------------------

double exponential(double x) {
  if (isNan(x)) return x + x;
  return expOfPair(x, 0.0);
}

double logarithm(double x) {
  if (isNan(x)) return x + x;
  if (x < 0) return quietNan();
  if (x == 0) return -infinity();
  if (x == infinity()) return x;
  return logOfPair(x).hi;
}

const LogarithmTables& logarithmTables() {
  static const LogarithmTables tables = {LOG_TABLE, LOG_OFFSET_BITS, LN2_HI, LN2_LO};
  return tables;
}

double power(double x, double y) {
  if (y == 0) return 1.0;
  if (x == 1.0) return 1.0;
  if (isNan(x) || isNan(y)) return x + y;
  if (y == 1.0) return x;
  if (absolute(y) == infinity()) {
    double ax = absolute(x);
    if (ax == 1.0) return 1.0;
    return (ax > 1.0) == (y > 0) ? infinity() : 0.0;
  }
  bool xNegative = signBit(x);
  if (x == 0) {
    bool keepSign = xNegative && isOddIntegral(y);
    if (y < 0) return keepSign ? -infinity() : infinity();
    return keepSign ? -0.0 : 0.0;
  }
  if (absolute(x) == infinity()) {
    double magnitude = y < 0 ? 0.0 : infinity();
    return xNegative && isOddIntegral(y) ? -magnitude : magnitude;
  }
  double sign = 1.0;
  double ax = x;
  if (xNegative) {
    if (!isIntegral(y)) return quietNan();
    if (isOddIntegral(y)) sign = -1.0;
    ax = -x;
  }
  if (ax == 1.0) return sign;  // also for huge y, where y * log would overflow
  if (y == 2.0) return x * x;
  if (y == -1.0) return 1.0 / x;
  if (y == 0.5) return squareRoot(x);  // x > 0 here

  Pair lg = logOfPair(ax);
  double estimate = y * lg.hi;
  if (estimate > 710.0) return sign * infinity();
  if (estimate < -746.0) return sign * 0.0;
  Pair product = twoProduct(y, lg.hi);
  Pair argument = twoSum(product.hi, product.lo + y * lg.lo);
  return sign * expOfPair(argument.hi, argument.lo);
}

// x = 2^(3q) * a with a in [1, 8); a first guess within 1.3%, three Newton
// steps to a few ulp, and a last step with the residual a - t^3 formed
// exactly, which lands within half an ulp and keeps exact cubes exact.
double cubeRoot(double x) {
  uint64_t bits = bitsOf(x);
  uint64_t absBits = bits & ABS_MASK;
  if (absBits >= EXPONENT_ALL_ONES) return x + x;
  if (absBits == 0) return x;
  int e = 0;
  if (absBits < SMALLEST_NORMAL_BITS) {
    absBits = bitsOf(doubleFromBits(absBits) * 0x1p54);
    e = -54;
  }
  e += static_cast<int>(absBits >> 52) - 1023;
  double m = doubleFromBits((absBits & MANTISSA_MASK) | 0x3ff0000000000000ULL);
  int q = e >= 0 ? e / 3 : -((2 - e) / 3);  // floor(e / 3)
  int remainder = e - 3 * q;
  static const double SCALE[3] = {1.0, 2.0, 4.0};
  static const double ROOT_OF_SCALE[3] = {1.0, 1.2599210498948732, 1.5874010519681994};
  double a = m * SCALE[remainder];
  double t = (0.74 + 0.26 * m) * ROOT_OF_SCALE[remainder];
  for (int step = 0; step < 3; ++step) t = t - (t * t * t - a) / (3.0 * t * t);
  Pair square = twoProduct(t, t);
  Pair cube = twoProduct(square.hi, t);
  double residual = ((a - cube.hi) - cube.lo) - square.lo * t;
  t = t + residual / (3.0 * square.hi);
  double result = t * powerOfTwo(q);
  return (bits & SIGN_MASK) ? -result : result;
}

double sine(double x) {
  if (isNan(x)) return x + x;
  double ax = absolute(x);
  if (ax == infinity()) return quietNan();
  if (ax < 0x1p-26) return x;  // sin x = x (1 - x^2/6) rounds to x
  ReducedAngle r = reduceAngle(x);
  switch (r.quadrant) {
    case 0: return sineKernel(r.hi, r.lo);
    case 1: return cosineKernel(r.hi, r.lo);
    case 2: return -sineKernel(r.hi, r.lo);
    default: return -cosineKernel(r.hi, r.lo);
  }
}

double cosine(double x) {
  if (isNan(x)) return x + x;
  double ax = absolute(x);
  if (ax == infinity()) return quietNan();
  if (ax < 0x1p-27) return 1.0;
  ReducedAngle r = reduceAngle(x);
  switch (r.quadrant) {
    case 0: return cosineKernel(r.hi, r.lo);
    case 1: return -sineKernel(r.hi, r.lo);
    case 2: return -cosineKernel(r.hi, r.lo);
    default: return sineKernel(r.hi, r.lo);
  }
}

double arcTangent(double x) {
  if (isNan(x)) return x + x;
  double ax = absolute(x);
  if (ax < 0x1p-28) return x;  // atan x = x (1 - x^2/3) rounds to x
  double result;
  if (ax > 0x1p60) {
    result = PIO2_HI;  // pi/2 - 1/x rounds to PIO2_HI
  } else if (ax <= 1.0) {
    Pair a = arcTangentOfRatio(ax, 1.0);
    result = a.hi + a.lo;
  } else {
    result = subtractFrom(PIO2_HI, PIO2_LO, arcTangentOfRatio(1.0, ax));
  }
  return signBit(x) ? -result : result;
}

double arcTangent2(double y, double x) {
  if (isNan(x) || isNan(y)) return x + y;
  bool xNegative = signBit(x);
  double ax = absolute(x);
  double ay = absolute(y);
  double result;
  if (ay == 0) {
    result = xNegative ? PI_HI : 0.0;
  } else if (ax == 0) {
    result = PIO2_HI;
  } else if (ay == infinity()) {
    if (ax == infinity()) result = xNegative ? THREE_PIO4 : PIO4;
    else result = PIO2_HI;
  } else if (ax == infinity()) {
    result = xNegative ? PI_HI : 0.0;
  } else {
    result = arcTangent2Positive(ay, ax, xNegative);
  }
  return signBit(y) ? -result : result;
}

double floorOf(double x) {
  uint64_t bits = bitsOf(x);
  int e = static_cast<int>((bits >> 52) & 0x7ff) - 1023;
  if (e == 1024) return x + x;  // inf stays, NaN is quieted
  if (e >= 52) return x;        // already an integer
  bool negative = (bits & SIGN_MASK) != 0;
  if (e < 0) {
    if ((bits & ABS_MASK) == 0) return x;  // keeps -0
    return negative ? -1.0 : 0.0;
  }
  uint64_t fractionMask = MANTISSA_MASK >> e;
  if ((bits & fractionMask) == 0) return x;
  double truncated = doubleFromBits(bits & ~fractionMask);
  return negative ? truncated - 1.0 : truncated;
}

}  // namespace numeric
