// plug-in-marrowline inside GIMP: every case in one gimp-console session in
// a private profile, each output compared with marrowline-host run on the
// same file with the same values.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "gimp/filter_values.h"
#include "tests/e2e/host_runner.h"
#include "tests/gimp/gimp_session.h"

namespace {

namespace fs = std::filesystem;

// One call of the procedure on a picture, with the Script-Fu that prepares
// the image (selection, offsets) and the host's options for the same rectangle.
struct BatchCase {
  std::string name;
  std::string input;     // file name in the scratch folder
  int32_t values[SCRIPT_KEY_COUNT];
  std::string setup;     // Script-Fu run on img and d before the call
  std::string after;     // and after it, before saving
  std::vector<std::string> hostOptions;
  int runMode = 1;       // RUN-NONINTERACTIVE
};

const int32_t kRgb8[] = {3, 20, 80, 3, 1, 0, 1, 45, 1, 1, 0};
const int32_t kRgb16[] = {4, 35, 60, 3, 1, 1, 2, 120, 0, 12, 0};
const int32_t kRgba[] = {7, 25, 90, 3, 2, 0, 1, 45, 1, 6, 1};
const int32_t kGrey[] = {1, 15, 50, 2, 1, 0, 1, 45, 1, 9, 0};
const int32_t kOffset[] = {2, 20, 80, 3, 3, 0, 1, 45, 1, 17, 0};
const int32_t kFeather[] = {6, 30, 70, 1, 1, 0, 1, 45, 1, 1, 0};
const int32_t kLast[] = {13, 40, 30, 3, 4, 1, 5, 200, 0, 62, 1};
const int32_t kIgnored[] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};

std::vector<BatchCase> batchCases() {
  auto make = [](const std::string& name, const std::string& input, const int32_t* values, const std::string& setup,
                 std::vector<std::string> options) {
    BatchCase c;
    c.name = name;
    c.input = input;
    for (int i = 0; i < SCRIPT_KEY_COUNT; ++i) c.values[i] = values[i];
    c.setup = setup;
    c.hostOptions = options;
    return c;
  };
  std::vector<BatchCase> cases;
  cases.push_back(make("rgb8", "rgb8.png", kRgb8, "", {}));
  cases.push_back(make("rgb16", "rgb16.png", kRgb16, "", {}));
  cases.push_back(make("rgba-rect", "rgba8.png", kRgba, "(gimp-image-select-rectangle img 2 25 15 90 60)",
                       {"--selection", "25,15,115,75"}));
  cases.push_back(make("grey", "grey8.png", kGrey, "", {}));
  // The layer moves 13 right and 7 down inside a larger image; the
  // selection is in image coordinates, the filter's rectangle in the layer's.
  cases.push_back(make("offset", "rgb8.png", kOffset,
                       "(gimp-image-resize img 190 140 13 7) (gimp-image-select-rectangle img 2 43 27 70 50)",
                       {"--selection", "30,20,100,70"}));
  // A float image takes the 16-bit path; 16 bits to float and back are exact.
  BatchCase floating = make("float", "rgb16.png", kRgb16, "(gimp-image-convert-precision img 650)", {});
  floating.after = "(gimp-image-convert-precision img 250)";
  cases.push_back(floating);
  // The last successful call sets the last values.
  cases.push_back(make("last-set", "rgb8.png", kLast, "", {}));
  BatchCase last = make("last-use", "rgb16.png", kIgnored, "", {});
  last.runMode = 2;  // RUN-WITH-LAST-VALS: the values passed are not read
  cases.push_back(last);
  return cases;
}

std::string valueList(const int32_t* values) {
  std::string text;
  for (int i = 0; i < SCRIPT_KEY_COUNT; ++i) text += " " + std::to_string(values[i]);
  return text;
}

std::vector<std::string> hostValueOptions(const int32_t* values) {
  std::vector<std::string> options;
  for (int i = 0; i < SCRIPT_KEY_COUNT; ++i) {
    options.push_back("--" + filterValueName(i));
    options.push_back(std::to_string(values[i]));
  }
  return options;
}

std::string quoted(const std::string& s) { return "\"" + s + "\""; }

std::string callOn(const std::string& input, const std::string& body) {
  return "(let* ((img (car (file-png-load 1 " + quoted(input) + " " + quoted(input) +
         "))) (d (car (gimp-image-get-active-drawable img)))) " + body + " (gimp-image-delete img))";
}

