// The shared pixel loop: every style that renders through it produces a row
// of edge values, and this loop turns each into a pixel: flip, ramp colour,
// grey reduction, glue against the unfiltered pixel, and the store into one
// of the three targets.
#pragma once

#include <cstdint>

#include "glue/glue_modes.h"
#include "image/pixel_map.h"

struct FilterSession;
struct FilterRecord;

struct PixelLoop {
  FilterSession* session;
  const FilterRecord* record;
  bool eightBit;
  bool greyImage;      // planes below 3
  bool flip;
  bool transparency;   // filterCase 4 or 5
  int32_t maxValue;    // 255 or 32768
  int32_t target;      // renderTarget
  int32_t rows, columns;  // the core: outRect's size
  const uint8_t (*ramp)[4];
  GlueFunction glue;   // null for "normal"
  GlueRowFunction glueRow;  // the mode's row form, or null
  const GlueTables* glueTables;
  // Output buffer of targets 0 and 1, addressed in samples.
  uint8_t* out;
  intptr_t outRowStep, outColumnStep;
  int32_t alphaIndex;  // outLayerPlanes
  // Target 2.
  PixelMap* exportMap;
  int32_t tileLeft, tileTop;
};

// Per-image constants, the output addressing and the glue function, once
// per renderer call.
void preparePixelLoop(PixelLoop* loop, FilterSession* session, const uint8_t ramp[256][4]);

// One row of the core: edges holds `columns` values 0..maxValue. With
// applyFlip set, flip is applied here (the plane pass applies its own).
void shadeRow(const PixelLoop& loop, int32_t row, const int32_t* edges, const PixelMap* tile, bool applyFlip);

// A row of edge values long enough for `columns`; one buffer serves the run.
int32_t* edgeRowBuffer(int32_t columns);

// Limits a style's double result to 0..maxValue after truncation toward zero.
inline int32_t edgeFromDouble(double v, int32_t maxValue) {
  if (!(v > 0.0)) return 0;
  if (v >= static_cast<double>(maxValue)) return maxValue;
  return static_cast<int32_t>(v);
}
