// The preview refresh: renderPreview for the dialog's pane (522 x 381) over a
// 4000 x 3000 8-bit RGB picture at its opening scale (8), for every style.
// The host's cutting of the reduced buffers is part of the figure, as it is
// part of every refresh.
#include <benchmark/benchmark.h>

#include "session/session.h"
#include "region/preview_geometry.h"
#include "tests/region/region_harness.h"

namespace {

const HarnessPicture& benchPicture() {
  static const HarnessPicture picture = makeTestPicture(4000, 3000, 3, 8, false);
  return picture;
}

void previewRefresh(benchmark::State& state) {
  Harness h;
  harnessInit(&h, benchPicture(), Rect{0, 0, 3000, 4000});
  if (!harnessStart(&h)) {
    state.SkipWithError("the plug-in did not start");
    return;
  }
  EdgeParameters* p = harnessParameters(&h);
  p->edgeStyle = static_cast<int32_t>(state.range(0));
  p->smoothing = static_cast<int32_t>(state.range(1));
  p->renderTarget = 1;
  if (!openPreviewGeometry(h.session, previewPaneRect()) || p->scaleDivisor != 8) {
    state.SkipWithError("unexpected opening geometry");
    harnessEnd(&h);
    return;
  }
  for (auto _ : state) {
    renderPreview(h.session);
    benchmark::DoNotOptimize(h.record.outData);
  }
  if (h.result != 0) state.SkipWithError("the render failed");
  harnessEnd(&h);
}

// Every style at the default smoothing, and "blurry" (1) also at the largest
// (a sigma of 1.2 at this scale).
void everyStyle(benchmark::internal::Benchmark* b) {
  for (int32_t style = 1; style <= 13; ++style) b->Args({style, 20});
  b->Args({1, 100});
}

BENCHMARK(previewRefresh)
    ->ArgNames({"style", "smoothing"})
    ->Apply(everyStyle)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
