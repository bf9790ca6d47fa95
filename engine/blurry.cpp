// "blurry": the edge value is the slope's magnitude times the weight, scaled
// back by the preview's reduction.
#include "session/session.h"
#include "engine/field_kernels.h"
#include "engine/pixel_loop.h"
#include "engine/styles.h"

void renderBlurry(FilterSession* session, const RenderContext& context, PixelMap* tile) {
  PixelLoop loop;
  preparePixelLoop(&loop, session, context.rampTable);
  const double k = static_cast<double>(context.weight) / static_cast<double>(sessionParameters(session)->scaleDivisor);
  const int32_t side = context.fieldSide;
  // At the run's vector width; every width gives the one-at-a-time values.
  const SlopeEdgesFunction slopeEdges = activeFieldKernels().slopeEdges;
  auto shadeOne = [&](const PixelLoop& bandLoop, int32_t row, int32_t* edges) {
    slopeEdges(fieldRow(context.gradientX, side, row), fieldRow(context.gradientY, side, row), k, loop.maxValue,
               loop.columns, edges);
    shadeRow(bandLoop, row, edges, tile, true);
  };
  // A row reads its own field row alone, so it is shaded as soon as that is
  // computed, when the dispatcher leaves the field to us.
  if (context.pendingField)
    shadeRowsWithField(loop, *context.pendingField, shadeOne);
  else
    shadeRowsInBands(loop, shadeOne);
}
