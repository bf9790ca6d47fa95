// Interpolated reads of a PixelMap and the copy between maps of different
// size. Each destination pixel is read with a five-tap kernel from the level
// of the source's chain that suits the reduction.
//
// The kernel table: 2,560 words, word row * 128 + phase.
//   rows 0..4    tap weights as float bit patterns (each phase sums to 1)
//   rows 5..9    the same as integers summing to 2048 (8-bit sampling)
//   rows 10..14  the same as integers summing to 32768 (16-bit sampling)
//   rows 15..19  copy of rows 0..4 (float sampling)
#pragma once

#include <cstdint>

#include "image/pixel_map.h"

constexpr int32_t KERNEL_PHASES = 128;
constexpr int32_t KERNEL_TAPS = 5;
constexpr int32_t KERNEL_ROW_FLOAT = 0;
constexpr int32_t KERNEL_ROW_INT8 = 5;
constexpr int32_t KERNEL_ROW_INT16 = 10;
constexpr int32_t KERNEL_ROW_FLOAT_COPY = 15;
constexpr int32_t KERNEL_TABLE_SIZE = 20 * KERNEL_PHASES;

// Fills the 2,560 words of `table`.
void buildKernelTable(uint32_t* table);

// The kernel sinc(x) * sinc(x / 2) for |x| < 2, else 0 (single precision).
float kernelWeight(float x);

// Channel values on the map's own scale at normalised (u, v) of `level`;
// with a non-zero `blend`, mixed towards the next level. Format 0 gives the
// value three times and 255 last; a map without table or pixels gives zeros.
void sampleFiltered(const PixelMap* map, int32_t level, float blend, float u, float v, float out[4]);
// The same, each channel multiplied by the map's inverseScale.
void sampleNormalized(const PixelMap* map, int32_t level, float blend, float u, float v, float out[4]);

// log2 that is exact for every power of two (and every ratio m * 2^e gives
// e exactly plus the logarithm of the mantissa).
double log2Exact(double value);

// The level and blend that a reduction from sourceWidth to destinationWidth
// reads: l = log2(W / w) - bias, held to 0 .. levelCount.
void resampleLevelAndBlend(int32_t sourceWidth, int32_t destinationWidth, float bias, int32_t levelCount,
                           int32_t* level, float* blend);

// Copies `source` (its rectangle gives the reduction) into the rectangle of
// `destination`, which must be format 3; red, green and blue land top byte
// first with 255 in the low byte. Ends by building the destination's levels.
void resampleInto(const PixelMap* source, PixelMap* destination, const Rect16& sourceRect,
                  const Rect16& destinationRect, float bias);
