// The tangled family: seven styles from one renderer. From differences of
// the field they form the second derivatives of the brightness, take the
// two eigenvalues of that 2 x 2 matrix and draw troughs (tangled, splotchy),
// ridges (antitangled) or combinations of the two, so the lines follow the
// folds of the picture rather than its edges. The steps are single
// precision where they are written so, and kept in that order; the rows
// come at the field's vector width (engine/tangled_rows.h).
#include "session/session.h"
#include "engine/pixel_loop.h"
#include "engine/styles.h"
#include "engine/tangled_kernels.h"
#include "engine/tangled_rows.h"

void tangledRowScalar(const TangledRowSetup& setup, int32_t row, int32_t* edges) {
  tangledEdgesOneByOne(setup, static_cast<size_t>(row + 1) * setup.side + 1, 0, setup.columns, edges);
}

TangledRowFunction tangledRowFor(SimdLevel level) {
  switch (fieldKernelsFor(level).level) {
    case SIMD_AVX512:
      return tangledRowAvx512;
    case SIMD_AVX2:
      return tangledRowAvx2;
    case SIMD_SSE2:
      return tangledRowSse2;
    default:
      return tangledRowScalar;
  }
}

void renderTangled(FilterSession* session, const RenderContext& context, PixelMap* tile, int32_t subMode) {
  PixelLoop loop;
  preparePixelLoop(&loop, session, context.rampTable);
  const int32_t s = loop.eightBit ? 1 : 128;
  TangledRowSetup setup;
  setup.gradientX = context.gradientX;
  setup.gradientY = context.gradientY;
  setup.side = context.fieldSide;
  setup.columns = loop.columns;
  setup.subMode = subMode;
  setup.depthScale = s;
  setup.gain =
      static_cast<double>(context.weight) * 2.0 / static_cast<double>(static_cast<float>(styleScaleDivisor(session)));
  setup.limit = static_cast<float>(300 * s);
  setup.maxValue = loop.maxValue;
  const TangledRowFunction rowFunction = tangledRowFor(activeFieldKernels().level);
  shadeRowsInBands(loop, [&](const PixelLoop& bandLoop, int32_t row, int32_t* edges) {
    rowFunction(setup, row, edges);
    shadeRow(bandLoop, row, edges, tile, true);
  });
}
