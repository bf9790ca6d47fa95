// The PSD export of a 4000 x 3000 8-bit RGB picture: the whole
// marrowline-host --export-psd command (PNG in, render, file out), and inside
// the plug-in the file with its render, the file of a blank picture, and the
// render alone, so that the writer's share of an export shows.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <string>

#include "export/psd_file.h"
#include "pihost/host_image.h"
#include "pihost/host_program.h"
#include "pihost/png_io.h"
#include "session/session.h"
#include "region/region.h"
#include "tests/region/region_harness.h"

namespace {

constexpr int32_t WIDTH = 4000, HEIGHT = 3000;

std::string scratch(const char* name) {
  return (std::filesystem::temp_directory_path() / (std::string("marrowline-bench-") + name)).string();
}

const HarnessPicture& benchPicture() {
  static const HarnessPicture picture = makeTestPicture(WIDTH, HEIGHT, 3, 8, false);
  return picture;
}

void exportCommand(benchmark::State& state) {
  const std::string input = scratch("in.png"), output = scratch("out.psd");
  HostImage image;
  image.width = WIDTH, image.height = HEIGHT, image.colorPlanes = 3, image.depth = 8;
  image.bytes.assign(benchPicture().samples.begin(), benchPicture().samples.end());
  std::string error;
  if (!writePngImage(input, image, &error)) {
    state.SkipWithError(error.c_str());
    return;
  }
  const char* argv[] = {"marrowline-host", "--edge-style", "chrome", "--export-psd", input.c_str(), output.c_str()};
  for (auto _ : state) {
    if (runHostProgram(6, argv) != 0) state.SkipWithError("the export failed");
  }
  std::remove(input.c_str());
  std::remove(output.c_str());
}

void noRender(FilterSession*) {}

// The plug-in started on the picture, set for an off-screen "chrome" render.
bool startExport(Harness* h, benchmark::State& state) {
  harnessInit(h, benchPicture(), Rect{0, 0, HEIGHT, WIDTH});
  if (!harnessStart(h)) {
    state.SkipWithError("the plug-in did not start");
    return false;
  }
  harnessParameters(h)->edgeStyle = 4;
  harnessParameters(h)->renderTarget = 2;
  h->session->work->exportTarget = &h->session->work->offscreenImage;
  return true;
}

// state.range(0): 1 renders as the export does, 0 writes the file of a
// blank picture only.
void psdFile(benchmark::State& state) {
  Harness h;
  if (!startExport(&h, state)) return;
  PsdJob job;
  makePsdJob(&job, h.session);
  const std::string output = scratch("file.psd");
  for (auto _ : state) {
    if (writePsdFile(h.session, output.c_str(), &job, state.range(0) ? renderToTarget : noRender) != 0)
      state.SkipWithError("the file was not written");
  }
  std::remove(output.c_str());
  harnessEnd(&h);
}

// The render alone into the same picture, for the writer's share: the file
// with its render less this.
void renderOnly(benchmark::State& state) {
  Harness h;
  if (!startExport(&h, state)) return;
  FilterWorkArea* work = h.session->work;
  for (auto _ : state) {
    if (!pixelMapCreate(&work->offscreenImage, WIDTH, HEIGHT, PIXEL_RGBA8, -1)) state.SkipWithError("no picture");
    pixelMapFillBytes(&work->offscreenImage, 0, 0);
    renderToTarget(h.session);
    pixelMapFree(&work->offscreenImage);
  }
  harnessEnd(&h);
}

BENCHMARK(exportCommand)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(psdFile)->ArgName("render")->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(renderOnly)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

}  // namespace

BENCHMARK_MAIN();
