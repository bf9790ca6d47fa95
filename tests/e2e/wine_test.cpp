// The Windows module under wine must give the same bytes as the native one:
// the render path is exact arithmetic on both builds.
#include <gtest/gtest.h>

#include <cstdio>

#include "tests/e2e/host_runner.h"

namespace {

struct WineCase {
  const char* name;
  int32_t colorPlanes, depth;
  bool alpha;
  std::vector<std::string> options;
};

TEST(WindowsBuild, SameBytesAsTheNativeBuild) {
  if (!windowsBuildPresent()) GTEST_SKIP() << "no Windows build in build/win64/bin";
  const std::vector<WineCase> cases = {
      {"blurry-rgb8", 3, 8, false, {"--edge-style", "blurry", "--smoothing", "37"}},
      {"blurry-grey16", 1, 16, false, {"--edge-style", "blurry", "--smoothing", "100", "--tweaker", "100"}},
      {"blurry-rgba8-mask", 3, 8, true, {"--edge-style", "blurry", "--selection", "10,20,290,250"}},
      {"thin-soft-rgb16", 3, 16, false, {"--edge-style", "thin/soft", "--glue", "overlay"}},
      {"chrome-rgb8", 3, 8, false, {"--edge-style", "chrome", "--chrome-style", "sine", "--angle", "130"}},
      {"tangled-rgb8", 3, 8, false, {"--edge-style", "tangled", "--glue", "hue"}},
      {"splotchy-grey8", 1, 8, false, {"--edge-style", "splotchy", "--glue", "luminance", "--colorize", "1",
                                       "--fore", "250,200,10", "--back", "0,20,90"}},
      {"scribble-rgb8", 3, 8, false, {"--edge-style", "scribble", "--glue", "color"}},
  };
  for (const auto& c : cases) {
    HostImage input = makeTestPicture(300, 260, c.colorPlanes, c.alpha, c.depth, 21);
    std::string in = scratchPath(std::string(c.name) + "-in.png");
    std::string native = scratchPath(std::string(c.name) + "-native.png");
    std::string windows = scratchPath(std::string(c.name) + "-windows.png");
    writePicture(in, input);
    std::remove(windows.c_str());
    HostRun a = runHost(c.options, in, native);
    ASSERT_EQ(a.exitCode, 0) << c.name << ": " << a.errorText;
    HostRun b = runWindowsHost(c.options, in, windows);
    ASSERT_EQ(b.exitCode, 0) << c.name << ": " << b.errorText;
    HostImage x = readPicture(native), y = readPicture(windows);
    EXPECT_EQ(x.width, y.width) << c.name;
    EXPECT_EQ(x.depth, y.depth) << c.name;
    EXPECT_TRUE(hostImagesEqual(x, y)) << c.name << ": the Windows build's pixels differ";
  }
}

}  // namespace

namespace {

// The Windows host reads and writes TIFF and JPEG with the libraries built
// from Debian's sources, byte for byte as the native host does.
TEST(WindowsBuild, TiffAndJpegFilesAsTheNativeBuild) {
  if (!windowsBuildPresent()) GTEST_SKIP() << "no Windows build in build/win64/bin";
  const std::string png = scratchPath("wine-formats.png");
  writePicture(png, makeTestPicture(120, 90, 3, true, 16, 23));
  for (const std::string extension : {".tif", ".jpg"}) {
    const std::string in = scratchPath("wine-formats-in" + extension);
    ASSERT_EQ(runHost({"--edge-style", "14"}, png, in).exitCode, 0);  // a plain conversion
    const std::string native = scratchPath("wine-formats-native" + extension);
    const std::string windows = scratchPath("wine-formats-windows" + extension);
    std::remove(windows.c_str());
    ASSERT_EQ(runHost({"--edge-style", "chrome"}, in, native).exitCode, 0) << extension;
    HostRun run = runWindowsHost({"--edge-style", "chrome"}, in, windows);
    ASSERT_EQ(run.exitCode, 0) << extension << ": " << run.errorText;
    EXPECT_EQ(fileBytes(native), fileBytes(windows)) << extension;
  }
}

}  // namespace
