// The shared pixel loop: every style that renders through it produces a row
// of edge values, and this loop turns each into a pixel: flip, ramp colour,
// grey reduction, glue against the unfiltered pixel, and the store into one
// of the three targets.
#pragma once

#include <cstdint>

#include "engine/edge_field.h"
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

// The rows of a style whose rows are independent, split into bands over
// the render's threads: task(context, loop, row, edges) for every core row,
// in any order and on any thread. It works out the row's edge values into
// `edges` and passes them to shadeRow with the `loop` it is given, which
// carries glue caches of the thread's own. The host is never called.
using ShadeRowTask = void (*)(const void* context, const PixelLoop& loop, int32_t row, int32_t* edges);
void shadeRowsInBands(const PixelLoop& loop, ShadeRowTask task, const void* context);

// The same for a lambda or other callable taking (loop, row, edges).
template <typename RowFunction>
void shadeRowsInBands(const PixelLoop& loop, const RowFunction& rowFunction) {
  shadeRowsInBands(
      loop,
      [](const void* context, const PixelLoop& bandLoop, int32_t row, int32_t* edges) {
        (*static_cast<const RowFunction*>(context))(bandLoop, row, edges);
      },
      &rowFunction);
}

// For a style whose core row r reads field row r + 1 alone: the field is
// computed band by band over the threads, and each band's core rows are
// shaded by task on the same thread as soon as their field rows are done,
// while those are still in that core's cache.
void shadeRowsWithField(const PixelLoop& loop, const EdgeFieldRequest& field, ShadeRowTask task,
                        const void* context);

template <typename RowFunction>
void shadeRowsWithField(const PixelLoop& loop, const EdgeFieldRequest& field, const RowFunction& rowFunction) {
  shadeRowsWithField(
      loop, field,
      [](const void* context, const PixelLoop& bandLoop, int32_t row, int32_t* edges) {
        (*static_cast<const RowFunction*>(context))(bandLoop, row, edges);
      },
      &rowFunction);
}

// Limits a style's double result to 0..maxValue after truncation toward zero.
inline int32_t edgeFromDouble(double v, int32_t maxValue) {
  if (!(v > 0.0)) return 0;
  if (v >= static_cast<double>(maxValue)) return maxValue;
  return static_cast<int32_t>(v);
}
