// "thin/hard" and "thin/soft": keep only the crests of the slope's
// magnitude, found by comparing the centre with the two neighbours across
// the edge, each interpolated along the side of the 3 x 3 block that the
// gradient's direction crosses. "thin/hard" writes the magnitude at the
// pixel; "thin/soft" places an antialiased dot where inside the pixel the
// crest lies, into the stroke plane.
#include <emmintrin.h>

#include <vector>

#include "session/session.h"
#include "engine/field_kernels.h"
#include "engine/pixel_loop.h"
#include "engine/stroke_kernels.h"
#include "engine/styles.h"
#include "image/rect.h"
#include "numeric/portable_math.h"
#include "platform/threads.h"

namespace {

// Magnitudes of field rows first .. last-1, columns 0 .. width-1, each
// divided by `divisor` as it is formed, into `out` row by row. Two samples
// at a time: the same multiplications, sum, square root and division per
// sample. An absent plane contributes 0.0 * 0.0, as it would one sample at
// a time; a divisor of 1 leaves every quotient equal to its dividend and is
// skipped.
void magnitudeRows(const RenderContext& context, int32_t first, int32_t last, int32_t width, double divisor,
                   double* out) {
  const int32_t side = context.fieldSide;
  const __m128d zero = _mm_setzero_pd(), by = _mm_set1_pd(divisor);
  const bool divide = divisor != 1.0;
  for (int32_t i = first; i < last; ++i) {
    const double* gx = context.gradientX ? context.gradientX + static_cast<size_t>(i) * side : nullptr;
    const double* gy = context.gradientY ? context.gradientY + static_cast<size_t>(i) * side : nullptr;
    double* m = out + static_cast<size_t>(i - first) * width;
    int32_t j = 0;
    for (; j + 2 <= width; j += 2) {
      __m128d x = gx ? _mm_loadu_pd(gx + j) : zero, y = gy ? _mm_loadu_pd(gy + j) : zero;
      __m128d v = _mm_sqrt_pd(_mm_add_pd(_mm_mul_pd(x, x), _mm_mul_pd(y, y)));
      _mm_storeu_pd(m + j, divide ? _mm_div_pd(v, by) : v);
    }
    for (; j < width; ++j) {
      double x = gx ? gx[j] : 0.0, y = gy ? gy[j] : 0.0;
      double v = numeric::squareRoot(x * x + y * y);
      m[j] = divide ? v / divisor : v;
    }
  }
}

// One band of rows of the magnitude plane below.
struct MagnitudeJob {
  const RenderContext* context;
  double* plane;
  int32_t height, width;
};

constexpr int32_t MAGNITUDE_BAND_ROWS = 16;

void magnitudeBand(void* jobContext, int32_t band) {
  const MagnitudeJob& job = *static_cast<const MagnitudeJob*>(jobContext);
  const int32_t begin = band * MAGNITUDE_BAND_ROWS;
  const int32_t end = begin + MAGNITUDE_BAND_ROWS < job.height ? begin + MAGNITUDE_BAND_ROWS : job.height;
  magnitudeRows(*job.context, begin, end, job.width, 1.0, job.plane + static_cast<size_t>(begin) * job.width);
}

// Magnitudes of the core's field samples and their one-sample ring into
// `plane`: row-major, (rows+2) x (columns+2), element (i, j) belonging to
// field sample (i, j). The rows are independent and split into bands over
// the render's threads.
void magnitudePlane(const RenderContext& context, int32_t rows, int32_t columns, std::vector<double>* plane) {
  const int32_t height = rows + 2, width = columns + 2;
  plane->resize(static_cast<size_t>(height) * width);
  MagnitudeJob job{&context, plane->data(), height, width};
  platformRunParts(magnitudeBand, &job, (height + MAGNITUDE_BAND_ROWS - 1) / MAGNITUDE_BAND_ROWS, renderThreads());
}

}  // namespace

