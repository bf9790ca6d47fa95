// The whole marrowline-host program, run in process on PNG files with the
// stand-in filter module: exit statuses, messages, and the files it writes.
#include <gtest/gtest.h>

#include <sys/resource.h>
#include <sys/stat.h>

#include <cstdio>
#include <fstream>
#include <initializer_list>
#include <sstream>

#include "pihost/host_program.h"
#include "pihost/png_io.h"

namespace {

std::string scratch(const std::string& name) {
  static bool made = false;
  if (!made) {
    mkdir(ML_TEST_SCRATCH, 0755);
    made = true;
  }
  return std::string(ML_TEST_SCRATCH) + "/" + name;
}

bool exists(const std::string& path) {
  struct stat s;
  return stat(path.c_str(), &s) == 0;
}

std::string readText(const std::string& path) {
  std::ifstream in(path);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

HostImage picture(int32_t colorPlanes, bool alpha, int32_t depth) {
  HostImage image;
  hostImageAllocate(&image, 50, 40, colorPlanes, alpha, depth, 0);
  const int32_t top = imageMaxValue(image);
  for (int32_t y = 0; y < 40; ++y)
    for (int32_t x = 0; x < 50; ++x)
      for (int32_t p = 0; p < imagePlanes(image); ++p)
        setHostSample(&image, x, y, p, uint16_t((x * 5 + y * 3 + p * 40) % 256 * top / 255));
  return image;
}

struct ProgramRun {
  int status;
  std::string errors;
};

ProgramRun runProgram(std::initializer_list<std::string> args) {
  std::vector<std::string> all = {"marrowline-host", "--plugin", ML_FAKE_MODULE};
  all.insert(all.end(), args.begin(), args.end());
  std::vector<const char*> argv;
  for (const std::string& a : all) argv.push_back(a.c_str());
  testing::internal::CaptureStderr();
  ProgramRun run;
  run.status = runHostProgram(int(argv.size()), argv.data());
  run.errors = testing::internal::GetCapturedStderr();
  return run;
}

TEST(HostProgram, FiltersEveryKindOfPictureAndKeepsItsKind) {
  const struct {
    int32_t colorPlanes;
    bool alpha;
    int32_t depth;
  } kinds[] = {{1, false, 8}, {1, true, 8}, {3, false, 8}, {3, true, 8}, {1, false, 16}, {3, true, 16}};
  for (const auto& kind : kinds) {
    const HostImage in = picture(kind.colorPlanes, kind.alpha, kind.depth);
    std::string error;
    ASSERT_TRUE(writePngImage(scratch("kind_in.png"), in, &error)) << error;
    std::remove(scratch("kind_out.png").c_str());
    const ProgramRun run = runProgram({"--selection", "10,5,45,30", scratch("kind_in.png"), scratch("kind_out.png")});
    ASSERT_EQ(run.status, kExitSuccess) << run.errors;
    HostImage out;
    ASSERT_TRUE(readPngImage(scratch("kind_out.png"), &out, &error)) << error;
    ASSERT_EQ(out.colorPlanes, in.colorPlanes);
    ASSERT_EQ(out.hasAlpha, in.hasAlpha);
    ASSERT_EQ(out.depth, in.depth);
    for (int32_t y = 0; y < 40; ++y)
      for (int32_t x = 0; x < 50; ++x)
        for (int32_t p = 0; p < imagePlanes(in); ++p) {
          const bool inside = x >= 10 && x < 45 && y >= 5 && y < 30 && p < in.colorPlanes;
          const int32_t v = hostPixel(in, x, y)[p];
          ASSERT_EQ(hostPixel(out, x, y)[p], inside ? imageMaxValue(in) - v : v) << x << "," << y;
        }
  }
}

TEST(HostProgram, RecordAndProgressLogFiles) {
  std::string error;
  ASSERT_TRUE(writePngImage(scratch("rec_in.png"), picture(3, false, 8), &error));
  const ProgramRun run = runProgram({"--colorize", "1", "--smoothing", "12", "--edge-style", "blurry", "--record",
                                     scratch("rec.txt"), "--progress-log", scratch("progress.txt"),
                                     scratch("rec_in.png"), scratch("rec_out.png")});
  ASSERT_EQ(run.status, kExitSuccess) << run.errors;
  EXPECT_EQ(readText(scratch("rec.txt")), "EDky enum ED01\n0002 int 12\n0006 bool 1\n");
  EXPECT_EQ(readText(scratch("progress.txt")), "1 4\n2 4\n3 4\n4 4\n");
}

TEST(HostProgram, FailuresLeaveNoOutputFile) {
  std::string error;
  ASSERT_TRUE(writePngImage(scratch("err_in.png"), picture(3, false, 8), &error));
  HostImage wrongMask;
  hostImageAllocate(&wrongMask, 10, 10, 1, false, 8, 255);
  ASSERT_TRUE(writePngImage(scratch("err_mask.png"), wrongMask, &error));
  std::ofstream(scratch("not_png.png")) << "hello";

  const struct {
    std::initializer_list<std::string> args;
    int status;
    const char* fragment;
  } cases[] = {
      {{scratch("missing.png"), scratch("err_out.png")}, kExitFile, "cannot open"},
      {{scratch("not_png.png"), scratch("err_out.png")}, kExitFile, "not a PNG file"},
      {{"--selection", "0,0,51,40", scratch("err_in.png"), scratch("err_out.png")}, kExitUsage, "outside"},
      {{"--mask", scratch("err_mask.png"), scratch("err_in.png"), scratch("err_out.png")}, kExitFile, "mask"},
      {{"--cancel-after", "1", scratch("err_in.png"), scratch("err_out.png")}, kExitCancelled, "-128"},
      {{"--plugin", scratch("nothing.so"), scratch("err_in.png"), scratch("err_out.png")}, kExitFile,
       "cannot load the plug-in"},
      {{"--preview", "0", scratch("err_in.png"), scratch("err_out.png")}, kExitUsage, "--preview"},
      // The native build has no window to show the dialog in.
      {{"--dialog", scratch("err_in.png"), scratch("err_out.png")}, kExitUsage, "needs the Windows build"},
  };
  for (const auto& c : cases) {
    std::remove(scratch("err_out.png").c_str());
    const ProgramRun run = runProgram(c.args);
    EXPECT_EQ(run.status, c.status) << c.fragment << ": " << run.errors;
    EXPECT_NE(run.errors.find(c.fragment), std::string::npos) << run.errors;
    EXPECT_EQ(run.errors.find('\n'), run.errors.size() - 1) << "one line: " << run.errors;
    EXPECT_FALSE(exists(scratch("err_out.png"))) << c.fragment;
  }
}

}  // namespace

// A 51-byte PNG whose sCAL chunk claims 2 GB: libpng only warns about the
// length, so the reader must keep it from sizing a buffer by it.
TEST(HostProgram, ChunkLengthsDoNotSizeMemory) {
  const unsigned char lying[] = {
      0x89, 'P',  'N',  'G',  0x0d, 0x0a, 0x1a, 0x0a, 0x00, 0x00, 0x00, 0x0d, 'I',  'H',  'D',  'R',  0x00,
      0x00, 0x00, 0x04, 0x00, 0x00, 0x00, 0x02, 0x08, 0x02, 0x00, 0x00, 0x00, 0xf0, 0xca, 0xea, 0x34, 0x64,
      0x00, 0x00, 0x06, 's',  'C',  'A',  'L',  0x7e, 0x00, 0x00, 0x15, 0x00, 0x44, 0xae, 0x42, 0x60, 0x82};
  const std::string path = scratch("lying-chunk.png");
  std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(lying), sizeof lying);
  rusage before{};
  getrusage(RUSAGE_SELF, &before);
  HostImage image;
  HostMask mask;
  std::string error;
  EXPECT_FALSE(readPngImage(path, &image, &error));
  EXPECT_FALSE(error.empty());
  EXPECT_FALSE(readPngMask(path, 4, 2, &mask, &error));
  rusage after{};
  getrusage(RUSAGE_SELF, &after);
  EXPECT_LT(after.ru_maxrss - before.ru_maxrss, 64 * 1024) << "kB of peak memory for a 51-byte file";
}
