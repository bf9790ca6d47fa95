// What marrowline-host promises a user, through the real plug-in: samples
// the filter did not change come back as they were read, every picture
// format gives the PNG result, colour profiles travel, batch runs go on past
// a bad file, and values out of range are named with what the filter does.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "session/terminology.h"
#include "pihost/host_options.h"
#include "pihost/image_files.h"
#include "tests/e2e/host_runner.h"

namespace {

// A 16-bit picture whose stored words mostly lie off the host's 0..32768
// grid, so that any trip through the host scale changes them.
HostImage offGridPicture(int32_t width, int32_t height, int32_t colorPlanes, bool alpha) {
  HostImage image = makeTestPicture(width, height, colorPlanes, alpha, 16, 31);
  for (size_t i = 0; i < image.words.size(); ++i) image.words[i] = uint16_t(image.words[i] | ((i * 7) & 1));
  return image;
}

HostImage runOn(const std::string& input, const std::string& output, const std::vector<std::string>& options) {
  std::remove(output.c_str());
  HostRun run = runHost(options, input, output);
  EXPECT_EQ(run.exitCode, 0) << output << ": " << run.errorText;
  HostImage image;
  std::string error;
  if (run.exitCode == 0) {
    EXPECT_TRUE(readImageFile(output, &image, &error)) << error;
  }
  return image;
}

int countLines(const std::string& text, const std::string& fragment) {
  int count = 0;
  for (size_t at = text.find(fragment); at != std::string::npos; at = text.find(fragment, at + 1)) ++count;
  return count;
}

HostMask maskOf(int32_t width, int32_t height, uint8_t (*value)(int32_t x, int32_t y)) {
  HostMask mask;
  mask.width = width;
  mask.height = height;
  mask.values.resize(size_t(width) * size_t(height));
  for (int32_t y = 0; y < height; ++y)
    for (int32_t x = 0; x < width; ++x) mask.values[size_t(y) * size_t(width) + size_t(x)] = value(x, y);
  return mask;
}

void writeMask(const std::string& path, const HostMask& mask) {
  HostImage picture;
  hostImageAllocate(&picture, mask.width, mask.height, 1, false, 8, 0);
  picture.bytes = mask.values;
  writePicture(path, picture);
}

TEST(HostFidelity, UntouchedSixteenBitSamplesComeBackExactly) {
  const int32_t w = 360, h = 280;
  const HostImage input = offGridPicture(w, h, 3, true);
  const std::string in = scratchPath("fidelity-in.png");
  writePicture(in, input);
  const std::vector<std::string> style = {"--edge-style", "chrome", "--glue", "screen"};

  // Outside the filter rectangle.
  std::vector<std::string> options = style;
  options.insert(options.end(), {"--selection", "100,10,300,213"});
  HostImage selected = runOn(in, scratchPath("fidelity-sel.png"), options);
  ASSERT_EQ(selected.words.size(), input.words.size());
  size_t outside = 0, changedInside = 0;
  for (int32_t y = 0; y < h; ++y)
    for (int32_t x = 0; x < w; ++x)
      for (int32_t p = 0; p < 4; ++p) {
        const size_t i = hostSampleIndex(input, x, y, p);
        if (x >= 100 && x < 300 && y >= 10 && y < 213) {
          changedInside += selected.words[i] != input.words[i];
          continue;
        }
        ASSERT_EQ(selected.words[i], input.words[i]) << x << "," << y << " plane " << p;
        ++outside;
      }
  EXPECT_GT(outside, 0u);
  EXPECT_GT(changedInside, 0u);

  // Under a mask: 0 keeps the stored word, 255 takes the filter's, and a
  // partial value blends the two at 16 bits.
  HostImage whole = runOn(in, scratchPath("fidelity-whole.png"), style);
  const HostMask mask = maskOf(w, h, [](int32_t x, int32_t) -> uint8_t { return x < 120 ? 0 : (x < 240 ? 77 : 255); });
  const std::string maskPath = scratchPath("fidelity-mask.png");
  writeMask(maskPath, mask);
  options = style;
  options.insert(options.end(), {"--mask", maskPath});
  HostImage masked = runOn(in, scratchPath("fidelity-masked.png"), options);
  ASSERT_EQ(masked.words.size(), input.words.size());
  for (int32_t y = 0; y < h; ++y)
    for (int32_t x = 0; x < w; ++x)
      for (int32_t p = 0; p < 4; ++p) {
        const size_t i = hostSampleIndex(input, x, y, p);
        const uint32_t m = mask.values[size_t(y) * size_t(w) + size_t(x)];
        const uint32_t o = input.words[i], f = whole.words[i];
        ASSERT_EQ(masked.words[i], (f * m + o * (255 - m) + 127) / 255) << x << "," << y << " plane " << p;
      }
}

TEST(PictureFormats, EveryFormatGivesTheResultOfThePngPicture) {
  const std::vector<std::string> style = {"--edge-style", "thin/soft", "--glue", "overlay"};
  struct Kind {
    int32_t depth, planes;
    bool alpha;
  };
  for (const Kind k : {Kind{8, 3, false}, Kind{8, 1, true}, Kind{16, 3, true}, Kind{16, 1, false}}) {
    const std::string tag = std::to_string(k.depth) + "-" + std::to_string(k.planes) + (k.alpha ? "a" : "");
    const HostImage input = makeTestPicture(150, 110, k.planes, k.alpha, k.depth, 41);
    const std::string png = scratchPath("fmt-" + tag + ".png"), tif = scratchPath("fmt-" + tag + ".tif");
    std::string error;
    ASSERT_TRUE(writeImageFile(png, input, &error)) << error;
    ASSERT_TRUE(writeImageFile(tif, input, &error)) << error;
    const HostImage fromPng = runOn(png, scratchPath("fmt-" + tag + "-png.png"), style);
    EXPECT_TRUE(hostImagesEqual(runOn(tif, scratchPath("fmt-" + tag + "-tif.png"), style), fromPng)) << tag;
    // And written as TIFF, the same samples again.
    EXPECT_TRUE(hostImagesEqual(runOn(png, scratchPath("fmt-" + tag + "-out.tiff"), style), fromPng)) << tag;
  }
  // JPEG is lossy: its result is that of the picture it decodes to.
  for (int32_t planes : {1, 3}) {
    const std::string tag = "jpeg" + std::to_string(planes);
    const std::string jpg = scratchPath(tag + ".jpg"), png = scratchPath(tag + "-decoded.png");
    std::string error;
    ASSERT_TRUE(writeImageFile(jpg, makeTestPicture(150, 110, planes, false, 8, 43), &error)) << error;
    HostImage decoded;
    ASSERT_TRUE(readImageFile(jpg, &decoded, &error)) << error;
    ASSERT_TRUE(writeImageFile(png, decoded, &error)) << error;
    EXPECT_TRUE(hostImagesEqual(runOn(jpg, scratchPath(tag + "-out.png"), style),
                                runOn(png, scratchPath(tag + "-png-out.png"), style)))
        << tag;
  }
}

TEST(PictureFormats, ColourProfileTravelsFromInputToOutput) {
  // Any bytes will do for JPEG and TIFF; the PNG leg is covered with a
  // profile PNG accepts in the host's own tests.
  HostImage input = makeTestPicture(80, 60, 3, false, 8, 47);
  input.iccProfile.assign(300, 0);
  for (size_t i = 0; i < input.iccProfile.size(); ++i) input.iccProfile[i] = uint8_t(i * 31 + 7);
  std::string error;
  const std::string tif = scratchPath("icc-in.tif");
  ASSERT_TRUE(writeImageFile(tif, input, &error)) << error;
  const HostImage asJpeg = runOn(tif, scratchPath("icc-out.jpg"), {"--edge-style", "blurry"});
  EXPECT_EQ(asJpeg.iccProfile, input.iccProfile);
  const HostImage backToTiff = runOn(scratchPath("icc-out.jpg"), scratchPath("icc-out.tif"), {"--edge-style", "halo"});
  EXPECT_EQ(backToTiff.iccProfile, input.iccProfile);
}

TEST(BatchRuns, OneBadFileAmongGoodOnesFailsAloneAndIsCounted) {
  const std::string folder = scratchPath("batch-out");
  std::system(("mkdir -p '" + folder + "'").c_str());
  const std::string good1 = scratchPath("batch-a.png"), bad = scratchPath("batch-b.png"),
                    good2 = scratchPath("batch-c.tif");
  std::string error;
  ASSERT_TRUE(writeImageFile(good1, makeTestPicture(60, 40, 3, false, 8, 51), &error)) << error;
  ASSERT_TRUE(writeImageFile(good2, makeTestPicture(60, 40, 1, false, 16, 52), &error)) << error;
  FILE* file = std::fopen(bad.c_str(), "wb");
  ASSERT_NE(file, nullptr);
  std::fputs("\x89PNG\r\n\x1a\n and then nothing", file);
  std::fclose(file);

  HostRun run = runHostWith({"--edge-style", "scribble", "--output-dir", folder, good1, bad, good2});
  EXPECT_EQ(run.exitCode, 1) << run.errorText;
  EXPECT_TRUE(fileExists(folder + "/batch-a.png"));
  EXPECT_FALSE(fileExists(folder + "/batch-b.png"));
  EXPECT_TRUE(fileExists(folder + "/batch-c.tif"));
  EXPECT_NE(run.errorText.find("[2/3] " + bad + " failed"), std::string::npos) << run.errorText;
  EXPECT_NE(run.errorText.find("cannot read " + bad), std::string::npos) << run.errorText;
  EXPECT_NE(run.errorText.find("2 of 3 pictures written, 1 failed"), std::string::npos) << run.errorText;

  // A folder that holds the input does not overwrite it.
  run = runHostWith({"--output-dir", scratchPath(""), good1});
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_NE(run.errorText.find("is the input itself"), std::string::npos) << run.errorText;
}

TEST(CommandLine, ValuesOutOfRangeRunAsBeforeWithOneLineSayingWhatHappens) {
  const HostImage input = makeTestPicture(90, 70, 3, false, 8, 61);
  const std::string in = scratchPath("range-in.png");
  writePicture(in, input);
  const struct {
    std::vector<std::string> options;
    const char* line;
  } cases[] = {
      {{"--glue", "99"}, "warning: --glue 99 is outside 1..62: the filter lays the edge picture in as glue normal"},
      {{"--edge-style", "14"}, "warning: --edge-style 14 is outside 1..13: the filter renders nothing"},
      {{"--smoothing", "500"}, "warning: --smoothing 500 is outside 0..100: the filter takes its low 16 bits, a "
                               "field width (sigma) of 50.0 pixels"},
      {{"--angle", "-30"}, "the same as 330"},
  };
  for (const auto& c : cases) {
    const std::string out = scratchPath("range-out.png");
    std::remove(out.c_str());
    HostRun run = runHost(c.options, in, out);
    EXPECT_EQ(run.exitCode, 0) << run.errorText;
    EXPECT_EQ(countLines(run.errorText, "warning:"), 1) << run.errorText;
    EXPECT_NE(run.errorText.find(c.line), std::string::npos) << run.errorText;
  }
  // What the lines say is what happens.
  EXPECT_TRUE(hostImagesEqual(runOn(in, scratchPath("range-glue99.png"), {"--glue", "99"}),
                              runOn(in, scratchPath("range-glue1.png"), {"--glue", "1"})));
  EXPECT_TRUE(hostImagesEqual(runOn(in, scratchPath("range-style14.png"), {"--edge-style", "14"}), input));
  EXPECT_TRUE(hostImagesEqual(runOn(in, scratchPath("range-angle.png"), {"--edge-style", "chrome", "--angle", "-30"}),
                              runOn(in, scratchPath("range-330.png"), {"--edge-style", "chrome", "--angle", "330"})));
  // Values in range say nothing.
  HostRun quiet = runHost({"--glue", "62", "--smoothing", "0", "--angle", "359", "--edge-style", "13"}, in,
                          scratchPath("range-quiet.png"));
  EXPECT_EQ(countLines(quiet.errorText, "warning:"), 0) << quiet.errorText;
}

TEST(CommandLine, HelpListsEveryOptionAndVersionNamesTheLibraries) {
  const std::string help = hostUsageText();
  std::vector<std::string> names = {
      "selection", "mask", "fore", "back", "plugin", "dialog", "dialog-headless", "preview", "preset", "record", "progress-log",
      "output-dir", "no-buffer-procs", "no-handle-procs", "no-descriptors", "no-display-pixels", "no-advance-state",
      "no-sampling", "buffer-procs-version", "host-sig", "host-profile", "row-padding", "cancel-after", "fail-alloc",
      "fail-alloc-size", "help", "version"};
  for (int i = 0; i < SCRIPT_KEY_COUNT; ++i) {
    std::string name = scriptKeyAt(i)->name;
    std::replace(name.begin(), name.end(), ' ', '-');
    names.push_back(name);
  }
  for (const std::string& name : names) {
    const bool listed = help.find("--" + name + " ") != std::string::npos || help.find("--" + name + "\n") != std::string::npos;
    EXPECT_TRUE(listed) << name;
  }

  HostRun run = runHostWith({"--version"});
  EXPECT_EQ(run.exitCode, 0);
}

}  // namespace
