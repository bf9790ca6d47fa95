// Final-run throughput of "blurry" through the real entry point: the
// substitute host's library plays Prepare, Start and Finish against
// PluginMain on an 8-bit RGB 4096 x 4096 picture. The host's reading of the
// picture and its copy of the result are outside the timed loop as far as the
// protocol lets them be (the per-tile cuts at advanceState are inside it).
#include <benchmark/benchmark.h>

#include <sys/resource.h>

#include <string>
#include <vector>

#include "pi/plugin_interface.h"
#include "pihost/host_options.h"
#include "pihost/host_session.h"

extern "C" void PluginMain(int16_t selector, FilterRecord* record, intptr_t* data, int16_t* result);

namespace {

const HostImage& picture() {
  static HostImage image;
  if (image.width == 0) {
    hostImageAllocate(&image, 4096, 4096, 3, false, 8, 0);
    uint32_t state = 1;
    for (size_t i = 0; i < image.bytes.size(); ++i) {
      state = state * 1664525u + 1013904223u;
      size_t pixel = i / 3;
      int32_t x = static_cast<int32_t>(pixel % 4096), y = static_cast<int32_t>(pixel / 4096);
      image.bytes[i] = static_cast<uint8_t>((((x / 40) ^ (y / 56)) & 1) * 160 + (state >> 27) + (x + y) % 64);
    }
  }
  return image;
}

void runOnce(benchmark::State& state, const std::vector<std::string>& arguments) {
  std::vector<const char*> argv = {"bench"};
  for (const auto& a : arguments) argv.push_back(a.c_str());
  argv.push_back("in.png");
  argv.push_back("out.png");
  HostOptions options;
  std::string error;
  if (parseHostOptions(static_cast<int>(argv.size()), argv.data(), &options, &error) != ParseOutcome::Run) {
    state.SkipWithError(error.c_str());
    return;
  }
  double pluginPeakMB = 0;
  for (auto _ : state) {
    state.PauseTiming();
    auto* session = new HostSession;
    if (!hostSessionSetup(session, options, picture(), nullptr, &error)) {
      state.SkipWithError(error.c_str());
      delete session;
      return;
    }
    state.ResumeTiming();
    int16_t result = hostSessionRun(session, PluginMain);
    state.PauseTiming();
    if (result != 0) state.SkipWithError("the filter failed");
    pluginPeakMB = static_cast<double>(session->services.peakBufferBytes) / (1024.0 * 1024.0);
    hostSessionRelease(session);
    delete session;
    state.ResumeTiming();
  }
  const double pixels = 4096.0 * 4096.0;
  state.counters["MP/s"] = benchmark::Counter(pixels / 1e6, benchmark::Counter::kIsIterationInvariantRate);
  // What the plug-in held at most through the host's buffers: the tile, the
  // field planes, the work area and the one-byte stroke plane.
  state.counters["plug-in peak MB"] = pluginPeakMB;
  struct rusage usage;
  getrusage(RUSAGE_SELF, &usage);
  state.counters["peak RSS MB"] = static_cast<double>(usage.ru_maxrss) / 1024.0;
}

void BM_BlurrySmoothing20(benchmark::State& state) {
  runOnce(state, {"--edge-style", "blurry", "--smoothing", "20"});
}
void BM_BlurrySmoothing100(benchmark::State& state) {
  runOnce(state, {"--edge-style", "blurry", "--smoothing", "100"});
}

// Each glue mode against "normal" (mode 1): the final run of "blurry" at
// smoothing 20 with the mode laid in. Compare the MP/s of each row with the
// first; no mode should make the run more than three times slower.
void BM_BlurryGlue(benchmark::State& state) {
  runOnce(state, {"--edge-style", "blurry", "--smoothing", "20", "--glue", std::to_string(state.range(0))});
}

}  // namespace

BENCHMARK(BM_BlurryGlue)->DenseRange(1, 62)->Iterations(2)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_BlurrySmoothing20)->Unit(benchmark::kMillisecond)->MinTime(2.0)->UseRealTime();
BENCHMARK(BM_BlurrySmoothing100)->Unit(benchmark::kMillisecond)->MinTime(2.0)->UseRealTime();
BENCHMARK_MAIN();
