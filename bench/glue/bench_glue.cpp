// Cost of each glue mode per pixel, through the same jump table the pixel
// loop uses. Compare each mode against "normal" (mode 1, a call that does
// nothing) and against the per-pixel cost of the rest of the loop.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include "glue/glue_modes.h"

namespace {

constexpr int PIXELS = 64 * 1024;

struct Pixels {
  std::vector<int32_t> top, base;
};

// Deterministic, varied colours: a small linear congruential sequence.
Pixels makePixels(int depth) {
  const uint32_t range = depth == 16 ? 32769u : 256u;
  Pixels p;
  p.top.resize(3 * PIXELS);
  p.base.resize(3 * PIXELS);
  uint32_t state = 12345u;
  for (int i = 0; i < 3 * PIXELS; ++i) {
    state = state * 1664525u + 1013904223u;
    p.top[i] = int32_t((state >> 8) % range);
    state = state * 1664525u + 1013904223u;
    p.base[i] = int32_t((state >> 8) % range);
  }
  return p;
}

void glueMode(benchmark::State& state) {
  const int mode = int(state.range(0));
  const int depth = int(state.range(1));
  GlueTables tables;
  buildRunTables(tables);
  const Pixels source = makePixels(depth);
  std::vector<int32_t> top(source.top.size());
  const GlueFunction fn = glueFunction(mode, depth);
  for (auto _ : state) {
    state.PauseTiming();
    top = source.top;
    state.ResumeTiming();
    for (int i = 0; i < PIXELS; ++i) fn(&top[3 * i], &source.base[3 * i], tables);
    benchmark::DoNotOptimize(top.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * PIXELS);
  state.SetLabel(glueModeName(mode));
}

void allModes(benchmark::internal::Benchmark* b) {
  for (int depth : {8, 16})
    for (int mode = 1; mode <= GLUE_MODE_COUNT; ++mode) b->Args({mode, depth});
}

BENCHMARK(glueMode)->Apply(allModes);

}  // namespace

BENCHMARK_MAIN();
