// The Windows module picks its vector width and threads at run time as the
// native one does; under wine every width it offers must give the native
// scalar single-threaded bytes.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "engine/field_kernels.h"
#include "tests/e2e/host_runner.h"

namespace {

void chooseRun(const char* level, int32_t threads) {
  setenv("MARROWLINE_SIMD", level, 1);
  setenv("MARROWLINE_THREADS", std::to_string(threads).c_str(), 1);
}

TEST(WineWidths, EveryWidthAndThreadCountGivesTheScalarBytes) {
  if (!windowsBuildPresent()) GTEST_SKIP() << "no Windows build in build/win64/bin";
  struct Case {
    const char* name;
    int32_t colorPlanes, depth;
    bool alpha;
    std::vector<std::string> options;
  };
  const std::vector<Case> cases = {
      {"widths-thin-soft-rgba8", 3, 8, true, {"--edge-style", "thin/soft", "--smoothing", "12"}},
      {"widths-thin-hard-grey16", 1, 16, false, {"--edge-style", "thin/hard", "--glue", "screen"}},
      {"widths-blurry-rgba8", 3, 8, true, {"--edge-style", "blurry", "--smoothing", "63"}},
      {"widths-scribble-grey16", 1, 16, false, {"--edge-style", "scribble", "--glue", "overlay"}},
      {"widths-racetrack-rgb8", 3, 8, false, {"--edge-style", "racetrack", "--glue", "hue"}},
      {"widths-chrome-rgb16", 3, 16, false, {"--edge-style", "chrome", "--remove-noise", "1", "--chrome-style", "sine"}},
      {"widths-halo-grey8", 1, 8, false, {"--edge-style", "halo", "--tweaker", "70"}},
      {"widths-splotchy-rgba16", 3, 16, true, {"--edge-style", "splotchy", "--glue", "multiply"}},
      {"widths-blurry-frontal-rgb16", 3, 16, false, {"--edge-style", "blurry", "--glue", "frontal"}},
  };
  for (const Case& c : cases) {
    const std::string in = scratchPath(std::string(c.name) + "-in.png");
    const std::string native = scratchPath(std::string(c.name) + "-native.png");
    writePicture(in, makeTestPicture(269, 301, c.colorPlanes, c.alpha, c.depth, 5));
    chooseRun("scalar", 1);
    HostRun reference = runHost(c.options, in, native);
    ASSERT_EQ(reference.exitCode, 0) << c.name << ": " << reference.errorText;
    const HostImage expected = readPicture(native);
    for (int32_t level = SIMD_SSE2; level <= widestSimdLevel(); ++level)
      for (int32_t threads : {1, 3}) {
        const std::string windows = scratchPath(std::string(c.name) + "-windows.png");
        std::remove(windows.c_str());
        chooseRun(simdLevelName(static_cast<SimdLevel>(level)), threads);
        HostRun run = runWindowsHost(c.options, in, windows);
        ASSERT_EQ(run.exitCode, 0) << c.name << ": " << run.errorText;
        EXPECT_TRUE(hostImagesEqual(readPicture(windows), expected))
            << c.name << " at " << simdLevelName(static_cast<SimdLevel>(level)) << " on " << threads << " threads";
      }
  }
  unsetenv("MARROWLINE_SIMD");
  unsetenv("MARROWLINE_THREADS");
}

}  // namespace
