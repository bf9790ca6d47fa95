// Fingerprints of whole renders: the final run of the stroke styles and of
// their single-pass relatives over several tiles, and the preview at its
// opening scale, each reduced to a 64-bit hash of every output sample. The
// hashes were taken before the renderers were sped up; any change to the
// order or precision of a step shows here as a different number, on the
// native and the Windows build alike.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <string>

#include "session/session.h"
#include "region/preview_geometry.h"
#include "tests/region/region_harness.h"

namespace {

// FNV-1a over the samples, two bytes each, low byte first.
struct Fingerprint {
  uint64_t h = 14695981039346656037ull;
  void add(uint32_t sample) {
    for (int k = 0; k < 2; ++k) {
      h ^= (sample >> (8 * k)) & 255u;
      h *= 1099511628211ull;
    }
  }
};

struct ParameterSet {
  int32_t smoothing, tweaker, angle, extent, glue, flip, colorize;
};

// The defaults; a heavy, turned, flipped set with a glue mode and the
// horizontal plane alone; a light set with the vertical plane alone and the
// host's colours.
const ParameterSet SETS[] = {
    {20, 50, 0, 3, 1, 0, 0},
    {45, 80, 70, 1, 5, 1, 0},
    {8, 30, -130, 2, 1, 0, 1},
};

void apply(EdgeParameters* p, int32_t style, const ParameterSet& s) {
  p->edgeStyle = style;
  p->smoothing = s.smoothing;
  p->tweaker = s.tweaker;
  p->angle = s.angle;
  p->edgeExtent = s.extent;
  p->glue = s.glue;
  p->flip = s.flip;
  p->colorize = s.colorize;
}

// Three by two tiles, the filter rectangle off the picture's corner.
uint64_t finalRunFingerprint(const HarnessPicture& picture, int32_t style, const ParameterSet& set) {
  Harness h;
  harnessInit(&h, picture, Rect{6, 10, 414, 590});
  EXPECT_TRUE(harnessStart(&h));
  if (h.session == nullptr) return 0;
  apply(harnessParameters(&h), style, set);
  harnessFinalRun(&h);
  EXPECT_EQ(h.result, 0);
  Fingerprint f;
  for (uint16_t v : h.output.samples) f.add(v);
  return f.h;
}

// The dialog's opening view: the pane's picture at the scale that fits.
uint64_t previewFingerprint(const HarnessPicture& picture, int32_t style, const ParameterSet& set, int32_t scale) {
  Harness h;
  harnessInit(&h, picture, Rect{0, 0, static_cast<int16_t>(picture.height), static_cast<int16_t>(picture.width)});
  EXPECT_TRUE(harnessStart(&h));
  if (h.session == nullptr) return 0;
  apply(harnessParameters(&h), style, set);
  harnessParameters(&h)->renderTarget = 1;
  EXPECT_TRUE(openPreviewGeometry(h.session, previewPaneRect()));
  EXPECT_EQ(harnessParameters(&h)->scaleDivisor, scale);
  renderPreview(h.session);
  EXPECT_EQ(h.result, 0);
  const FilterRecord& r = h.record;
  int32_t width = r.outRect.right - r.outRect.left, height = r.outRect.bottom - r.outRect.top;
  int32_t channels = r.outHiPlane - r.outLoPlane + 1;
  Fingerprint f;
  for (int32_t y = 0; y < height; ++y)
    for (int32_t x = 0; x < width; ++x)
      for (int32_t k = 0; k < channels; ++k) f.add(static_cast<uint32_t>(harnessOutSample(h, x, y, k)));
  harnessEnd(&h);
  return f.h;
}

std::string hex(uint64_t v) {
  char text[24];
  std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(v));
  return text;
}

struct Expected {
  int32_t depth, style, set;
  uint64_t hash;
};

const Expected FINAL_RUNS[] = {
    {8, 3, 0, 0x43eda3c8067159c4ull},
    {8, 3, 1, 0x427e2b5df7850f46ull},
    {8, 3, 2, 0xb67b7f30655bcc66ull},
    {16, 3, 0, 0xbc46c9aeb8427e93ull},
    {16, 3, 1, 0x37ce81cb9cd2a404ull},
    {16, 3, 2, 0xfa57215683c52d2full},
    {8, 5, 0, 0xdb1094f2c63de420ull},
    {8, 5, 1, 0x5fea94d10cf8b296ull},
    {8, 5, 2, 0xf146e6ab42cd1606ull},
    {16, 5, 0, 0xb17efdaf5163372dull},
    {16, 5, 1, 0xff4cdf541c6b0e95ull},
    {16, 5, 2, 0x51a36b22ecdd84edull},
    {8, 2, 0, 0x8676eb9c821069b1ull},
    {8, 2, 1, 0xf2c089cfc72c63cbull},
    {8, 2, 2, 0x77d73a879a950099ull},
    {16, 2, 0, 0x145ce2c746ca2612ull},
    {16, 2, 1, 0x150609772e9e74dfull},
    {16, 2, 2, 0x1417a81edfd3616bull},
    {8, 6, 0, 0xbb6f665d7b6cbd46ull},
    {8, 6, 1, 0x4f85fdfc545073b3ull},
    {8, 6, 2, 0x26ca3a89000c513bull},
    {16, 6, 0, 0x7278a3d0336fbf1eull},
    {16, 6, 1, 0x00ace32fed1e30b0ull},
    {16, 6, 2, 0x71b3cd61a1db8b53ull},
};

TEST(Fingerprints, FinalRunsOfTheStrokeStylesAndTheirRelatives) {
  const HarnessPicture eight = makeTestPicture(600, 420, 3, 8, false);
  const HarnessPicture sixteen = makeTestPicture(600, 420, 3, 16, false);
  for (const Expected& e : FINAL_RUNS) {
    uint64_t got = finalRunFingerprint(e.depth == 8 ? eight : sixteen, e.style, SETS[e.set]);
    EXPECT_EQ(hex(got), hex(e.hash)) << "style " << e.style << ", " << e.depth << " bits, set " << e.set;
  }
}

TEST(Fingerprints, PreviewAtTheOpeningScale) {
  // 1300 x 950 in a pane of 518 x 377: a reduction of 3.
  const HarnessPicture eight = makeTestPicture(1300, 950, 3, 8, false);
  const HarnessPicture sixteen = makeTestPicture(1300, 950, 3, 16, false);
  EXPECT_EQ(hex(previewFingerprint(eight, 3, SETS[0], 3)), hex(0x2b0ce63fc72c912full)) << "thin/soft";
  EXPECT_EQ(hex(previewFingerprint(eight, 3, SETS[1], 3)), hex(0x89fab34423a1dd29ull)) << "thin/soft, heavy";
  EXPECT_EQ(hex(previewFingerprint(sixteen, 3, SETS[0], 3)), hex(0x740df159d49dfcc3ull)) << "thin/soft, 16 bits";
  EXPECT_EQ(hex(previewFingerprint(eight, 5, SETS[0], 3)), hex(0x8dea9759e70be691ull)) << "scribble";
  EXPECT_EQ(hex(previewFingerprint(eight, 2, SETS[0], 3)), hex(0xca6dba040b5d2f4bull)) << "thin/hard";
}

}  // namespace
