// End-to-end tests of a whole run through the plug-in interface: the
// substitute host loads the module, cuts tiles at advanceState and takes the
// output, so every layer from PluginMain to the store is exercised.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <sstream>

#include "engine/edge_field.h"
#include "engine/render.h"
#include "numeric/portable_math.h"
#include "tests/e2e/host_runner.h"

namespace {

struct PictureKind {
  int32_t width, height, colorPlanes, depth;
};

std::string kindName(const PictureKind& k) {
  return std::to_string(k.width) + "x" + std::to_string(k.height) + (k.colorPlanes == 1 ? "-grey-" : "-rgb-") +
         std::to_string(k.depth);
}

void PrintTo(const PictureKind& k, std::ostream* os) { *os << kindName(k); }

// "blurry" computed the slow, obvious way for one pixel of the filter
// rectangle: source samples outside the rectangle repeat its border, the two
// passes are summed tap by tap in the order the filter uses.
struct BlurryReference {
  const HostImage& image;
  int32_t left, top, width, height;  // the filter rectangle
  EdgeKernels kernels;
  int16_t weight;
  bool luminance;

  BlurryReference(const HostImage& picture, int32_t l, int32_t t, int32_t w, int32_t h, int32_t smoothing,
                  int32_t tweaker)
      : image(picture), left(l), top(t), width(w), height(h) {
    int32_t s = smoothing == 0 ? 1 : smoothing;
    buildEdgeKernels((s < 2 ? 2 : s) / 10.0, &kernels);
    weight = tweakerWeight(tweaker);
    luminance = !(picture.colorPlanes == 1 && picture.depth == 8);
  }

