// Region renders against the final run: the preview at 100% is the final
// picture composed over the checkerboard, and an off-screen render into an
// 8- or 16-bit map holds the final picture.
#include <gtest/gtest.h>

#include <functional>

#include "session/session.h"
#include "region/preview_geometry.h"
#include "engine/source_row.h"
#include "region/region.h"
#include "tests/region/region_harness.h"

namespace {

Rect rect(int32_t top, int32_t left, int32_t bottom, int32_t right) {
  return Rect{int16_t(top), int16_t(left), int16_t(bottom), int16_t(right)};
}

using ParameterSetup = std::function<void(EdgeParameters*)>;

HarnessPicture finalRun(const HarnessPicture& picture, const Rect& filter, const std::vector<uint8_t>* mask,
                        const ParameterSetup& setup) {
  Harness h;
  harnessInit(&h, picture, filter, mask);
  EXPECT_TRUE(harnessStart(&h));
  if (h.session == nullptr) return picture;
  setup(harnessParameters(&h));
  harnessFinalRun(&h);
  EXPECT_EQ(h.result, 0);
  return h.output;
}

// The preview's store: coverage (raised above 127 at 8 bits), scaled by the
// pixel's alpha where the layer has one, over checks of 8 samples aligned to
// the output's own rows and columns.
int32_t composed(int32_t value, int32_t m, int32_t alpha, bool transparency, bool eight, int32_t column, int32_t row) {
  bool light = ((column ^ row) & 8) == 0;
  if (eight) {
    if (m > 127) ++m;
    if (transparency) m = (m * alpha) >> 8;
    return (m * value + (light ? 255 : 204) * (256 - m)) >> 8;
  }
  if (transparency) m = (m * alpha) >> 15;
  return (m * value + (light ? 32640 : 26112) * (255 - m)) >> 8;
}

struct PreviewCase {
  const char* name;
  HarnessPicture picture;
  Rect filter;
  bool withMask;
  ParameterSetup setup;
};

std::vector<uint8_t> gradientMask(const HarnessPicture& picture) {
  std::vector<uint8_t> mask(static_cast<size_t>(picture.width) * picture.height);
  for (int32_t y = 0; y < picture.height; ++y)
    for (int32_t x = 0; x < picture.width; ++x) mask[static_cast<size_t>(y) * picture.width + x] = uint8_t((x * 3 + y) % 256);
  return mask;
}

void checkPreviewAgainstFinal(const PreviewCase& c) {
  SCOPED_TRACE(c.name);
  std::vector<uint8_t> mask = gradientMask(c.picture);
  const std::vector<uint8_t>* maskPtr = c.withMask ? &mask : nullptr;
  HarnessPicture final = finalRun(c.picture, c.filter, maskPtr, c.setup);

  Harness h;
  harnessInit(&h, c.picture, c.filter, maskPtr);
  ASSERT_TRUE(harnessStart(&h));
  c.setup(harnessParameters(&h));
  harnessParameters(&h)->renderTarget = 1;
  ASSERT_TRUE(openPreviewGeometry(h.session, previewPaneRect()));
  ASSERT_EQ(harnessParameters(&h)->scaleDivisor, 1);
  renderPreview(h.session);
  ASSERT_EQ(h.result, 0);
  const FilterRecord& r = h.record;
  int32_t width = c.filter.right - c.filter.left, height = c.filter.bottom - c.filter.top;
  ASSERT_EQ(r.outRect.right - r.outRect.left, width);
  ASSERT_EQ(r.outRect.bottom - r.outRect.top, height);
  bool eight = c.picture.depth == 8;
  bool transparency = c.picture.alpha;
  int32_t channels = c.picture.colorPlanes;
  int32_t mismatches = 0;
  for (int32_t y = 0; y < height && mismatches < 5; ++y) {
    for (int32_t x = 0; x < width && mismatches < 5; ++x) {
      int32_t ix = c.filter.left + x, iy = c.filter.top + y;
      int32_t m = c.withMask ? mask[static_cast<size_t>(iy) * c.picture.width + ix] : 255;
      int32_t alpha = transparency ? (eight ? c.picture.at(ix, iy)[channels] : 32768) : 0;
      for (int32_t k = 0; k < channels; ++k) {
        int32_t want = composed(final.at(ix, iy)[k], m, alpha, transparency, eight, x, y);
        int32_t got = harnessOutSample(h, x, y, k);
        if (want != got) {
          ADD_FAILURE() << "pixel " << x << "," << y << " channel " << k << ": " << got << " instead of " << want;
          ++mismatches;
        }
      }
      if (transparency) {
        EXPECT_EQ(harnessOutSample(h, x, y, channels), eight ? 255 : 32768);
      }
    }
  }
  harnessEnd(&h);
}

ParameterSetup blurry(int32_t smoothing, int32_t tweaker, int32_t glue, int32_t flip) {
  return [=](EdgeParameters* p) {
    p->edgeStyle = 1;
    p->smoothing = smoothing;
    p->tweaker = tweaker;
    p->glue = glue;
    p->flip = flip;
  };
}

TEST(RegionRender, PreviewAtFullSizeIsTheFinalRunOverTheChecks) {
  // Wider than high: one square tile whose lower part is all repetition,
  // against a final run of two tile columns.
  checkPreviewAgainstFinal({"8-bit RGB, wide, selection", makeTestPicture(340, 150, 3, 8, false),
                            rect(10, 20, 130, 320), true, blurry(30, 90, 1, 0)});
  // Opaque, full coverage: the checks never show and the pixels are equal.
  checkPreviewAgainstFinal({"8-bit RGB, tall, full coverage", makeTestPicture(180, 280, 3, 8, false),
                            rect(0, 0, 280, 170), false, blurry(8, 60, 1, 1)});
  checkPreviewAgainstFinal({"16-bit RGB, selection", makeTestPicture(200, 160, 3, 16, false), rect(5, 5, 155, 195),
                            true, blurry(20, 80, 1, 0)});
  // Two passes over the one tile, through the stroke plane.
  ParameterSetup thinSoft = [](EdgeParameters* p) {
    p->edgeStyle = 3;
    p->smoothing = 20;
    p->tweaker = 80;
  };
  checkPreviewAgainstFinal({"thin/soft, selection", makeTestPicture(300, 200, 3, 8, false), rect(4, 8, 190, 290), true,
                            thinSoft});
  checkPreviewAgainstFinal({"8-bit grey with transparency", makeTestPicture(120, 90, 1, 8, true),
                            rect(3, 4, 90, 120), false, blurry(40, 100, 1, 0)});
}

// An off-screen render of the whole filter rectangle holds the final picture:
// as it is in a map of the picture's depth, narrowed to 8 bits otherwise.
TEST(RegionRender, RenderToTargetHoldsTheFinalRun) {
  struct Case {
    const char* name;
    int32_t depth;
    int32_t mapFormat;
  };
  const Case cases[] = {{"8-bit into format 3", 8, PIXEL_RGBA8},
                        {"16-bit into format 4", 16, PIXEL_RGBA16},
                        {"16-bit into format 3", 16, PIXEL_RGBA8}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    HarnessPicture picture = makeTestPicture(300, 140, 3, c.depth, false);
    Rect filter = rect(6, 12, 136, 292);
    std::vector<uint8_t> mask = gradientMask(picture);
    ParameterSetup setup = blurry(25, 70, 1, 0);
    HarnessPicture final = finalRun(picture, filter, &mask, setup);

    Harness h;
    harnessInit(&h, picture, filter, &mask);
    ASSERT_TRUE(harnessStart(&h));
    setup(harnessParameters(&h));
    EdgeParameters* p = harnessParameters(&h);
    // The dialog's view before the export, which must come back.
    p->renderTarget = 1;
    ASSERT_TRUE(openPreviewGeometry(h.session, previewPaneRect()));
    p->panX = 7;
    p->panY = 3;
    setPreviewGeometry(h.session, 1);
    Rect inBefore = h.record.inRect;

    FilterWorkArea* work = h.session->work;
    PixelMap* map = &work->offscreenImage;
    int32_t width = filter.right - filter.left, height = filter.bottom - filter.top;
    ASSERT_TRUE(pixelMapCreate(map, width, height, c.mapFormat, 0));
    work->exportTarget = map;
    renderToTarget(h.session);
    EXPECT_EQ(h.result, 0);
    EXPECT_EQ(p->renderTarget, 1);
    EXPECT_EQ(p->scaleDivisor, 1);
    EXPECT_EQ(p->panX, 7);
    EXPECT_EQ(h.record.inRect.left, inBefore.left);
    EXPECT_EQ(h.record.inRect.right, inBefore.right);
    EXPECT_EQ(h.record.filterRect.top, filter.top);

    int32_t mismatches = 0;
    for (int32_t y = 0; y < height && mismatches < 5; ++y) {
      for (int32_t x = 0; x < width && mismatches < 5; ++x) {
        int32_t got[4];
        getChannels(x, y, map, 0, got);
        for (int32_t k = 0; k < 3; ++k) {
          int32_t want = final.at(filter.left + x, filter.top + y)[k];
          if (c.depth == 16 && c.mapFormat == PIXEL_RGBA8) want = ((want + 1) >> 7) > 255 ? 255 : (want + 1) >> 7;
          if (got[k] != want) {
            ADD_FAILURE() << x << "," << y << " channel " << k << ": " << got[k] << " instead of " << want;
            ++mismatches;
          }
        }
        EXPECT_EQ(got[3], c.mapFormat == PIXEL_RGBA16 ? 32768 : 255);
      }
    }
    harnessEnd(&h);
  }
}

// The unfiltered rows of a pan: the source over the checks, and nothing at
// all outside the preview.
TEST(RegionRender, CopySourceRowComposesTheSourceOnlyForThePreview) {
  HarnessPicture picture = makeTestPicture(64, 40, 3, 8, true);
  Harness h;
  harnessInit(&h, picture, rect(0, 0, 40, 64));
  ASSERT_TRUE(harnessStart(&h));
  EdgeParameters* p = harnessParameters(&h);
  p->renderTarget = 1;
  ASSERT_TRUE(openPreviewGeometry(h.session, previewPaneRect()));
  FilterRecord& r = h.record;

  for (int32_t target : {0, 2}) {
    SCOPED_TRACE(target);
    p->renderTarget = target;
    std::vector<uint8_t> before = h.outBuffer;
    for (int32_t row = 0; row < 40; ++row) {
      h.session->currentRow = row;
      copySourceRow(h.session);
    }
    EXPECT_EQ(h.outBuffer, before);
  }

  p->renderTarget = 1;
  h.session->currentRow = 11;
  copySourceRow(h.session);
  for (int32_t x = 0; x < 64; ++x) {
    const uint16_t* s = picture.at(x, 11);
    for (int32_t k = 0; k < 3; ++k) EXPECT_EQ(harnessOutSample(h, x, 11, k), composed(s[k], 255, s[3], true, true, x, 11));
    EXPECT_EQ(harnessOutSample(h, x, 11, 3), 255);
  }
  // Without a transparency plane the alpha is not read, and the layer is
  // taken as opaque.
  r.outTransparencyMask = 0;
  h.session->currentRow = 12;
  copySourceRow(h.session);
  for (int32_t k = 0; k < 3; ++k) EXPECT_EQ(harnessOutSample(h, 5, 12, k), picture.at(5, 12)[k]);
  // No buffers, no copy.
  r.inData = nullptr;
  std::vector<uint8_t> before = h.outBuffer;
  h.session->currentRow = 13;
  copySourceRow(h.session);
  EXPECT_EQ(h.outBuffer, before);
  harnessEnd(&h);
}

}  // namespace
