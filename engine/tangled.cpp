// The tangled family: seven styles from one renderer. From differences of
// the field they form the second derivatives of the brightness, take the
// two eigenvalues of that 2 x 2 matrix and draw troughs (tangled, splotchy),
// ridges (antitangled) or combinations of the two, so the lines follow the
// folds of the picture rather than its edges. The steps are single
// precision where they are written so, and kept in that order.
#include "session/session.h"
#include "engine/pixel_loop.h"
#include "engine/styles.h"
#include "numeric/portable_math.h"

namespace {

constexpr double LOG2_E = 1.442695040888963;
constexpr double LOG2_9 = 3.169925001442312;

// Limits x to 0..K; NaN cannot occur, but gives 0 if it did.
inline float limitTo(float x, float K) {
  if (!(x > 0.0f)) return 0.0f;
  return x > K ? K : x;
}

// The soft knee: K - (K - x)^2 / K, rising with slope 2 from 0 to K.
inline float knee(float x, float K) { return K - ((K - x) * (K - x)) / K; }

}  // namespace

void renderTangled(FilterSession* session, const RenderContext& context, PixelMap* tile, int32_t subMode) {
  PixelLoop loop;
  preparePixelLoop(&loop, session, context.rampTable);
  const int32_t s = loop.eightBit ? 1 : 128;
  const double gain =
      static_cast<double>(context.weight) * 2.0 / static_cast<double>(static_cast<float>(styleScaleDivisor(session)));
  const float K = static_cast<float>(300 * s);
  const int32_t side = context.fieldSide;
  const double* GX = context.gradientX;
  const double* GY = context.gradientY;
  shadeRowsInBands(loop, [&](const PixelLoop& bandLoop, int32_t row, int32_t* edges) {
    const size_t rowAt = static_cast<size_t>(row + 1) * side + 1;
    for (int32_t c = 0; c < loop.columns; ++c) {
      const size_t p = rowAt + c, right = p + 1, down = p + side;
      // Differences from this sample to the next, this minus next.
      float a, b, cc;
      if (GX && GY) {
        a = static_cast<float>(GX[p] - GX[down]);
        b = static_cast<float>(GX[p] - GX[right]);
        cc = static_cast<float>(GY[p] - GY[down]);
      } else if (GX) {
        a = static_cast<float>(GX[p] - GX[down]);
        b = static_cast<float>(GX[p] - GX[right]);
        cc = 0.0f;
      } else if (GY) {
        a = static_cast<float>(GY[p] - GY[right]);
        b = 0.0f;
        cc = static_cast<float>(GY[p] - GY[down]);
      } else {
        a = b = cc = 0.0f;  // no plane: a flat field
      }
      // Eigenvalues of [[b, a], [a, c]], both doubled.
      float bc = b - cc;
      float t = numeric::squareRootF(static_cast<float>(static_cast<double>(a) * 4.0 * a + bc * bc));
      float high = (cc + b) + t;
      float low = (cc + b) - t;

      float P, N = 0.0f;
      if (subMode == TANGLED_SPLOTCHY) {
        if (low < 0.0f) low = static_cast<float>(low * 0.2);
        if (low < 0.0f) low = -low;
        float lnValue = static_cast<float>(numeric::logarithm(static_cast<double>(static_cast<float>(low / s + 9.0))));
        float grown = static_cast<float>((lnValue * LOG2_E - LOG2_9) * 23.0);
        P = static_cast<float>(static_cast<double>(grown * static_cast<float>(s)) * gain);
      } else {
        float trough = -low > 0.0f ? -low : 0.0f;
        P = static_cast<float>(trough * gain);
        if (subMode >= TANGLED_RACETRACK) {
          float ridge = high > 0.0f ? high : 0.0f;
          N = static_cast<float>(ridge * gain);
        }
      }
      P = limitTo(P, K);
      N = limitTo(N, K);
      int32_t A = subMode == TANGLED_SPLOTCHY ? static_cast<int32_t>(P) : static_cast<int32_t>(knee(P, K));
      int32_t B = static_cast<int32_t>(knee(N, K));

      int32_t e;
      switch (subMode) {
        case TANGLED_TANGLED:
        case TANGLED_SPLOTCHY:
          e = A;
          break;
        case TANGLED_RACETRACK:
          e = A > B ? A : B;
          break;
        case TANGLED_ZERO:
          e = A > B ? A - B : B - A;
          break;
        case TANGLED_ANTITANGLED:
          e = B;
          break;
        case TANGLED_CHECKER:
          e = A < B ? A : B;
          break;
        case TANGLED_THORNY: {
          // The ridges where the edge is strong as well.
          double x = GX ? GX[p] : 0.0, y = GY ? GY[p] : 0.0;
          int32_t G = edgeFromDouble(numeric::squareRoot(x * x + y * y) * gain * 0.25, loop.maxValue);
          e = B < G ? B : G;
          break;
        }
        default:
          e = 0;
          break;
      }
      edges[c] = e < 0 ? 0 : (e > loop.maxValue ? loop.maxValue : e);
    }
    shadeRow(bandLoop, row, edges, tile, true);
  });
}
