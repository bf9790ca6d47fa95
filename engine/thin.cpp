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

namespace {

// The numbers of a "thin/soft" run and row a crest's dot needs.
struct CrestDotNumbers {
  double weight, depthScale;
  int32_t left;  // the plane column of core column 0
  float y;       // the plane row of the row
};

// Draws the dots of a row's crest pixels, four at a time. A dot lies where
// between the centre and its neighbours the crest does, measured along the
// gradient from the pixel, as strong as the magnitude times the weight
// (whole, 0..255). A pixel without a slope has no dot. Every lane does the
// single precision operations of the one-pixel form; 1 - f in double
// rounded to single is 1 - f in single (a double holds more than twice a
// float's bits).
void drawCrestDots(StrokeBand* band, const CrestPixels& crests, int32_t count, const CrestDotNumbers& n) {
  const __m128 zero = _mm_setzero_ps(), one = _mm_set1_ps(1.0f);
  const __m128d weight = _mm_set1_pd(n.weight), depthScale = _mm_set1_pd(n.depthScale);
  const __m128d top = _mm_set1_pd(256.0), zeroPd = _mm_setzero_pd();
  // The lists have room for a vector past their end: the lanes there are
  // worked out and not drawn.
  for (int32_t first = 0; first < count; first += 4) {
    const int32_t lanes = count - first < 4 ? count - first : 4;
    const __m128 a = _mm_loadu_ps(crests.p1 + first), b = _mm_loadu_ps(crests.p2 + first);
    const __m128 dx = _mm_loadu_ps(crests.dx + first), dy = _mm_loadu_ps(crests.dy + first);
    const __m128 flip = _mm_cmpgt_ps(_mm_loadu_ps(crests.flip + first), _mm_set1_ps(0.5f));
    const __m128 column = _mm_cvtepi32_ps(_mm_add_epi32(
        _mm_loadu_si128(reinterpret_cast<const __m128i*>(crests.column + first)), _mm_set1_epi32(n.left)));
    // The strength: whole below 256 (0 unless above 0), else 255 (NaN too).
    __m128 value[2];
    for (int32_t half = 0; half < 2; ++half) {
      const __m128d magnitude = _mm_loadu_pd(crests.magnitude + first + 2 * half);
      const __m128d v = _mm_div_pd(_mm_mul_pd(magnitude, weight), depthScale);
      const __m128d below = _mm_cmplt_pd(v, top), inRange = _mm_and_pd(below, _mm_cmpgt_pd(v, zeroPd));
      const __m128d whole = _mm_cvtepi32_pd(_mm_cvttpd_epi32(_mm_and_pd(inRange, v)));
      value[half] = _mm_cvtpd_ps(_mm_or_pd(_mm_and_pd(below, whole), _mm_andnot_pd(below, _mm_set1_pd(255.0))));
    }
    const __m128 strength = _mm_movelh_ps(value[0], value[1]);
    const __m128 s = _mm_add_ps(a, b), spread = _mm_cmpgt_ps(s, zero);
    const __m128 share = _mm_div_ps(a, _mm_or_ps(_mm_and_ps(spread, s), _mm_andnot_ps(spread, one)));
    __m128 f = _mm_or_ps(_mm_and_ps(spread, share), _mm_andnot_ps(spread, _mm_set1_ps(0.5f)));
    f = _mm_or_ps(_mm_and_ps(flip, _mm_sub_ps(one, f)), _mm_andnot_ps(flip, f));
    const __m128 length = _mm_sqrt_ps(_mm_add_ps(_mm_mul_ps(dx, dx), _mm_mul_ps(dy, dy)));
    const __m128 flat = _mm_cmpeq_ps(length, zero);
    const __m128 divisor = _mm_or_ps(_mm_and_ps(flat, one), _mm_andnot_ps(flat, length));
    const __m128 ux = _mm_div_ps(dx, divisor), uy = _mm_div_ps(dy, divisor);
    const __m128 x = _mm_add_ps(_mm_mul_ps(ux, f), column);
    const __m128 y = _mm_add_ps(_mm_mul_ps(uy, f), _mm_set1_ps(n.y));
    const uint32_t kept = ~static_cast<uint32_t>(_mm_movemask_ps(flat)) & ((1u << lanes) - 1u);
    drawDotLanes(band, x, y, strength, kept);
  }
}

}  // namespace

void renderThinSoft(FilterSession* session, const RenderContext& context, PixelMap* tile) {
  (void)tile;
  const FilterRecord* record = session->filterRecord;
  int32_t rows, columns;
  if (!strokePassCore(session, &rows, &columns)) return;
  const double divisor = styleScaleDivisor(session);
  const int32_t width = columns + 2, side = context.fieldSide;
  CrestDotNumbers numbers;
  numbers.weight = context.weight;
  numbers.depthScale = isEightBitImage(record) ? 1.0 : 128.0;
  numbers.left = session->tileLeft;
  const int32_t tileTop = session->tileTop;
  // The pixels of a row that lie on a crest, listed first without a branch
  // (the test follows the picture), then their dots drawn.
  const ThinSoftRowFunction thinSoftRow = strokeKernelsFor(activeFieldKernels().level).thinSoftRow;
  // Each thread's magnitudes and crests, grown to a band's size once.
  struct Scratch {
    std::vector<double> magnitudes;
    std::vector<int32_t> columns;
    std::vector<float> numbers;
    std::vector<double> crestMagnitudes;
  };
  std::vector<Scratch> scratch(static_cast<size_t>(renderThreads()));
  drawStrokesInBands(session, rows, [&](int32_t begin, int32_t end, StrokeBand* band) {
    Scratch& own = scratch[static_cast<size_t>(platformWorkerSlot())];
    // The band's magnitudes: field rows begin .. end+1, the band's own and
    // the ring above and below.
    own.magnitudes.resize(static_cast<size_t>(end - begin + 2) * width);
    // Room for the row's pixels and one vector more.
    const size_t room = static_cast<size_t>(columns) + 8;
    own.columns.resize(room);
    own.numbers.resize(room * 5);
    own.crestMagnitudes.resize(room);
    float* at = own.numbers.data();
    const CrestPixels crests{own.columns.data(), at,           at + room,
                             at + 2 * room,      at + 3 * room, at + 4 * room,
                             own.crestMagnitudes.data()};
    magnitudeRows(context, begin, end + 2, width, divisor, own.magnitudes.data());
    for (int32_t row = begin; row < end; ++row) {
      const double* gx = fieldRow(context.gradientX, side, row);
      const double* gy = fieldRow(context.gradientY, side, row);
      const double* m = own.magnitudes.data() + static_cast<size_t>(row + 1 - begin) * width + 1;
      const int32_t crestCount = thinSoftRow(m, width, gx, gy, columns, crests);
      CrestDotNumbers rowNumbers = numbers;
      rowNumbers.y = static_cast<float>(row + tileTop);
      drawCrestDots(band, crests, crestCount, rowNumbers);
    }
  });
}
