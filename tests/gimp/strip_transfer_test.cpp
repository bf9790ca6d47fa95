// The strip transfer without GIMP: a picture stands in for the drawable and
// another for the shadow buffer, and the filter runs as the plug-in runs it.
#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <thread>
#include <utility>
#include <vector>

#include "gimp/filter_run.h"
#include "gimp/picture_rows.h"
#include "gimp/strip_transfer.h"
#include "tests/e2e/host_runner.h"

extern "C" void PluginMain(int16_t selector, FilterRecord* record, intptr_t* data, int16_t* result);

namespace {

// GIMP's side: the drawable, the shadow buffer and what is staged for it.
struct FakeGimp {
  HostImage drawable;
  HostImage shadow;
  int32_t left = 0, right = 0;
  std::vector<std::pair<int32_t, std::vector<uint8_t>>> staged;  // first row, its rows
  int32_t progressCalls = 0;
  bool refuseProgress = false;
};

void copyRows(const HostImage& from, HostImage* to, int32_t top, int32_t bottom) {
  const size_t rowBytes = pictureRowBytes(from);
  std::memcpy(static_cast<uint8_t*>(pictureSamples(*to)) + size_t(top) * rowBytes,
              static_cast<const uint8_t*>(pictureSamples(from)) + size_t(top) * rowBytes,
              size_t(bottom - top) * rowBytes);
}

void fakeRead(void* context, HostImage* source, HostImage* filtered, int32_t top, int32_t bottom) {
  auto* gimp = static_cast<FakeGimp*>(context);
  copyRows(gimp->drawable, source, top, bottom);
  copyRows(gimp->drawable, filtered, top, bottom);
}

// Staging copies at once, as gegl_buffer_set does: the rows may change after.
void fakeStage(void* context, const HostImage& filtered, int32_t top, int32_t bottom) {
  auto* gimp = static_cast<FakeGimp*>(context);
  const size_t rowBytes = pictureRowBytes(filtered);
  const auto* from = static_cast<const uint8_t*>(pictureSamples(filtered));
  gimp->staged.emplace_back(top, std::vector<uint8_t>(from + size_t(top) * rowBytes, from + size_t(bottom) * rowBytes));
}

void fakeSend(void* context) {
  auto* gimp = static_cast<FakeGimp*>(context);
  const size_t rowBytes = pictureRowBytes(gimp->shadow);
  const size_t pixelBytes = picturePixelBytes(gimp->shadow);
  auto* to = static_cast<uint8_t*>(pictureSamples(gimp->shadow));
  for (const auto& [top, rows] : gimp->staged)
    for (size_t row = 0; row < rows.size() / rowBytes; ++row)
      std::memcpy(to + (size_t(top) + row) * rowBytes + size_t(gimp->left) * pixelBytes,
                  rows.data() + row * rowBytes + size_t(gimp->left) * pixelBytes,
                  size_t(gimp->right - gimp->left) * pixelBytes);
  gimp->staged.clear();
}

bool fakeProgress(void* context, double) {
  auto* gimp = static_cast<FakeGimp*>(context);
  gimp->progressCalls++;
  return !gimp->refuseProgress;
}

FakeGimp fakeGimpFor(const HostImage& drawable, int32_t left, int32_t right) {
  FakeGimp gimp;
  gimp.drawable = drawable;
  hostImageAllocate(&gimp.shadow, drawable.width, drawable.height, drawable.colorPlanes, drawable.hasAlpha,
                    drawable.depth, 0);
  gimp.left = left;
  gimp.right = right;
  return gimp;
}

void prepare(StripTransfer* t, FakeGimp* gimp, int32_t top, int32_t bottom) {
  t->moves = StripMoves{fakeRead, fakeStage, fakeSend, fakeProgress, gimp};
  t->outputTop = top;
  t->outputBottom = bottom;
  t->outputLeft = gimp->left;
  t->outputRight = gimp->right;
}

// Starts the transfer over two pictures sized like the drawable, as the
// session holds them, without the filter.
void startWithoutFilter(StripTransfer* t, FakeGimp* gimp, int32_t top, int32_t bottom, HostImage* source,
                        HostImage* filtered) {
  prepare(t, gimp, top, bottom);
  const HostImage& d = gimp->drawable;
  hostImageAllocate(source, d.width, d.height, d.colorPlanes, d.hasAlpha, d.depth, 0);
  *filtered = *source;
  stripTransferStart(t, source, filtered);
}

// Polls `done` (which the transfer thread makes true) for up to ten seconds.
template <typename Done>
bool eventually(Done done) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (!done()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

bool sameRows(const HostImage& a, const HostImage& b, int32_t left, int32_t top, int32_t right, int32_t bottom) {
  for (int32_t y = top; y < bottom; ++y)
    for (int32_t x = left; x < right; ++x)
      for (int32_t p = 0; p < imagePlanes(a); ++p)
        if (hostSample(a, x, y, p) != hostSample(b, x, y, p)) return false;
  return true;
}

// The shadow buffer gets exactly the bytes of a run over the whole picture
// in memory, for a style that walks once and one that walks twice, and each
// strip goes out once: the two-walk style's first walk changes nothing.
TEST(GimpStripTransfer, ShadowGetsTheInMemoryResultAndEachStripOnce) {
  const HostImage drawable = makeTestPicture(300, 700, 3, true, 16, 9);
  const int32_t left = 10, top = 150, right = 290, bottom = 600;
  for (const int32_t style : {1, 3}) {
    GimpFilterValues values = defaultFilterValues();
    values.value[0] = style;
    HostImage expected = drawable;
    std::string message;
    ASSERT_EQ(runFilterOverPicture(PluginMain, &expected, left, top, right, bottom, values, FilterRunHooks{},
                                   &message), 0) << message;

    FakeGimp gimp = fakeGimpFor(drawable, left, right);
    StripTransfer transfer;
    prepare(&transfer, &gimp, top, bottom);
    FilterRunHooks hooks;
    hooks.transfer = &transfer;
    HostImage picture;
    hostImageAllocate(&picture, drawable.width, drawable.height, 3, true, 16, 0);
    ASSERT_EQ(runFilterOverPicture(PluginMain, &picture, left, top, right, bottom, values, hooks, &message), 0)
        << message;
    EXPECT_TRUE(sameRows(gimp.shadow, expected, left, top, right, bottom)) << "style " << style;
    EXPECT_TRUE(sameRows(picture, expected, left, top, right, bottom)) << "style " << style;
    // Strips 2..9 of 64 rows hold rows 150..599. Rows far above the output
    // are not read ahead: the filter never asks for the top strip.
    EXPECT_EQ(transfer.counts.stripsWritten, 8) << "style " << style;
    EXPECT_FALSE(transfer.present[0].load()) << "style " << style;
    EXPECT_GT(gimp.progressCalls, 0);
  }
}

// A filter that goes back up over strips already sent has them sent again
// with its last output; rows it never asks for keep the drawable's pixels.
TEST(GimpStripTransfer, StripsSentBeforeAWalkBackAreSentAgain) {
  const HostImage drawable = makeTestPicture(100, 640, 1, false, 8, 4);
  FakeGimp gimp = fakeGimpFor(drawable, 20, 80);
  StripTransfer transfer;
  HostImage source, filtered;
  startWithoutFilter(&transfer, &gimp, 64, 576, &source, &filtered);
  auto bump = [&](int32_t from, int32_t to) {
    for (int32_t y = from; y < to; ++y)
      for (int32_t x = 20; x < 80; ++x) setHostSample(&filtered, x, y, 0, hostSample(filtered, x, y, 0) ^ 0x55);
  };
  // Two walks of 128-row bands over rows 64..448; rows 448..576 never asked for.
  for (int walk = 0; walk < 2; ++walk) {
    for (int32_t band = 64; band < 448; band += 128) {
      stripTransferRows(&transfer, band - 10, band + 138, band);
      bump(band, band + 128);
    }
    if (walk == 0) {
      // Let the first walk's finished strips go out before going back.
      stripTransferRows(&transfer, 448, 448, 448);
      ASSERT_TRUE(eventually([&] {
        std::lock_guard<std::mutex> hold(transfer.lock);
        return transfer.counts.stripsWritten >= 6;
      }));
    }
  }
  const StripTransferCounts counts = stripTransferFinish(&transfer, true);
  EXPECT_EQ(counts.stripsWritten, 6 + 8);
  HostImage expected = drawable;
  for (int32_t y = 64; y < 448; ++y)
    for (int32_t x = 20; x < 80; ++x) setHostSample(&expected, x, y, 0, hostSample(drawable, x, y, 0) ^ 0x55 ^ 0x55);
  EXPECT_TRUE(sameRows(gimp.shadow, expected, 20, 64, 80, 576));
  // Nothing is sent outside the output's columns.
  HostImage untouched;
  hostImageAllocate(&untouched, 100, 640, 1, false, 8, 0);
  EXPECT_TRUE(sameRows(gimp.shadow, untouched, 0, 0, 20, 640));
}

// Cancelling from the progress bar reaches the filter's abort test; a run
// that fails sends nothing more.
TEST(GimpStripTransfer, RefusedProgressCancelsAndAFailedRunSendsNothing) {
  const HostImage drawable = makeTestPicture(64, 256, 3, false, 8, 2);
  FakeGimp gimp = fakeGimpFor(drawable, 0, 64);
  gimp.refuseProgress = true;
  StripTransfer transfer;
  HostImage source, filtered;
  startWithoutFilter(&transfer, &gimp, 0, 256, &source, &filtered);
  stripTransferRows(&transfer, 0, 64, 0);
  stripTransferProgress(&transfer, 1, 2);
  ASSERT_TRUE(eventually([&] { return stripTransferCancelled(&transfer); }));
  EXPECT_EQ(stripTransferFinish(&transfer, false).stripsWritten, 0);
  HostImage empty;
  hostImageAllocate(&empty, 64, 256, 3, false, 8, 0);
  EXPECT_TRUE(hostImagesEqual(gimp.shadow, empty));
}

}  // namespace
