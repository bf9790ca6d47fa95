// The crest tests of "thin/hard" and "thin/soft" over one row of the core,
// in the vector widths of the edge field, chosen with the field's level.
// Every width gives the numbers of the one-pixel-at-a-time test.
#pragma once

#include <cstdint>

#include "engine/field_kernels.h"

// A pixel of a "thin/soft" row that lies on a crest: where the crest lies
// between the centre and its neighbours (p1, p2) and which way along the
// gradient the offset runs (sign).
struct CrestPixel {
  int32_t column;
  float p1, p2;
  double sign;
};

// m: the centre's magnitude of column 0, rows `stride` apart in the
// magnitude plane; gx, gy: the field rows (null when absent).
//
// "thin/hard": the edge value (m * scaledWeight) / depthScale limited to
// 0..maxValue on crests, 0 elsewhere.
using ThinHardRowFunction = void (*)(const double* m, intptr_t stride, const double* gx, const double* gy,
                                     int32_t columns, double scaledWeight, double depthScale, int32_t maxValue,
                                     int32_t* edges);
// "thin/soft": the crest pixels in column order into `crests` (room for
// columns + 1); returns their count.
using ThinSoftRowFunction = int32_t (*)(const double* m, intptr_t stride, const double* gx, const double* gy,
                                        int32_t columns, CrestPixel* crests);

struct CrestKernels {
  ThinHardRowFunction thinHardRow;
  ThinSoftRowFunction thinSoftRow;
};

// The kernels of the level the field runs at (scalar: the reference).
CrestKernels crestKernelsFor(SimdLevel level);

void thinHardRowScalar(const double*, intptr_t, const double*, const double*, int32_t, double, double, int32_t,
                       int32_t*);
int32_t thinSoftRowScalar(const double*, intptr_t, const double*, const double*, int32_t, CrestPixel*);
void thinHardRowSse2(const double*, intptr_t, const double*, const double*, int32_t, double, double, int32_t,
                     int32_t*);
int32_t thinSoftRowSse2(const double*, intptr_t, const double*, const double*, int32_t, CrestPixel*);
void thinHardRowAvx2(const double*, intptr_t, const double*, const double*, int32_t, double, double, int32_t,
                     int32_t*);
int32_t thinSoftRowAvx2(const double*, intptr_t, const double*, const double*, int32_t, CrestPixel*);
void thinHardRowAvx512(const double*, intptr_t, const double*, const double*, int32_t, double, double, int32_t,
                       int32_t*);
int32_t thinSoftRowAvx512(const double*, intptr_t, const double*, const double*, int32_t, CrestPixel*);
