// The vector widths the edge field's passes come in, and the choice of one
// per run: the widest the CPU and the operating system support, unless
// MARROWLINE_SIMD (scalar, sse2, avx2, avx512) asks for a narrower one.
// Every width gives the bits of the scalar loop.
#pragma once

#include <cstddef>
#include <cstdint>

#include "numeric/simd_level.h"


using SmoothRowsFunction = void (*)(const double* source, int32_t t, const double* g, int32_t n,
                                    double* smoothedDown, double* smoothedAcross, int32_t rowBegin, int32_t rowEnd);
using SlopeRowsFunction = void (*)(const double* smoothedDown, const double* smoothedAcross, int32_t s1,
                                   const double* d, int32_t n, double* gradientX, double* gradientY,
                                   int32_t rowBegin, int32_t rowEnd);

// "blurry"'s edge values of one row: trunc(sqrt(gx*gx + gy*gy) * k) limited
// to 0..maxValue; an absent plane (null) counts as 0.
using SlopeEdgesFunction = void (*)(const double* gx, const double* gy, double k, int32_t maxValue, int32_t count,
                                    int32_t* edges);

// The field's source channel of `count` 8-bit pixels (r, g, b, a) as
// doubles: the channel `selector`, or SOURCE_LUMINANCE.
using SourceBytesFunction = void (*)(uint16_t selector, const uint8_t* pixels, size_t count, double* source);

struct FieldKernels {
  SimdLevel level;
  SmoothRowsFunction smoothRows;
  SlopeRowsFunction slopeRows;
  SlopeEdgesFunction slopeEdges;
  SourceBytesFunction sourceBytes;
};

// The kernels of one level, lowered to what the CPU offers.
FieldKernels fieldKernelsFor(SimdLevel level);
// The run's choice: made once, from the CPU and MARROWLINE_SIMD.
const FieldKernels& activeFieldKernels();
// Tests and benchmarks switch the level for the rest of the process.
void forceSimdLevel(SimdLevel level);

// Threads for the rows of a tile: MARROWLINE_THREADS, else the cores the
// process may use. The output never depends on it.
int32_t renderThreads();
void forceRenderThreads(int32_t threads);

// The per-width entries, each built for its own target.
void smoothRowsScalar(const double*, int32_t, const double*, int32_t, double*, double*, int32_t, int32_t);
void slopeRowsScalar(const double*, const double*, int32_t, const double*, int32_t, double*, double*, int32_t,
                     int32_t);
void smoothRowsSse2(const double*, int32_t, const double*, int32_t, double*, double*, int32_t, int32_t);
void slopeRowsSse2(const double*, const double*, int32_t, const double*, int32_t, double*, double*, int32_t,
                   int32_t);
void smoothRowsAvx2(const double*, int32_t, const double*, int32_t, double*, double*, int32_t, int32_t);
void slopeRowsAvx2(const double*, const double*, int32_t, const double*, int32_t, double*, double*, int32_t,
                   int32_t);
void smoothRowsAvx512(const double*, int32_t, const double*, int32_t, double*, double*, int32_t, int32_t);
void slopeEdgesScalar(const double*, const double*, double, int32_t, int32_t, int32_t*);
void slopeEdgesSse2(const double*, const double*, double, int32_t, int32_t, int32_t*);
void slopeEdgesAvx2(const double*, const double*, double, int32_t, int32_t, int32_t*);
void slopeEdgesAvx512(const double*, const double*, double, int32_t, int32_t, int32_t*);
void slopeRowsAvx512(const double*, const double*, int32_t, const double*, int32_t, double*, double*, int32_t,
                     int32_t);
void sourceBytesScalar(uint16_t, const uint8_t*, size_t, double*);
void sourceBytesSse2(uint16_t, const uint8_t*, size_t, double*);
void sourceBytesAvx2(uint16_t, const uint8_t*, size_t, double*);
void sourceBytesAvx512(uint16_t, const uint8_t*, size_t, double*);
