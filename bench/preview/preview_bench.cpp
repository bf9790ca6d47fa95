// The preview refresh: renderPreview for the dialog's pane (522 x 381) over a
// 4000 x 3000 8-bit RGB picture at its opening scale (8), one style a run.
// The host's cutting of the reduced buffers is part of the figure, as it is
// part of every refresh.
#include <benchmark/benchmark.h>

#include "core/session.h"
#include "dialog/preview_geometry.h"
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

// "blurry" (1) at the default smoothing and at the largest (a sigma of 1.2
// at this scale), "thin/soft" (3) and "tangled" (7) at the default.
BENCHMARK(previewRefresh)
    ->ArgNames({"style", "smoothing"})
    ->Args({1, 20})
    ->Args({1, 100})
    ->Args({3, 20})
    ->Args({7, 20})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
