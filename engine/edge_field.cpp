#include "engine/edge_field.h"

#include <emmintrin.h>

#include <atomic>
#include <cstring>
#include <thread>
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
// A run lends the 80 rows after its start to the run above, so every run but
// the last holds at least that many.
constexpr int32_t MIN_RUN_ROWS = 80;
constexpr int32_t MAX_RUNS = 64;

// The tile is cut into runs of gradient rows, one per thread. A run writes
// the rows of every plane from its first gradient row up to the next run's
// (the last run to each plane's end), walking them band by band: source rows,
// then the smoothed rows they allow, then the gradient rows. The rows a run
// reads below its own are the next run's first 80 source and 40 smoothed
// rows, which that run writes before anything else and then announces.
struct FieldJob {
  const FieldKernels& passes;
  uint16_t selector;
  const PixelMap* tile;
  double* source;
  int32_t t;
  const double *g, *d;
  int32_t n;
  double *smoothedDown, *smoothedAcross, *gradientX, *gradientY;
  int32_t rows0, rows1, rows2;  // rows written of source, smoothed and gradient planes
  FieldRowsDone rowsDone;
  void* rowsDoneContext;
  int32_t runs;
  int32_t runStart[MAX_RUNS + 1];
  std::atomic<int32_t> headReady[MAX_RUNS];
};

void takeSourceRows(const FieldJob& job, int32_t begin, int32_t end) {
  const size_t first = static_cast<size_t>(begin) * job.t, count = static_cast<size_t>(end - begin) * job.t;
  if (job.tile->format == PIXEL_RGBA8)
    job.passes.sourceBytes(job.selector, job.tile->pixels + first * 4, count, job.source + first);
  else
    takeSourceSamples<uint16_t>(job.selector, reinterpret_cast<const uint16_t*>(job.tile->pixels) + first * 4, count,
                                job.source + first);
}

// The next run started before this one (see fieldRun), so its head is
// written or being written; the wait is short and almost never happens.
void waitForHead(const FieldJob& job, int32_t run) {
  for (int32_t round = 0; job.headReady[run].load(std::memory_order_acquire) == 0; ++round) {
    if (round < 1000)
      _mm_pause();
    else
      std::this_thread::yield();
  }
}

struct RunCursor {
  int32_t sourceDone, smoothDone;     // rows written so far
  int32_t sourceOwned, smoothOwned;   // this run's rows end here
  bool belowReady;                    // the next run's head may be read
};

// Writes the smoothed rows before `smoothEnd` that this run owns, and the
// source rows they read.
void extendRun(const FieldJob& job, int32_t run, RunCursor* cursor, int32_t smoothEnd) {
  if (smoothEnd > cursor->smoothOwned) smoothEnd = cursor->smoothOwned;
  int32_t sourceEnd = smoothEnd + 40 < cursor->sourceOwned ? smoothEnd + 40 : cursor->sourceOwned;
  if (sourceEnd > cursor->sourceDone) {
    takeSourceRows(job, cursor->sourceDone, sourceEnd);
    cursor->sourceDone = sourceEnd;
  }
  if (smoothEnd <= cursor->smoothDone) return;
  if (smoothEnd + 40 > cursor->sourceOwned && !cursor->belowReady) {
    waitForHead(job, run + 1);
    cursor->belowReady = true;
  }
  job.passes.smoothRows(job.source, job.t, job.g, job.n, job.smoothedDown, job.smoothedAcross, cursor->smoothDone,
                        smoothEnd);
  cursor->smoothDone = smoothEnd;
}

