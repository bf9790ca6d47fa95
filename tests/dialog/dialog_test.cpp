// The main dialog played through the headless window layer: a driver acts
// as the user between the dialog's start-up and its end.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "dialog/controls.h"
#include "dialog/dialog_stages.h"
#include "dialog/dialog_state.h"
#include "dialog/drawn_controls.h"
#include "dialog/psd_progress.h"
#include "dialog/undo.h"
#include "platform/posix/headless_window.h"
#include "session/session.h"
#include "tests/region/region_harness.h"

namespace {

// Centre of a control's table rectangle.
int32_t centreX(int32_t id) { return (layoutRectOf(id).left + layoutRectOf(id).right) / 2; }
int32_t centreY(int32_t id) { return (layoutRectOf(id).top + layoutRectOf(id).bottom) / 2; }

struct DialogHost {
  Harness h;
  explicit DialogHost(int32_t width = 600, int32_t height = 400, bool preview = true) {
    HarnessPicture picture = makeTestPicture(width, height, 3, 8, false);
    harnessInit(&h, picture, Rect{0, 0, int16_t(height), int16_t(width)});
    h.record.samplingSupport = 1;
    EXPECT_TRUE(harnessStart(&h));
    params()->previewAvailable = preview ? 1 : 0;
  }
  ~DialogHost() {
    headlessSetDriver(nullptr);
    headlessSetFileAnswer(nullptr);
    harnessEnd(&h);
  }
  EdgeParameters* params() { return harnessParameters(&h); }
  void run(HeadlessDriver driver) {
    headlessSetDriver(std::move(driver));
    storeUndoSnapshot(h.session);  // as Start does before the dialog
    runMainDialog(h.session);
  }
};

// The left edge of the last thumb drawn for the slider.
int32_t lastThumbLeft() {
  int32_t left = -1;
  for (const DrawCall& c : headlessDrawCalls())
    if (c.kind == DRAW_BITMAP && c.bitmapId == BITMAP_SLIDER_THUMB) left = c.x0;
  return left;
}

bool drewBitmap(int32_t bitmapId) {
  for (const DrawCall& c : headlessDrawCalls())
    if (c.kind == DRAW_BITMAP && c.bitmapId == bitmapId) return true;
  return false;
}

int32_t countDrawn(DrawKind kind) {
  int32_t n = 0;
  for (const DrawCall& c : headlessDrawCalls()) n += c.kind == kind ? 1 : 0;
  return n;
}

// The eleven parameters the dialog shows.
void expectSameParameters(const EdgeParameters& p, const EdgeParameters& q) {
  EXPECT_EQ(p.edgeStyle, q.edgeStyle);
  EXPECT_EQ(p.smoothing, q.smoothing);
  EXPECT_EQ(p.tweaker, q.tweaker);
  EXPECT_EQ(p.edgeExtent, q.edgeExtent);
  EXPECT_EQ(p.source, q.source);
  EXPECT_EQ(p.colorize, q.colorize);
  EXPECT_EQ(p.chromeStyle, q.chromeStyle);
  EXPECT_EQ(p.angle, q.angle);
  EXPECT_EQ(p.removeNoise, q.removeNoise);
  EXPECT_EQ(p.glue, q.glue);
  EXPECT_EQ(p.flip, q.flip);
}

TEST(MainDialog, StartUpFillsLaysOutAndRendersTheFirstPreview) {
  DialogHost host;
  host.run([&](WindowHandle w) {
    EXPECT_EQ(headlessWindowClient(w).right, 866);
    EXPECT_EQ(headlessWindowClient(w).bottom, 548);
    EXPECT_EQ(headlessListSize(w, ID_GLUE), 62);
    EXPECT_EQ(headlessListSize(w, ID_CHROME_STYLE), 6);
    EXPECT_EQ(headlessListSize(w, ID_EDGE_STYLE), 13);
    EXPECT_EQ(headlessListSize(w, ID_EDGE_EXTENT), 3);
    EXPECT_EQ(headlessListSize(w, ID_SOURCE), 4);
    EXPECT_EQ(headlessSelection(w, ID_EDGE_STYLE), 0);
    EXPECT_EQ(headlessText(w, ID_SMOOTHING_BOX), "30");
    EXPECT_EQ(headlessText(w, ID_TWEAKER_BOX), "90");
    EXPECT_TRUE(headlessChecked(w, ID_REMOVE_NOISE));
    EXPECT_EQ(headlessIcon(w, ID_NEXT_GLUE), 231);
    EXPECT_EQ(headlessText(w, ID_LOAD), "");
    // Buttons move up and left by 2, the percentage button 2 more up; a
    // popup gets room for its list.
    EXPECT_EQ(windowChildRect(w, ID_LOAD).left, 114);
    EXPECT_EQ(windowChildRect(w, ID_ZOOM_ACTUAL).top, 392);
    EXPECT_EQ(windowChildRect(w, ID_GLUE).bottom, 321 + 548);
    EXPECT_TRUE(headlessChildExists(w, 24) && headlessChildExists(w, 25) && headlessChildExists(w, 119));
    for (int32_t id = 121; id <= 145; ++id) EXPECT_TRUE(headlessChildExists(w, id));
    // 600 x 400 fits the pane at a half.
    EXPECT_EQ(headlessText(w, ID_ZOOM_ACTUAL), "50%");
    EXPECT_FALSE(headlessEnabled(w, ID_ZOOM_OUT));
    EXPECT_TRUE(headlessEnabled(w, ID_ZOOM_IN));
    EXPECT_EQ(dialogState().controlEnabled[ID_ANGLE], 0);
    EXPECT_EQ(host.h.displayCalls, 1);
    EXPECT_FALSE(headlessTimerArmed(w, APPLY_TIMER_ID));
    EXPECT_EQ(headlessCursor(), CURSOR_ARROW);
    headlessClick(w, ID_OK);
  });
  EXPECT_EQ(host.h.result, 0);
  EXPECT_EQ(host.h.session->dialogOutcome, 1);
  EXPECT_EQ(host.h.session->dialogWindow, nullptr);
}

TEST(MainDialog, CancelRestoresParametersAndNameOkKeepsChanges) {
  for (int32_t endId : {ID_CANCEL, ID_OK}) {
    DialogHost host;
    EdgeParameters before = *host.params();
    host.run([&](WindowHandle w) {
      headlessChoose(w, ID_EDGE_STYLE, 3);
      headlessChoose(w, ID_SOURCE, 2);
      headlessClick(w, ID_FLIP);
      headlessClick(w, ID_COLORIZE);
      headlessType(w, ID_TWEAKER_BOX, "12");
      headlessFireTimer(w, APPLY_TIMER_ID);
      headlessClick(w, ID_NEXT_GLUE);
      headlessClick(w, endId);
    });
    const EdgeParameters& p = *host.params();
    if (endId == ID_CANCEL) {
      EXPECT_EQ(host.h.result, RESULT_USER_CANCELED);
      EXPECT_EQ(host.h.session->dialogOutcome, 2);
      expectSameParameters(p, before);
      EXPECT_STREQ(p.settingsName, before.settingsName);
    } else {
      EXPECT_EQ(host.h.result, 0);
      EXPECT_EQ(p.edgeStyle, 4);
      EXPECT_EQ(p.source, 3);
      EXPECT_EQ(p.flip, 1);
      EXPECT_EQ(p.colorize, 1);
      EXPECT_EQ(p.tweaker, 12);
      EXPECT_EQ(p.glue, 2);
    }
  }
}

TEST(MainDialog, NumberBoxMovesTheThumbAtOnceAndAppliesAfterTheTimer) {
  DialogHost host;
  host.run([&](WindowHandle w) {
    EdgeParameters* p = host.params();
    const int32_t renders = host.h.displayCalls;
    headlessClearDrawCalls();
    headlessType(w, ID_SMOOTHING_BOX, "150");
    EXPECT_EQ(lastThumbLeft(), 117 + 1 + 120);  // 100 at once
    EXPECT_EQ(headlessText(w, ID_SMOOTHING_BOX), "150");
    EXPECT_TRUE(headlessTimerArmed(w, APPLY_TIMER_ID));
    EXPECT_EQ(host.h.displayCalls, renders);
    headlessFireTimer(w, APPLY_TIMER_ID);
    EXPECT_EQ(headlessText(w, ID_SMOOTHING_BOX), "100");
    EXPECT_EQ(p->smoothing, 100);
    EXPECT_EQ(host.h.displayCalls, renders + 1);
    EXPECT_FALSE(headlessTimerArmed(w, APPLY_TIMER_ID));

    headlessType(w, ID_TWEAKER_BOX, "1e2");
    headlessFireTimer(w, APPLY_TIMER_ID);
    EXPECT_EQ(p->tweaker, 100);

    // An empty box is 0, which needs no clamping: the box stays empty.
    headlessClearDrawCalls();
    headlessType(w, ID_SMOOTHING_BOX, "");
    EXPECT_EQ(lastThumbLeft(), 118);
    headlessFireTimer(w, APPLY_TIMER_ID);
    EXPECT_EQ(headlessText(w, ID_SMOOTHING_BOX), "");
    EXPECT_EQ(p->smoothing, 0);

    // A fraction stands in the box; the parameter takes the whole part.
    headlessType(w, ID_SMOOTHING_BOX, "42.9xyz");
    headlessFireTimer(w, APPLY_TIMER_ID);
    EXPECT_EQ(p->smoothing, 42);
  });
}

TEST(MainDialog, SliderDragStopsAtBothEndsAndRendersAtRelease) {
  DialogHost host;
  host.run([&](WindowHandle w) {
    const int32_t renders = host.h.displayCalls;
    headlessPress(w, centreX(ID_SMOOTHING), centreY(ID_SMOOTHING));
    EXPECT_TRUE(headlessCaptured(w));
    EXPECT_EQ(headlessText(w, ID_SMOOTHING_BOX), "51");  // the thumb jumps under the mouse
    headlessMove(w, 0, 300);
    EXPECT_EQ(headlessText(w, ID_SMOOTHING_BOX), "0");
    headlessMove(w, 800, 0);
    EXPECT_EQ(headlessText(w, ID_SMOOTHING_BOX), "100");
    EXPECT_EQ(host.h.displayCalls, renders);  // nothing renders during the drag
    headlessRelease(w, 800, 0, false);
    EXPECT_FALSE(headlessCaptured(w));
    EXPECT_EQ(host.params()->smoothing, 100);
    EXPECT_EQ(host.h.displayCalls, renders + 1);
    // The right button drags as the left does.
    headlessPress(w, 118 + 4, centreY(ID_TWEAKER), true);
    headlessRelease(w, 118 + 4, centreY(ID_TWEAKER), true);
    EXPECT_EQ(host.params()->tweaker, 0);
  });
}

TEST(MainDialog, DialPointsByQuarterAndIsDeadOutsideChromeAndScribble) {
  DialogHost host;
  host.run([&](WindowHandle w) {
    EdgeParameters* p = host.params();
    const int32_t cx = (116 + 170) / 2, cy = (221 + 275) / 2;
    // Style 1: no needle, no mouse.
    headlessClearDrawCalls();
    headlessPaint(w);
    EXPECT_TRUE(drewBitmap(BITMAP_DIAL_DISABLED));
    EXPECT_EQ(countDrawn(DRAW_LINE) - 4, 0);  // only the preview's frame
    headlessPress(w, cx + 10, cy);
    headlessRelease(w, cx + 10, cy);
    EXPECT_EQ(p->angle, 45);

    headlessChoose(w, ID_EDGE_STYLE, 4);  // scribble
    struct Case { int32_t x, y, angle; } cases[] = {{cx, cy, 0}, {cx + 20, cy, 90}, {cx, cy + 20, 180},
                                                   {cx - 20, cy, 270}, {cx + 10, cy - 10, 45}};
    for (const Case& c : cases) {
      headlessPress(w, c.x, c.y);
      headlessRelease(w, c.x, c.y);
      EXPECT_EQ(p->angle, c.angle) << c.x << "," << c.y;
    }
    EXPECT_EQ(dialAngleAt(WindowRect{0, 0, 54, 54}, 27, 0), 0);
    EXPECT_EQ(dialAngleAt(WindowRect{0, 0, 54, 54}, 0, 26), 273);
  });
}

TEST(MainDialog, EnableRulesRunBeforeTheRefresh) {
  DialogHost host;
  static int32_t angleEnabledAtDisplay = -1;
  static DisplayPixelsProc harnessDisplay = nullptr;
  harnessDisplay = host.h.record.displayPixels;
  host.h.record.displayPixels = [](const PSPixelMap* source, const VRect* rect, int32_t row, int32_t column,
                                   void* context) -> OSErr {
    angleEnabledAtDisplay = dialogState().controlEnabled[ID_ANGLE];
    return harnessDisplay(source, rect, row, column, context);
  };
  host.run([&](WindowHandle w) {
    headlessChoose(w, ID_EDGE_STYLE, 3);  // chrome
    EXPECT_EQ(angleEnabledAtDisplay, 1);
    EXPECT_EQ(dialogState().controlEnabled[ID_CHROME_LABEL], 1);
    headlessChoose(w, ID_EDGE_STYLE, 4);  // scribble: the dial, not the chrome popup
    EXPECT_EQ(dialogState().controlEnabled[ID_CHROME_LABEL], 0);
    EXPECT_EQ(dialogState().controlEnabled[ID_ANGLE], 1);
    headlessChoose(w, ID_EDGE_STYLE, 0);
    EXPECT_EQ(angleEnabledAtDisplay, 0);
    // The chrome popup stays operable while its label is grey.
    EXPECT_TRUE(headlessEnabled(w, ID_CHROME_STYLE));
  });
}

TEST(MainDialog, NextGlueWrapsAndCommandsRunOnReleaseAnywhere) {
  DialogHost host;
  host.run([&](WindowHandle w) {
    headlessChoose(w, ID_GLUE, 61);
    EXPECT_EQ(host.params()->glue, 62);
    headlessClick(w, ID_NEXT_GLUE);
    EXPECT_EQ(host.params()->glue, 1);
    EXPECT_EQ(headlessSelection(w, ID_GLUE), 0);
    // The logo tracks the mouse; its release far away still opens the box.
    const int32_t boxes = headlessAboutBoxCount();
    headlessPress(w, centreX(ID_LOGO), centreY(ID_LOGO));
    headlessMove(w, 700, 20);
    headlessRelease(w, 700, 20);
    EXPECT_EQ(headlessAboutBoxCount(), boxes + 1);
    headlessClick(w, ID_INFO);
    EXPECT_EQ(headlessInfoBoxCount(), 1);
  });
}

TEST(MainDialog, ZoomStepsPercentageAndPanLimits) {
  DialogHost host;
  host.run([&](WindowHandle w) {
    EdgeParameters* p = host.params();
    int32_t renders = host.h.displayCalls;
    // At the fit scale a press in the pane does nothing.
    headlessPress(w, 500, 200);
    EXPECT_FALSE(headlessCaptured(w));
    headlessRelease(w, 500, 200);
    EXPECT_EQ(host.h.displayCalls, renders);

    headlessClick(w, ID_ZOOM_IN);
    EXPECT_EQ(p->scaleDivisor, 1);
    EXPECT_EQ(headlessText(w, ID_ZOOM_ACTUAL), "100%");
    EXPECT_FALSE(headlessEnabled(w, ID_ZOOM_IN));
    EXPECT_TRUE(headlessEnabled(w, ID_ZOOM_OUT));
    EXPECT_EQ(host.h.displayCalls, renders + 1);
    headlessClick(w, ID_ZOOM_ACTUAL);  // renders again though nothing changed
    EXPECT_EQ(host.h.displayCalls, renders + 2);

    headlessMove(w, 500, 200);
    EXPECT_EQ(headlessCursor(), CURSOR_OPEN_HAND);
    // 600 x 400 in a 518 x 377 area: pan limits 82 and 23.
    headlessPress(w, 500, 200);
    EXPECT_TRUE(headlessCaptured(w));
    EXPECT_EQ(headlessCursor(), CURSOR_CLOSED_HAND);
    headlessMove(w, 300, 100);
    EXPECT_EQ(p->panX, 82);
    EXPECT_EQ(p->panY, 23);
    headlessMove(w, 800, 380);
    EXPECT_EQ(p->panX, 0);
    EXPECT_EQ(p->panY, 0);
    renders = host.h.displayCalls;
    headlessRelease(w, 800, 380);
    EXPECT_EQ(host.h.displayCalls, renders + 1);

    headlessClick(w, ID_ZOOM_OUT);
    EXPECT_EQ(headlessText(w, ID_ZOOM_ACTUAL), "50%");
    EXPECT_FALSE(headlessEnabled(w, ID_ZOOM_OUT));
    EXPECT_EQ(p->panX, 0);
  });
}

TEST(MainDialog, SmallImageIsCentredInAWhiteStrip) {
  DialogHost host(100, 80);
  host.run([&](WindowHandle w) {
    EXPECT_EQ(headlessText(w, ID_ZOOM_ACTUAL), "100%");
    EXPECT_FALSE(headlessEnabled(w, ID_ZOOM_IN));
    EXPECT_FALSE(headlessEnabled(w, ID_ZOOM_OUT));
    headlessClearDrawCalls();
    headlessClick(w, ID_COLORIZE);
    EXPECT_EQ(host.h.shownColumn, (326 + 848 - 100) / 2);
    EXPECT_EQ(host.h.shownRow, (2 + 383 - 80) / 2);
    bool excluded = false, filled = false;
    for (const DrawCall& c : headlessDrawCalls()) {
      if (c.kind == DRAW_EXCLUDE) excluded = c.x0 == 537 && c.y0 == 152 && c.x1 == 637 && c.y1 == 232;
      if (c.kind == DRAW_FILL_WHITE) filled = excluded && c.x0 == 328 && c.y0 == 4 && c.x1 == 846 && c.y1 == 381;
    }
    EXPECT_TRUE(filled);
  });
}

// The opening asks the host twice; it fails both times.
TEST(MainDialog, FailedFirstAdvanceStateTurnsThePreviewOff) {
  DialogHost host;
  static AdvanceStateProc harnessAdvance = nullptr;
  static int32_t calls = 0;
  harnessAdvance = host.h.record.advanceState;
  calls = 0;
  host.h.record.advanceState = []() -> OSErr { return ++calls <= 2 ? OSErr(-1) : harnessAdvance(); };
  host.run([&](WindowHandle w) {
    EXPECT_EQ(host.params()->previewAvailable, 0);
    EXPECT_EQ(host.h.result, 0);
    headlessClick(w, ID_FLIP);
    EXPECT_EQ(host.h.displayCalls, 0);
    headlessClick(w, ID_OK);
  });
  EXPECT_EQ(host.h.session->dialogOutcome, 1);
}

TEST(MainDialog, WidePicturesLoseTheGlueControls) {
  DialogHost host(600, 400, false);
  host.h.record.imageMode = plugInModeRGB96;
  host.run([&](WindowHandle) {
    EXPECT_EQ(dialogState().controlEnabled[ID_GLUE], 0);
    EXPECT_EQ(dialogState().controlEnabled[ID_GLUE_LABEL], 0);
    EXPECT_EQ(dialogState().controlEnabled[ID_NEXT_GLUE], 0);
  });
}

TEST(MainDialog, SaveThenLoadGivesBackTheParametersAndFileDialogsDoNotStack) {
  DialogHost host;
  const std::string path = ::testing::TempDir() + "dialog_roundtrip.q4t";
  std::remove(path.c_str());
  EdgeParameters saved{};
  host.run([&](WindowHandle w) {
    headlessChoose(w, ID_EDGE_STYLE, 3);
    headlessChoose(w, ID_CHROME_STYLE, 4);
    headlessType(w, ID_SMOOTHING_BOX, "7");
    headlessClick(w, ID_FLIP);
    int32_t asked = 0;
    headlessSetFileAnswer([&](const FileDialogRequest& request, std::string* chosen) {
      ++asked;
      EXPECT_STREQ(request.title, "Save a settings file");
      headlessClick(w, ID_SAVE);  // a second request while this one is up
      *chosen = path;
      return true;
    });
    headlessClick(w, ID_SAVE);
    EXPECT_EQ(asked, 1);
    EXPECT_FALSE(headlessTimerArmed(w, APPLY_TIMER_ID));  // Save stops the timer
    saved = *host.params();
    EXPECT_EQ(saved.smoothing, 7);
    headlessClick(w, ID_PLAIN);
    EXPECT_STREQ(host.params()->settingsName, "plain settings.q4t");
    headlessSetFileAnswer([&](const FileDialogRequest&, std::string* chosen) {
      *chosen = path;
      return true;
    });
    headlessClick(w, ID_LOAD);
    headlessClick(w, ID_OK);
  });
  const EdgeParameters& p = *host.params();
  expectSameParameters(p, saved);
  EXPECT_STREQ(p.settingsName, "dialog_roundtrip.q4t");
  std::remove(path.c_str());
}

TEST(MainDialog, ExportPsdWritesTheChosenFileAndLeavesTheDialogAsItWas) {
  DialogHost host(120, 90);
  const std::string path = ::testing::TempDir() + "dialog_export.psd";
  std::remove(path.c_str());
  host.run([&](WindowHandle w) {
    std::string proposed;
    headlessSetFileAnswer([&](const FileDialogRequest& request, std::string* chosen) {
      EXPECT_STREQ(request.title, "Save a PSD file");
      proposed = *chosen;
      *chosen = path;
      return true;
    });
    headlessClick(w, ID_EXPORT_PSD);
    EXPECT_EQ(proposed, "Marrowline result.psd");
    EXPECT_EQ(host.params()->renderTarget, 1);
    EXPECT_EQ(headlessText(w, ID_ZOOM_ACTUAL), "100%");
    headlessClick(w, ID_OK);
  });
  char signature[5] = {};
  if (FILE* file = std::fopen(path.c_str(), "rb")) {
    EXPECT_EQ(std::fread(signature, 1, 4, file), 4u);
    std::fclose(file);
  }
  EXPECT_STREQ(signature, "8BPS");
  EXPECT_STREQ(host.params()->lastExportFolder, ::testing::TempDir().c_str());
  std::remove(path.c_str());
}

// The export renders inside its progress window's first timer tick; while
// the window is up a second export only raises it.
TEST(MainDialog, ExportRunsInsideItsProgressWindowAndASecondPressOnlyRaisesIt) {
  DialogHost host(300, 200);
  const std::string path = ::testing::TempDir() + "dialog_progress.psd";
  const std::string second = ::testing::TempDir() + "dialog_progress_second.psd";
  std::remove(path.c_str());
  std::remove(second.c_str());
  std::string shown;
  int32_t raisedBefore = 0;
  host.run([&](WindowHandle w) {
    headlessSetFileAnswer([&](const FileDialogRequest&, std::string* chosen) {
      *chosen = path;
      return true;
    });
    headlessSetInnerDriver([&](WindowHandle box) {
      ASSERT_NE(box, w);
      EXPECT_EQ(psdProgressWindow(), box);
      EXPECT_TRUE(headlessTimerArmed(box, PSD_PROGRESS_TIMER));
      EXPECT_EQ(headlessCursor(), CURSOR_WAIT);
      FILE* early = std::fopen(path.c_str(), "rb");
      EXPECT_EQ(early, nullptr) << "nothing is written before the tick";
      if (early != nullptr) std::fclose(early);

      raisedBefore = headlessRaiseCount();
      headlessSetFileAnswer([&](const FileDialogRequest&, std::string* chosen) {
        *chosen = second;
        return true;
      });
      headlessClick(w, ID_EXPORT_PSD);
      EXPECT_EQ(headlessRaiseCount(), raisedBefore + 1);
      EXPECT_TRUE(headlessDialogOpen());

      headlessFireTimer(box, PSD_PROGRESS_TIMER);
      shown = headlessText(box, ID_PROGRESS_PERCENT);
    });
    headlessClick(w, ID_EXPORT_PSD);
    EXPECT_EQ(psdProgressWindow(), nullptr);
    EXPECT_EQ(headlessCursor(), CURSOR_ARROW);
    headlessClick(w, ID_OK);
  });
  headlessSetInnerDriver(nullptr);
  // The off-screen render reports once, at its start, as 0 of 1.
  EXPECT_EQ(shown, "0%");
  EXPECT_GT(headlessRaiseCount(), raisedBefore + 1) << "a progress report raises the window";
  FILE* file = std::fopen(path.c_str(), "rb");
  ASSERT_NE(file, nullptr);
  std::fclose(file);
  FILE* other = std::fopen(second.c_str(), "rb");
  EXPECT_EQ(other, nullptr) << "the second export must not run";
  if (other != nullptr) std::fclose(other);
  std::remove(path.c_str());
  std::remove(second.c_str());
}

TEST(MainDialog, LabelsAndTheSettingsNameAreAlignedAndGreyedByTheirFlag) {
  DialogHost host(600, 400, false);
  host.run([&](WindowHandle w) {
    headlessClearDrawCalls();
    headlessPaint(w);
    const DrawCall* angle = nullptr;
    const DrawCall* style = nullptr;
    const DrawCall* name = nullptr;
    for (const DrawCall& c : headlessDrawCalls()) {
      if (c.kind != DRAW_TEXT) continue;
      if (c.text == "Angle") angle = &c;
      if (c.text == "Edge style") style = &c;
      if (c.text == host.params()->settingsName) name = &c;
    }
    ASSERT_TRUE(angle && style && name);
    // Right-aligned in 12..110; rows 241..256 less 2, up 2, no centring.
    EXPECT_EQ(angle->x0, 110 - 5 * HEADLESS_CHARACTER_WIDTH);
    EXPECT_EQ(angle->y0, 239);
    EXPECT_EQ(angle->colour, 0x8C8C8Cu);
    EXPECT_EQ(style->colour, COLOUR_BLACK);
    const int32_t width = static_cast<int32_t>(std::strlen(host.params()->settingsName)) * HEADLESS_CHARACTER_WIDTH;
    EXPECT_EQ(name->x0, 478 + (849 - 478 - width) / 2);
  });
}

TEST(MainDialog, UndoSwapsBackAndForthAndRandomizeNamesItsSettings) {
  DialogHost host(600, 400, false);
  host.run([&](WindowHandle w) {
    EdgeParameters* p = host.params();
    headlessClick(w, ID_NEXT_GLUE);
    EXPECT_EQ(p->glue, 2);
    headlessClick(w, ID_UNDO);
    EXPECT_EQ(p->glue, 1);
    EXPECT_EQ(headlessSelection(w, ID_GLUE), 0);
    headlessClick(w, ID_UNDO);
    EXPECT_EQ(p->glue, 2);
    headlessClick(w, ID_RANDOMIZE);
    EXPECT_STREQ(p->settingsName, "random settings.q4t");
    EXPECT_EQ(headlessSelection(w, ID_EDGE_STYLE), p->edgeStyle - 1);
    EXPECT_EQ(headlessSelection(w, ID_GLUE), p->glue - 1);
    EXPECT_EQ(headlessChecked(w, ID_FLIP), p->flip != 0);
  });
}

TEST(MainDialog, HitTestTakesLeftAndTopEdgesOnly) {
  DialogHost host(600, 400, false);
  host.run([&](WindowHandle w) {
    headlessPress(w, 252, 50);  // the slider's right edge
    EXPECT_FALSE(headlessCaptured(w));
    headlessPress(w, 117, 45);  // its top left corner
    EXPECT_TRUE(headlessCaptured(w));
    headlessRelease(w, 117, 45);
  });
}

TEST(NumberText, ReadsTheLeadingDecimalNumber) {
  EXPECT_EQ(parseNumberText("1e2"), 100);
  EXPECT_EQ(parseNumberText("-3.5abc"), -3.5);
  EXPECT_EQ(parseNumberText("12e"), 12);
  EXPECT_EQ(parseNumberText(".5"), 0.5);
  EXPECT_EQ(parseNumberText("abc"), 0);
  EXPECT_EQ(parseNumberText("inf"), 0);
}

}  // namespace
