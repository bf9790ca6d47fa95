// A 12-megapixel picture through GIMP in batch (one gimp-console session:
// load, plug-in-marrowline, save) against marrowline-host on the same
// picture. The plug-in reports its own steps (MARROWLINE_GIMP_TIMING), so
// the counters show GIMP's part, reading and writing the drawable with the
// shadow merge, as a fraction of the filter's time: with the pixels moved
// before and after the filter, and while it runs through GEGL or over the
// plug-in pipe directly; for a style that walks the picture twice and makes
// its output on the second walk (3, thin/soft) and one that walks once (1).
#include <benchmark/benchmark.h>

#include <sys/resource.h>
#include <sys/wait.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>

#include "tests/e2e/host_runner.h"
#include "tests/gimp/gimp_session.h"

namespace {

namespace fs = std::filesystem;

const std::string& picturePath() {
  static const std::string path = [] {
    const std::string p = fs::absolute(scratchPath("picture-12mp.png")).string();
    writePicture(p, makeTestPicture(4000, 3000, 3, false, 8, 11));
    return p;
  }();
  return path;
}

double secondsOf(const std::string& command) {
  const auto start = std::chrono::steady_clock::now();
  const int status = std::system(command.c_str());
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  return (WIFEXITED(status) && WEXITSTATUS(status) == 0) ? seconds : -1.0;
}

void BM_HostProgram12MP(benchmark::State& state) {
  const std::string in = picturePath();
  const std::string out = scratchPath("host-out.png");
  for (auto _ : state) {
    const double seconds = secondsOf("'" + std::string(ML_NATIVE_BIN) + "/marrowline-host' '" + in + "' '" + out + "'");
    if (seconds < 0) state.SkipWithError("marrowline-host failed");
    state.SetIterationTime(seconds);
  }
}

// The number after `name` among the steps of the plug-in's line
// ("marrowline-gimp: read 12 ms, filter 370 ms, ...; notes").
double stepMs(const std::string& log, const std::string& name) {
  const std::string head = "marrowline-gimp: ";
  const size_t line = log.rfind(head);
  if (line == std::string::npos) return -1.0;
  const std::string steps = log.substr(line, log.find_first_of(";\n", line) - line);
  for (const std::string& before : {head, std::string(", ")}) {
    const size_t at = steps.find(before + name + " ");
    if (at != std::string::npos) return std::atof(steps.c_str() + at + before.size() + name.size() + 1);
  }
  return -1.0;
}

// The filter's own time in the sequential runs of each style, which the
// streamed runs are weighed against (they run after, in the same minute).
std::map<int64_t, double> sequentialFilterMs;

double childrenCpuMs() {
  rusage usage{};
  getrusage(RUSAGE_CHILDREN, &usage);
  return (double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1e3 +
          double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e3);
}

// First argument 0: the plug-in reads the whole drawable, filters, writes it
// all (MARROWLINE_GIMP_SEQUENTIAL); 1: it moves strips while the filter runs,
// through GEGL (MARROWLINE_GIMP_GEGL); 2: the same over the pipe directly.
// Second argument: the edge style. gimp_share is GIMP's time outside the
// filter over the filter's time, the filter's waits for rows counted as
// GIMP's; share_vs_sequential weighs the whole plug-in against the
// sequential runs' filter, so that a filter slowed by the transfer running
// beside it is not flattered. session_cpu_ms is the CPU time of the whole
// GIMP session (load, filter, save), GIMP's and the plug-in's.
void BM_GimpBatch12MP(benchmark::State& state) {
  const int64_t path = state.range(0);
  const int64_t style = state.range(1);
  const bool streaming = path != 0;
  const std::string dir = fs::absolute(scratchPath("gimp")).string();
  prepareGimpFolder(dir);
  const std::string in = picturePath();
  const std::string out = dir + "/gimp-out.png";
  const std::string script = "(let* ((img (car (file-png-load 1 \"" + in + "\" \"" + in +
                             "\"))) (d (car (gimp-image-get-active-drawable img)))) (plug-in-marrowline 1 img d " +
                             std::to_string(style) + " 20 80 3 1 0 1 45 1 1 0) (file-png-save2 1 img d \"" + out + "\" \"" + out +
                             "\" 0 6 0 0 0 0 0 0 1))";
  const std::string environment =
      std::string("MARROWLINE_GIMP_TIMING=1") +
      (path == 0 ? " MARROWLINE_GIMP_SEQUENTIAL=1" : path == 1 ? " MARROWLINE_GIMP_GEGL=1" : "");
  auto session = [&] { return runGimpSession(dir, environment, "gimp-console-2.10 --no-interface", {script}); };
  // The first start registers the plug-in; it is not what is measured.
  session();
  double read = 0, filter = 0, wait = 0, write = 0, merge = 0, cpu = 0;
  double gimpCpu = 0, filterCpu = 0, transferCpu = 0;
  for (auto _ : state) {
    const auto start = std::chrono::steady_clock::now();
    const double cpuBefore = childrenCpuMs();
    const GimpSession run = session();
    state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    cpu += childrenCpuMs() - cpuBefore;
    if (run.exitCode != 0) state.SkipWithError("gimp-console failed");
    const std::string& log = run.log;
    read += stepMs(log, "read");
    filter += stepMs(log, "filter");
    wait += stepMs(log, "wait");
    write += stepMs(log, "write");
    merge += stepMs(log, "merge");
    gimpCpu += stepMs(log, "GIMP cpu");
    filterCpu += stepMs(log, "filter cpu");
    transferCpu += stepMs(log, "transfer cpu");
  }
  const double n = double(state.iterations());
  const double busy = (filter - wait) / n;
  state.counters["read_ms"] = read / n;
  state.counters["filter_ms"] = filter / n;
  state.counters["wait_ms"] = wait / n;
  state.counters["write_ms"] = write / n;
  state.counters["merge_ms"] = merge / n;
  state.counters["session_cpu_ms"] = cpu / n;
  state.counters["gimp_cpu_ms"] = gimpCpu / n;
  state.counters["transfer_cpu_ms"] = transferCpu / n;
  state.counters["filter_cpu_ms"] = filterCpu / n;
  // Processor time moves little with the machine's load: GIMP's main
  // thread and the plug-in's moving of pixels over the filter's own.
  if (filterCpu > 0) state.counters["cpu_share"] = (gimpCpu + transferCpu) / filterCpu;
  state.counters["gimp_share"] = busy > 0 ? (read + wait + write + merge) / n / busy : 0;
  if (!streaming) sequentialFilterMs[style] = busy;
  const double sequential = sequentialFilterMs[style];
  if (streaming && sequential > 0)
    state.counters["share_vs_sequential"] = ((read + filter + write + merge) / n - sequential) / sequential;
}

BENCHMARK(BM_HostProgram12MP)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_GimpBatch12MP)
    ->ArgsProduct({{0, 1, 2}, {3, 1}})
    ->ArgNames({"path", "style"})
    ->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);

}  // namespace

BENCHMARK_MAIN();
