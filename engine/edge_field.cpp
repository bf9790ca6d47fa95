#include "engine/edge_field.h"

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

void takeSourceRows(const FieldJob& job, int32_t begin, int32_t end, double* rows) {
  const size_t first = static_cast<size_t>(begin) * job.t, count = static_cast<size_t>(end - begin) * job.t;
  if (job.tile->format == PIXEL_RGBA8)
    job.passes.sourceBytes(job.selector, job.tile->pixels + first * 4, count, rows);
  else
    takeSourceSamples<uint16_t>(job.selector, reinterpret_cast<const uint16_t*>(job.tile->pixels) + first * 4, count,
                                rows);
}

void fieldRun(void* context, int32_t run) {
  const FieldJob& job = *static_cast<const FieldJob*>(context);
  const FieldWindow& w = job.windows[job.runs == 1 ? 0 : platformWorkerSlot()];
  const int32_t t = job.t, s1 = t - 40, s2 = t - 80;
  const int32_t begin = job.runStart[run], end = job.runStart[run + 1];
  // The window holds source rows [sourceBase, sourceDone) and smoothed rows
  // [smoothBase, smoothDone) of the tile.
  int32_t sourceBase = begin, sourceDone = begin, smoothBase = begin, smoothDone = begin;
  for (int32_t rowBegin = begin; rowBegin < end; rowBegin += FIELD_BAND_ROWS) {
    const int32_t rowEnd = rowBegin + FIELD_BAND_ROWS < end ? rowBegin + FIELD_BAND_ROWS : end;
    // A gradient row reads 20 smoothed rows on, a smoothed row 20 source rows.
    const int32_t smoothEnd = rowEnd + 40, sourceEnd = smoothEnd + 40;
    if (sourceEnd - sourceBase > w.sourceRows) {
      moveRowsToTop(w.source, t, smoothDone - sourceBase, sourceDone - smoothDone);
      sourceBase = smoothDone;
    }
    if (smoothEnd - smoothBase > w.smoothRows) {
      moveRowsToTop(w.down, s1, rowBegin - smoothBase, smoothDone - rowBegin);
      moveRowsToTop(w.across, s1, rowBegin - smoothBase, smoothDone - rowBegin);
      smoothBase = rowBegin;
    }
    takeSourceRows(job, sourceDone, sourceEnd, w.source + static_cast<size_t>(sourceDone - sourceBase) * t);
    sourceDone = sourceEnd;
    const size_t smoothAt = static_cast<size_t>(smoothDone - smoothBase) * s1;
    job.passes.smoothRows(w.source + static_cast<size_t>(smoothDone - sourceBase) * t, t, job.g, job.n,
                          w.down + smoothAt, w.across + smoothAt, 0, smoothEnd - smoothDone);
    smoothDone = smoothEnd;
    const size_t slopeAt = static_cast<size_t>(rowBegin - smoothBase) * s1;
    job.passes.slopeRows(w.down + slopeAt, w.across + slopeAt, s1, job.d, job.n,
                         job.gradientX + static_cast<size_t>(rowBegin) * s2,
                         job.gradientY + static_cast<size_t>(rowBegin) * s2, 0, rowEnd - rowBegin);
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
