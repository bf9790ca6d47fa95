// The render of one tile: the dispatcher, the context it prepares for the
// styles, and the field buffers it keeps for the run.
#pragma once

#include <cstdint>

#include "engine/edge_field.h"
#include "image/pixel_map.h"

struct FilterSession;
struct ScratchPair;

// What the dispatcher prepares and the renderers read.
struct RenderContext {
  int16_t weight;                 // the tweaker as a multiplier
  double sigma;
  int32_t chromeAngle;            // (angle + 180) remainder 360
  const double* gradientX;        // null when the extent leaves it out
  const double* gradientY;
  int32_t fieldSide;              // side of the gradient planes, T - 80
  // Set when the planes are still to be computed: the style computes them
  // itself, band by band as it shades (the planes above are where they go).
  const EdgeFieldRequest* pendingField;
  uint8_t rampTable[256][4];
  uint8_t chromeTable[361];
};

// The field samples of core row `row`, from its column 0: the plane's row
// row + 1 from column 1. Null when the plane is absent.
inline const double* fieldRow(const double* plane, int32_t side, int32_t row) {
  return plane ? plane + static_cast<size_t>(row + 1) * side + 1 : nullptr;
}

void renderTile(FilterSession* session, PixelMap* tile);
void renderStrokePlaneTile(FilterSession* session, PixelMap* tile);

// Two equal blocks of the host's buffers, kept for the run; acquiring the
// size already held does nothing. False on failure, with the error stored.
bool acquireFieldBuffers(FilterSession* session, int32_t byteSize, ScratchPair* pair);
void releaseFieldBuffers(FilterSession* session, ScratchPair* pair);

// The tweaker's weight: t = tweaker * 0.01 in single, v = t*t + t in
// single, weight = trunc(v * 100.0) as a signed 16-bit number.
int16_t tweakerWeight(int32_t renderTweaker);

// 0..255: how much of the pixel the selection covers, for the preview's
// store: 0 outside the region in hand, 255 when the host gives no
// selection, else the mask's byte.
int32_t selectionCoverage(int32_t column, int32_t row, const FilterSession* session);

// The same worked out once for a whole row.
struct RowCoverage {
  const uint8_t* mask;  // the mask's row, or null
  int32_t whole;        // the coverage when there is no mask row: 0 or 255
  int32_t lastColumn;   // columns beyond it are not covered
};
RowCoverage rowCoverage(const FilterSession* session, int32_t row);
inline int32_t coverageAt(const RowCoverage& c, int32_t column) {
  if (column < 0 || column > c.lastColumn) return 0;
  return c.mask ? c.mask[column] : c.whole;
}

// Ramps: the grey ramp (i, i, i, i), and the one from the host's background
// to its foreground colour.
void buildGreyRamp(uint8_t table[256][4]);
void buildColorRamp(const uint8_t backColor[4], const uint8_t foreColor[4], uint8_t table[256][4]);