  double source(int32_t row, int32_t column) const {
    row = std::min(std::max(row, 0), height - 1);
    column = std::min(std::max(column, 0), width - 1);
    const HostPixel p = hostPixel(image, left + column, top + row);
    int32_t r = p[0], g = image.colorPlanes == 3 ? p[1] : p[0], b = image.colorPlanes == 3 ? p[2] : p[0];
    if (!luminance) return r;
    return static_cast<double>(299 * r + 587 * g + 114 * b) * 0.001;
  }
  double smoothedDown(int32_t row, int32_t column) const {
    double sum = source(row, column) * kernels.smoothTaps[0];
    for (int32_t i = 1; i <= kernels.tapCount - 2; ++i)
      sum += (source(row - i, column) + source(row + i, column)) * kernels.smoothTaps[i];
    return sum;
  }
  double smoothedAcross(int32_t row, int32_t column) const {
    double sum = source(row, column) * kernels.smoothTaps[0];
    for (int32_t i = 1; i <= kernels.tapCount - 2; ++i)
      sum += (source(row, column - i) + source(row, column + i)) * kernels.smoothTaps[i];
    return sum;
  }
  // The value the host gets back, on the host's scale.
  int32_t expected(int32_t row, int32_t column) const {
    double gx = 0.0, gy = 0.0;
    for (int32_t i = 1; i <= kernels.tapCount - 1; ++i) {
      gx += (smoothedDown(row, column - i) - smoothedDown(row, column + i)) * kernels.slopeTaps[i];
      gy += (smoothedAcross(row - i, column) - smoothedAcross(row + i, column)) * kernels.slopeTaps[i];
    }
    double v = numeric::squareRoot(gx * gx + gy * gy) * static_cast<double>(weight);
    int32_t maxValue = image.depth == 16 ? 32768 : 255;
    int32_t e = v >= maxValue ? maxValue : static_cast<int32_t>(v);
    int32_t out = e;
    if (image.depth == 16) {
      int32_t i = std::min((e + 1) >> 7, 255), j = std::min(i + 1, 255), f = e & 127;
      out = i * (128 - f) + j * f;
    }
    if (image.colorPlanes == 1) out = (out * 77 + out * 150 + out * 28) >> 8;
    return out;
  }
};

// What a value becomes after the trip through a 16-bit PNG file.
int32_t throughPng(int32_t v, int32_t depth) {
  return depth == 16 ? fileSampleToHost16(hostSampleToFile16(static_cast<uint32_t>(v))) : v;
}

std::vector<std::string> blurryOptions(int32_t smoothing, int32_t tweaker) {
  return {"--edge-style", "blurry", "--smoothing", std::to_string(smoothing), "--tweaker", std::to_string(tweaker)};
}

std::vector<std::string> withSelection(std::vector<std::string> options, int32_t l, int32_t t, int32_t r, int32_t b) {
  options.push_back("--selection");
  options.push_back(std::to_string(l) + "," + std::to_string(t) + "," + std::to_string(r) + "," + std::to_string(b));
  return options;
}

HostImage renderWith(const HostImage& input, const std::vector<std::string>& options, const std::string& tag) {
  std::string in = scratchPath(tag + "-in.png"), out = scratchPath(tag + "-out.png");
  writePicture(in, input);
  std::remove(out.c_str());
  HostRun run = runHost(options, in, out);
  EXPECT_EQ(run.exitCode, 0) << tag << ": " << run.errorText;
  if (run.exitCode != 0) return HostImage();
  return readPicture(out);
}

// Pixels at the tile borders and a spread of others, all inside w x h.
std::vector<int32_t> telling(int32_t size) {
  std::vector<int32_t> at;
  for (int32_t v : {0, 1, 2, 40, 41, 42, 254, 255, 256, 257, 300, 511, 512, 513})
    if (v < size) at.push_back(v);
  for (int32_t v = 3; v < size; v += 37) at.push_back(v);
  at.push_back(size - 1);
  return at;
}

class Tiling : public ::testing::TestWithParam<PictureKind> {};

// A pixel's result must not depend on where tile borders fall, and must be
// the value the field defines.
TEST_P(Tiling, ResultIndependentOfTileGridAndMatchesReference) {
  const PictureKind k = GetParam();
  HostImage input = makeTestPicture(k.width, k.height, k.colorPlanes, false, k.depth, 7);
  const int32_t smoothing = 20, tweaker = 80;
  HostImage whole = renderWith(input, blurryOptions(smoothing, tweaker), kindName(k) + "-whole");
  ASSERT_EQ(whole.width, k.width);

  BlurryReference reference(input, 0, 0, k.width, k.height, smoothing, tweaker);
  for (int32_t y : telling(k.height))
    for (int32_t x : telling(k.width)) {
      int32_t want = throughPng(reference.expected(y, x), k.depth);
      for (int32_t c = 0; c < k.colorPlanes; ++c)
        ASSERT_EQ(hostPixel(whole, x, y)[c], want) << kindName(k) << " at " << x << "," << y << " channel " << c;
    }

  // The same picture with the filter rectangle moved, so the 256-pixel grid
  // moves with it.
  const int32_t l = std::min(37, k.width - 1), t = std::min(53, k.height - 1);
  HostImage moved = renderWith(input, withSelection(blurryOptions(smoothing, tweaker), l, t, k.width, k.height),
                               kindName(k) + "-moved");
  ASSERT_EQ(moved.width, k.width);
  BlurryReference movedReference(input, l, t, k.width - l, k.height - t, smoothing, tweaker);
  int32_t compared = 0;
  for (int32_t y = 0; y < k.height; ++y)
    for (int32_t x = 0; x < k.width; ++x) {
      const HostPixel a = hostPixel(whole, x, y);
      const HostPixel b = hostPixel(moved, x, y);
      const HostPixel original = hostPixel(input, x, y);
      bool insideMoved = x >= l && y >= t;
      bool clearOfBorders = x - 41 >= l && y - 41 >= t && x + 41 < k.width && y + 41 < k.height;
      for (int32_t c = 0; c < k.colorPlanes; ++c) {
        if (!insideMoved) {
          ASSERT_EQ(b[c], original[c]) << "outside the selection at " << x << "," << y;
        } else if (clearOfBorders) {
          ASSERT_EQ(b[c], a[c]) << kindName(k) << " seam at " << x << "," << y;
          ++compared;
        }
      }
      if (insideMoved && (x % 29 == 0 || y % 31 == 0) && (x + y) % 3 == 0) {
        int32_t want = throughPng(movedReference.expected(y - t, x - l), k.depth);
        ASSERT_EQ(b[0], want) << kindName(k) << " moved, at " << x << "," << y;
      }
    }
  if (k.width > 200 && k.height > 200) {
    EXPECT_GT(compared, 0);
  }
}

INSTANTIATE_TEST_SUITE_P(Sizes, Tiling,
                         ::testing::Values(PictureKind{1, 1, 3, 8}, PictureKind{1, 1, 1, 16},
                                           PictureKind{100, 100, 1, 8}, PictureKind{100, 100, 3, 16},
                                           PictureKind{256, 256, 3, 8}, PictureKind{256, 256, 1, 16},
                                           PictureKind{257, 300, 1, 8}, PictureKind{257, 300, 3, 16},
                                           PictureKind{600, 300, 3, 8}, PictureKind{600, 300, 1, 16},
                                           PictureKind{700, 513, 3, 8}, PictureKind{700, 513, 1, 8}),
                         [](const auto& info) {
                           std::string n = kindName(info.param);
                           std::replace(n.begin(), n.end(), '-', '_');
                           return n;
                         });

std::vector<std::string> readLines(const std::string& path) {
  std::ifstream in(path);
  std::vector<std::string> lines;
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

TEST(Progress, TotalsCountEveryTileAndBothWalks) {
  // 300 wide and 600 high: 2 columns and 3 rows of tiles.
  HostImage input = makeTestPicture(300, 600, 3, false, 8, 3);
  std::string in = scratchPath("progress-in.png"), out = scratchPath("progress-out.png");
  std::string log = scratchPath("progress.log");
  writePicture(in, input);
  ASSERT_EQ(runHost({"--edge-style", "blurry", "--progress-log", log}, in, out).exitCode, 0);
  std::vector<std::string> lines = readLines(log);
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines.front(), "0 6");
  for (const auto& line : lines) EXPECT_NE(line.find(" 6"), std::string::npos) << line;

  ASSERT_EQ(runHost({"--edge-style", "thin/soft", "--progress-log", log}, in, out).exitCode, 0);
  lines = readLines(log);
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines.front(), "0 12");
}