void fieldRun(void* context, int32_t part) {
  FieldJob& job = *static_cast<FieldJob*>(context);
  // Parts are taken in order, so the runs start from the bottom: a run only
  // ever waits for one that some thread has already begun.
  const int32_t run = job.runs - 1 - part;
  const bool last = run == job.runs - 1;
  const int32_t begin = job.runStart[run], end = job.runStart[run + 1];
  RunCursor cursor{begin, begin, last ? job.rows0 : end, last ? job.rows1 : end, last};
  extendRun(job, run, &cursor, begin + 40);
  job.headReady[run].store(1, std::memory_order_release);
  for (int32_t rowBegin = begin; rowBegin < end; rowBegin += FIELD_BAND_ROWS) {
    const int32_t rowEnd = rowBegin + FIELD_BAND_ROWS < end ? rowBegin + FIELD_BAND_ROWS : end;
    extendRun(job, run, &cursor, rowEnd + 40);
    if (rowEnd + 40 > cursor.smoothOwned && !cursor.belowReady) {
      waitForHead(job, run + 1);
      cursor.belowReady = true;
    }
    job.passes.slopeRows(job.smoothedDown, job.smoothedAcross, job.t - 40, job.d, job.n, job.gradientX,
                         job.gradientY, rowBegin, rowEnd);
    if (job.rowsDone) job.rowsDone(job.rowsDoneContext, rowBegin, rowEnd);
  }
  // Rows no gradient row reads (a tile too small for any) are still written.
  extendRun(job, run, &cursor, cursor.smoothOwned);
  if (cursor.sourceDone < cursor.sourceOwned) {
    takeSourceRows(job, cursor.sourceDone, cursor.sourceOwned);
    cursor.sourceDone = cursor.sourceOwned;
  }
}

// Without source and smoothed planes to fill, a run keeps the rows it still
// needs of both in windows of its own thread, small enough to stay in that
// core's cache: it computes the rows its bands read below the run itself,
// and when a window is full, moves its last rows (the 40 the next band
// still reads) to the top.
constexpr int32_t WINDOW_BANDS = 8;

struct FieldWindow {
  std::vector<double> source, down, across;
};

// Per thread slot, grown by the calling thread before a job; kept for the
// process, bounded by the largest tile.
std::vector<FieldWindow>& fieldWindows() {
  static std::vector<FieldWindow> windows;
  return windows;
}

int32_t sourceWindowRows() { return 80 + WINDOW_BANDS * FIELD_BAND_ROWS; }
int32_t smoothWindowRows() { return 40 + WINDOW_BANDS * FIELD_BAND_ROWS; }

void prepareWindows(int32_t slots, int32_t t) {
  std::vector<FieldWindow>& windows = fieldWindows();
  if (static_cast<int32_t>(windows.size()) < slots) windows.resize(static_cast<size_t>(slots));
  const size_t sourceSize = static_cast<size_t>(sourceWindowRows()) * t;
  const size_t smoothSize = static_cast<size_t>(smoothWindowRows()) * (t - 40);
  for (int32_t slot = 0; slot < slots; ++slot) {
    FieldWindow& w = windows[static_cast<size_t>(slot)];
    if (w.source.size() < sourceSize) w.source.resize(sourceSize);
    if (w.down.size() < smoothSize) w.down.resize(smoothSize), w.across.resize(smoothSize);
  }
}

void moveRowsToTop(double* window, size_t stride, int32_t fromRow, int32_t rows) {
  if (fromRow > 0 && rows > 0)
    std::memmove(window, window + static_cast<size_t>(fromRow) * stride, static_cast<size_t>(rows) * stride * sizeof(double));
}

