// "halo"'s edge values, a row at a time at each vector width, all giving
// the bits of the one-at-a-time row.
#pragma once

#include <cstdint>

#include "engine/field_kernels.h"

// edges[c] for columns 0..n from the slope planes' rows and the picture's
// brightness: `brightness` holds 299 r + 587 g + 114 b per column (the red
// sample alone for a grey picture), and may be `edges` itself. g and k are
// the smoothing and weight factors in single precision. Returns n, the
// whole vectors in `columns`; a null plane counts as 0 (the scalar row only).
using HaloEdgesFunction = int32_t (*)(const double* gx, const double* gy, const int32_t* brightness, bool grey,
                                      float g, float k, int32_t maxValue, int32_t columns, int32_t* edges);

int32_t haloEdgesScalar(const double*, const double*, const int32_t*, bool, float, float, int32_t, int32_t, int32_t*);
int32_t haloEdgesSse2(const double*, const double*, const int32_t*, bool, float, float, int32_t, int32_t, int32_t*);
int32_t haloEdgesAvx2(const double*, const double*, const int32_t*, bool, float, float, int32_t, int32_t, int32_t*);
int32_t haloEdgesAvx512(const double*, const double*, const int32_t*, bool, float, float, int32_t, int32_t, int32_t*);

// The row function of a level, lowered to what the CPU offers.
HaloEdgesFunction haloEdgesFor(SimdLevel level);