void renderThinHard(FilterSession* session, const RenderContext& context, PixelMap* tile) {
  PixelLoop loop;
  preparePixelLoop(&loop, session, context.rampTable);
  const int32_t depthScale = loop.eightBit ? 1 : 128;
  const double scaledWeight = static_cast<double>(static_cast<int32_t>(context.weight) * depthScale);
  const int32_t width = loop.columns + 2, side = context.fieldSide;
  std::vector<double> magnitudePlaneRows;
  magnitudePlane(context, loop.rows, loop.columns, &magnitudePlaneRows);
  const double* magnitudes = magnitudePlaneRows.data();
  const ThinHardRowFunction thinHardRow = strokeKernelsFor(activeFieldKernels().level).thinHardRow;
  shadeRowsInBands(loop, [&](const PixelLoop& bandLoop, int32_t row, int32_t* edges) {
    const double* m = magnitudes + static_cast<size_t>(row + 1) * width + 1;
    thinHardRow(m, width, fieldRow(context.gradientX, side, row), fieldRow(context.gradientY, side, row),
                loop.columns, scaledWeight, depthScale, loop.maxValue, edges);
    shadeRow(bandLoop, row, edges, tile, true);
  });
}

void renderThinSoft(FilterSession* session, const RenderContext& context, PixelMap* tile) {
  (void)tile;
  const FilterRecord* record = session->filterRecord;
  int32_t rows, columns;
  if (!strokePassCore(session, &rows, &columns)) return;
  const int32_t depthScale = isEightBitImage(record) ? 1 : 128;
  const double weight = context.weight;
  const double divisor = styleScaleDivisor(session);
  const int32_t width = columns + 2, side = context.fieldSide;
  const int32_t tileLeft = session->tileLeft, tileTop = session->tileTop;
  // The pixels of a row that lie on a crest, listed first without a branch
  // (the test follows the picture), then drawn in the order of the row.
  const ThinSoftRowFunction thinSoftRow = strokeKernelsFor(activeFieldKernels().level).thinSoftRow;
  drawStrokesInBands(session, rows, [&](int32_t begin, int32_t end, StrokeBand* band) {
    // The band's magnitudes: field rows begin .. end+1, the band's own and
    // the ring above and below.
    std::vector<double> magnitudes(static_cast<size_t>(end - begin + 2) * width);
    magnitudeRows(context, begin, end + 2, width, divisor, magnitudes.data());
    std::vector<CrestPixel> crests(static_cast<size_t>(columns) + 1);
    for (int32_t row = begin; row < end; ++row) {
      const double* gx = fieldRow(context.gradientX, side, row);
      const double* gy = fieldRow(context.gradientY, side, row);
      const double* m = magnitudes.data() + static_cast<size_t>(row + 1 - begin) * width + 1;
      const float y = static_cast<float>(row + tileTop);
      const int32_t count = thinSoftRow(m, width, gx, gy, columns, crests.data());
      for (int32_t i = 0; i < count; ++i) {
        const CrestPixel& pixel = crests[i];
        const int32_t c = pixel.column;
        const float p1 = pixel.p1, p2 = pixel.p2;
        double dx = gx ? gx[c] : 0.0, dy = gy ? gy[c] : 0.0;
        double v = m[c] * weight / depthScale;
        // A negative value cannot raise the plane; 0 behaves the same and
        // keeps the conversion defined for any weight.
        float value = v < 256.0 ? (v > 0.0 ? static_cast<float>(static_cast<int32_t>(v)) : 0.0f) : 255.0f;
        // Where between the centre and the neighbours the crest lies,
        // measured along the gradient.
        float s = p1 + p2;
        float f = s > 0.0f ? p1 / s : 0.5f;
        if (pixel.sign > 0.0) f = static_cast<float>(1.0 - f);
        float fx = static_cast<float>(dx), fy = static_cast<float>(dy);
        float n = numeric::squareRootF(fx * fx + fy * fy);
        if (n == 0.0f) continue;
        float ux = fx / n, uy = fy / n;
        drawBandDot(band, ux * f + static_cast<float>(c + tileLeft), uy * f + y, value);
      }
    }
  });
}
