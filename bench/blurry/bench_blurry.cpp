// Final-run throughput of "blurry" through the real entry point: the
// substitute host's library plays Prepare, Start and Finish against
// PluginMain on an 8-bit RGB 4096 x 4096 picture. The host's reading of the
// picture and its copy of the result are outside the timed loop as far as the
// protocol lets them be (advanceState, which lends the picture's rows to the
// plug-in for this picture, is inside it).
#include <benchmark/benchmark.h>

#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#ifdef ML_HAVE_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

#include "pi/plugin_interface.h"
#include "pihost/host_options.h"
#include "pihost/host_session.h"
#include "engine/field_kernels.h"
#include "platform/threads.h"

extern "C" void PluginMain(int16_t selector, FilterRecord* record, intptr_t* data, int16_t* result);

namespace {

// MP/s of each benchmark by name, for the ratios printed at the end.
std::map<std::string, double>& rates() {
  static std::map<std::string, double> r;
  return r;
}

double now() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// The key of a run: what it computes, its smoothing and its threads.
std::string rateKey(const char* what, const benchmark::State& state) {
  return std::string(what) + "/" + std::to_string(state.range(0)) + "/" +
         (state.range(1) == 0 ? std::string("all") : std::to_string(state.range(1)));
}

void noteRate(const std::string& name, double seconds, int64_t iterations) {
  if (seconds > 0) rates()[name] = 4096.0 * 4096.0 * static_cast<double>(iterations) / seconds / 1e6;
}

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

void runOnce(benchmark::State& state, const std::vector<std::string>& arguments, const char* what = nullptr) {
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
  double seconds = 0;
  for (auto _ : state) {
    state.PauseTiming();
    auto* session = new HostSession;
    if (!hostSessionSetup(session, options, picture(), nullptr, &error)) {
      state.SkipWithError(error.c_str());
      delete session;
      return;
    }
    state.ResumeTiming();
    auto start = now();
    int16_t result = hostSessionRun(session, PluginMain);
    seconds += now() - start;
    state.PauseTiming();
    if (result != 0) state.SkipWithError("the filter failed");
    pluginPeakMB = static_cast<double>(session->services.peakBufferBytes) / (1024.0 * 1024.0);
    hostSessionRelease(session);
    delete session;
    state.ResumeTiming();
  }
  if (what) noteRate(rateKey(what, state), seconds, state.iterations());
  const double pixels = 4096.0 * 4096.0;
  state.counters["MP/s"] = benchmark::Counter(pixels / 1e6, benchmark::Counter::kIsIterationInvariantRate);
  // What the plug-in held at most through the host's buffers: the tile, the
  // field planes, the work area and the one-byte stroke plane.
  state.counters["plug-in peak MB"] = pluginPeakMB;
  struct rusage usage;
  getrusage(RUSAGE_SELF, &usage);
  state.counters["peak RSS MB"] = static_cast<double>(usage.ru_maxrss) / 1024.0;
}

// range(0): the smoothing; range(1): threads, 0 for all the cores.
void BM_Blurry(benchmark::State& state) {
  forceRenderThreads(state.range(1) == 0 ? platformCoreCount() : static_cast<int32_t>(state.range(1)));
  runOnce(state, {"--edge-style", "blurry", "--smoothing", std::to_string(state.range(0))}, "ours");
  forceRenderThreads(platformCoreCount());
}

#ifdef ML_HAVE_OPENCV
// The peer: the same picture's luminance through OpenCV's separable Gaussian
// (sigma = smoothing / 10) and Sobel in x and y, in floats or doubles.
// range(0): smoothing; range(1): threads, 0 for OpenCV's default.
template <int Depth>
void BM_OpenCvField(benchmark::State& state) {
  const HostImage& image = picture();
  cv::Mat rgb(4096, 4096, CV_8UC3, const_cast<uint8_t*>(image.bytes.data()));
  cv::Mat grey, smooth, gx, gy;
  cv::cvtColor(rgb, grey, cv::COLOR_RGB2GRAY);
  const int previous = cv::getNumThreads();
  if (state.range(1) != 0) cv::setNumThreads(static_cast<int>(state.range(1)));
  const double sigma = static_cast<double>(state.range(0)) / 10.0;
  double seconds = 0;
  for (auto _ : state) {
    auto start = now();
    cv::Mat wide;
    grey.convertTo(wide, Depth);
    cv::GaussianBlur(wide, smooth, cv::Size(0, 0), sigma);
    cv::Sobel(smooth, gx, Depth, 1, 0);
    cv::Sobel(smooth, gy, Depth, 0, 1);
    seconds += now() - start;
  }
  cv::setNumThreads(previous);
  noteRate(rateKey(Depth == CV_32F ? "float" : "double", state), seconds, state.iterations());
  state.counters["MP/s"] = benchmark::Counter(4096.0 * 4096.0 / 1e6, benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK_TEMPLATE(BM_OpenCvField, CV_32F)->ArgsProduct({{20, 100}, {1, 0}})->Unit(benchmark::kMillisecond)
    ->MinTime(1.0)->UseRealTime();
BENCHMARK_TEMPLATE(BM_OpenCvField, CV_64F)->ArgsProduct({{20, 100}, {1, 0}})->Unit(benchmark::kMillisecond)
    ->MinTime(1.0)->UseRealTime();
#endif

// Our rate against each peer at the same smoothing and thread choice.
void printRatios() {
  for (const auto& [name, rate] : rates()) {
    if (name.rfind("ours/", 0) != 0) continue;
    const std::string args = name.substr(4);
    for (const char* peer : {"float", "double"}) {
      auto it = rates().find(peer + args);
      if (it != rates().end())
        std::printf("blurry%-10s %8.1f MP/s  %5.2fx OpenCV %-6s (%.1f MP/s)\n", args.c_str(), rate, rate / it->second,
                    peer, it->second);
    }
  }
}

// Each glue mode against "normal" (mode 1): the final run of "blurry" at
// smoothing 20 with the mode laid in. Compare the MP/s of each row with the
// first; no mode should make the run more than three times slower.
void BM_BlurryGlue(benchmark::State& state) {
  runOnce(state, {"--edge-style", "blurry", "--smoothing", "20", "--glue", std::to_string(state.range(0))});
}

}  // namespace

BENCHMARK(BM_BlurryGlue)->DenseRange(1, 62)->Iterations(2)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Blurry)->ArgsProduct({{20, 100}, {1, 0}})->Unit(benchmark::kMillisecond)->MinTime(2.0)->UseRealTime();

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  printRatios();
  return 0;
}
