// "blurry": the edge value is the slope's magnitude times the weight, scaled
// back by the preview's reduction.
#include "core/session.h"
#include "engine/pixel_loop.h"
#include "engine/styles.h"
#include "numeric/portable_math.h"

void renderBlurry(FilterSession* session, const RenderContext& context, PixelMap* tile) {
  PixelLoop loop;
  preparePixelLoop(&loop, session, context.rampTable);
  const double k = static_cast<double>(context.weight) / static_cast<double>(sessionParameters(session)->scaleDivisor);
  const int32_t side = context.fieldSide;
  int32_t* edges = edgeRowBuffer(loop.columns);
  for (int32_t row = 0; row < loop.rows; ++row) {
    size_t at = static_cast<size_t>(row + 1) * side + 1;
    const double* gx = context.gradientX ? context.gradientX + at : nullptr;
    const double* gy = context.gradientY ? context.gradientY + at : nullptr;
    for (int32_t c = 0; c < loop.columns; ++c) {
      double x = gx ? gx[c] : 0.0, y = gy ? gy[c] : 0.0;
      double magnitude = numeric::squareRoot(x * x + y * y);
      edges[c] = edgeFromDouble(magnitude * k, loop.maxValue);
    }
    shadeRow(loop, row, edges, tile, true);
  }
}