TEST(Progress, CancelStopsTheRunWithUserCanceled) {
  HostImage input = makeTestPicture(600, 600, 3, false, 8, 4);
  std::string in = scratchPath("cancel-in.png"), out = scratchPath("cancel-out.png");
  writePicture(in, input);
  for (const char* style : {"blurry", "thin/soft"}) {
    std::remove(out.c_str());
    HostRun run = runHost({"--edge-style", style, "--cancel-after", "2"}, in, out);
    EXPECT_NE(run.exitCode, 0) << style;
    EXPECT_NE(run.errorText.find("-128"), std::string::npos) << run.errorText;
    EXPECT_FALSE(fileExists(out)) << style;
  }
}

TEST(Transparency, AlphaOfALayerIsKeptAndColourFiltered) {
  for (int32_t depth : {8, 16})
    for (int32_t planes : {1, 3}) {
      HostImage input = makeTestPicture(150, 120, planes, true, depth, 11);
      std::string tag = "alpha-" + std::to_string(depth) + "-" + std::to_string(planes);
      HostImage output = renderWith(input, blurryOptions(20, 80), tag);
      ASSERT_EQ(output.hasAlpha, true);
      BlurryReference reference(input, 0, 0, 150, 120, 20, 80);
      for (int32_t y = 0; y < 120; y += 7)
        for (int32_t x = 0; x < 150; x += 5) {
          const HostPixel p = hostPixel(output, x, y);
          // At 16 bits the filter writes full alpha; at 8 bits the layer's own.
          int32_t alpha = depth == 16 ? throughPng(32768, 16) : hostPixel(input, x, y)[planes];
          ASSERT_EQ(p[planes], alpha) << tag << " at " << x << "," << y;
          ASSERT_EQ(p[0], throughPng(reference.expected(y, x), depth)) << tag << " at " << x << "," << y;
        }
    }
}

TEST(Selection, MaskBlendsTheResultIntoTheOriginal) {
  HostImage input = makeTestPicture(200, 160, 3, false, 8, 5);
  HostImage mask;
  hostImageAllocate(&mask, 200, 160, 1, false, 8, 0);
  for (int32_t y = 0; y < 160; ++y)
    for (int32_t x = 0; x < 200; ++x) setHostSample(&mask, x, y, 0, x < 60 ? 0 : (x < 120 ? 128 : 255));
  std::string maskPath = scratchPath("mask.png");
  writePicture(maskPath, mask);
  HostImage plain = renderWith(input, blurryOptions(20, 80), "mask-plain");
  std::vector<std::string> options = blurryOptions(20, 80);
  options.push_back("--mask");
  options.push_back(maskPath);
  HostImage masked = renderWith(input, options, "mask-masked");
  for (int32_t y = 0; y < 160; ++y)
    for (int32_t x = 0; x < 200; ++x)
      for (int32_t c = 0; c < 3; ++c) {
        int32_t o = hostPixel(input, x, y)[c], f = hostPixel(plain, x, y)[c], m = hostPixel(masked, x, y)[c];
        if (x < 60) {
          ASSERT_EQ(m, o);
        } else if (x >= 120) {
          ASSERT_EQ(m, f);
        } else {
          ASSERT_GE(m, std::min(o, f) - 1);
          ASSERT_LE(m, std::max(o, f) + 1);
        }
      }
}

