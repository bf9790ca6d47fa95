// The selectors and the order of a run, played against PluginMain in
// process by the substitute host's library.
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "entry/entry.h"
#include "session/parameters.h"
#include "session/session.h"
#include "pi/plugin_interface.h"
#include "pihost/host_options.h"
#include "pihost/host_session.h"

extern "C" void PluginMain(int16_t selector, FilterRecord* record, intptr_t* data, int16_t* result);

namespace {

HostImage picture(int32_t width, int32_t height) {
  HostImage image;
  hostImageAllocate(&image, width, height, 3, false, 8, 0);
  for (size_t i = 0; i < image.bytes.size(); ++i) image.bytes[i] = static_cast<uint8_t>((i * 37 + i / 91) & 255);
  return image;
}

std::unique_ptr<HostSession> newSession(const HostImage& image, std::vector<std::string> arguments = {}) {
  std::vector<const char*> argv = {"test"};
  for (const auto& a : arguments) argv.push_back(a.c_str());
  argv.push_back("in.png");
  argv.push_back("out.png");
  HostOptions options;
  std::string error;
  EXPECT_EQ(parseHostOptions(static_cast<int>(argv.size()), argv.data(), &options, &error), ParseOutcome::Run);
  auto session = std::make_unique<HostSession>();
  EXPECT_TRUE(hostSessionSetup(session.get(), options, image, nullptr, &error)) << error;
  return session;
}

TEST(Selectors, AboutMakesNoSession) {
  auto s = newSession(picture(4, 4));
  hostSessionActivate(s.get());
  hostSessionCallSelector(s.get(), PluginMain, filterSelectorAbout);
  EXPECT_EQ(s->data, 0);
  EXPECT_EQ(s->record.parameters, nullptr);
  hostSessionDeactivate(s.get());
  hostSessionRelease(s.get());
}

TEST(Selectors, UnknownSelectorIsBadParameters) {
  auto s = newSession(picture(4, 4));
  hostSessionActivate(s.get());
  hostSessionCallSelector(s.get(), PluginMain, 6);
  EXPECT_EQ(s->result, filterBadParameters);
  EXPECT_NE(s->data, 0);  // the session exists and stays for the next call
  hostSessionCallSelector(s.get(), PluginMain, filterSelectorPrepare);
  EXPECT_EQ(s->result, 0);
  hostSessionDeactivate(s.get());
  hostSessionRelease(s.get());
}

TEST(Selectors, PrepareAsksForMemoryByTheRectangle) {
  EXPECT_EQ(preparedBufferSpace(10, 10), 200000);
  EXPECT_EQ(preparedBufferSpace(4000, 3000), 200000);  // 15,296 raised to the floor
  EXPECT_EQ(preparedBufferSpace(10, 100000), 2 * 100004 + 1112);   // the longer side rules
  EXPECT_EQ(preparedBufferSpace(70000, 10), 3 * 70000 + 2184 + 1112);  // the row rules
  auto s = newSession(picture(10, 10));
  hostSessionActivate(s.get());
  hostSessionCallSelector(s.get(), PluginMain, filterSelectorPrepare);
  EXPECT_EQ(s->record.bufferSpace, 200000);
  hostSessionDeactivate(s.get());
  hostSessionRelease(s.get());
}

// Start on a record changed after set-up, as odd hosts would hand it over.
int16_t startWith(const HostImage& image, void (*change)(FilterRecord*), HostImage* filtered = nullptr) {
  auto s = newSession(image, {"--edge-style", "blurry"});
  hostSessionActivate(s.get());
  hostSessionCallSelector(s.get(), PluginMain, filterSelectorPrepare);
  change(&s->record);
  hostSessionCallSelector(s.get(), PluginMain, filterSelectorStart);
  int16_t result = s->result;
  EXPECT_EQ(s->record.inRect.right - s->record.inRect.left, 0);
  EXPECT_EQ(s->record.outRect.right - s->record.outRect.left, 0);
  hostSessionDeactivate(s.get());
  if (filtered) *filtered = s->filtered;
  hostSessionRelease(s.get());
  return result;
}

TEST(Start, EmptyFilterRectangleCannotHaveAStrokePlane) {
  EXPECT_EQ(startWith(picture(20, 20), [](FilterRecord* r) { r->filterRect.right = r->filterRect.left; }),
            RESULT_NO_STROKE_PLANE);
}

TEST(Start, MultichannelIsRefusedWithoutWords) {
  EXPECT_EQ(startWith(picture(20, 20), [](FilterRecord* r) { r->imageMode = plugInModeMultichannel; }), 1);
}

TEST(Start, HostWithoutDisplayPixelsEndsTheRunAtOnce) {
  HostImage image = picture(40, 30), filtered;
  EXPECT_EQ(startWith(image, [](FilterRecord* r) { r->displayPixels = nullptr; }, &filtered), 0);
  EXPECT_TRUE(hostImagesEqual(filtered, image));  // no tile was rendered
}

TEST(Parameters, WorkingCopiesFollowTheUserValues) {
  EdgeParameters p{};
  setDefaultParameters(&p);
  p.scaleDivisor = 1;
  p.smoothing = 0;
  deriveRenderFieldsOf(&p);
  EXPECT_EQ(p.renderSmoothing, 1);
  p.scaleDivisor = 5;
  p.smoothing = 4;
  deriveRenderFieldsOf(&p);
  EXPECT_EQ(p.renderSmoothing, 1);
  p.smoothing = 99;
  deriveRenderFieldsOf(&p);
  EXPECT_EQ(p.renderSmoothing, 19);
  p.edgeExtent = 2;
  deriveRenderFieldsOf(&p);
  EXPECT_EQ(p.horizontalField, 0);
  EXPECT_EQ(p.verticalField, 1);
  p.edgeExtent = 1;
  deriveRenderFieldsOf(&p);
  EXPECT_EQ(p.horizontalField, 1);
  EXPECT_EQ(p.verticalField, 0);
  p.edgeStyle = INT32_MIN;  // a script may send anything
  deriveRenderFieldsOf(&p);
  EXPECT_EQ(p.renderStyle, INT32_MAX);
}

TEST(Parameters, SnapshotsCarryTheTwelveAndTheName) {
  EdgeParameters live{}, snapshot{};
  setDefaultParameters(&live);
  live.glue = 44;
  live.edgeSpare = 6;
  live.scaleDivisor = 3;
  copyPathText(live.settingsName, "mine.q4t");
  copyStyleFields(&snapshot, &live, COPY_TO_SNAPSHOT);
  EXPECT_EQ(snapshot.glue, 44);
  EXPECT_EQ(snapshot.edgeSpare, 6);
  EXPECT_STREQ(snapshot.settingsName, "mine.q4t");
  EXPECT_EQ(snapshot.scaleDivisor, 0);  // view fields do not move
}

// The host hears of progress at most once in 32 steps, unless five or more
// units went by, and always at 0.
TEST(Progress, ThrottleReportsSparsely) {
  static std::vector<std::pair<int32_t, int32_t>> heard;
  heard.clear();
  FilterRecord record{};
  record.progressProc = [](int32_t done, int32_t total) { heard.emplace_back(done, total); };
  EdgeParameters parameters{};
  FilterWorkArea* work = new FilterWorkArea{};
  FilterSession session{};
  int16_t result = 0;
  session.result = &result;
  session.filterRecord = &record;
  session.parameters = &parameters;
  session.work = work;
  for (int32_t done = 0; done <= 70; ++done) reportProgress(&session, done, 70, 1);
  reportProgress(&session, 80, 90, 1);  // a jump of ten
  std::vector<std::pair<int32_t, int32_t>> want = {{0, 70}, {32, 70}, {64, 70}, {80, 90}};
  EXPECT_EQ(heard, want);
  parameters.renderTarget = 1;  // previews report nothing
  reportProgress(&session, 0, 5, 1);
  EXPECT_EQ(heard.size(), want.size());
  delete work;
}

}  // namespace
