// From the user's last input to the pane's new picture: a click on Flip in
// the open dialog, through the headless window layer, over a 4000 x 3000
// picture at the pane's fit scale. The click runs the whole refresh: the
// controls read back, the render and the host's displayPixels.
#include <benchmark/benchmark.h>

#include <cstring>

#include "dialog/controls.h"
#include "dialog/dialog_stages.h"
#include "glue/glue_modes.h"
#include "platform/posix/headless_window.h"
#include "session/session.h"
#include "tests/region/region_harness.h"

namespace {

const HarnessPicture& benchPicture() {
  static const HarnessPicture picture = makeTestPicture(4000, 3000, 3, 8, false);
  return picture;
}

int32_t styleNumber(const char* name) {
  for (int32_t n = 1; n <= 13; ++n)
    if (std::strcmp(edgeStyleName(n), name) == 0) return n;
  return 0;
}

void refreshAfterClick(benchmark::State& state, const char* styleName) {
  Harness h;
  harnessInit(&h, benchPicture(), Rect{0, 0, 3000, 4000});
  h.record.samplingSupport = 1;
  if (!harnessStart(&h) || styleNumber(styleName) == 0) {
    state.SkipWithError("the plug-in did not start");
    return;
  }
  EdgeParameters* p = harnessParameters(&h);
  p->edgeStyle = styleNumber(styleName);
  p->smoothing = 20;
  p->previewAvailable = 1;
  int32_t shown = 0;
  headlessSetDriver([&](WindowHandle w) {
    const int32_t before = h.displayCalls;
    for (auto _ : state) headlessClick(w, ID_FLIP);
    shown = h.displayCalls - before;
    headlessClick(w, ID_OK);
  });
  runMainDialog(h.session);
  headlessSetDriver(nullptr);
  if (shown != static_cast<int32_t>(state.iterations()) || h.result != 0) state.SkipWithError("no new picture");
  harnessEnd(&h);
}

BENCHMARK_CAPTURE(refreshAfterClick, blurry, "blurry")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(refreshAfterClick, thin_soft, "thin/soft")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(refreshAfterClick, tangled, "tangled")->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