std::string saveAs(const std::string& output) {
  // The last argument keeps the colour of fully transparent pixels.
  return "(file-png-save2 1 img d " + quoted(output) + " " + quoted(output) + " 0 9 0 0 0 0 0 0 1)";
}

using Batch = GimpSession;

// A prepared folder with the test's pictures.
std::string preparedFolder(const std::string& name) {
  const std::string dir = fs::absolute(scratchPath(name)).string();
  prepareGimpFolder(dir);
  writePicture(dir + "/rgb8.png", makeTestPicture(160, 120, 3, false, 8, 1));
  writePicture(dir + "/rgb16.png", makeTestPicture(150, 110, 3, false, 16, 2));
  writePicture(dir + "/rgba8.png", makeTestPicture(140, 100, 3, true, 8, 3));
  writePicture(dir + "/grey8.png", makeTestPicture(130, 90, 1, false, 8, 4));
  return dir;
}

// Pictures, the batch and one gimp-console session; run once for all tests.
const Batch& batch() {
  static Batch b = [] {
    const std::string dir = preparedFolder("gimp");

    std::string script = "(begin";
    for (const BatchCase& c : batchCases())
      script += " " + callOn(dir + "/" + c.input, c.setup + " (plug-in-marrowline " + std::to_string(c.runMode) +
                                                      " img d" + valueList(c.values) + ") " + c.after + " " +
                                                      saveAs(dir + "/gimp-" + c.name + ".png"));
    // A feathered selection: its bounds, which GIMP works out, go into the
    // output's name for the host's run on the same rectangle.
    script += " " + callOn(dir + "/rgb8.png",
                           "(gimp-context-set-feather TRUE) (gimp-context-set-feather-radius 12 12) "
                           "(gimp-image-select-rectangle img 2 40 30 70 50) (gimp-context-set-feather FALSE) "
                           "(plug-in-marrowline 1 img d" + valueList(kFeather) + ") "
                           "(let* ((b (gimp-selection-bounds img)) (name (string-append " + quoted(dir + "/feather-") +
                           " (number->string (cadr b)) \"-\" (number->string (caddr b)) \"-\" "
                           "(number->string (cadddr b)) \"-\" (number->string (car (cddddr b))) \".png\"))) "
                           "(file-png-save2 1 img d name name 0 9 0 0 0 0 0 0 1))");
    script += ")";
    int32_t outOfRange[SCRIPT_KEY_COUNT];
    for (int i = 0; i < SCRIPT_KEY_COUNT; ++i) outOfRange[i] = kRgb8[i];
    outOfRange[0] = 14;
    const std::string failing =
        callOn(dir + "/rgb8.png", "(plug-in-marrowline 1 img d" + valueList(outOfRange) + ")");

    return runGimpSession(dir, "", "gimp-console-2.10 --no-interface", {script, failing});
  }();
  return b;
}

// The dialog in GIMP with its interface under Xvfb: the dialog's test steps
// move the smoothing slider and press OK (filter_dialog.h).
const Batch& dialogSession() {
  static Batch b = [] {
    const std::string dir = preparedFolder("gimp-dialog");
    const std::string script = callOn(dir + "/rgb8.png", "(plug-in-marrowline 0 img d" + valueList(kIgnored) + ") " +
                                                             saveAs(dir + "/gimp-dialog.png"));
    return runGimpSession(dir, "MARROWLINE_GIMP_DIALOG_TEST='" + dir + "'",
                          "xvfb-run -a -s '-screen 0 1024x768x24' gimp-2.10 --no-splash", {script});
  }();
  return b;
}

// The host's output for the same file, values and options.
HostImage hostResult(const std::string& name, const std::string& input, const int32_t* values,
                     std::vector<std::string> options, const std::string& dir = batch().folder) {
  for (const std::string& o : hostValueOptions(values)) options.push_back(o);
  const std::string output = dir + "/host-" + name + ".png";
  const HostRun run = runHost(options, dir + "/" + input, output);
  EXPECT_EQ(run.exitCode, 0) << run.errorText;
  return readPicture(output);
}

HostImage gimpResult(const std::string& file, const Batch& session = batch()) {
  const std::string path = session.folder + "/" + file;
  EXPECT_TRUE(fileExists(path)) << "GIMP wrote no " << file << "\n" << session.log;
  return fileExists(path) ? readPicture(path) : HostImage{};
}

