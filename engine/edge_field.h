// The edge field: brightness slopes of one source channel, taken on a
// smoothed copy by a separable Gaussian-derivative filter, in doubles.
//
// Planes for a tile of side T (the core plus 41 on each side):
//   source          T x T      at (0, 0)    the channel as doubles
//   smoothedDown    (T-40)^2   at (20, 20)  smoothed along columns
//   smoothedAcross  (T-40)^2   at (20, 20)  smoothed along rows
//   gradientX       (T-80)^2   at (40, 40)  horizontal slope of smoothedDown
//   gradientY       (T-80)^2   at (40, 40)  vertical slope of smoothedAcross
// Core pixel (r, c) is tile sample (r+41, c+41) and field sample (r+1, c+1).
#pragma once

#include <cstdint>

#include "image/pixel_map.h"

constexpr int32_t MAX_EDGE_TAPS = 20;
constexpr uint16_t SOURCE_LUMINANCE = 65535;

struct EdgeKernels {
  int32_t tapCount;                   // n, 2..20
  double smoothTaps[MAX_EDGE_TAPS];   // G[i], index 0 the centre
  double slopeTaps[MAX_EDGE_TAPS];    // D[i], D[0] unused
};

void buildEdgeKernels(double sigma, EdgeKernels* kernels);

// The channel the field reads for the working field renderSource (source
// minus 1): 0, 1, 2, or SOURCE_LUMINANCE.
uint16_t sourceSelectorFor(int32_t renderSource, int16_t imageMode);

// Both passes over a square tile of format 3 or 4, filling the planes the
// caller provides (sizes above) on the calling thread: the gradient planes
// whole, the source and smoothed planes only where the gradients read them
// (the rest is left as it is). Always succeeds. When
// the core to render has fewer rows than the tile's (the foot of the
// picture, a preview wider than high), coreRows limits the work to the rows
// the styles read: the ring of one field sample round the core and the reach
// of the taps. Every value that is computed is the one the whole tile would
// give.
constexpr int32_t ALL_ROWS = 1 << 30;
void computeEdgeField(uint16_t sourceSelector, const EdgeKernels& kernels, double* source, double* smoothedDown,
                      double* smoothedAcross, double* gradientX, double* gradientY, const PixelMap* tile,
                      int32_t coreRows = ALL_ROWS);

// The same with its inputs in one record, telling `rowsDone` on the thread
// that wrote them each band of gradient rows [rowBegin, rowEnd) as soon as it
// is complete, so that a style reading the field row by row can use the rows
// while they are in that core's cache. Every gradient row is reported once;
// bands come in any order and on any thread, and no host call may be made.
// A request without a source plane wants the gradient planes alone: the
// tile is then cut into runs of rows over the render's threads, and the
// source and smoothed rows live in small windows of each thread, which stay
// in its cache; those three planes are left as they are.
struct EdgeFieldRequest {
  uint16_t sourceSelector;
  const EdgeKernels* kernels;
  double* source;
  double* smoothedDown;
  double* smoothedAcross;
  double* gradientX;
  double* gradientY;
  const PixelMap* tile;
  int32_t coreRows;
};
using FieldRowsDone = void (*)(void* context, int32_t rowBegin, int32_t rowEnd);
void computeEdgeFieldInBands(const EdgeFieldRequest& request, FieldRowsDone rowsDone, void* rowsDoneContext);
