// "chrome": the direction of the slope, not its strength, picks a shade from
// one of six curves laid round a ring of 361 places, as a polished surface
// reflects a bright band by its tilt. The ring is built once per tile; the
// pixel loop only looks it up.
#include "session/session.h"
#include "engine/chrome_rows.h"
#include "engine/pixel_loop.h"
#include "engine/width_choice.h"
#include "engine/styles.h"
#include "numeric/portable_math.h"

namespace {

double chromeCurve(int32_t curve, double a, double w, double k) {
  auto abs = [](double v) { return v < 0.0 ? -v : v; };
  switch (curve) {
    case 0:  // Phong: a power of a cosine
      return numeric::power(numeric::cosine(a * 0.5), w);
    case 1:  // sine: ripples
      return (numeric::sine((CHROME_PI / (2.0 / k) + a) * k) + 1.0) * 0.5;
    case 2: {  // puddles: a triangle wave, folded twice
      double x = abs(k * a / CHROME_PI);
      x = abs(1.0 - abs(1.0 - x));
      x = abs(1.0 - abs(1.0 - x));
      double v = 1.0 - x;
      return v < 0.0 ? 0.0 : v;
    }
    case 3: {  // bumps: a cubic of the distance from the centre
      double u = abs(a / CHROME_PI);
      return abs(k * (u * u * u) - (k + 1.0) * (u * u) + 1.0);
    }
    case 4: {  // spike: one less the hyperbolic tangent's size
      double x = k * a;
      double ep = numeric::exponential(x), em = numeric::exponential(-x);
      return 1.0 - abs((ep - em) / (em + ep));
    }
    case 5:  // raw: a linear ramp, wrapping at the byte above weight 100
      return (a / CHROME_PI + 1.0) * 0.5 * (w / 100.0);
    default:
      return 0.0;
  }
}

}  // namespace

void buildChromeTable(int32_t zeroBasedChromeStyle, int32_t chromeAngle, int32_t weight, uint8_t table[361]) {
  for (int32_t i = 0; i < CHROME_TABLE_SIZE; ++i) table[i] = 0;
  if (zeroBasedChromeStyle < 0 || zeroBasedChromeStyle >= CHROME_CURVE_COUNT) return;
  const double w = static_cast<double>(weight);
  const double k = w / 10.0;
  // The turn as a place on the ring, 0..360, also for a negative angle.
  int32_t turn = chromeAngle % CHROME_TABLE_SIZE;
  if (turn < 0) turn += CHROME_TABLE_SIZE;
  for (int32_t i = 0; i < CHROME_TABLE_SIZE; ++i) {
    double a = (i / 180.0 - 1.0) * CHROME_PI;
    double v = chromeCurve(zeroBasedChromeStyle, a, w, k);
    int32_t slot = (turn + i) % CHROME_TABLE_SIZE;
    table[slot] = static_cast<uint8_t>(truncateSaturating(v * 255.0) & 255);
  }
}

int32_t chromeShade(const uint8_t table[361], int32_t index, bool eightBit) {
  if (index < 0) index = 0;
  if (eightBit) return table[index > 360 ? 360 : index];
  // The ring's last place interpolates toward place 1; nothing lies beyond.
  if (index > 360 * 128 + 127) index = 360 * 128 + 127;
  int32_t j = index / 128, f = index & 127;
  // The place after 360 is 1, not 0.
  int32_t j2 = j + 1 >= 361 ? j + 1 - 360 : j + 1;
  return table[j] * (128 - f) + table[j2] * f;
}

namespace {

// The ring place of a direction, in fixed point with s = 1 or 128.
int32_t chromePlace(double theta, double s) { return truncateSaturating(theta / CHROME_PI * 180.0 * s + s * 180.0); }

}  // namespace

int32_t chromeIndicesScalar(const double* gx, const double* gy, int32_t side, bool removeNoise, double s,
                            int32_t columns, int32_t* indices) {
  for (int32_t c = 0; c < columns; ++c) {
    double theta;
    if (removeNoise) {
      // The factor is 0.125 for nine samples; it leaves the direction alone.
      double sx = 0.0, sy = 0.0;
      for (int32_t dr = -1; dr <= 1; ++dr)
        for (int32_t dc = -1; dc <= 1; ++dc) {
          sx += gx[c + dr * side + dc];
          sy += gy[c + dr * side + dc];
        }
      theta = numeric::arcTangent2(sy * 0.125, sx * 0.125);
    } else {
      theta = numeric::arcTangent2(gy[c], gx[c]);
    }
    indices[c] = chromePlace(theta, s);
  }
  return columns;
}

ChromeIndicesFunction chromeIndicesFor(SimdLevel level) {
  return functionForLevel(level, chromeIndicesScalar, chromeIndicesSse2, chromeIndicesAvx2, chromeIndicesAvx512);
}

void renderChrome(FilterSession* session, const RenderContext& context, PixelMap* tile) {
  PixelLoop loop;
  preparePixelLoop(&loop, session, context.rampTable);
  const double s = loop.eightBit ? 1.0 : 128.0;
  const bool removeNoise = sessionParameters(session)->renderRemoveNoise != 0;
  const int32_t side = context.fieldSide;
  const ChromeIndicesFunction indicesOfRow = chromeIndicesFor(activeFieldKernels().level);
  shadeRowsInBands(loop, [&](const PixelLoop& bandLoop, int32_t row, int32_t* edges) {
    const double* gx = fieldRow(context.gradientX, side, row);
    const double* gy = fieldRow(context.gradientY, side, row);
    if (gx && gy) {
      // The whole vectors, then the columns past them one at a time.
      const int32_t c = indicesOfRow(gx, gy, side, removeNoise, s, loop.columns, edges);
      chromeIndicesScalar(gx + c, gy + c, side, removeNoise, s, loop.columns - c, edges + c);
    } else {
      // One plane alone (its slope against a unit step), or none: a flat
      // field's direction.
      const double* plane = gy ? gy : gx;
      for (int32_t c = 0; c < loop.columns; ++c)
        edges[c] = chromePlace(plane ? numeric::arcTangent(plane[c] / s) : 0.0, s);
    }
    for (int32_t c = 0; c < loop.columns; ++c) edges[c] = chromeShade(context.chromeTable, edges[c], loop.eightBit);
    shadeRow(bandLoop, row, edges, tile, true);
  });
}
