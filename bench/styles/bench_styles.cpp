// Final-run throughput of each edge style, in megapixels per second: the
// plug-in module, loaded by the substitute host, filters an 8-bit RGB
// picture of 4096 x 4096 with smoothing 20 and glue "normal". The time is
// that of the host's whole run (Prepare, Start with the tile walk and, for
// the stroke styles, the second walk, Finish), host buffer copies included;
// setting up and releasing the host's session are not timed.
#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <vector>

#include "pihost/host_image.h"
#include "pihost/host_options.h"
#include "pihost/host_session.h"
#include "pihost/plugin_module.h"

namespace {

constexpr int32_t SIDE = 4096;

const HostImage& picture() {
  static HostImage image = [] {
    HostImage p;
    hostImageAllocate(&p, SIDE, SIDE, 3, false, 8, 0);
    for (int32_t y = 0; y < SIDE; ++y)
      for (int32_t x = 0; x < SIDE; ++x) {
        int32_t dx = x - 2000, dy = y - 2100;
        int32_t ring = ((dx * dx + dy * dy) / 5000) & 1 ? 190 : 50;
        int32_t texture = ((x * 7 + y * 13) ^ (x * y)) & 31;
        for (int32_t k = 0; k < 3; ++k) setHostSample(&p, x, y, k, static_cast<uint16_t>(ring + texture + 10 * k));
      }
    return p;
  }();
  return image;
}

PluginEntryProc pluginEntry() {
  static PluginModule module;
  static bool loaded = [] {
    std::string error;
    return loadPluginModule(ML_PLUGIN_MODULE, &module, &error);
  }();
  return loaded ? module.entry : nullptr;
}

void styleThroughput(benchmark::State& state) {
  PluginEntryProc entry = pluginEntry();
  if (entry == nullptr) {
    state.SkipWithError("the plug-in module did not load");
    return;
  }
  const std::string style = std::to_string(state.range(0));
  std::vector<std::string> args = {"bench", "--edge-style", style, "--smoothing", "20", "--glue", "normal",
                                   "in.png", "out.png"};
  std::vector<const char*> argv;
  for (const std::string& a : args) argv.push_back(a.c_str());
  HostOptions options;
  std::string error;
  if (parseHostOptions(static_cast<int>(argv.size()), argv.data(), &options, &error) != ParseOutcome::Run) {
    state.SkipWithError(error.c_str());
    return;
  }
  const HostImage& source = picture();
  for (auto _ : state) {
    state.PauseTiming();
    auto session = std::make_unique<HostSession>();
    hostSessionSetup(session.get(), options, source, nullptr, &error);
    state.ResumeTiming();
    int16_t result = hostSessionRun(session.get(), entry);
    state.PauseTiming();
    if (result != 0) state.SkipWithError("the run failed");
    hostSessionRelease(session.get());
    session.reset();
    state.ResumeTiming();
  }
  const double megapixels = static_cast<double>(SIDE) * SIDE / 1e6;
  state.counters["MP/s"] =
      benchmark::Counter(megapixels * static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}

}  // namespace

BENCHMARK(styleThroughput)->DenseRange(1, 13)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(2);

BENCHMARK_MAIN();
