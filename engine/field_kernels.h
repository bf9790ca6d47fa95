// The vector widths the edge field's passes come in, and the choice of one
// per run: the widest the CPU and the operating system support, unless
// MARROWLINE_SIMD (scalar, sse2, avx2, avx512) asks for a narrower one.
// Every width gives the bits of the scalar loop.
#pragma once

#include <cstddef>
#include <cstdint>

#include "numeric/simd_level.h"


// The first pass over rows x columns samples: out[r * outStride + c] is the
// source smoothed round centre[r * sourceStride + c], down the column
// (SmoothDown) or along the row (SmoothAcross).
using SmoothRowsFunction = void (*)(const double* centre, size_t sourceStride, const double* g, int32_t n,
                                    double* out, size_t outStride, int32_t rows, int32_t columns);
// The second pass over rows x columns gradient samples, centred on the same
// place of both smoothed planes, which share `stride`.
using SlopeRowsFunction = void (*)(const double* downCentre, const double* acrossCentre, size_t stride,
                                   const double* d, int32_t n, double* gradientX, double* gradientY,
                                   size_t outStride, int32_t rows, int32_t columns);

// "blurry"'s edge values of one row: trunc(sqrt(gx*gx + gy*gy) * k) limited
// to 0..maxValue; an absent plane (null) counts as 0.
using SlopeEdgesFunction = void (*)(const double* gx, const double* gy, double k, int32_t maxValue, int32_t count,
                                    int32_t* edges);

// The field's source channel of `count` 8-bit pixels (r, g, b, a) as
// doubles: the channel `selector`, or SOURCE_LUMINANCE.
using SourceBytesFunction = void (*)(uint16_t selector, const uint8_t* pixels, size_t count, double* source);

struct FieldKernels {
  SimdLevel level;
  SmoothRowsFunction smoothDown;
  SmoothRowsFunction smoothAcross;
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
#define ML_FIELD_ENTRIES(suffix)                                                                               \
  void smoothDown##suffix(const double*, size_t, const double*, int32_t, double*, size_t, int32_t, int32_t);   \
  void smoothAcross##suffix(const double*, size_t, const double*, int32_t, double*, size_t, int32_t, int32_t); \
  void slopeRows##suffix(const double*, const double*, size_t, const double*, int32_t, double*, double*,       \
                         size_t, int32_t, int32_t);                                                            \
  void slopeEdges##suffix(const double*, const double*, double, int32_t, int32_t, int32_t*);                   \
  void sourceBytes##suffix(uint16_t, const uint8_t*, size_t, double*);
ML_FIELD_ENTRIES(Scalar)
ML_FIELD_ENTRIES(Sse2)
ML_FIELD_ENTRIES(Avx2)
ML_FIELD_ENTRIES(Avx512)
#undef ML_FIELD_ENTRIES
