// The preview's geometry: the opening scale for the pane, zoom steps with
// their recentring, pan limits, the rectangles the host is given, the pan
// step, and the 8-bit picture handed to displayPixels.
#include <gtest/gtest.h>

#include <cstring>

#include "session/session.h"
#include "region/preview_geometry.h"
#include "pihost/preview_mode.h"
#include "tests/region/region_harness.h"

namespace {

Rect rect(int32_t top, int32_t left, int32_t bottom, int32_t right) {
  return Rect{int16_t(top), int16_t(left), int16_t(bottom), int16_t(right)};
}

void expectRect(const Rect& r, int32_t top, int32_t left, int32_t bottom, int32_t right) {
  EXPECT_EQ(r.top, top);
  EXPECT_EQ(r.left, left);
  EXPECT_EQ(r.bottom, bottom);
  EXPECT_EQ(r.right, right);
}

// A flat picture is enough for geometry; it is cut by rectangle only.
struct GeometryHost {
  Harness h;
  GeometryHost(int32_t width, int32_t height, bool sampling = true, OSType signature = hostSignaturePhotoshop) {
    HarnessPicture picture;
    picture.width = width;
    picture.height = height;
    picture.samples.assign(static_cast<size_t>(width) * height * 3, 100);
    std::vector<uint8_t> mask(static_cast<size_t>(width) * height, 255);
    harnessInit(&h, picture, rect(0, 0, height, width), &mask);
    h.record.samplingSupport = sampling ? 1 : 0;
    h.record.hostSig = signature;
    EXPECT_TRUE(harnessStart(&h));
    params()->renderTarget = 1;
  }
  ~GeometryHost() { harnessEnd(&h); }
  FilterSession* session() { return h.session; }
  EdgeParameters* params() { return harnessParameters(&h); }
};

TEST(PreviewGeometry, OpeningFitsTheSelectionIntoThePane) {
  GeometryHost g(2000, 1500);
  ASSERT_TRUE(openPreviewGeometry(g.session(), previewPaneRect()));
  FilterSession* s = g.session();
  expectRect(s->previewFrame, 2, 326, 383, 848);
  expectRect(s->previewArea, 4, 328, 381, 846);  // 518 x 377
  EXPECT_EQ(s->previewScale, 4);
  EXPECT_EQ(s->maxScale, 4);
  EXPECT_EQ(g.params()->scaleDivisor, 4);
  char text[16];
  zoomPercentText(s, text);
  EXPECT_STREQ(text, "25%");
  EXPECT_FALSE(zoomOutEnabled(s));
  EXPECT_TRUE(zoomInEnabled(s));
  // The host is asked for the whole selection at a quarter, 500 x 375.
  expectRect(g.h.record.inRect, 0, 0, 375, 500);
  EXPECT_EQ(g.h.record.inputRate, 4 << 16);
  EXPECT_EQ(g.h.record.maskRate, 4 << 16);
  EXPECT_EQ(g.h.record.inputPadding, plugInWantsEdgeReplication);
  EXPECT_EQ(s->regionWidth, 500);
  EXPECT_EQ(s->regionHeight, 375);
}

TEST(PreviewGeometry, SmallPictureAndHostsWithoutSampling) {
  {
    // Smaller than the pane: 100%, no zoom either way, centred in the pane.
    GeometryHost g(200, 100);
    ASSERT_TRUE(openPreviewGeometry(g.session(), previewPaneRect()));
    EXPECT_EQ(g.session()->previewScale, 1);
    expectRect(g.session()->previewArea, 4, 328, 104, 528);
    EXPECT_FALSE(zoomOutEnabled(g.session()));
    EXPECT_FALSE(zoomInEnabled(g.session()));
    renderPreview(g.session());
    ASSERT_EQ(showPreviewPicture(g.session(), g.session()->previewFrame, nullptr), 0);
    EXPECT_EQ(g.h.shownColumn, (326 + 848 - 200) / 2);
    EXPECT_EQ(g.h.shownRow, (2 + 383 - 100) / 2);
  }
  {
    // No sampling: the scale stays 1, the view is cut to the area, and the
    // zoom commands do nothing while the pan still works.
    GeometryHost g(2000, 1500, false);
    ASSERT_TRUE(openPreviewGeometry(g.session(), previewPaneRect()));
    EXPECT_EQ(g.session()->previewScale, 4);
    EXPECT_EQ(g.params()->scaleDivisor, 1);
    EXPECT_EQ(g.session()->maxScale, 1);
    expectRect(g.h.record.inRect, 0, 0, 377, 518);
    EXPECT_EQ(g.h.record.inputRate, 1 << 16);
    EXPECT_FALSE(zoomCommand(g.session(), ZOOM_IN_ID));
    EXPECT_FALSE(zoomCommand(g.session(), ZOOM_ACTUAL_ID));
    g.params()->panX = 5000;
    clampPan(g.session(), 1);
    EXPECT_EQ(g.params()->panX, 2000 - 518);
  }
}

TEST(PreviewGeometry, ZoomStepsRecentreAndClampThePan) {
  GeometryHost g(2000, 1500);
  ASSERT_TRUE(openPreviewGeometry(g.session(), previewPaneRect()));
  EdgeParameters* p = g.params();
  FilterSession* s = g.session();
  EXPECT_FALSE(zoomCommand(s, ZOOM_OUT_ID));  // already at maxScale

  // 4 -> 3: the centre (1000, 750) stays; the view is 1554 x 1131 pixels.
  ASSERT_TRUE(zoomCommand(s, ZOOM_IN_ID));
  EXPECT_EQ(p->scaleDivisor, 3);
  EXPECT_EQ(p->zoomChanged, 1);
  EXPECT_EQ(p->panX, 1000 - 777);
  EXPECT_EQ(p->panY, 750 - 565);
  // inRect: the panned selection at a third, cut to the area.
  expectRect(g.h.record.inRect, 61, 74, 61 + 377, 74 + 518);
  char text[16];
  zoomPercentText(s, text);
  EXPECT_STREQ(text, "33%");

  // 3 -> 2: centre of that view at full size, (999, 748).
  ASSERT_TRUE(zoomCommand(s, ZOOM_IN_ID));
  EXPECT_EQ(p->panX, 999 - 518);
  EXPECT_EQ(p->panY, 748 - 377);

  // The bottom right corner: the pan stops at the limits.
  p->panX = 30000;
  p->panY = 30000;
  clampPan(s, 2);
  EXPECT_EQ(p->panX, (1000 - 518) * 2);
  EXPECT_EQ(p->panY, (750 - 377) * 2);
  setPreviewGeometry(s, 2);
  // 100% keeps the centre of that view, (1482, 1123).
  ASSERT_TRUE(zoomCommand(s, ZOOM_ACTUAL_ID));
  EXPECT_EQ(p->scaleDivisor, 1);
  EXPECT_EQ(p->panX, 1482 - 259);
  EXPECT_EQ(p->panY, 1123 - 188);
  expectRect(g.h.record.inRect, 935, 1223, 935 + 377, 1223 + 518);
  // The output always stands at the start of the buffer.
  expectRect(g.h.record.outRect, 0, 0, 377, 518);
  EXPECT_FALSE(zoomCommand(s, ZOOM_IN_ID));

  // Out again step by step; reaching maxScale puts the pan back to 0.
  for (int32_t expected = 2; expected <= 4; ++expected) {
    ASSERT_TRUE(zoomCommand(s, ZOOM_OUT_ID));
    EXPECT_EQ(p->scaleDivisor, expected);
  }
  EXPECT_EQ(p->panX, 0);
  EXPECT_EQ(p->panY, 0);
  EXPECT_FALSE(zoomOutEnabled(s));
  EXPECT_FALSE(zoomCommand(s, 99));
}

TEST(PreviewGeometry, MaskRectangleOfThePSP8Host) {
  GeometryHost g(2000, 1500, true, hostSignaturePSP8);
  ASSERT_TRUE(openPreviewGeometry(g.session(), previewPaneRect()));
  EdgeParameters* p = g.params();
  p->scaleDivisor = 2;
  p->panX = 101;
  p->panY = 61;
  setPreviewGeometry(g.session(), 2);
  // inRect is the panned selection at a half, cut to the area.
  expectRect(g.h.record.inRect, 30, 50, 30 + 377, 50 + 518);
  expectRect(g.h.record.maskRect, 30, 50, 30 + 377, 50 + 518);
  // At scale 1 the rule does not apply; other hosts keep inRect.
  p->panX = 0;
  p->panY = 0;
  g.h.record.filterRect = rect(8, 10, 1500, 2000);
  setPreviewGeometry(g.session(), 2);
  expectRect(g.h.record.maskRect, 0, 0, 377, 518);
  expectRect(g.h.record.inRect, 4, 5, 4 + 377, 5 + 518);
}

TEST(PreviewGeometry, PanStepFollowsTheHandWithUnfilteredRows) {
  HarnessPicture picture = makeTestPicture(1200, 900, 3, 8, false);
  Harness h;
  harnessInit(&h, picture, rect(0, 0, 900, 1200));
  ASSERT_TRUE(harnessStart(&h));
  EdgeParameters* p = harnessParameters(&h);
  p->renderTarget = 1;
  ASSERT_TRUE(openPreviewGeometry(h.session, previewPaneRect()));
  ASSERT_EQ(p->scaleDivisor, 3);
  ASSERT_TRUE(zoomCommand(h.session, ZOOM_IN_ID));  // to 2, centred
  int32_t panX = p->panX, panY = p->panY;
  p->lastMousePoint[0] = 100;
  p->lastMousePoint[1] = 100;
  EXPECT_FALSE(panPreviewStep(h.session, 100, 100));  // no move, no picture
  int32_t calls = h.advanceCalls;
  ASSERT_TRUE(panPreviewStep(h.session, 95, 110));    // right 10, up 5
  EXPECT_EQ(h.advanceCalls - calls, 2);
  EXPECT_EQ(p->panX, panX - 20);
  EXPECT_EQ(p->panY, panY + 10);
  EXPECT_EQ(p->lastMousePoint[0], 95);
  EXPECT_EQ(p->lastMousePoint[1], 110);
  // The pane holds the unfiltered picture of the new view, at half size.
  const Rect& in = h.record.inRect;
  for (int32_t y : {0, 9, 200}) {
    for (int32_t x : {0, 8, 17, 300}) {
      const uint16_t* s = picture.at((in.left + x) * 2, (in.top + y) * 2);
      for (int32_t k = 0; k < 3; ++k) EXPECT_EQ(harnessOutSample(h, x, y, k), s[k]) << x << "," << y;
    }
  }
  // Far past the edge: the pan stops at its limit.
  panPreviewStep(h.session, 95, 1000);
  EXPECT_EQ(p->panX, 0);
  harnessEnd(&h);
}

TEST(PreviewGeometry, DisplayConversionToEightBits) {
  FilterRecord record{};
  FilterSession session{};
  int16_t result = 0;
  session.result = &result;
  session.filterRecord = &record;
  uint16_t samples[2][8] = {{32768, 32767, 256, 255, 128, 127, 0, 40000}, {1, 2, 3, 4, 5, 6, 7, 8}};
  record.outData = samples;
  record.outRowBytes = sizeof(samples[0]);
  record.outRect = rect(0, 0, 2, 2);
  record.outLoPlane = 0;
  record.outHiPlane = 2;
  record.imageMode = plugInModeRGB48;
  record.depth = 16;
  PreviewPicture picture;
  ASSERT_TRUE(preparePreviewPicture(&session, previewPaneRect(), &picture));
  EXPECT_EQ(picture.map.imageMode, plugInModeRGBColor);
  EXPECT_EQ(picture.map.rowBytes, 8);
  EXPECT_EQ(picture.map.colBytes, 3);
  EXPECT_EQ(picture.map.version, 1);
  const uint8_t* bytes = static_cast<const uint8_t*>(picture.map.baseAddr);
  const uint8_t want[6] = {255, 255, 2, 1, 1, 0};
  EXPECT_EQ(std::memcmp(bytes, want, 6), 0);
  EXPECT_EQ(picture.destinationColumn, (326 + 848 - 2) / 2);
  releasePreviewPicture(&session, &picture);
  EXPECT_EQ(picture.temporary, nullptr);

  // 8-bit data goes as it is; grey at 16 bits is shown as grey.
  record.imageMode = plugInModeGray16;
  record.outHiPlane = 0;
  ASSERT_TRUE(preparePreviewPicture(&session, previewPaneRect(), &picture));
  EXPECT_EQ(picture.map.imageMode, plugInModeGrayScale);
  releasePreviewPicture(&session, &picture);
  record.imageMode = plugInModeRGBColor;
  record.depth = 8;
  ASSERT_TRUE(preparePreviewPicture(&session, previewPaneRect(), &picture));
  EXPECT_EQ(picture.map.baseAddr, record.outData);
  EXPECT_EQ(picture.temporary, nullptr);
}

TEST(PreviewMode, OptionAndWholePlay) {
  PreviewRequest request;
  std::string error;
  ASSERT_TRUE(parsePreviewOption("fit", &request, &error));
  EXPECT_TRUE(request.fit);
  ASSERT_TRUE(parsePreviewOption("2,30,40", &request, &error));
  EXPECT_FALSE(request.fit);
  EXPECT_EQ(request.scale, 2);
  EXPECT_EQ(request.panX, 30);
  EXPECT_EQ(request.panY, 40);
  for (const char* bad : {"0", "", "x", "2,3", "2,3,4,5", "-1", "2,-3,4", "fit,1,1"})
    EXPECT_FALSE(parsePreviewOption(bad, &request, &error)) << bad;

  HarnessPicture picture = makeTestPicture(900, 600, 3, 16, false);
  Harness h;
  harnessInit(&h, picture, rect(0, 0, 600, 900));
  ASSERT_TRUE(harnessStart(&h));
  harnessEnd(&h);  // Prepare's session stays in the data word
  int32_t maxScale = 0;
  request = PreviewRequest{false, 3, 0, 0};
  EXPECT_EQ(runPreviewMode(&h.record, &h.data, &h.result, request, &maxScale), PREVIEW_SCALE_INVALID);
  EXPECT_EQ(maxScale, 2);
  request = PreviewRequest{false, 1, 100000, 7};
  ASSERT_EQ(runPreviewMode(&h.record, &h.data, &h.result, request, &maxScale), PREVIEW_SHOWN);
  EXPECT_EQ(h.shownMode, plugInModeRGBColor);
  EXPECT_EQ(h.shownBounds.right - h.shownBounds.left, 518);
  EXPECT_EQ(h.shownBounds.bottom - h.shownBounds.top, 377);
  EXPECT_EQ(h.shown.size(), size_t(518) * 377 * 3);
  // The rectangles are empty again, as after Start.
  EXPECT_EQ(h.record.inRect.right, 0);
}

}  // namespace
