// "halo" compares the scaled slope with the picture's own brightness, so the
// edge value dips to 0 along lines on either side of strong edges.
#include "session/session.h"
#include "engine/halo_rows.h"
#include "engine/pixel_loop.h"
#include "engine/width_choice.h"
#include "engine/styles.h"
#include "numeric/portable_math.h"

int32_t haloEdgesScalar(const double* gx, const double* gy, const int32_t* brightness, bool grey, float g, float k,
                        int32_t maxValue, int32_t columns, int32_t* edges) {
  for (int32_t c = 0; c < columns; ++c) {
    const float y = grey ? static_cast<float>(brightness[c]) : static_cast<float>(brightness[c] * 0.001);
    double x = gx ? gx[c] : 0.0, v = gy ? gy[c] : 0.0;
    double mag = numeric::squareRoot(x * x + v * v);
    double d = mag * g - y;
    if (d < 0.0) d = -d;
    edges[c] = edgeFromDouble(k * d, maxValue);
  }
  return columns;
}

HaloEdgesFunction haloEdgesFor(SimdLevel level) {
  return functionForLevel(level, haloEdgesScalar, haloEdgesSse2, haloEdgesAvx2, haloEdgesAvx512);
}

void renderHalo(FilterSession* session, const RenderContext& context, PixelMap* tile) {
  PixelLoop loop;
  preparePixelLoop(&loop, session, context.rampTable);
  // The smoothing before the dispatcher's lower limit, and the weight, as
  // single-precision factors.
  const float g = static_cast<float>(
      static_cast<double>(static_cast<float>(sessionParameters(session)->renderSmoothing)) * 30.0 / 26.0);
  const float k = static_cast<float>(context.weight / 40.0);
  const int32_t side = context.fieldSide;
  const HaloEdgesFunction edgesOfRow = haloEdgesFor(activeFieldKernels().level);
  const intptr_t step = tile->bytesPerPixel;
  shadeRowsInBands(loop, [&](const PixelLoop& bandLoop, int32_t row, int32_t* edges) {
    const double* gx = fieldRow(context.gradientX, side, row);
    const double* gy = fieldRow(context.gradientY, side, row);
    // The brightness sums go into the edge row first; each column's edge
    // value then replaces its own sum.
    const uint8_t* px = pixelAddress(tile, TILE_MARGIN, row + TILE_MARGIN, 0);
    for (int32_t c = 0; c < loop.columns; ++c, px += step) {
      int32_t red, green, blue;
      if (loop.eightBit) {
        red = px[0], green = px[1], blue = px[2];
      } else {
        const uint16_t* words = reinterpret_cast<const uint16_t*>(px);
        red = words[0], green = words[1], blue = words[2];
      }
      edges[c] = loop.greyImage ? red : 299 * red + 587 * green + 114 * blue;
    }
    const int32_t c =
        gx && gy ? edgesOfRow(gx, gy, edges, loop.greyImage, g, k, loop.maxValue, loop.columns, edges) : 0;
    haloEdgesScalar(gx ? gx + c : nullptr, gy ? gy + c : nullptr, edges + c, loop.greyImage, g, k, loop.maxValue,
                    loop.columns - c, edges + c);
    shadeRow(bandLoop, row, edges, tile, true);
  });
}
