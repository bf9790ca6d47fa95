#include "engine/edge_field.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "engine/field_kernels.h"
#include "engine/field_passes.h"
#include "numeric/portable_math.h"
#include "platform/threads.h"

void buildEdgeKernels(double sigma, EdgeKernels* kernels) {
  const double q = sigma * 2.0 * sigma;
  const double area = sigma * 6.283185306 * sigma;  // this constant, not a closer two pi
  int32_t n = 0;
  for (int32_t i = 0; i < MAX_EDGE_TAPS; ++i) {
    double e0 = numeric::exponential(-(static_cast<double>(i) * i) / q);
    if (i >= 2 && !(e0 > 0.005)) break;
    double lo = i - 0.5, hi = i + 0.5;
    double em = numeric::exponential(-(lo * lo) / q);
    double ep = numeric::exponential(-(hi * hi) / q);
    kernels->slopeTaps[i] = ep - em;
    kernels->smoothTaps[i] = ((em + e0 + ep) / 3.0) / area;
    n = i + 1;
  }
  for (int32_t i = n; i < MAX_EDGE_TAPS; ++i) kernels->smoothTaps[i] = kernels->slopeTaps[i] = 0.0;
  kernels->tapCount = n;
}

uint16_t sourceSelectorFor(int32_t renderSource, int16_t imageMode) {
  // Only the low 16 bits of the working field count.
  uint16_t s = static_cast<uint16_t>(renderSource);
  if (s == 0) return imageMode == 1 ? 0 : SOURCE_LUMINANCE;
  if (s <= 3) return static_cast<uint16_t>(s - 1);
  // A value no channel answers to: the luminance, which every image has.
  return SOURCE_LUMINANCE;
}

