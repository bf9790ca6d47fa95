// The per-pixel tests of the stroke styles over one row, in the vector
// widths of the edge field and chosen with the field's level: the crest
// tests of "thin/hard" and "thin/soft", and the turned directions,
// stroke strengths and contour dots of "scribble". Every width gives the
// numbers of the one-at-a-time forms.
#pragma once

#include <cstdint>

#include "engine/field_kernels.h"

// A dot of a stroke: where it lies in the plane and how strong it is.
struct StrokeDot {
  float x, y, value;
};

// The pixels of a "thin/soft" row that lie on a crest, one array per
// number, each with room for the row's columns + 8.
struct CrestPixels {
  int32_t* column;
  float* p1;  // where the crest lies between the centre and its
  float* p2;  // neighbours
  float* flip;           // 1 where the offset runs against the gradient, else 0
  float* dx;             // the slope, rounded to single precision
  float* dy;
  double* magnitude;     // the centre's
};

// m: the centre's magnitude of column 0, rows `stride` apart in the
// magnitude plane; gx, gy: the field rows (null when absent).
//
// "thin/hard": the edge value (m * scaledWeight) / depthScale limited to
// 0..maxValue on crests, 0 elsewhere.
using ThinHardRowFunction = void (*)(const double* m, intptr_t stride, const double* gx, const double* gy,
                                     int32_t columns, double scaledWeight, double depthScale, int32_t maxValue,
                                     int32_t* edges);
// "thin/soft": the crest pixels in column order into `crests`; returns
// their count.
using ThinSoftRowFunction = int32_t (*)(const double* m, intptr_t stride, const double* gx, const double* gy,
                                        int32_t columns, const CrestPixels& crests);

// "scribble": the numbers of a run.
struct ScribbleNumbers {
  double rotation;         // radians the directions turn by
  double strengthScale;    // 100 / the preview's reduction
  double strengthDivisor;  // the reduction times the depth's scale
  double weight, flatShare;
  float thresholds[3];     // the level followed, by the cell's lowest band
};
// Directions turned by the rotation and wrapped into -pi..pi, in single
// precision, and their bands 0, 1, 2 (as floats).
using ScribbleTurnFunction = void (*)(const double* directions, int32_t count, const ScribbleNumbers& numbers,
                                      float* angles, float* bands);
// The stroke strength of each cell from the slope at its corner 00: the
// magnitude with both planes, the absolute value of the one plane, else 0.
using ScribbleStrengthFunction = void (*)(const double* gx, const double* gy, int32_t count,
                                          const ScribbleNumbers& numbers, int32_t* values);
// The cells of a row that cross their level, one array per number, each
// with room for the row's cells + 8: the cell's column, the slope at its
// corner 00 (of the planes there are) and the stroke strength made from
// it, its level and its four corners (00, 01, 10, 11).
struct ScribbleCells {
  int32_t* column;
  double* slopeX;
  double* slopeY;
  int32_t* value;
  float* threshold;
  float* corner[4];
};
// Lists the crossing cells in column order (all but their strengths);
// returns their count. corners[k] and cornerBands[k] point at corner k of
// cell 0, one float per cell after it; gx, gy: the field rows at the
// cells' corner 00 (null when absent).
using ScribbleCrossingsFunction = int32_t (*)(const float* const corners[4], const float* const cornerBands[4],
                                              const double* gx, const double* gy, int32_t count,
                                              const ScribbleNumbers& numbers, const ScribbleCells& cells);
// The contour dots of `count` crossing cells, cell by cell and within a
// cell as the marching squares list its segments, into `dots` (room for
// 2 * count + 2); returns their count. A cell's corner 00 lies at plane
// column left + its column, plane row y.
using ScribbleDotsFunction = int32_t (*)(const ScribbleCells& cells, int32_t count, int32_t left, int32_t y,
                                         StrokeDot* dots);

struct StrokeKernels {
  ThinHardRowFunction thinHardRow;
  ThinSoftRowFunction thinSoftRow;
  ScribbleTurnFunction scribbleTurn;
  ScribbleStrengthFunction scribbleStrength;
  ScribbleCrossingsFunction scribbleCrossings;
  ScribbleDotsFunction scribbleDots;
};

// The kernels of a level, lowered to what the CPU offers (scalar: the
// reference).
StrokeKernels strokeKernelsFor(SimdLevel level);

// The per-width entries, each built for its own target.
#define ML_STROKE_KERNELS(Suffix)                                                                                   \
  void thinHardRow##Suffix(const double*, intptr_t, const double*, const double*, int32_t, double, double, int32_t, \
                           int32_t*);                                                                               \
  int32_t thinSoftRow##Suffix(const double*, intptr_t, const double*, const double*, int32_t,                      \
                              const CrestPixels&);                                                                 \
  void scribbleTurn##Suffix(const double*, int32_t, const ScribbleNumbers&, float*, float*);                       \
  void scribbleStrength##Suffix(const double*, const double*, int32_t, const ScribbleNumbers&, int32_t*);          \
  int32_t scribbleCrossings##Suffix(const float* const[4], const float* const[4], const double*, const double*,  \
                                    int32_t, const ScribbleNumbers&, const ScribbleCells&);                        \
  int32_t scribbleDots##Suffix(const ScribbleCells&, int32_t, int32_t, int32_t, StrokeDot*);
ML_STROKE_KERNELS(Scalar)
ML_STROKE_KERNELS(Sse2)
ML_STROKE_KERNELS(Avx2)
ML_STROKE_KERNELS(Avx512)
#undef ML_STROKE_KERNELS
