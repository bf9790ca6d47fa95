// The session protocol and the record the host fills, with stand-in
// plug-ins called in process.
// The record is packed and gtest's macros bind references, so its fields
// go into them as copies (unary plus).
#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "pihost/host_session.h"
#include "platform/threads.h"
#include "tests/pihost/fake_plugin.h"

namespace {

HostImage gradient(int32_t width, int32_t height, int32_t colorPlanes, bool alpha, int32_t depth) {
  HostImage image;
  hostImageAllocate(&image, width, height, colorPlanes, alpha, depth, 0);
  const int32_t top = imageMaxValue(image);
  for (int32_t y = 0; y < height; ++y)
    for (int32_t x = 0; x < width; ++x)
      for (int32_t p = 0; p < imagePlanes(image); ++p)
        setHostSample(&image, x, y, p, uint16_t(((x * 7 + y * 13 + p * 50) % 256) * top / 255));
  return image;
}

struct SessionRun {
  std::unique_ptr<HostSession> session = std::make_unique<HostSession>();
  int16_t result = 0;
  HostImage output;
  ~SessionRun() { hostSessionRelease(session.get()); }
};

void runWith(SessionRun* run, const HostOptions& options, const HostImage& image, const HostMask* mask,
             PluginEntryProc entry = fakeInvertPlugin) {
  fakePluginReset();
  std::string error;
  ASSERT_TRUE(hostSessionSetup(run->session.get(), options, image, mask, &error)) << error;
  run->result = hostSessionRun(run->session.get(), entry);
  hostSessionComposeResult(*run->session, &run->output);
}

void expectInvertedInside(const HostImage& before, const HostImage& after, const Rect& area) {
  const int32_t top = imageMaxValue(before);
  for (int32_t y = 0; y < before.height; ++y)
    for (int32_t x = 0; x < before.width; ++x) {
      const bool inside = y >= area.top && y < area.bottom && x >= area.left && x < area.right;
      for (int32_t p = 0; p < imagePlanes(before); ++p) {
        const int32_t original = hostPixel(before, x, y)[p];
        const bool colour = p < before.colorPlanes;
        const int32_t expected = inside && colour ? top - original : original;
        ASSERT_EQ(hostPixel(after, x, y)[p], expected) << x << "," << y << " plane " << p;
      }
    }
}

HostOptions selectionOptions(int32_t left, int32_t top, int32_t right, int32_t bottom) {
  HostOptions options;
  setHostSelection(&options, left, top, right, bottom);
  return options;
}

TEST(HostSession, TilesThroughAdvanceStateAndLeavesTheOutsideAlone) {
  for (int32_t depth : {8, 16}) {
    const HostImage image = gradient(70, 45, 3, false, depth);
    const HostOptions options = selectionOptions(5, 3, 69, 40);
    SessionRun run;
    runWith(&run, options, image, nullptr);
    ASSERT_EQ(run.result, 0);
    const FakePluginLog& log = *fakePluginLog();
    EXPECT_EQ(log.selectorCalls[filterSelectorParameters], 0);
    EXPECT_EQ(log.selectorCalls[filterSelectorPrepare], 1);
    EXPECT_EQ(log.selectorCalls[filterSelectorStart], 1);
    EXPECT_EQ(log.selectorCalls[filterSelectorContinue], 0);
    EXPECT_EQ(log.selectorCalls[filterSelectorFinish], 1);
    EXPECT_EQ(log.tiles, 2 * 2);
    EXPECT_EQ(run.session->services.progressCalls, 4);
    expectInvertedInside(image, run.output, Rect{3, 5, 40, 69});
    EXPECT_EQ(+run.session->record.imageMode, depth == 16 ? plugInModeRGB48 : plugInModeRGBColor);
    EXPECT_EQ(+run.session->record.depth, depth);
  }
}

TEST(HostSession, WithoutAdvanceStateTheHostDrivesContinue) {
  const HostImage image = gradient(40, 30, 1, true, 8);
  HostOptions options;
  options.advanceState = false;
  SessionRun run;
  runWith(&run, options, image, nullptr);
  ASSERT_EQ(run.result, 0);
  EXPECT_EQ(fakePluginLog()->selectorCalls[filterSelectorContinue], 1);
  EXPECT_EQ(run.session->continueCalls, 1);
  expectInvertedInside(image, run.output, Rect{0, 0, 30, 40});  // grey inverted, alpha kept

  // A buffer of the whole picture, cut and committed over the host's
  // threads, which end with the run.
  const HostImage deep = gradient(300, 200, 3, false, 16);
  SessionRun whole;
  runWith(&whole, options, deep, nullptr);
  ASSERT_EQ(whole.result, 0);
  expectInvertedInside(deep, whole.output, Rect{0, 0, 200, 300});
  EXPECT_EQ(platformLiveWorkers(), 0);
}

TEST(HostSession, ATransparentLayerIsFilterCaseFourOrFive) {
  const HostImage image = gradient(8, 8, 1, true, 16);
  HostMask mask;
  mask.width = mask.height = 8;
  mask.values.assign(64, 255);
  HostOptions options;
  options.foreground[0] = 255;  // a red foreground on a grey picture becomes its luma
  SessionRun plain, masked;
  runWith(&plain, options, image, nullptr);
  runWith(&masked, options, image, &mask);
  const FilterRecord& r = plain.session->record;
  EXPECT_EQ(+r.filterCase, filterCaseEditableTransparencyNoSelection);
  EXPECT_EQ(+masked.session->record.filterCase, filterCaseEditableTransparencyWithSelection);
  EXPECT_EQ(+r.planes, 2);
  EXPECT_EQ(+r.inLayerPlanes, 1);
  EXPECT_EQ(+r.outLayerPlanes, 1);
  EXPECT_EQ(+r.inTransparencyMask, 1);
  EXPECT_EQ(+r.imageMode, plugInModeGray16);
  EXPECT_EQ(+r.foreColor[0], (77 * 255) >> 8);
  EXPECT_EQ(+r.foreColor[1], (77 * 255) >> 8);
  EXPECT_EQ(+r.foreColor[3], 0);
  EXPECT_EQ(+r.backColor[0], (255 * 255) >> 8);  // white is 254 by the 77/150/28 weights
  EXPECT_EQ(+r.hostSig, fourCharCode("8BIM"));
  EXPECT_EQ(+r.samplingSupport, 1);

  const HostImage flat = gradient(8, 8, 3, false, 8);
  SessionRun flatRun, flatMasked;
  runWith(&flatRun, options, flat, nullptr);
  runWith(&flatMasked, options, flat, &mask);
  EXPECT_EQ(+flatRun.session->record.filterCase, filterCaseFlatImageNoSelection);
  EXPECT_EQ(+flatMasked.session->record.filterCase, filterCaseFlatImageWithSelection);
  EXPECT_EQ(+flatRun.session->record.inNonLayerPlanes, 3);
  EXPECT_EQ(+flatRun.session->record.foreColor[0], 255);
}

TEST(HostSession, TheMaskBlendsTheFilteredResultIn) {
  const HostImage image = gradient(16, 4, 3, false, 8);
  HostMask mask;
  mask.width = 16;
  mask.height = 4;
  for (int i = 0; i < 64; ++i) mask.values.push_back(uint8_t(i * 4));
  HostOptions options;
  SessionRun run;
  runWith(&run, options, image, &mask);
  ASSERT_EQ(run.result, 0);
  for (int32_t y = 0; y < 4; ++y)
    for (int32_t x = 0; x < 16; ++x) {
      const uint32_t m = mask.values[size_t(y * 16 + x)];
      const uint32_t o = hostPixel(image, x, y)[0];
      EXPECT_EQ(hostPixel(run.output, x, y)[0], ((255 - o) * m + o * (255 - m) + 127) / 255);
    }
}

TEST(HostSession, DescriptorGoesInAndComesBack) {
  const HostImage image = gradient(4, 4, 1, false, 8);
  HostOptions options;
  options.descriptorItems = {
      DescriptorItem{fourCharCode("EDky"), typeEnumerated, fourCharCode("EDty"), int32_t(fourCharCode("ED01"))},
      DescriptorItem{fourCharCode("0002"), typeInteger, 0, 42},
      DescriptorItem{fourCharCode("0006"), typeBoolean, 0, 1}};
  SessionRun run;
  runWith(&run, options, image, nullptr);
  ASSERT_EQ(run.result, 0);
  EXPECT_EQ(fakePluginLog()->keysRead, 3);
  EXPECT_EQ(fakePluginLog()->smoothingRead, 42);
  EXPECT_EQ(fakePluginLog()->closeReadResult, noErr);
  EXPECT_EQ(run.session->descriptorParameters.playInfo, plugInDialogDontDisplay);
  ASSERT_TRUE(run.session->haveReturnedDescriptor);
  ASSERT_EQ(run.session->returnedDescriptor.size(), 3u);
  EXPECT_EQ(run.session->returnedDescriptor[1].value, 42);

  // A key the plug-in expects but the script leaves out: the host says so.
  HostOptions partial;
  partial.descriptorItems = {options.descriptorItems[1]};
  SessionRun second;
  runWith(&second, partial, image, nullptr);
  EXPECT_EQ(fakePluginLog()->closeReadResult, errAEParamMissed);
}

TEST(HostSession, CapabilitySwitchesEmptyTheirFields) {
  const HostImage image = gradient(4, 4, 1, false, 8);
  HostOptions options;
  options.bufferProcs = options.handleProcs = options.descriptors = options.displayPixels = options.sampling = false;
  options.hostSig = fourCharCode("PSP8");
  SessionRun run;
  runWith(&run, options, image, nullptr);
  const FilterRecord& r = run.session->record;
  EXPECT_EQ(+r.bufferProcs, nullptr);
  EXPECT_EQ(+r.handleProcs, nullptr);
  EXPECT_EQ(+r.descriptorParameters, nullptr);
  EXPECT_EQ(+r.displayPixels, nullptr);
  EXPECT_EQ(+r.samplingSupport, 0);
  EXPECT_EQ(+r.hostSig, 0x50535038u);
  EXPECT_EQ(run.result, 0);

  HostOptions version3;
  version3.bufferProcsVersion = 3;
  version3.dialog = true;
  SessionRun v3;
  runWith(&v3, version3, image, nullptr);
  EXPECT_EQ(v3.session->record.bufferProcs->bufferProcsVersion, 3);
  EXPECT_EQ(v3.session->descriptorParameters.playInfo, plugInDialogDisplay);
  EXPECT_EQ(fakePluginLog()->selectorCalls[filterSelectorParameters], 1);
}

TEST(HostSession, CancelStopsTheRunAndSkipsFinish) {
  const HostImage image = gradient(100, 100, 3, false, 8);
  HostOptions options;
  options.cancelAfter = 2;
  SessionRun run;
  runWith(&run, options, image, nullptr);
  EXPECT_EQ(run.result, userCanceledErr);
  EXPECT_EQ(fakePluginLog()->tiles, 2);
  EXPECT_EQ(fakePluginLog()->selectorCalls[filterSelectorFinish], 0);
}

// Rows lent from the picture and rows cut into the host's buffers give the
// same picture, for every kind of picture, with a selection and a mask.
TEST(HostSession, LentRowsGiveTheBytesOfCopiedOnes) {
  struct Kind {
    int32_t colorPlanes;
    bool alpha;
    int32_t depth;
  };
  const Kind kinds[] = {{1, false, 8}, {3, false, 8}, {3, true, 8}, {1, true, 16}, {3, false, 16}};
  for (const Kind& kind : kinds) {
    const HostImage image = gradient(75, 41, kind.colorPlanes, kind.alpha, kind.depth);
    HostMask mask{75, 41, std::vector<uint8_t>(75 * 41)};
    for (size_t i = 0; i < mask.values.size(); ++i) mask.values[i] = uint8_t(i * 29);
    const HostOptions options = selectionOptions(3, 1, 70, 41);
    for (const HostMask* m : {static_cast<const HostMask*>(nullptr), static_cast<const HostMask*>(&mask)}) {
      SessionRun lent, copied;
      runWith(&lent, options, image, m);
      copied.session->lendPictureRows = false;
      runWith(&copied, options, image, m);
      ASSERT_EQ(lent.result, 0);
      ASSERT_EQ(copied.result, 0);
      EXPECT_TRUE(hostImagesEqual(lent.output, copied.output))
          << kind.colorPlanes << " planes, alpha " << kind.alpha << ", depth " << kind.depth << ", mask " << (m != nullptr);
    }
  }
}

// A plug-in that writes white over the whole picture's outRect, however
// small the filter rectangle.
void PI_CALL wholePicturePlugin(int16_t selector, FilterRecord* r, intptr_t*, int16_t* result) {
  if (selector != filterSelectorStart) return;
  r->inRect = Rect{0, 0, 0, 0};
  r->outRect = Rect{0, 0, r->imageSize.v, r->imageSize.h};
  r->outLoPlane = 0;
  r->outHiPlane = int16_t(r->planes - 1);
  *result = r->advanceState();
  if (*result != 0) return;
  for (int32_t y = 0; y < r->imageSize.v; ++y)
    std::memset(static_cast<uint8_t*>(r->outData) + int64_t(y) * r->outRowBytes, 255, size_t(r->imageSize.h) * size_t(r->planes));
  r->outRect = Rect{0, 0, 0, 0};
}

// Output reaches the picture only inside the filter rectangle, and not at
// all for a render whose output is not the picture: such rectangles are
// never lent.
TEST(HostSession, OutputOutsideTheFilterRectangleNeverLands) {
  const HostImage image = gradient(20, 12, 3, false, 8);
  const HostOptions options = selectionOptions(4, 2, 10, 7);
  SessionRun run;
  runWith(&run, options, image, nullptr, wholePicturePlugin);
  ASSERT_EQ(run.result, 0);
  for (int32_t y = 0; y < 12; ++y)
    for (int32_t x = 0; x < 20; ++x) {
      const bool inside = y >= 2 && y < 7 && x >= 4 && x < 10;
      ASSERT_EQ(hostPixel(run.output, x, y)[1], inside ? 255 : hostPixel(image, x, y)[1]) << x << "," << y;
    }

  SessionRun preview;
  fakePluginReset();
  std::string error;
  ASSERT_TRUE(hostSessionSetup(preview.session.get(), HostOptions{}, image, nullptr, &error)) << error;
  preview.session->commitOutput = false;
  EXPECT_EQ(hostSessionRun(preview.session.get(), wholePicturePlugin), 0);
  EXPECT_TRUE(hostImagesEqual(preview.session->filtered, image));
}

// A plug-in that asks for the same rectangle at every Continue, forever.
void PI_CALL stubbornPlugin(int16_t selector, FilterRecord* r, intptr_t*, int16_t*) {
  if (selector == filterSelectorStart || selector == filterSelectorContinue) {
    r->inRect = r->outRect = Rect{0, 0, 2, 2};
    r->inHiPlane = r->outHiPlane = int16_t(r->planes - 1);
  }
  if (selector == filterSelectorFinish) fakePluginLog()->selectorCalls[filterSelectorFinish]++;
}

// A plug-in whose Start fails after it has set rectangles.
void PI_CALL failingPlugin(int16_t selector, FilterRecord* r, intptr_t*, int16_t* result) {
  fakePluginLog()->selectorCalls[selector]++;
  if (selector == filterSelectorStart) {
    r->inRect = Rect{0, 0, 2, 2};
    *result = memFullErr;
  }
}

TEST(HostSession, PluginsThatMisbehaveAreStopped) {
  const HostImage image = gradient(4, 4, 1, false, 8);
  HostOptions options;
  SessionRun stubborn;
  runWith(&stubborn, options, image, nullptr, stubbornPlugin);
  EXPECT_FALSE(stubborn.session->protocolError.empty());
  EXPECT_LE(stubborn.session->continueCalls, kMaxRepeatedRequests);
  EXPECT_EQ(fakePluginLog()->selectorCalls[filterSelectorFinish], 0);

  SessionRun failing;
  runWith(&failing, options, image, nullptr, failingPlugin);
  EXPECT_EQ(failing.result, memFullErr);
  EXPECT_EQ(failing.session->continueCalls, 0);
  EXPECT_EQ(fakePluginLog()->selectorCalls[filterSelectorFinish], 0);
}

TEST(HostSession, SetupRefusesASelectionOutsideThePicture) {
  const HostImage image = gradient(10, 10, 1, false, 8);
  HostOptions options;
  options.haveSelection = true;
  options.selectionRight = 11;
  options.selectionBottom = 5;
  auto session = std::make_unique<HostSession>();
  std::string error;
  EXPECT_FALSE(hostSessionSetup(session.get(), options, image, nullptr, &error));
  EXPECT_NE(error.find("outside the 10x10 picture"), std::string::npos) << error;
  hostSessionRelease(session.get());
}

}  // namespace
