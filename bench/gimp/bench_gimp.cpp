// A 12-megapixel picture through GIMP in batch (one gimp-console session:
// load, plug-in-marrowline, save) against marrowline-host on the same
// picture. The plug-in reports its own steps (MARROWLINE_GIMP_TIMING), so
// the counters show GIMP's part, reading and writing the drawable with the
// shadow merge, as a fraction of the filter's time.
#include <benchmark/benchmark.h>

#include <sys/wait.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
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

// The number before " ms" after `name` in the plug-in's line.
double stepMs(const std::string& log, const std::string& name) {
  const size_t at = log.rfind(name + " ");
  return at == std::string::npos ? -1.0 : std::atof(log.c_str() + at + name.size() + 1);
}

void BM_GimpBatch12MP(benchmark::State& state) {
  const std::string dir = fs::absolute(scratchPath("gimp")).string();
  prepareGimpFolder(dir);
  const std::string in = picturePath();
  const std::string out = dir + "/gimp-out.png";
  const std::string script = "(let* ((img (car (file-png-load 1 \"" + in + "\" \"" + in +
                             "\"))) (d (car (gimp-image-get-active-drawable img)))) (plug-in-marrowline 1 img d 3 20 "
                             "80 3 1 0 1 45 1 1 0) (file-png-save2 1 img d \"" + out + "\" \"" + out +
                             "\" 0 6 0 0 0 0 0 0 1))";
  auto session = [&] {
    return runGimpSession(dir, "MARROWLINE_GIMP_TIMING=1", "gimp-console-2.10 --no-interface", {script});
  };
  // The first start registers the plug-in; it is not what is measured.
  session();
  double read = 0, filter = 0, write = 0, merge = 0;
  for (auto _ : state) {
    const auto start = std::chrono::steady_clock::now();
    const GimpSession run = session();
    state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    if (run.exitCode != 0) state.SkipWithError("gimp-console failed");
    const std::string& log = run.log;
    read += stepMs(log, "read");
    filter += stepMs(log, "filter");
    write += stepMs(log, "write");
    merge += stepMs(log, "merge");
  }
  const double n = double(state.iterations());
  state.counters["read_ms"] = read / n;
  state.counters["filter_ms"] = filter / n;
  state.counters["write_ms"] = write / n;
  state.counters["merge_ms"] = merge / n;
  state.counters["gimp_share"] = filter > 0 ? (read + write + merge) / filter : 0;
}

BENCHMARK(BM_HostProgram12MP)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_GimpBatch12MP)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);

}  // namespace

BENCHMARK_MAIN();
