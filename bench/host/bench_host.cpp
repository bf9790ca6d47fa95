// marrowline-host on a 24-megapixel 8-bit RGB photograph-like picture, in
// each of its file formats: the whole program's wall time and peak memory
// (a child process, measured by wait4), and the same run in process split
// into reading, the filter, and writing, so that the filter's share shows.
#include <benchmark/benchmark.h>

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "pihost/host_options.h"
#include "pihost/host_session.h"
#include "pihost/image_files.h"
#include "pihost/plugin_module.h"

namespace {

constexpr int32_t kWidth = 6000, kHeight = 4000;

std::string scratch(const std::string& name) {
  mkdir(ML_BENCH_SCRATCH, 0755);
  return std::string(ML_BENCH_SCRATCH) + "/" + name;
}

// Smooth light, hard edges and grain, like a photograph: PNG does not
// compress it to nothing, and JPEG has detail to keep.
const std::string& inputFile(const std::string& extension) {
  static std::string paths[3];
  const int slot = extension == ".png" ? 0 : (extension == ".jpg" ? 1 : 2);
  if (paths[slot].empty()) {
    HostImage image;
    hostImageAllocate(&image, kWidth, kHeight, 3, false, 8, 0);
    uint32_t state = 7;
    for (int32_t y = 0; y < kHeight; ++y)
      for (int32_t x = 0; x < kWidth; ++x) {
        state = state * 1664525u + 1013904223u;
        const int32_t grain = int32_t(state >> 28);
        const int32_t block = ((x / 300) + (y / 220)) % 3 == 0 ? 70 : 0;
        for (int32_t p = 0; p < 3; ++p)
          image.bytes[hostSampleIndex(image, x, y, p)] = uint8_t((x / 40 + y / 30 + 50 * p) % 160 + block + grain);
      }
    paths[slot] = scratch("photo" + extension);
    std::string error;
    if (!writeImageFile(paths[slot], image, &error)) paths[slot].clear();
  }
  return paths[slot];
}

double secondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// The program as a user runs it; wall time and the child's peak resident set.
void programRun(benchmark::State& state, const std::string& extension) {
  const std::string input = inputFile(extension);
  if (input.empty()) {
    state.SkipWithError("cannot write the picture");
    return;
  }
  const std::string output = scratch("out" + extension);
  const std::string host = std::string(ML_NATIVE_BIN) + "/marrowline-host";
  double peakMB = 0;
  for (auto _ : state) {
    const pid_t child = fork();
    if (child == 0) {
      execl(host.c_str(), host.c_str(), "--edge-style", "blurry", input.c_str(), output.c_str(), (char*)nullptr);
      _exit(127);
    }
    int status = 0;
    struct rusage usage {};
    wait4(child, &status, 0, &usage);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) state.SkipWithError("marrowline-host failed");
    peakMB = double(usage.ru_maxrss) / 1024.0;
  }
  state.counters["peak MB"] = peakMB;
  state.counters["picture MB"] = double(kWidth) * kHeight * 3 / (1024.0 * 1024.0);
}

// The same steps in process, timed one by one.
void phases(benchmark::State& state, const std::string& extension) {
  const std::string input = inputFile(extension);
  PluginModule module;
  std::string error;
  if (input.empty() || !loadPluginModule(std::string(ML_NATIVE_BIN) + "/Marrowline.so", &module, &error)) {
    state.SkipWithError("no picture or no module");
    return;
  }
  const char* argv[] = {"bench", "--edge-style", "blurry", "in", "out"};
  HostOptions options;
  parseHostOptions(5, argv, &options, &error);
  double readS = 0, filterS = 0, writeS = 0;
  for (auto _ : state) {
    auto start = std::chrono::steady_clock::now();
    HostImage picture;
    if (!readImageFile(input, &picture, &error)) state.SkipWithError(error.c_str());
    readS = secondsSince(start);
    start = std::chrono::steady_clock::now();
    auto session = std::make_unique<HostSession>();
    hostSessionSetup(session.get(), options, std::move(picture), nullptr, &error);
    if (hostSessionRun(session.get(), module.entry) != 0) state.SkipWithError("the filter failed");
    hostSessionComposeInPlace(session.get());
    filterS = secondsSince(start);
    start = std::chrono::steady_clock::now();
    if (!writeImageFile(scratch("phases" + extension), session->filtered, &error)) state.SkipWithError(error.c_str());
    writeS = secondsSince(start);
    hostSessionRelease(session.get());
  }
  unloadPluginModule(&module);
  state.counters["read s"] = readS;
  state.counters["filter s"] = filterS;
  state.counters["write s"] = writeS;
  state.counters["filter share %"] = 100.0 * filterS / (readS + filterS + writeS);
}

void BM_ProgramPng(benchmark::State& s) { programRun(s, ".png"); }
void BM_ProgramJpeg(benchmark::State& s) { programRun(s, ".jpg"); }
void BM_ProgramTiff(benchmark::State& s) { programRun(s, ".tif"); }
void BM_PhasesPng(benchmark::State& s) { phases(s, ".png"); }
void BM_PhasesJpeg(benchmark::State& s) { phases(s, ".jpg"); }
void BM_PhasesTiff(benchmark::State& s) { phases(s, ".tif"); }

}  // namespace

BENCHMARK(BM_ProgramPng)->Unit(benchmark::kMillisecond)->Iterations(1)->UseRealTime();
BENCHMARK(BM_ProgramJpeg)->Unit(benchmark::kMillisecond)->Iterations(1)->UseRealTime();
BENCHMARK(BM_ProgramTiff)->Unit(benchmark::kMillisecond)->Iterations(1)->UseRealTime();
BENCHMARK(BM_PhasesPng)->Unit(benchmark::kMillisecond)->Iterations(1)->UseRealTime();
BENCHMARK(BM_PhasesJpeg)->Unit(benchmark::kMillisecond)->Iterations(1)->UseRealTime();
BENCHMARK(BM_PhasesTiff)->Unit(benchmark::kMillisecond)->Iterations(1)->UseRealTime();

BENCHMARK_MAIN();
