// The memory dots, undo and the preset browser played through the headless
// window layer: presses, hovers and commands as a user makes them, and what
// the dialog drew, wrote and kept.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "dialog/controls.h"
#include "dialog/dialog_stages.h"
#include "dialog/dialog_state.h"
#include "dialog/memory_dots.h"
#include "dialog/undo.h"
#include "pihost/host_services.h"
#include "platform/posix/headless_window.h"
#include "presets/settings_file.h"
#include "presets/settings_workspace.h"
#include "session/session.h"
#include "tests/region/region_harness.h"

namespace fs = std::filesystem;

namespace {

// Each test keeps the dialog's temporary files in a folder of its own, so
// runs of one test see the files of its earlier runs and nothing else.
struct ScratchFolder {
  fs::path folder;
  ScratchFolder() {
    const testing::TestInfo* info = testing::UnitTest::GetInstance()->current_test_info();
    folder = fs::current_path() / "dots_scratch" / (std::string(info->test_suite_name()) + "." + info->name());
    fs::remove_all(folder);
    fs::create_directories(folder);
    setenv("TMPDIR", folder.c_str(), 1);
  }
  ~ScratchFolder() { fs::remove_all(folder); }
  std::string file(const std::string& name) const { return (folder / name).string(); }
};

// The substitute host's buffer suite: thumbnails are stored only through one.
BufferProcs* hostBuffers() {
  static HostServices* services = [] {
    auto* made = new HostServices();
    hostServicesInit(made);
    return made;
  }();
  hostServicesActivate(services);
  return &services->bufferProcs;
}

// One run of the filter with its dialog: Start's set-up (the dot map is
// read), the undo snapshot Start takes, the dialog, and the run's end (the
// dot map is written).
struct DotRun {
  Harness h;
  DotRun() {
    HarnessPicture picture = makeTestPicture(300, 200, 3, 8, false);
    harnessInit(&h, picture, Rect{0, 0, 200, 300});
    h.record.samplingSupport = 1;
    h.record.bufferProcs = hostBuffers();
    EXPECT_TRUE(harnessStart(&h));
    params()->previewAvailable = 1;
  }
  ~DotRun() {
    headlessSetDriver(nullptr);
    headlessSetFileAnswer(nullptr);
    harnessEnd(&h);
  }
  EdgeParameters* params() { return harnessParameters(&h); }
  FilterWorkArea* work() { return h.session->work; }
  int16_t state(int slot) { return work()->dotState[slot]; }
  int32_t pin(int slot) { return work()->dotMap[slot]; }
  void run(HeadlessDriver driver) {
    headlessSetDriver(std::move(driver));
    storeUndoSnapshot(h.session);
    runMainDialog(h.session);
  }
};

int32_t dotX(int slot) { return dotPlace(slot).left + 6; }
int32_t dotY(int slot) { return dotPlace(slot).top + 6; }

void clickDot(WindowHandle w, int slot, bool right = false, bool ctrl = false) {
  headlessPress(w, dotX(slot), dotY(slot), right, ctrl);
  headlessRelease(w, dotX(slot), dotY(slot), right);
}

void clickThumbnail(WindowHandle w, bool right = false, bool ctrl = false) {
  headlessPress(w, 380, 440, right, ctrl);
  headlessRelease(w, 380, 440, right);
}

void hover(WindowHandle w, int slot) { headlessMove(w, dotX(slot), dotY(slot)); }

// The last face bitmap drawn at a dot's place, -1 when none.
int32_t lastFace(int slot) {
  int32_t face = -1;
  for (const DrawCall& c : headlessDrawCalls())
    if (c.kind == DRAW_BITMAP && c.x0 == dotPlace(slot).left + 2 && c.y0 == dotPlace(slot).top + 2) face = c.bitmapId;
  return face;
}

int32_t currentDot(DotRun& r) {
  int32_t current = -1;
  for (int slot = 0; slot < DOT_COUNT; ++slot)
    if (r.state(slot) == DOT_CURRENT) {
      EXPECT_EQ(current, -1) << "two current dots";
      current = slot;
    }
  return current;
}

std::string dotFile(int slot) {
  PathSpec path;
  memoryDotPath(&path, slot);
  return path.text;
}

// The thumbnail's picture went to displayPixels: 88 x 88 RGB inside the
// frame, the same pixels as the dot's stored thumbnail.
void expectThumbnailShown(DotRun& r) {
  const Harness& h = r.h;
  EXPECT_EQ(h.shownRow, 398 + 4);
  EXPECT_EQ(h.shownColumn, 335 + 4);
  EXPECT_EQ(h.shownBounds.right - h.shownBounds.left, 88);
  EXPECT_EQ(h.shownBounds.bottom - h.shownBounds.top, 88);
  EXPECT_EQ(h.shownMode, plugInModeRGBColor);
  EXPECT_EQ(h.shownColBytes, 3);
  const PixelMap* image = &r.work()->exportImage;
  ASSERT_FALSE(pixelMapEmpty(image));
  for (int32_t y : {0, 40, 87})
    for (int32_t x : {0, 50, 87}) {
      const uint32_t word = getWord(x, y, image, 0);
      const uint8_t* shown = h.shown.data() + (y * 88 + x) * 3;
      EXPECT_EQ(shown[0], word >> 24);
      EXPECT_EQ(shown[1], (word >> 16) & 255);
      EXPECT_EQ(shown[2], (word >> 8) & 255);
    }
}

TEST(DialogDots, OpeningStateGoesToTheFirstFreeDotAndAStoreWritesShowsAndMarks) {
  ScratchFolder scratch;
  DotRun r;
  r.run([&](WindowHandle w) {
    // The opening settings: slot 0, current and transient, thumbnail shown.
    EXPECT_EQ(r.state(0), DOT_CURRENT);
    EXPECT_EQ(r.pin(0), 0);
    EXPECT_EQ(r.work()->shownDot, 0);
    EXPECT_TRUE(fs::exists(dotFile(0)));
    expectThumbnailShown(r);
    EXPECT_EQ(lastFace(0), 202);
    EXPECT_EQ(lastFace(1), 203);

    // The press shows the pressed face at once; the release stores.
    headlessClearDrawCalls();
    const int32_t shownBefore = r.h.displayCalls;
    headlessPress(w, dotX(2), dotY(2));
    EXPECT_EQ(lastFace(2), 210);
    headlessRelease(w, dotX(2), dotY(2), false);
    EXPECT_TRUE(fs::exists(dotFile(2)));
    EXPECT_EQ(r.state(2), DOT_CURRENT);
    EXPECT_EQ(r.pin(2), 1);
    EXPECT_EQ(r.state(0), DOT_STORED);
    EXPECT_EQ(lastFace(2), 208);
    EXPECT_EQ(lastFace(0), 213);
    EXPECT_EQ(r.work()->shownDot, 2);
    EXPECT_GT(r.h.displayCalls, shownBefore);
    expectThumbnailShown(r);
  });
  EXPECT_EQ(r.h.result, RESULT_USER_CANCELED);
}

TEST(DialogDots, HoverShowsStoredDotsOnceAndAnEmptyDotHidesTheThumbnail) {
  ScratchFolder scratch;
  DotRun r;
  r.run([&](WindowHandle w) {
    clickDot(w, 4);
    hover(w, 0);
    EXPECT_EQ(r.work()->shownDot, 0);
    EXPECT_EQ(r.work()->lastShownDot, 0);
    expectThumbnailShown(r);
    // Resting on the same dot reads nothing again; leaving it changes nothing.
    const int32_t shown = r.h.displayCalls;
    headlessMove(w, dotX(0) + 1, dotY(0));
    headlessMove(w, 700, 20);
    EXPECT_EQ(r.h.displayCalls, shown);
    EXPECT_EQ(r.work()->shownDot, 0);
    // An empty dot: only the frame.
    headlessClearDrawCalls();
    hover(w, 9);
    EXPECT_EQ(r.work()->shownDot, -1);
    EXPECT_EQ(r.work()->lastShownDot, -1);
    EXPECT_TRUE(pixelMapEmpty(&r.work()->exportImage));
    EXPECT_EQ(r.h.displayCalls, shown);
    bool frame = false;
    for (const DrawCall& c : headlessDrawCalls())
      frame = frame || (c.kind == DRAW_BITMAP && c.bitmapId == BITMAP_THUMBNAIL_FRAME && c.x0 == 335 && c.y0 == 398);
    EXPECT_TRUE(frame);
    // A click on the thumbnail with no dot shown does nothing.
    const int32_t smoothing = r.params()->smoothing;
    headlessType(w, ID_SMOOTHING_BOX, "77");
    headlessFireTimer(w, APPLY_TIMER_ID);
    clickThumbnail(w);
    EXPECT_EQ(r.params()->smoothing, 77);
    EXPECT_NE(smoothing, 77);
  });
}

TEST(DialogDots, RecallCtrlAndRightClicksAndAFarRelease) {
  ScratchFolder scratch;
  DotRun r;
  r.run([&](WindowHandle w) {
    // Slot 0 holds smoothing 30. A plain click on it brings 30 back.
    headlessType(w, ID_SMOOTHING_BOX, "64");
    headlessFireTimer(w, APPLY_TIMER_ID);
    clickDot(w, 3, false, true);  // Ctrl on an empty dot: stored, transient
    EXPECT_EQ(r.state(3), DOT_CURRENT);
    EXPECT_EQ(r.pin(3), 0);
    clickDot(w, 0);
    EXPECT_EQ(r.params()->smoothing, 30);
    EXPECT_EQ(headlessText(w, ID_SMOOTHING_BOX), "30");
    EXPECT_EQ(r.state(0), DOT_CURRENT);
    EXPECT_EQ(r.state(3), DOT_STORED);

    // A press on dot 3 released far away still recalls it; the face goes
    // back to normal as the mouse leaves.
    headlessClearDrawCalls();
    headlessPress(w, dotX(3), dotY(3));
    EXPECT_EQ(lastFace(3), 214);
    headlessMove(w, 700, 300);
    EXPECT_EQ(lastFace(3), 213);
    headlessRelease(w, 700, 300, false);
    EXPECT_EQ(r.params()->smoothing, 64);
    EXPECT_EQ(r.state(3), DOT_CURRENT);

    // Ctrl on a stored dot: it stays stored but loses its pin, the settings
    // stay, and no undo state is taken.
    clickDot(w, 7);
    EXPECT_EQ(r.pin(7), 1);
    const int32_t phase = r.h.session->undoPhase;
    headlessType(w, ID_SMOOTHING_BOX, "12");
    headlessFireTimer(w, APPLY_TIMER_ID);
    const int32_t phaseAfterTyping = r.h.session->undoPhase;
    EXPECT_NE(phase, phaseAfterTyping);
    clickDot(w, 7, false, true);
    EXPECT_EQ(r.pin(7), 0);
    EXPECT_EQ(r.state(7), DOT_CURRENT);
    EXPECT_EQ(r.params()->smoothing, 12);
    EXPECT_EQ(r.h.session->undoPhase, phaseAfterTyping);

    // Right click on a stored dot empties it; its file stays.
    hover(w, 7);
    clickDot(w, 7, true);
    EXPECT_EQ(r.state(7), DOT_EMPTY);
    EXPECT_EQ(r.pin(7), 0);
    EXPECT_EQ(r.work()->shownDot, -1);
    EXPECT_TRUE(fs::exists(dotFile(7)));
    // Right click on an empty dot pins what it stores.
    clickDot(w, 8, true);
    EXPECT_EQ(r.state(8), DOT_CURRENT);
    EXPECT_EQ(r.pin(8), 1);
  });
}

TEST(DialogDots, ARandomizedStateStoredAndRecalledIsWhatOkTakes) {
  ScratchFolder scratch;
  DotRun r;
  EdgeParameters stored{};
  r.run([&](WindowHandle w) {
    headlessClick(w, ID_RANDOMIZE);
    clickDot(w, 3);
    stored = *r.params();
    headlessClick(w, ID_RANDOMIZE);
    headlessClick(w, ID_RANDOMIZE);
    clickDot(w, 3);
    headlessClick(w, ID_OK);
  });
  EXPECT_EQ(r.h.result, 0);
  SettingsWorkspace file;
  ASSERT_TRUE(openSettingsWorkspace(&file, nullptr));
  bool hasThumbnail = false;
  EXPECT_EQ(readSettingsFile(&file.session, dotFile(3).c_str(), SettingsReadAll, &hasThumbnail), 0);
  EXPECT_TRUE(hasThumbnail);
  for (const EdgeParameters* p : {r.params(), &file.parameters}) {
    EXPECT_EQ(p->edgeStyle, stored.edgeStyle);
    EXPECT_EQ(p->smoothing, stored.smoothing);
    EXPECT_EQ(p->tweaker, stored.tweaker);
    EXPECT_EQ(p->edgeExtent, stored.edgeExtent);
    EXPECT_EQ(p->source, stored.source);
    EXPECT_EQ(p->colorize, stored.colorize);
    EXPECT_EQ(p->edgeSpare, stored.edgeSpare);
    EXPECT_EQ(p->chromeStyle, stored.chromeStyle);
    EXPECT_EQ(p->angle, stored.angle);
    EXPECT_EQ(p->removeNoise, stored.removeNoise);
    EXPECT_EQ(p->glue, stored.glue);
    EXPECT_EQ(p->flip, stored.flip);
  }
  closeSettingsWorkspace(&file);
}

TEST(DialogDots, TheMarkGoesWithCommandsThatChangeSettingsButNotWithSlidersOrPopups) {
  ScratchFolder scratch;
  DotRun r;
  r.run([&](WindowHandle w) {
    const auto markAfter = [&](const std::function<void()>& act) {
      clickDot(w, 0);  // recall: slot 0 current
      EXPECT_EQ(currentDot(r), 0);
      act();
      return currentDot(r);
    };
    EXPECT_EQ(markAfter([&] { headlessClick(w, ID_FLIP); }), -1);
    EXPECT_EQ(markAfter([&] { headlessClick(w, ID_LOAD); }), -1);  // cancelled, still a command
    EXPECT_EQ(markAfter([&] { headlessClick(w, ID_UNDO); }), -1);
    EXPECT_EQ(markAfter([&] { headlessClick(w, ID_RANDOMIZE); }), -1);
    EXPECT_EQ(markAfter([&] { headlessClick(w, ID_NEXT_GLUE); }), -1);
    EXPECT_EQ(markAfter([&] { headlessClick(w, ID_PLAIN); }), -1);
    const WindowRect slider = layoutRectOf(ID_SMOOTHING);
    const int32_t sliderY = (slider.top + slider.bottom) / 2;
    EXPECT_EQ(markAfter([&] {
                headlessPress(w, slider.left + 20, sliderY);
                headlessRelease(w, slider.left + 40, sliderY, false);
              }),
              0);
    EXPECT_EQ(markAfter([&] { headlessChoose(w, ID_SOURCE, 2); }), 0);
    EXPECT_EQ(markAfter([&] {
                headlessType(w, ID_TWEAKER_BOX, "33");
                headlessFireTimer(w, APPLY_TIMER_ID);
              }),
              0);
    // The thumbnail recalls the dot shown and leaves no dot current.
    headlessType(w, ID_TWEAKER_BOX, "44");
    headlessFireTimer(w, APPLY_TIMER_ID);
    hover(w, 0);
    clickThumbnail(w);
    EXPECT_EQ(r.params()->tweaker, 90);
    EXPECT_EQ(currentDot(r), -1);
    EXPECT_EQ(lastFace(0), 213);
  });
}

TEST(DialogDots, PinnedDotsSurviveIntoTheNextRunTransientOnesLookEmpty) {
  ScratchFolder scratch;
  {
    DotRun first;
    first.run([&](WindowHandle w) {
      clickDot(w, 2);                // pinned
      clickDot(w, 5, false, true);   // transient
      headlessClick(w, ID_CANCEL);
    });
    EXPECT_EQ(first.h.result, RESULT_USER_CANCELED);
  }
  {
    DotRun second;
    second.run([&](WindowHandle w) {
      EXPECT_EQ(second.pin(2), 1);
      EXPECT_EQ(second.state(2), DOT_STORED);
      EXPECT_EQ(lastFace(2), 215);
      EXPECT_EQ(second.state(5), DOT_EMPTY);
      EXPECT_TRUE(fs::exists(dotFile(5)));
      EXPECT_EQ(currentDot(second), 0);  // slot 0 was transient: free again
      clickDot(w, 0, true);  // emptied, then stored anew: pinned
      clickDot(w, 0);
      EXPECT_EQ(second.pin(0), 1);
      clickDot(w, 1);
      headlessClick(w, ID_OK);
    });
    EXPECT_EQ(second.h.result, 0);
  }
  // With slots 0..2 pinned the opening state goes to slot 3.
  DotRun third;
  third.run([&](WindowHandle) { EXPECT_EQ(currentDot(third), 3); });
}

TEST(DialogDots, AShortMapPinsWhatItHoldsAndAFullMapStoresNothingAtOpening) {
  ScratchFolder scratch;
  PathSpec map;
  dotMapPath(&map);
  {
    std::ofstream out(map.text, std::ios::binary);
    const char words[] = {0, 0, 0, char(190), 0, 0, 0, 1, 0, 0};  // the format, slot 0, half of slot 1
    out.write(words, sizeof words);
  }
  {
    DotRun r;
    r.run([&](WindowHandle) {
      EXPECT_EQ(r.pin(0), 1);
      EXPECT_EQ(r.pin(1), 0);
      EXPECT_EQ(currentDot(r), 1);
    });
  }
  {
    std::ofstream out(map.text, std::ios::binary | std::ios::trunc);
    const char format[] = {0, 0, 0, char(190)};
    out.write(format, 4);
    for (int slot = 0; slot < DOT_COUNT; ++slot) out.write("\0\0\0\1", 4);
  }
  DotRun full;
  full.run([&](WindowHandle) {
    EXPECT_EQ(currentDot(full), -1);
    EXPECT_EQ(full.work()->shownDot, -1);
    EXPECT_TRUE(pixelMapEmpty(&full.work()->exportImage));
  });
  // The map is written back whole.
  EXPECT_EQ(fs::file_size(map.text), 104u);
}

TEST(DialogDots, AMissingDotFileKeepsThePictureAndTheSettings) {
  ScratchFolder scratch;
  DotRun r;
  r.run([&](WindowHandle w) {
    clickDot(w, 6);
    hover(w, 0);
    const uint32_t corner = getWord(0, 0, &r.work()->exportImage, 0);
    fs::remove(dotFile(6));
    hover(w, 6);
    EXPECT_EQ(r.work()->shownDot, 6);
    EXPECT_EQ(r.work()->lastShownDot, 6);
    EXPECT_EQ(getWord(0, 0, &r.work()->exportImage, 0), corner);
    headlessType(w, ID_SMOOTHING_BOX, "55");
    headlessFireTimer(w, APPLY_TIMER_ID);
    clickDot(w, 6);
    EXPECT_EQ(r.params()->smoothing, 55);
    EXPECT_EQ(r.state(6), DOT_CURRENT);
  });
}

TEST(DialogUndo, UndoAfterLoadAndCancelAfterUndoSteps) {
  ScratchFolder scratch;
  const std::string preset = scratch.file("chosen.q4t");
  DotRun r;
  EdgeParameters entry = *r.params();
  r.run([&](WindowHandle w) {
    // A settings file with smoothing 70, written through the Save command.
    headlessType(w, ID_SMOOTHING_BOX, "70");
    headlessFireTimer(w, APPLY_TIMER_ID);
    headlessSetFileAnswer([&](const FileDialogRequest&, std::string* path) {
      *path = preset;
      return true;
    });
    headlessClick(w, ID_SAVE);
    ASSERT_TRUE(fs::exists(preset));
    headlessType(w, ID_SMOOTHING_BOX, "15");
    headlessFireTimer(w, APPLY_TIMER_ID);
    headlessClick(w, ID_LOAD);
    EXPECT_EQ(r.params()->smoothing, 70);
    headlessClick(w, ID_UNDO);
    EXPECT_EQ(r.params()->smoothing, 15);
    EXPECT_EQ(headlessText(w, ID_SMOOTHING_BOX), "15");
    headlessClick(w, ID_UNDO);
    EXPECT_EQ(r.params()->smoothing, 70);
    headlessClick(w, ID_UNDO);
    headlessClick(w, ID_CANCEL);
  });
  EXPECT_EQ(r.params()->smoothing, entry.smoothing);
  EXPECT_EQ(r.params()->tweaker, entry.tweaker);
}

TEST(DialogDots, TheThumbnailsRightClickAsksForTheDotsPage) {
  ScratchFolder scratch;
  DotRun r;
  r.run([&](WindowHandle w) {
    std::string title, proposed;
    headlessSetFileAnswer([&](const FileDialogRequest& request, std::string* path) {
      title = request.title;
      proposed = *path;
      return false;  // confirming would open the page in a browser
    });
    clickThumbnail(w, true);
    EXPECT_EQ(title, "Save an HTML page");
    EXPECT_EQ(proposed, "Marrowline memory dots.html");
  });
}

// --- The preset browser ------------------------------------------------------

// A settings file whose thumbnail is one colour.
void writeSolidPreset(FilterSession* s, const std::string& path, uint8_t r, uint8_t g, uint8_t b) {
  PixelMap* t = &s->presetThumbnail;
  for (int32_t y = 0; y < t->baseHeight; ++y)
    for (int32_t x = 0; x < t->baseWidth; ++x) setBytes4(x, y, t, 0, r, g, b, 255);
  pixelMapBuildLevels(t);
  writeSettingsFile(s, path.c_str());
}

void expectPaneNear(int32_t x, int32_t y, int32_t r, int32_t g, int32_t b) {
  const int32_t colour = headlessPixel(BROWSER_PANE_RECT.left + x, BROWSER_PANE_RECT.top + y);
  ASSERT_GE(colour, 0);
  EXPECT_NEAR((colour >> 16) & 255, r, 4);
  EXPECT_NEAR((colour >> 8) & 255, g, 4);
  EXPECT_NEAR(colour & 255, b, 4);
}

TEST(PresetBrowser, SelectionsShowStoredThumbnailsOrTheRampAndNeverTouchTheParameters) {
  ScratchFolder scratch;
  DotRun r;
  const std::string red = scratch.file("red.q4t"), bare = scratch.file("bare.q4t.bak"),
                    other = scratch.file("red.txt");
  r.run([&](WindowHandle w) {
    writeSolidPreset(r.h.session, red, 200, 40, 30);
    fs::copy_file(red, other);
    {
      // The same settings without a thumbnail: the first 64 bytes.
      std::ifstream in(red, std::ios::binary);
      char head[64];
      in.read(head, 64);
      std::ofstream out(bare, std::ios::binary);
      const char none[4] = {0, 0, 0, 0};
      out.write(head, 60);
      out.write(none, 4);
    }
    const EdgeParameters before = *r.params();
    headlessSetFileAnswer([&](const FileDialogRequest& request, std::string*) {
      EXPECT_STREQ(request.title, "Open a settings file");
      EXPECT_NE(request.pane, nullptr);
      EXPECT_STREQ(request.pane->templateName, "FANCY_OPEN3");
      EXPECT_EQ(request.pane->paneId, 123);
      EXPECT_TRUE(headlessBrowserOpen());
      headlessClearDrawCalls();
      headlessBrowserSelect(red.c_str());
      expectPaneNear(65, 65, 200, 40, 30);
      EXPECT_EQ(headlessPixelCount(), 130 * 130);
      // A repaint draws the same.
      headlessClearDrawCalls();
      headlessBrowserPaint();
      expectPaneNear(0, 0, 200, 40, 30);
      // A name without ".q4t" is not read: the pane goes to the ramp.
      headlessBrowserSelect(other.c_str());
      expectPaneNear(0, 0, 255, 255, 255);
      expectPaneNear(0, 129, 128, 128, 128);
      // ".q4t" inside the name counts; a file without a thumbnail leaves the
      // ramp.
      headlessBrowserSelect(red.c_str());
      headlessBrowserSelect(bare.c_str());
      expectPaneNear(10, 65, 190, 190, 190);
      EXPECT_EQ(r.params()->smoothing, before.smoothing);
      return false;  // cancelled
    });
    headlessClick(w, ID_LOAD);
    EXPECT_FALSE(headlessBrowserOpen());
    EXPECT_EQ(r.params()->smoothing, before.smoothing);
    EXPECT_STREQ(r.params()->settingsName, before.settingsName);

    // The presets page and the folder refresh choose their folder in it too.
    int32_t panes = 0;
    headlessSetFileAnswer([&](const FileDialogRequest& request, std::string*) {
      panes += request.pane != nullptr ? 1 : 0;
      EXPECT_STREQ(request.title, "Choose any file in the source folder");
      return false;
    });
    headlessClick(w, ID_PRESETS_PAGE);
    hover(w, 0);
    clickThumbnail(w, false, true);
    EXPECT_EQ(panes, 2);
  });
}

TEST(PresetBrowser, RefreshingAFolderRewritesItsFilesAndKeepsTheUserSettings) {
  ScratchFolder scratch;
  const fs::path folder = scratch.folder / "presets";
  fs::create_directories(folder);
  DotRun r;
  r.run([&](WindowHandle w) {
    // Old files without thumbnails: a style 2 file to refresh and rename,
    // one already refreshed, and a .q4t that the refresh leaves alone.
    for (const char* name : {"one.q9q", "two.q5q", "three.q4t"}) {
      std::ofstream out(folder / name, std::ios::binary);
      // The default settings with style 2 and smoothing 40, no thumbnail.
      for (int32_t word : {190, 2, 40, 80, 3, 1, 0, 4, 1, 45, 1, 0, 1, 1, 0, 0}) {
        const char bytes[4] = {0, 0, char(word >> 8), char(word & 255)};
        out.write(bytes, 4);
      }
    }
    headlessType(w, ID_SMOOTHING_BOX, "66");
    headlessFireTimer(w, APPLY_TIMER_ID);
    headlessSetFileAnswer([&](const FileDialogRequest&, std::string* path) {
      *path = (folder / "two.q5q").string();
      return true;
    });
    hover(w, 0);
    clickThumbnail(w, false, true);
    EXPECT_EQ(r.params()->smoothing, 66);
    EXPECT_EQ(headlessText(w, ID_SMOOTHING_BOX), "66");
    EXPECT_STREQ(r.params()->lastPresetFolder, (folder.string() + "/").c_str());
  });
  EXPECT_FALSE(fs::exists(folder / "one.q9q"));
  ASSERT_TRUE(fs::exists(folder / "one.q5q"));
  EXPECT_GT(fs::file_size(folder / "one.q5q"), 76u);
  EXPECT_GT(fs::file_size(folder / "two.q5q"), 76u);
  EXPECT_EQ(fs::file_size(folder / "three.q4t"), 64u);
}

}  // namespace
