// The GIMP procedure's values and the run over a picture, without GIMP.
#include <gtest/gtest.h>

#include <string>

#include "gimp/filter_run.h"
#include "gimp/filter_values.h"
#include "tests/e2e/host_runner.h"

extern "C" void PluginMain(int16_t selector, FilterRecord* record, intptr_t* data, int16_t* result);

namespace {

// Script-Fu callers pass the values by position: the order is the interface.
TEST(GimpFilterValues, ArgumentsKeepTheOrderOfTheScriptKeys) {
  const char* expected[SCRIPT_KEY_COUNT] = {"edge-style", "smoothing",   "tweaker", "edge-extent",
                                            "source",     "colorize",    "chrome-style", "angle",
                                            "remove-noise", "glue",      "flip"};
  for (int i = 0; i < SCRIPT_KEY_COUNT; ++i) EXPECT_EQ(filterValueName(i), expected[i]) << i;
  EXPECT_EQ(filterValueName(SCRIPT_KEY_COUNT), "");
}

TEST(GimpFilterValues, HelpGivesRangesAndEveryName) {
  EXPECT_EQ(filterValueHelp(0).rfind("edge style, 1..13: 1 blurry, 2 thin/hard,", 0), 0u) << filterValueHelp(0);
  EXPECT_NE(filterValueHelp(0).find("13 thorny"), std::string::npos);
  EXPECT_EQ(filterValueHelp(1), "smoothing, 0..100");
  EXPECT_EQ(filterValueHelp(7), "angle, 0..359 degrees");
  EXPECT_EQ(filterValueHelp(10), "flip, 0..1 (0 off, 1 on)");
  const std::string glue = filterValueHelp(9);
  EXPECT_NE(glue.find("59 sinister, 60 (unnamed), 61 (unnamed), 62 screendim"), std::string::npos) << glue;
}

TEST(GimpFilterValues, EveryValueIsCheckedAtBothEnds) {
  EXPECT_EQ(filterValuesError(defaultFilterValues()), "");
  const int32_t low[SCRIPT_KEY_COUNT] = {1, 0, 0, 1, 1, 0, 1, 0, 0, 1, 0};
  const int32_t high[SCRIPT_KEY_COUNT] = {13, 100, 100, 3, 4, 1, 6, 359, 1, 62, 1};
  for (int i = 0; i < SCRIPT_KEY_COUNT; ++i) {
    GimpFilterValues v = defaultFilterValues();
    v.value[i] = low[i];
    EXPECT_EQ(filterValuesError(v), "") << i;
    v.value[i] = high[i];
    EXPECT_EQ(filterValuesError(v), "") << i;
    v.value[i] = low[i] - 1;
    EXPECT_NE(filterValuesError(v), "") << i;
    v.value[i] = high[i] + 1;
    EXPECT_NE(filterValuesError(v), "") << i;
  }
  GimpFilterValues v = defaultFilterValues();
  v.value[0] = 14;
  v.value[7] = -1;
  EXPECT_EQ(filterValuesError(v), "edge style 14 is outside 1..13");  // the first one is named
}

// The picture of the run over a picture, with hooks that count and cancel.
struct HookCounts {
  int progressCalls = 0;
  bool badProgress = false;
  int cancelAfter = -1;
};

void countProgress(void* context, int32_t done, int32_t total) {
  auto* c = static_cast<HookCounts*>(context);
  c->progressCalls++;
  if (done < 0 || total <= 0 || done > total) c->badProgress = true;
}

bool cancelWhenTold(void* context) {
  auto* c = static_cast<HookCounts*>(context);
  return c->cancelAfter >= 0 && c->progressCalls >= c->cancelAfter;
}

TEST(GimpFilterRun, FiltersOnlyTheRectangleAndReportsProgress) {
  const HostImage original = makeTestPicture(300, 280, 3, true, 8, 5);
  HostImage picture = original;
  HookCounts counts;
  FilterRunHooks hooks;
  hooks.progress = countProgress;
  hooks.cancelled = cancelWhenTold;
  hooks.context = &counts;
  std::string message;
  ASSERT_EQ(runFilterOverPicture(PluginMain, &picture, 20, 10, 290, 270, defaultFilterValues(), hooks, &message), 0)
      << message;
  EXPECT_GT(counts.progressCalls, 0);
  EXPECT_FALSE(counts.badProgress);
  int changedInside = 0;
  for (int32_t y = 0; y < picture.height; ++y)
    for (int32_t x = 0; x < picture.width; ++x)
      for (int32_t p = 0; p < imagePlanes(picture); ++p) {
        const bool inside = x >= 20 && x < 290 && y >= 10 && y < 270;
        if (!inside) ASSERT_EQ(hostSample(picture, x, y, p), hostSample(original, x, y, p)) << x << "," << y;
        else changedInside += hostSample(picture, x, y, p) != hostSample(original, x, y, p);
      }
  EXPECT_GT(changedInside, 1000);
}

TEST(GimpFilterRun, CancelStopsAndLeavesThePicture) {
  const HostImage original = makeTestPicture(600, 300, 1, false, 16, 6);
  HostImage picture = original;
  HookCounts counts;
  counts.cancelAfter = 1;
  FilterRunHooks hooks;
  hooks.progress = countProgress;
  hooks.cancelled = cancelWhenTold;
  hooks.context = &counts;
  std::string message;
  EXPECT_EQ(runFilterOverPicture(PluginMain, &picture, 0, 0, 600, 300, defaultFilterValues(), hooks, &message),
            userCanceledErr);
  EXPECT_NE(message.find("userCanceledErr"), std::string::npos) << message;
  EXPECT_TRUE(hostImagesEqual(picture, original));
}

TEST(GimpFilterRun, RectangleOutsideThePictureIsRefused) {
  HostImage picture = makeTestPicture(40, 30, 3, false, 8, 7);
  const HostImage original = picture;
  std::string message;
  EXPECT_NE(runFilterOverPicture(PluginMain, &picture, 0, 0, 41, 30, defaultFilterValues(), FilterRunHooks{}, &message),
            0);
  EXPECT_FALSE(message.empty());
  EXPECT_TRUE(hostImagesEqual(picture, original));
}

}  // namespace