// Hosts that lack a service, or offer an odd version of one, get the same
// picture through the plug-in's fallbacks.
TEST(HostQuirks, FallbacksGiveTheSamePicture) {
  HostImage input = makeTestPicture(300, 280, 3, false, 8, 6);
  std::string in = scratchPath("quirk-in.png");
  writePicture(in, input);
  std::vector<std::string> base = blurryOptions(25, 70);
  std::string normalOut = scratchPath("quirk-normal.png");
  ASSERT_EQ(runHost(base, in, normalOut).exitCode, 0);
  std::vector<uint8_t> normal = fileBytes(normalOut);
  // 338 x 338 tiles of four bytes: the host refuses exactly that block.
  const std::vector<std::vector<std::string>> quirks = {
      {"--no-buffer-procs"}, {"--buffer-procs-version", "3"}, {"--no-handle-procs"},
      {"--no-buffer-procs", "--no-handle-procs"}, {"--fail-alloc-size", std::to_string(338 * 338 * 4)},
      {"--no-sampling"}};
  for (const auto& quirk : quirks) {
    std::vector<std::string> options = base;
    options.insert(options.end(), quirk.begin(), quirk.end());
    std::string out = scratchPath("quirk-out.png");
    std::remove(out.c_str());
    HostRun run = runHost(options, in, out);
    ASSERT_EQ(run.exitCode, 0) << quirk[0] << ": " << run.errorText;
    EXPECT_EQ(fileBytes(out), normal) << quirk[0];
  }
}

TEST(HostQuirks, HostWithoutAdvanceStateIsRefused) {
  HostImage input = makeTestPicture(40, 30, 3, false, 8, 6);
  std::string in = scratchPath("refuse-in.png"), out = scratchPath("refuse-out.png");
  writePicture(in, input);
  std::remove(out.c_str());
  HostRun run = runHost({"--no-advance-state"}, in, out);
  EXPECT_NE(run.exitCode, 0);
  EXPECT_FALSE(fileExists(out));
}

TEST(HostQuirks, PaintShopPro8IgnoresTheDescriptor) {
  HostImage input = makeTestPicture(120, 90, 3, false, 8, 8);
  std::string in = scratchPath("psp-in.png");
  writePicture(in, input);
  std::string defaults = scratchPath("psp-defaults.png"), psp = scratchPath("psp.png");
  ASSERT_EQ(runHost({}, in, defaults).exitCode, 0);
  ASSERT_EQ(runHost({"--host-sig", "PSP8", "--edge-style", "blurry", "--glue", "screen"}, in, psp).exitCode, 0);
  EXPECT_EQ(fileBytes(psp), fileBytes(defaults));
}

std::map<std::string, std::string> readRecord(const std::string& path) {
  std::map<std::string, std::string> values;
  std::vector<std::string> order;
  for (const auto& line : readLines(path)) {
    std::istringstream fields(line);
    std::string key, type, value;
    fields >> key >> type >> value;
    values[key] = type + " " + value;
  }
  return values;
}

TEST(Scripting, DescriptorWrittenBackHoldsEveryKey) {
  HostImage input = makeTestPicture(60, 40, 3, false, 8, 9);
  std::string in = scratchPath("record-in.png"), out = scratchPath("record-out.png");
  std::string record = scratchPath("record.txt");
  writePicture(in, input);
  ASSERT_EQ(runHost({"--edge-style", "blurry", "--smoothing", "33", "--glue", "62", "--flip", "1", "--record", record},
                    in, out)
                .exitCode,
            0);
  std::vector<std::string> lines = readLines(record);
  ASSERT_EQ(lines.size(), 11u);
  const char* keys[] = {"EDky", "0002", "0003", "EEky", "Esky", "0006", "ECky", "0008", "0009", "GLUE", "0011"};
  for (size_t i = 0; i < 11; ++i) EXPECT_EQ(lines[i].substr(0, 4), keys[i]);
  auto values = readRecord(record);
  EXPECT_EQ(values["EDky"], "enum ED01");
  EXPECT_EQ(values["0002"], "int 33");
  EXPECT_EQ(values["0003"], "int 80");  // not sent: the default
  EXPECT_EQ(values["EEky"], "enum EE03");
  EXPECT_EQ(values["Esky"], "enum Es01");
  EXPECT_EQ(values["0006"], "bool 0");
  EXPECT_EQ(values["ECky"], "enum EC01");
  EXPECT_EQ(values["0008"], "int 45");
  EXPECT_EQ(values["0009"], "bool 1");
  EXPECT_EQ(values["GLUE"], "enum GL62");
  EXPECT_EQ(values["0011"], "bool 1");

  // A glue mode by name and by number is the same mode.
  std::string byName = scratchPath("glue-name.png"), byNumber = scratchPath("glue-number.png");
  ASSERT_EQ(runHost({"--edge-style", "blurry", "--glue", "screendim"}, in, byName).exitCode, 0);
  ASSERT_EQ(runHost({"--edge-style", "blurry", "--glue", "62"}, in, byNumber).exitCode, 0);
  EXPECT_EQ(fileBytes(byName), fileBytes(byNumber));
}

}  // namespace