namespace {

// Gradient rows per band: a band's source and smoothed rows were written
// moments before the band reads them, so they come from the core's cache.
constexpr int32_t FIELD_BAND_ROWS = 16;
// Each run computes the 80 source and 40 smoothed rows below its last
// gradient row itself; a run much shorter would mostly repeat its neighbour.
constexpr int32_t MIN_RUN_ROWS = 80;
constexpr int32_t MAX_RUNS = 64;
// Bands a window holds before its live rows move to the top: a run of half
// a tile (two threads) fits without a move.
constexpr int32_t WINDOW_BANDS = 9;

// Where a run keeps its source rows and both kinds of smoothed rows: the
// planes themselves, or windows of its thread that hold `rows` rows and are
// refilled from the top.
struct FieldWindow {
  double* source;
  double* down;
  double* across;
  int32_t sourceRows, smoothRows;
};

// The tile is cut into runs of gradient rows, one per thread; each run walks
// its rows band by band: source rows, the smoothed rows they allow, then the
// gradient rows, each written moments before the next step reads it.
struct FieldJob {
  const FieldKernels& passes;
  uint16_t selector;
  const PixelMap* tile;
  int32_t t;
  const double *g, *d;
  int32_t n;
  double *gradientX, *gradientY;
  FieldRowsDone rowsDone;
  void* rowsDoneContext;
  const FieldWindow* windows;  // by worker slot
  int32_t runs;
  int32_t runStart[MAX_RUNS + 1];
};

// Windows per thread slot, grown by the calling thread before a job and kept
// for the process; bounded by the largest tile.
FieldWindow* threadWindows(int32_t slots, int32_t t) {
  struct Storage {
    std::vector<double> source, down, across;
  };
  static std::vector<Storage> storage;
  static std::vector<FieldWindow> windows;
  if (static_cast<int32_t>(storage.size()) < slots) storage.resize(static_cast<size_t>(slots));
  windows.resize(static_cast<size_t>(slots));
  const int32_t sourceRows = 80 + WINDOW_BANDS * FIELD_BAND_ROWS, smoothRows = 40 + WINDOW_BANDS * FIELD_BAND_ROWS;
  const size_t sourceSize = static_cast<size_t>(sourceRows) * t;
  const size_t smoothSize = static_cast<size_t>(smoothRows) * (t - 40);
  for (int32_t slot = 0; slot < slots; ++slot) {
    Storage& w = storage[static_cast<size_t>(slot)];
    if (w.source.size() < sourceSize) w.source.resize(sourceSize);
    if (w.down.size() < smoothSize) w.down.resize(smoothSize), w.across.resize(smoothSize);
    windows[static_cast<size_t>(slot)] = {w.source.data(), w.down.data(), w.across.data(), sourceRows, smoothRows};
  }
  return windows.data();
}

void moveRowsToTop(double* window, size_t stride, int32_t fromRow, int32_t rows) {
  if (fromRow > 0 && rows > 0)
    std::memmove(window, window + static_cast<size_t>(fromRow) * stride,
                 static_cast<size_t>(rows) * stride * sizeof(double));
}

// Source rows [begin, end), columns [columnBegin, columnEnd), into `rows`
// (the window's row for tile row `begin`, stride t).
void takeSourceRows(const FieldJob& job, int32_t begin, int32_t end, int32_t columnBegin, int32_t columnEnd,
                    double* rows) {
  const size_t count = static_cast<size_t>(columnEnd - columnBegin);
  for (int32_t row = begin; row < end; ++row) {
    const size_t at = static_cast<size_t>(row) * job.t + columnBegin;
    double* to = rows + static_cast<size_t>(row - begin) * job.t + columnBegin;
    if (job.tile->format == PIXEL_RGBA8)
      job.passes.sourceBytes(job.selector, job.tile->pixels + at * 4, count, to);
    else
      takeSourceSamples<uint16_t>(job.selector, reinterpret_cast<const uint16_t*>(job.tile->pixels) + at * 4,
                                  count, to);
  }
}

// Only the samples some gradient sample reads are computed. A gradient
// sample reads smoothedDown along its row and smoothedAcross down its column,
// `reach` samples each way, and each smoothed sample reads the source one
// sample less far: so smoothedDown is needed on the gradient's rows alone,
// smoothedAcross on its columns alone, and of the source only the gradient's
// square grown by `reach`. With few taps that is much less than the planes.
void fieldRun(void* context, int32_t run) {
  const FieldJob& job = *static_cast<const FieldJob*>(context);
  const FieldWindow& w = job.windows[job.runs == 1 ? 0 : platformWorkerSlot()];
  const int32_t t = job.t, s1 = t - 40, s2 = t - 80;
  const int32_t reach = job.n - 1, smoothReach = job.n - 2;
  const int32_t begin = job.runStart[run], end = job.runStart[run + 1];
  // The window holds source rows from tile row sourceBase and smoothed rows
  // (of both kinds) from smoothed row smoothBase. Computed so far: source
  // rows up to sourceDone, smoothedAcross rows up to acrossDone and
  // smoothedDown rows up to downDone.
  int32_t sourceBase = begin, smoothBase = begin;
  int32_t sourceDone = begin + 40 - reach, acrossDone = begin + 20 - reach, downDone = begin + 20;
  for (int32_t rowBegin = begin; rowBegin < end; rowBegin += FIELD_BAND_ROWS) {
    const int32_t rowEnd = rowBegin + FIELD_BAND_ROWS < end ? rowBegin + FIELD_BAND_ROWS : end;
    const int32_t downEnd = rowEnd + 20, acrossEnd = rowEnd + 20 + reach, sourceEnd = rowEnd + 40 + reach;
    if (sourceEnd - sourceBase > w.sourceRows) {
      // The first source row still to be read by either smoothing.
      const int32_t keep = std::min(downDone + 20 - smoothReach, acrossDone + 20);
      moveRowsToTop(w.source, t, keep - sourceBase, sourceDone - keep);
      sourceBase = keep;
    }
    if (acrossEnd - smoothBase > w.smoothRows) {
      // The band reads smoothedAcross from here on, and smoothedDown rows
      // that are still to come.
      const int32_t keep = rowBegin + 20 - reach;
      moveRowsToTop(w.across, s1, keep - smoothBase, acrossDone - keep);
      smoothBase = keep;
    }
    auto sourceAt = [&](int32_t row, int32_t column) {
      return w.source + static_cast<size_t>(row - sourceBase) * t + column;
    };
    auto smoothAt = [&](double* plane, int32_t row, int32_t column) {
      return plane + static_cast<size_t>(row - smoothBase) * s1 + column;
    };
    takeSourceRows(job, sourceDone, sourceEnd, 40 - reach, t - 40 + reach, sourceAt(sourceDone, 0));
    sourceDone = sourceEnd;
    // Smoothed sample (r, c) is centred on source sample (r + 20, c + 20).
    job.passes.smoothAcross(sourceAt(acrossDone + 20, 40), t, job.g, job.n, smoothAt(w.across, acrossDone, 20), s1,
                            acrossEnd - acrossDone, s2);
    acrossDone = acrossEnd;
    job.passes.smoothDown(sourceAt(downDone + 20, 40 - reach), t, job.g, job.n,
                          smoothAt(w.down, downDone, 20 - reach), s1, downEnd - downDone, s2 + 2 * reach);
    downDone = downEnd;
    job.passes.slopeRows(smoothAt(w.down, rowBegin + 20, 20), smoothAt(w.across, rowBegin + 20, 20), s1, job.d,
                         job.n, job.gradientX + static_cast<size_t>(rowBegin) * s2,
                         job.gradientY + static_cast<size_t>(rowBegin) * s2, s2, rowEnd - rowBegin, s2);
    if (job.rowsDone) job.rowsDone(job.rowsDoneContext, rowBegin, rowEnd);
  }
}

}  // namespace