TEST(GimpBatch, EachCaseGivesTheHostsBytes) {
  ASSERT_EQ(batch().exitCode, 0) << batch().log;
  for (const BatchCase& c : batchCases()) {
    SCOPED_TRACE(c.name);
    const HostImage fromGimp = gimpResult("gimp-" + c.name + ".png");
    const HostImage fromHost = hostResult(c.name, c.input, c.runMode == 2 ? kLast : c.values, c.hostOptions);
    ASSERT_EQ(fromGimp.width, fromHost.width);
    ASSERT_EQ(fromGimp.colorPlanes, fromHost.colorPlanes);
    ASSERT_EQ(fromGimp.hasAlpha, fromHost.hasAlpha);
    ASSERT_EQ(fromGimp.depth, fromHost.depth);
    EXPECT_TRUE(hostImagesEqual(fromGimp, fromHost));
    // And the filter did something.
    EXPECT_FALSE(hostImagesEqual(fromGimp, readPicture(batch().folder + "/" + c.input)));
  }
}

TEST(GimpBatch, FeatheredSelectionIsTheFilterInsideAndUntouchedOutside) {
  ASSERT_EQ(batch().exitCode, 0) << batch().log;
  std::string file;
  int left = 0, top = 0, right = 0, bottom = 0;
  for (const auto& entry : fs::directory_iterator(batch().folder)) {
    const std::string name = entry.path().filename().string();
    if (name.rfind("feather-", 0) == 0 &&
        std::sscanf(name.c_str(), "feather-%d-%d-%d-%d.png", &left, &top, &right, &bottom) == 4)
      file = name;
  }
  ASSERT_FALSE(file.empty()) << batch().log;
  // The feather widens the rectangle 40,30..110,80 by up to its radius.
  EXPECT_LT(left, 40);
  EXPECT_GT(right, 110);
  const HostImage fromGimp = gimpResult(file);
  const HostImage original = readPicture(batch().folder + "/rgb8.png");
  const HostImage fromHost =
      hostResult("feather", "rgb8.png", kFeather,
                 {"--selection", std::to_string(left) + "," + std::to_string(top) + "," + std::to_string(right) + "," +
                                     std::to_string(bottom)});
  // GIMP's feather blurs the edge over a little more than its radius.
  const int radius = 12 + 4;
  int inside = 0, outside = 0, blended = 0;
  for (int32_t y = 0; y < original.height; ++y)
    for (int32_t x = 0; x < original.width; ++x) {
      const bool fully = x >= 40 + radius && x < 110 - radius && y >= 30 + radius && y < 80 - radius;
      const bool away = x < 40 - radius || x >= 110 + radius || y < 30 - radius || y >= 80 + radius;
      for (int32_t p = 0; p < 3; ++p) {
        const uint16_t g = hostSample(fromGimp, x, y, p);
        if (fully) inside += g == hostSample(fromHost, x, y, p) ? 0 : 1;
        if (away) outside += g == hostSample(original, x, y, p) ? 0 : 1;
        if (!fully && !away) blended += g != hostSample(original, x, y, p) && g != hostSample(fromHost, x, y, p);
      }
    }
  EXPECT_EQ(inside, 0);
  EXPECT_EQ(outside, 0);
  EXPECT_GT(blended, 0);  // the feather lays some pixels in part
}

TEST(GimpBatch, OutOfRangeValueFailsTheCallWithAMessage) {
  const std::string& log = batch().log;
  EXPECT_NE(log.find("plug-in-marrowline failed on invalid input arguments"), std::string::npos) << log;
  EXPECT_NE(log.find("edge style 14 is outside 1..13"), std::string::npos) << log;
}

TEST(GimpDialog, MovedSliderChangesThePreviewAndOkTheImage) {
  const Batch& session = dialogSession();
  ASSERT_EQ(session.exitCode, 0) << session.log;
  unsigned first = 0, second = 0;
  FILE* report = std::fopen((session.folder + "/preview.txt").c_str(), "r");
  ASSERT_NE(report, nullptr) << session.log;
  ASSERT_EQ(std::fscanf(report, "%u %u", &first, &second), 2);
  std::fclose(report);
  EXPECT_NE(first, second);
  EXPECT_TRUE(fileExists(session.folder + "/dialog.png"));
  // A fresh profile has no last values: the defaults, with the slider's smoothing.
  int32_t chosen[SCRIPT_KEY_COUNT];
  const GimpFilterValues defaults = defaultFilterValues();
  for (int i = 0; i < SCRIPT_KEY_COUNT; ++i) chosen[i] = defaults.value[i];
  chosen[1] = 60;
  EXPECT_TRUE(hostImagesEqual(gimpResult("gimp-dialog.png", session),
                              hostResult("dialog", "rgb8.png", chosen, {}, session.folder)));
}

}  // namespace