void fieldRunInWindows(void* context, int32_t run) {
  const FieldJob& job = *static_cast<const FieldJob*>(context);
  FieldWindow& w = fieldWindows()[static_cast<size_t>(platformWorkerSlot())];
  const int32_t t = job.t, s1 = t - 40, s2 = t - 80;
  const int32_t begin = job.runStart[run], end = job.runStart[run + 1];
  // The windows hold source rows [sourceBase, sourceDone) and smoothed rows
  // [smoothBase, smoothDone) of the planes the passes would have written.
  int32_t sourceBase = begin, sourceDone = begin, smoothBase = begin, smoothDone = begin;
  for (int32_t rowBegin = begin; rowBegin < end; rowBegin += FIELD_BAND_ROWS) {
    const int32_t rowEnd = rowBegin + FIELD_BAND_ROWS < end ? rowBegin + FIELD_BAND_ROWS : end;
    const int32_t smoothEnd = rowEnd + 40, sourceEnd = smoothEnd + 40;  // within rows1 and rows0
    if (sourceEnd - sourceBase > sourceWindowRows()) {
      moveRowsToTop(w.source.data(), t, smoothDone - sourceBase, sourceDone - smoothDone);
      sourceBase = smoothDone;
    }
    if (smoothEnd - smoothBase > smoothWindowRows()) {
      moveRowsToTop(w.down.data(), s1, rowBegin - smoothBase, smoothDone - rowBegin);
      moveRowsToTop(w.across.data(), s1, rowBegin - smoothBase, smoothDone - rowBegin);
      smoothBase = rowBegin;
    }
    double* sourceRows = w.source.data() + static_cast<size_t>(sourceDone - sourceBase) * t;
    if (job.tile->format == PIXEL_RGBA8)
      job.passes.sourceBytes(job.selector, job.tile->pixels + static_cast<size_t>(sourceDone) * t * 4,
                             static_cast<size_t>(sourceEnd - sourceDone) * t, sourceRows);
    else
      takeSourceSamples<uint16_t>(job.selector,
                                  reinterpret_cast<const uint16_t*>(job.tile->pixels) + static_cast<size_t>(sourceDone) * t * 4,
                                  static_cast<size_t>(sourceEnd - sourceDone) * t, sourceRows);
    sourceDone = sourceEnd;
    const size_t smoothAt = static_cast<size_t>(smoothDone - smoothBase) * s1;
    job.passes.smoothRows(w.source.data() + static_cast<size_t>(smoothDone - sourceBase) * t, t, job.g, job.n,
                          w.down.data() + smoothAt, w.across.data() + smoothAt, 0, smoothEnd - smoothDone);
    smoothDone = smoothEnd;
    const size_t slopeAt = static_cast<size_t>(rowBegin - smoothBase) * s1;
    job.passes.slopeRows(w.down.data() + slopeAt, w.across.data() + slopeAt, s1, job.d, job.n,
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
  const int32_t s1 = t - 40;  // side of the smoothed planes
  const int32_t s2 = t - 80;  // side of the gradient planes
  const int32_t coreRows = request.coreRows;
  // Rows of each plane that the core's rows need: the styles read field rows
  // 0 .. coreRows + 1, each pass reaches 20 rows further.
  int32_t rows2 = coreRows < s2 - 2 ? (coreRows < 0 ? 0 : coreRows) + 2 : s2;
  if (rows2 < 0) rows2 = 0;
  const int32_t rows1 = rows2 + 40 < s1 ? rows2 + 40 : s1;
  const int32_t rows0 = rows1 + 40 < t ? rows1 + 40 : t;
  uint16_t selector = request.sourceSelector;
  if (selector != SOURCE_LUMINANCE && selector > 2) selector = SOURCE_LUMINANCE;
  // Both passes at the run's vector width, over runs of rows on the
  // threads; every sample is computed alone, so neither the width nor the
  // cut into runs and bands changes a bit.
  FieldJob job{activeFieldKernels(), selector, request.tile, request.source, t, request.kernels->smoothTaps,
               request.kernels->slopeTaps, request.kernels->tapCount, request.smoothedDown, request.smoothedAcross,
               request.gradientX, request.gradientY, rows0, rows1, rows2, rowsDone, rowsDoneContext, 1, {}, {}};
  const int32_t threads = renderThreads();
  const bool inWindows = request.source == nullptr;
  // Planes to fill: the last run also writes the 40 rows past the gradient
  // rows of the smoothed planes, so it takes 20 gradient rows fewer to even
  // the work. Windows: every run computes the rows below it that it reads.
  const int32_t span = inWindows ? rows2 : rows2 + 20;
  int32_t runs = (rows2 + 20) / MIN_RUN_ROWS;
  if (runs > threads) runs = threads;
  if (runs > MAX_RUNS) runs = MAX_RUNS;
  if (runs < 1) runs = 1;
  job.runs = runs;
  for (int32_t run = 0; run < runs; ++run) {
    job.runStart[run] = static_cast<int32_t>(static_cast<int64_t>(span) * run / runs);
    job.headReady[run].store(0, std::memory_order_relaxed);
  }
  job.runStart[runs] = rows2;
  if (inWindows) {
    if (rows2 <= 0) return;
    prepareWindows(runs, t);
    platformRunParts(fieldRunInWindows, &job, runs, runs);
  } else {
    platformRunParts(fieldRun, &job, runs, runs);
  }
}