void computeEdgeField(uint16_t sourceSelector, const EdgeKernels& kernels, double* source, double* smoothedDown,
                      double* smoothedAcross, double* gradientX, double* gradientY, const PixelMap* tile,
                      int32_t coreRows) {
  const EdgeFieldRequest request{sourceSelector, &kernels, source, smoothedDown, smoothedAcross,
                                 gradientX,      gradientY, tile,  coreRows};
  computeEdgeFieldInBands(request, nullptr, nullptr);
}

void computeEdgeFieldInBands(const EdgeFieldRequest& request, FieldRowsDone rowsDone, void* rowsDoneContext) {
  const int32_t t = request.tile->baseWidth;
  const int32_t s2 = t - 80;  // side of the gradient planes
  // Gradient rows the core's rows need: the styles read field rows
  // 0 .. coreRows + 1. Their smoothed and source rows reach 40 and 80 rows
  // further, within the tile.
  const int32_t coreRows = request.coreRows < 0 ? 0 : request.coreRows;
  const int32_t rows = coreRows < s2 - 2 ? coreRows + 2 : s2;
  if (rows <= 0) return;
  uint16_t selector = request.sourceSelector;
  if (selector != SOURCE_LUMINANCE && selector > 2) selector = SOURCE_LUMINANCE;
  // Both passes at the run's vector width, over runs of rows on the
  // threads; every sample is computed alone, so neither the width nor the
  // cut into runs and bands changes a bit.
  FieldJob job{activeFieldKernels(), selector, request.tile, t, request.kernels->smoothTaps,
               request.kernels->slopeTaps, request.kernels->tapCount, request.gradientX, request.gradientY, rowsDone,
               rowsDoneContext, nullptr, 1, {}};
  int32_t runs = 1;
  FieldWindow planes;
  if (request.source) {
    // The planes to fill are one window that never fills up, for one run:
    // runs side by side would each write the rows below their own.
    planes = {request.source, request.smoothedDown, request.smoothedAcross, t, t - 40};
    job.windows = &planes;
  } else {
    runs = (rows + 20) / MIN_RUN_ROWS;
    const int32_t threads = renderThreads();
    if (runs > threads) runs = threads;
    if (runs > MAX_RUNS) runs = MAX_RUNS;
    if (runs < 1) runs = 1;
    job.windows = threadWindows(runs, t);
  }
  job.runs = runs;
  for (int32_t run = 0; run <= runs; ++run)
    job.runStart[run] = static_cast<int32_t>(static_cast<int64_t>(rows) * run / runs);
  platformRunParts(fieldRun, &job, runs, runs);
}