namespace {

TEST(Scripting, EveryKeySentComesBackUnchanged) {
  HostImage input = makeTestPicture(50, 40, 1, false, 8, 12);
  std::string in = scratchPath("all-keys-in.png"), out = scratchPath("all-keys-out.png");
  std::string record = scratchPath("all-keys.txt");
  writePicture(in, input);
  ASSERT_EQ(runHost({"--edge-style", "12", "--smoothing", "7", "--tweaker", "99", "--edge-extent", "left to right",
                     "--source", "blue", "--colorize", "1", "--chrome-style", "puddles", "--angle", "300",
                     "--remove-noise", "0", "--glue", "pin light", "--flip", "1", "--record", record},
                    in, out)
                .exitCode,
            0);
  std::vector<std::string> lines = readLines(record);
  const std::vector<std::string> expected = {"EDky enum ED12", "0002 int 7",     "0003 int 99",    "EEky enum EE02",
                                             "Esky enum Es04", "0006 bool 1",    "ECky enum EC03", "0008 int 300",
                                             "0009 bool 0",    "GLUE enum GL18", "0011 bool 1"};
  EXPECT_EQ(lines, expected);
}

TEST(Transparency, LayerWithMaskIsFilterCaseFive) {
  HostImage input = makeTestPicture(120, 90, 3, true, 8, 13);
  HostImage mask;
  hostImageAllocate(&mask, 120, 90, 1, false, 8, 0);
  for (int32_t y = 0; y < 90; ++y)
    for (int32_t x = 60; x < 120; ++x) setHostSample(&mask, x, y, 0, 255);
  std::string maskPath = scratchPath("mask5.png");
  writePicture(maskPath, mask);
  HostImage plain = renderWith(input, blurryOptions(20, 80), "case4");
  std::vector<std::string> options = blurryOptions(20, 80);
  options.push_back("--mask");
  options.push_back(maskPath);
  HostImage masked = renderWith(input, options, "case5");
  for (int32_t y = 0; y < 90; ++y)
    for (int32_t x = 0; x < 120; ++x)
      for (int32_t c = 0; c < 4; ++c) {
        int32_t want = x < 60 ? hostPixel(input, x, y)[c] : hostPixel(plain, x, y)[c];
        ASSERT_EQ(hostPixel(masked, x, y)[c], want) << x << "," << y << " channel " << c;
      }
}

// The preview of the substitute host: what displayPixels received for the
// dialog's pane.
TEST(Preview, PaneShowsTheFilteredPictureAtTheFitScale) {
  HostImage input = makeTestPicture(2000, 1500, 3, false, 16, 14);
  std::string in = scratchPath("preview-in.png");
  writePicture(in, input);
  std::string fit = scratchPath("preview-fit.png"), two = scratchPath("preview-2.png");
  ASSERT_EQ(runHost({"--edge-style", "blurry", "--preview", "fit"}, in, fit).exitCode, 0);
  HostImage shown = readPicture(fit);
  EXPECT_EQ(shown.depth, 8);  // always 8-bit, whatever the picture
  EXPECT_EQ(shown.width, 500);
  EXPECT_EQ(shown.height, 375);

  ASSERT_EQ(runHost({"--edge-style", "blurry", "--preview", "2,400,300"}, in, two).exitCode, 0);
  HostImage panned = readPicture(two);
  EXPECT_EQ(panned.width, 518);
  EXPECT_EQ(panned.height, 377);

  std::string bad = scratchPath("preview-bad.png");
  std::remove(bad.c_str());
  HostRun tooFar = runHost({"--preview", "5"}, in, bad);
  EXPECT_NE(tooFar.exitCode, 0);
  EXPECT_NE(tooFar.errorText.find("between 1 and 4"), std::string::npos) << tooFar.errorText;
  EXPECT_FALSE(fileExists(bad));

  // Without sampling the host cannot reduce: the pane shows full size.
  std::string unsampled = scratchPath("preview-unsampled.png");
  ASSERT_EQ(runHost({"--edge-style", "blurry", "--preview", "fit", "--no-sampling"}, in, unsampled).exitCode, 0);
  EXPECT_EQ(readPicture(unsampled).width, 518);
}

}  // namespace
