// Cost of each glue mode per pixel, through the same jump table the pixel
// loop uses and with the same way of handing over the top colour. Compare
// each mode against "normal" (mode 1, a call that does nothing) and against
// the per-pixel cost of the rest of the loop.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include "glue/colour_convert.h"
#include "glue/glue_modes.h"
#include "numeric/portable_math.h"

namespace {

constexpr int PIXELS = 64 * 1024;

struct Pixels {
  std::vector<int32_t> top, base;
};

// Deterministic, varied colours from a small linear congruential sequence.
// The base is noise. The top, as in the pixel loop, comes from a ramp of 256
// colours, indexed by a value that wanders slowly like an edge picture.
Pixels makePixels(int depth) {
  const uint32_t range = depth == 16 ? 32769u : 256u;
  uint32_t state = 12345u;
  auto next = [&state] {
    state = state * 1664525u + 1013904223u;
    return state >> 8;
  };
  int32_t ramp[256][3];
  for (int i = 0; i < 256; ++i) {
    // A colourful ramp: three phase-shifted triangles.
    for (int k = 0; k < 3; ++k) {
      int32_t t = (i + 85 * k) % 256;
      int32_t v = t < 128 ? 2 * t : 511 - 2 * t;
      ramp[i][k] = depth == 16 ? (v * 32768) / 255 : v;
    }
  }
  Pixels p;
  p.top.resize(3 * PIXELS);
  p.base.resize(3 * PIXELS);
  int32_t edge = 128;
  for (int i = 0; i < PIXELS; ++i) {
    if (next() % 2 == 0) edge = (edge + int32_t(next() % 5) - 2) & 255;
    for (int k = 0; k < 3; ++k) {
      p.top[3 * i + k] = ramp[edge][k];
      p.base[3 * i + k] = int32_t(next() % range);
    }
  }
  return p;
}

void glueMode(benchmark::State& state) {
  const int mode = int(state.range(0));
  const int depth = int(state.range(1));
  GlueTables tables;
  buildRunTables(tables);
  const Pixels source = makePixels(depth);
  std::vector<int32_t> out(source.top.size());
  const GlueFunction fn = glueFunction(mode, depth);
  for (auto _ : state) {
    // As in the pixel loop: the top colour is stored sample by sample into
    // a small buffer just before the call, and read back after it.
    for (int i = 0; i < PIXELS; ++i) {
      int32_t top[3];
      for (int k = 0; k < 3; ++k) top[k] = source.top[3 * i + k];
      benchmark::DoNotOptimize(top);
      fn(top, &source.base[3 * i], tables);
      for (int k = 0; k < 3; ++k) out[3 * i + k] = top[k];
    }
    benchmark::DoNotOptimize(out.data());
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

// The row forms the pixel loop calls: stretches of 128 pixels, tops
// gathered first, as in the loop. Mode 1 has no row form and copies the
// stretch, the floor the others are measured against.
void glueRow(benchmark::State& state) {
  const int mode = int(state.range(0));
  const int depth = int(state.range(1));
  constexpr int STRETCH = 128;
  GlueTables tables;
  buildRunTables(tables);
  const Pixels source = makePixels(depth);
  std::vector<int32_t> out(source.top.size());
  const GlueRowFunction row = glueRowFunction(mode, depth);
  for (auto _ : state) {
    for (int start = 0; start < PIXELS; start += STRETCH) {
      int32_t* tops = &out[3 * start];
      for (int k = 0; k < 3 * STRETCH; ++k) tops[k] = source.top[3 * start + k];
      if (row) row(tops, &source.base[3 * start], STRETCH, tables);
    }
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * PIXELS);
  state.SetLabel(glueModeName(mode));
}
BENCHMARK(glueRow)->Apply(allModes);

// The floor under "frontal" at 8 bits: the trigonometry it must do for every
// base colour (cosine and sine of the base's hue, the arc tangent of the
// mixed point), with nothing else. Set against "normal" to see how close
// the mode can come.
void frontalTrigonometry(benchmark::State& state) {
  const Pixels source = makePixels(8);
  std::vector<float> hue(PIXELS);
  for (int i = 0; i < PIXELS; ++i) {
    const int32_t* b = &source.base[3 * i];
    hue[i] = rgbToHsl(float(b[0]) / 255.0f, float(b[1]) / 255.0f, float(b[2]) / 255.0f).h;
  }
  for (auto _ : state) {
    float sum = 0.0f;
    for (int i = 0; i < PIXELS; ++i) {
      float angle = float(hue[i] * 6.283185307);
      float x = float(numeric::cosine(angle)) * 0.5f + 0.25f;
      float y = float(numeric::sine(angle)) * 0.5f - 0.125f;
      sum += float(numeric::arcTangent2(y, x));
    }
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * PIXELS);
}
BENCHMARK(frontalTrigonometry);

}  // namespace

BENCHMARK_MAIN();
