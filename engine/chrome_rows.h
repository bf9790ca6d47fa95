// "chrome"'s directions, a row at a time at each vector width: the place on
// the ring for every column where both slope planes exist, the bits of the
// one-at-a-time loop in renderChrome.
#pragma once

#include <cstdint>

#include "engine/field_kernels.h"

constexpr double CHROME_PI = 3.141592653;

// Fills indices[0..n) with the fixed-point ring place (s = 1 at 8 bits, 128
// at 16) of columns 0..n of the row whose planes start at gx and gy, and
// returns n: the whole vectors in `columns`. With removeNoise each slope is
// the sum of its 3x3 neighbourhood in a plane of side `side`.
using ChromeIndicesFunction = int32_t (*)(const double* gx, const double* gy, int32_t side, bool removeNoise,
                                          double s, int32_t columns, int32_t* indices);

// One column at a time: the reference of every width, and the columns past
// its whole vectors.
int32_t chromeIndicesScalar(const double*, const double*, int32_t, bool, double, int32_t, int32_t*);
int32_t chromeIndicesSse2(const double*, const double*, int32_t, bool, double, int32_t, int32_t*);
int32_t chromeIndicesAvx2(const double*, const double*, int32_t, bool, double, int32_t, int32_t*);
int32_t chromeIndicesAvx512(const double*, const double*, int32_t, bool, double, int32_t, int32_t*);

// The row function of a level, lowered to what the CPU offers.
ChromeIndicesFunction chromeIndicesFor(SimdLevel level);
