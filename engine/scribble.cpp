// "scribble" draws contour lines of the slope's direction into the stroke
// plane: each cell of four field samples follows the one level just above
// its lowest corner, so edges turn into loops and hatching.
#include <emmintrin.h>

#include <cstdint>
#include <vector>

#include "session/session.h"
#include "engine/pixel_loop.h"
#include "engine/stroke_kernels.h"
#include "engine/stroke_rows.h"
#include "engine/styles.h"
#include "engine/width_choice.h"
#include "image/rect.h"
#include "numeric/arctangent_rows.h"
#include "numeric/portable_math.h"
#include "platform/threads.h"

namespace {

// The directions of a row one pair at a time: the reference the wider
// builds give the bits of.
void arcTangent2RowScalar(const double* y, const double* x, double* angle, int32_t count) {
  for (int32_t j = 0; j < count; ++j) angle[j] = numeric::arcTangent2(y[j], x[j]);
}

}  // namespace

void renderScribble(FilterSession* session, const RenderContext& context, PixelMap* tile) {
  (void)tile;
  const FilterRecord* record = session->filterRecord;
  int32_t rows, columns;
  if (!strokePassCore(session, &rows, &columns)) return;
  const int32_t s = isEightBitImage(record) ? 1 : 128;
  const double sd = styleScaleDivisor(session);
  ScribbleNumbers numbers;
  numbers.rotation = context.chromeAngle * 0.3333333 * SCRIBBLE_PI / 180.0;
  numbers.strengthScale = static_cast<double>(100 / styleScaleDivisor(session));
  numbers.strengthDivisor = sd * s;
  numbers.weight = context.weight;
  numbers.flatShare = static_cast<double>((100 - context.weight) * 255);
  for (int32_t band = 0; band < 3; ++band)
    numbers.thresholds[band] = static_cast<float>(((band + 1) * 0.66666 - 1.0) * SCRIBBLE_PI);
  const int32_t side = context.fieldSide;
  const double* GX = context.gradientX;
  const double* GY = context.gradientY;
  const int32_t width = columns + 2;
  const int32_t tileLeft = session->tileLeft, tileTop = session->tileTop;
  const StrokeKernels kernels = strokeKernelsFor(activeFieldKernels().level);
  const auto directionsOfRow =
      functionForLevel(activeFieldKernels().level, arcTangent2RowScalar, numeric::arcTangent2RowSse2,
                       numeric::arcTangent2RowAvx2, numeric::arcTangent2RowAvx512);

  // Each thread's rows of numbers, grown to a band's size once.
  struct Scratch {
    std::vector<float> turned, bands;
    std::vector<double> directions;
    std::vector<int32_t> cellColumns, cellValues;
    std::vector<float> cellNumbers;
    std::vector<double> cellSlopes;
    std::vector<StrokeDot> dots;
  };
  std::vector<Scratch> scratch(static_cast<size_t>(renderThreads()));
  drawStrokesInBands(session, rows, [&](int32_t begin, int32_t end, StrokeBand* strokeBand) {
    Scratch& own = scratch[static_cast<size_t>(platformWorkerSlot())];
    // What a cell needs of each field sample it can touch, for the band's
    // cells: field rows begin+1 .. end+1, columns 1 .. columns+1 (column 0
    // unused), the turned direction in single precision and its band.
    // Neighbouring cells share corners, so each direction is computed once
    // instead of four times; the numbers are the same either way.
    const int32_t firstRow = begin + 1, lastRow = end + 2;
    own.turned.resize(static_cast<size_t>(lastRow - firstRow) * width);
    own.bands.resize(own.turned.size());
    own.directions.resize(static_cast<size_t>(width));
    own.dots.resize(static_cast<size_t>(columns) * 2 + 2);
    // Room for the row's cells and one vector more.
    const size_t cellRoom = static_cast<size_t>(columns) + 8;
    own.cellColumns.resize(cellRoom);
    own.cellValues.resize(cellRoom);
    own.cellNumbers.resize(cellRoom * 5);
    own.cellSlopes.resize(cellRoom * 2);
    float* numbersAt = own.cellNumbers.data();
    const ScribbleCells cells{own.cellColumns.data(),
                              own.cellSlopes.data(),
                              own.cellSlopes.data() + cellRoom,
                              own.cellValues.data(),
                              numbersAt,
                              {numbersAt + cellRoom, numbersAt + 2 * cellRoom, numbersAt + 3 * cellRoom,
                               numbersAt + 4 * cellRoom}};
    double* directions = own.directions.data();
    for (int32_t i = firstRow; i < lastRow; ++i) {
      const double* gx = GX ? GX + static_cast<size_t>(i) * side : nullptr;
      const double* gy = GY ? GY + static_cast<size_t>(i) * side : nullptr;
      // The directions of the row first, then the turn.
      if (gx && gy)
        directionsOfRow(gy + 1, gx + 1, directions + 1, width - 1);
      else if (gy)
        for (int32_t j = 1; j < width; ++j) directions[j] = numeric::arcTangent(gy[j] / s);
      else if (gx)
        for (int32_t j = 1; j < width; ++j) directions[j] = numeric::arcTangent(gx[j] / s);
      else
        for (int32_t j = 1; j < width; ++j) directions[j] = 0.0;  // no plane: a flat field
      const size_t at = static_cast<size_t>(i - firstRow) * width + 1;
      kernels.scribbleTurn(directions + 1, width - 1, numbers, own.turned.data() + at, own.bands.data() + at);
    }

    for (int32_t r = begin; r < end; ++r) {
      const size_t at = static_cast<size_t>(r + 1 - firstRow) * width + 1;
      const float* t0 = own.turned.data() + at;
      const float* t1 = t0 + width;
      const float* k0 = own.bands.data() + at;
      const float* k1 = k0 + width;
      const double* gx = GX ? GX + static_cast<size_t>(r + 1) * side + 1 : nullptr;
      const double* gy = GY ? GY + static_cast<size_t>(r + 1) * side + 1 : nullptr;
      // Corners 00, 01, 10, 11. One plane alone: its direction is constant
      // along the other axis; none: all four are corner 00.
      const float* corners[4] = {t0, t0, t0, t0};
      const float* cornerBands[4] = {k0, k0, k0, k0};
      if (gx && gy) {
        corners[1] = t0 + 1, corners[2] = t1, corners[3] = t1 + 1;
        cornerBands[1] = k0 + 1, cornerBands[2] = k1, cornerBands[3] = k1 + 1;
      } else if (gy) {
        corners[2] = corners[3] = t1;
        cornerBands[2] = cornerBands[3] = k1;
      } else if (gx) {
        corners[1] = corners[3] = t0 + 1;
        cornerBands[1] = cornerBands[3] = k0 + 1;
      }
      // The cells that cross their level first, then their strengths, their
      // dots and the drawing.
      const int32_t crossing = kernels.scribbleCrossings(corners, cornerBands, gx, gy, columns, numbers, cells);
      kernels.scribbleStrength(gx ? cells.slopeX : nullptr, gy ? cells.slopeY : nullptr, crossing, numbers,
                               cells.value);
      const int32_t count = kernels.scribbleDots(cells, crossing, tileLeft, r + tileTop, own.dots.data());
      drawBandDots(strokeBand, own.dots.data(), count);
    }
  });
}
