// The memory dots, the two-slot undo and randomize, through their state and
// files: what the dialog's dot, Undo and Randomize commands do underneath.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <vector>

#include "dialog/memory_dots.h"
#include "dialog/randomize.h"
#include "dialog/undo.h"
#include "files/paths.h"
#include "tests/e2e/host_runner.h"
#include "tests/presets/settings_fixture.h"

namespace {

// A settings workspace with a run's work area, in a temporary folder of its
// own (scratchPath points TMPDIR there).
struct DialogRun {
  Workspace w;
  FilterWorkArea* work;
  DialogRun() {
    scratchPath("tmp");
    work = static_cast<FilterWorkArea*>(std::calloc(1, sizeof(FilterWorkArea)));
    w.session()->work = work;
    pixelMapInit(&work->exportImage, w.session(), w.ws->kernelTable);
    loadDotMap(w.session());
    initDots(w.session());
  }
  ~DialogRun() {
    pixelMapFree(&work->exportImage);
    std::free(work);
  }
  FilterSession* s() { return w.session(); }
  EdgeParameters* p() { return w.p(); }
};

std::string dotFile(int slot) {
  PathSpec path;
  memoryDotPath(&path, slot);
  return path.text;
}

std::string mapFile() {
  PathSpec path;
  dotMapPath(&path);
  return path.text;
}



// The centre of a dot, where a hover lands.
void hoverOver(DialogRun& run, int slot) {
  const DotPlace& place = dotPlace(slot);
  hoverDots(run.s(), place.left + 6, place.top + 6);
}

}  // namespace

TEST(MemoryDots, GeometryFacesAndHitTest) {
  EXPECT_EQ(dotPlace(0).id, 121);
  EXPECT_EQ(dotPlace(24).id, 145);
  EXPECT_EQ(dotSlotAt(318, 387), 0);
  EXPECT_EQ(dotSlotAt(329, 398), 0);  // last pixel of the 12 x 12 square
  EXPECT_EQ(dotSlotAt(330, 387), -1);
  EXPECT_EQ(dotSlotAt(434 + 5, 410 + 5), 24);
  EXPECT_EQ(dotSlotOf(120), -1);
  EXPECT_EQ(dotSlotOf(146), -1);
  EXPECT_EQ(dotFaceBitmap(DOT_EMPTY, true, false), 203);
  EXPECT_EQ(dotFaceBitmap(DOT_EMPTY, false, true), 210);
  EXPECT_EQ(dotFaceBitmap(DOT_STORED, false, false), 213);
  EXPECT_EQ(dotFaceBitmap(DOT_STORED, true, true), 216);
  EXPECT_EQ(dotFaceBitmap(DOT_CURRENT, false, true), 211);
  EXPECT_EQ(dotFaceBitmap(DOT_CURRENT, true, false), 208);
}

TEST(MemoryDots, MapFileRoundTripAndShortOrMissingFiles) {
  DialogRun run;
  for (int slot = 0; slot < DOT_COUNT; ++slot) EXPECT_EQ(run.work->dotMap[slot], 0);  // no file yet
  EXPECT_EQ(firstFreeDot(run.work), 0);
  run.work->dotMap[0] = 1;
  run.work->dotMap[2] = 1;
  run.work->dotMap[24] = 1;
  saveDotMap(run.s());
  const Bytes bytes = readBytesFrom(mapFile());
  ASSERT_EQ(bytes.size(), 104u);
  EXPECT_EQ(wordAt(bytes, 0), 190);
  EXPECT_EQ(wordAt(bytes, 4), 1);
  EXPECT_EQ(wordAt(bytes, 8), 0);
  EXPECT_EQ(wordAt(bytes, 100), 1);

  loadDotMap(run.s());
  EXPECT_EQ(run.work->dotMap[2], 1);
  EXPECT_EQ(firstFreeDot(run.work), 1);  // the opening state goes between the pins
  markPinnedDots(run.s());
  EXPECT_EQ(run.work->dotState[0], DOT_STORED);
  EXPECT_EQ(run.work->dotState[1], DOT_EMPTY);

  // A short file: the words it lacks stay free.
  writeBytesTo(mapFile(), wordsOf({7, 1, 1}));
  loadDotMap(run.s());
  EXPECT_EQ(run.work->dotMap[0], 1);
  EXPECT_EQ(run.work->dotMap[1], 1);
  EXPECT_EQ(run.work->dotMap[2], 0);
  EXPECT_EQ(run.work->dotMap[24], 0);

  for (int slot = 0; slot < DOT_COUNT; ++slot) run.work->dotMap[slot] = 1;
  EXPECT_EQ(firstFreeDot(run.work), -1);
}

TEST(MemoryDots, StoreHoverRecallAndTheCurrentMark) {
  DialogRun run;
  paintQuarters(run.w.thumbnail());
  run.p()->smoothing = 37;
  dotCommand(run.s(), 121, DOT_PRESS_PLAIN);  // an empty dot: stored and pinned
  EXPECT_TRUE(fileExists(dotFile(0)));
  EXPECT_EQ(run.work->dotState[0], DOT_CURRENT);
  EXPECT_EQ(run.work->dotMap[0], 1);
  EXPECT_EQ(run.work->shownDot, 0);
  EXPECT_EQ(run.work->exportImage.baseWidth, 88);
  EXPECT_EQ(run.work->exportImage.baseHeight, 88);

  run.p()->smoothing = 64;
  dotCommand(run.s(), 123, DOT_PRESS_CTRL);  // Ctrl on an empty dot: stored, transient
  EXPECT_EQ(run.work->dotMap[2], 0);
  EXPECT_EQ(run.work->dotState[2], DOT_CURRENT);
  EXPECT_EQ(run.work->dotState[0], DOT_STORED);  // only one dot is current

  // Hover: a stored dot shows, the same dot again reads nothing, an empty
  // one hides, leaving a dot changes nothing.
  hoverOver(run, 0);
  EXPECT_EQ(run.work->shownDot, 0);
  std::remove(dotFile(0).c_str());
  hoverOver(run, 0);
  EXPECT_FALSE(pixelMapEmpty(&run.work->exportImage));
  EXPECT_FALSE(hoverDots(run.s(), 10, 10));
  EXPECT_EQ(run.work->shownDot, 0);
  hoverOver(run, 5);
  EXPECT_EQ(run.work->shownDot, -1);
  EXPECT_TRUE(pixelMapEmpty(&run.work->exportImage));

  // Recall: dot 2 brings smoothing 64 back; dot 0's file has gone, so its
  // recall leaves the settings as they are but still marks the dot.
  run.p()->smoothing = 5;
  EXPECT_TRUE(dotCommand(run.s(), 123, DOT_PRESS_PLAIN).settingsChanged);
  EXPECT_EQ(run.p()->smoothing, 64);
  dotCommand(run.s(), 121, DOT_PRESS_PLAIN);
  EXPECT_EQ(run.p()->smoothing, 64);
  EXPECT_EQ(run.work->dotState[0], DOT_CURRENT);

  // A missing file on hover: the slot moves, the picture stays as it was.
  hoverOver(run, 2);
  EXPECT_EQ(run.work->lastShownDot, 2);
  hoverOver(run, 0);
  EXPECT_EQ(run.work->lastShownDot, 0);
  EXPECT_FALSE(pixelMapEmpty(&run.work->exportImage));
}

TEST(MemoryDots, CtrlAndRightClicksOnStoredDotsAndTheThumbnail) {
  DialogRun run;
  run.p()->tweaker = 11;
  dotCommand(run.s(), 125, DOT_PRESS_RIGHT);  // right on empty stores and pins
  EXPECT_EQ(run.work->dotMap[4], 1);
  dotCommand(run.s(), 125, DOT_PRESS_CTRL);  // Ctrl on stored: transient, still stored
  EXPECT_EQ(run.work->dotMap[4], 0);
  EXPECT_NE(run.work->dotState[4], DOT_EMPTY);

  // The thumbnail recalls the dot last shown.
  run.p()->tweaker = 99;
  EXPECT_TRUE(dotCommand(run.s(), DOT_THUMBNAIL_ID, DOT_PRESS_PLAIN).settingsChanged);
  EXPECT_EQ(run.p()->tweaker, 11);
  EXPECT_TRUE(dotCommand(run.s(), DOT_THUMBNAIL_ID, DOT_PRESS_CTRL).wantsSettingsFolder);
  EXPECT_TRUE(dotCommand(run.s(), DOT_THUMBNAIL_ID, DOT_PRESS_RIGHT).wantsHtmlPage);

  // Right on a stored dot empties it and hides the thumbnail; its file stays.
  dotCommand(run.s(), 125, DOT_PRESS_RIGHT);
  EXPECT_EQ(run.work->dotState[4], DOT_EMPTY);
  EXPECT_EQ(run.work->shownDot, -1);
  EXPECT_TRUE(fileExists(dotFile(4)));
  // With no dot shown the thumbnail does nothing.
  run.p()->tweaker = 99;
  EXPECT_FALSE(dotCommand(run.s(), DOT_THUMBNAIL_ID, DOT_PRESS_PLAIN).settingsChanged);
  EXPECT_EQ(run.p()->tweaker, 99);
}

TEST(MemoryDots, PinnedDotsSurviveIntoTheNextRunTransientOnesLookEmpty) {
  {
    DialogRun first;
    dotCommand(first.s(), 121, DOT_PRESS_PLAIN);
    dotCommand(first.s(), 122, DOT_PRESS_CTRL);
    saveDotMap(first.s());
  }
  DialogRun next;
  markPinnedDots(next.s());
  EXPECT_EQ(next.work->dotState[0], DOT_STORED);
  EXPECT_EQ(next.work->dotState[1], DOT_EMPTY);
  EXPECT_EQ(firstFreeDot(next.work), 1);
}

TEST(Undo, TwoSlotsSwapAndUndoAgainRedoes) {
  DialogRun run;
  run.p()->smoothing = 20;
  storeUndoSnapshot(run.s());  // the opening state
  EXPECT_FALSE(undo(run.s()));  // nothing before it yet
  run.p()->smoothing = 50;
  takeSnapshot(run.s(), false);
  EXPECT_TRUE(undo(run.s()));
  EXPECT_EQ(run.p()->smoothing, 20);
  EXPECT_TRUE(undo(run.s()));
  EXPECT_EQ(run.p()->smoothing, 50);

  // Two changes: the state before the first is gone.
  run.p()->smoothing = 60;
  takeSnapshot(run.s(), false);
  run.p()->smoothing = 70;
  takeSnapshot(run.s(), false);
  undo(run.s());
  EXPECT_EQ(run.p()->smoothing, 60);
  undo(run.s());
  EXPECT_EQ(run.p()->smoothing, 70);
}

TEST(Undo, ASnapshotWithAFileBringsBackWhatTheFileHeld) {
  DialogRun run;
  run.p()->glue = 4;
  storeUndoSnapshot(run.s());
  PathSpec path;
  undoFilePath(&path, run.s()->undoPhase);
  EXPECT_TRUE(fileExists(path.text));
  // A loaded file changes the settings; undo goes back to before it.
  run.p()->glue = 30;
  takeSnapshot(run.s(), true);
  undo(run.s());
  EXPECT_EQ(run.p()->glue, 4);
  // The slot's file is read over the snapshot: a value only the file holds
  // comes back. With the file gone the snapshot stands.
  undoFilePath(&path, run.s()->undoPhase ^ 1);
  Workspace other;
  other.p()->glue = 41;
  writeSettingsFile(other.session(), path.text);
  undo(run.s());
  EXPECT_EQ(run.p()->glue, 41);
  undoFilePath(&path, run.s()->undoPhase ^ 1);
  std::remove(path.text);
  undo(run.s());
  EXPECT_EQ(run.p()->glue, 4);
}

TEST(Undo, PolicyByIdKindAndDotState) {
  auto policy = [](int32_t id, int32_t kind, bool stored = false, bool ctrl = false, int32_t shown = -1) {
    return undoPolicy(UndoQuery{id, kind, stored, ctrl, shown});
  };
  for (int id : {2, 3, 9, 12, 13, 14, 25, 150}) EXPECT_EQ(policy(id, 4), UNDO_NONE) << id;
  EXPECT_EQ(policy(15, 7), UNDO_WITH_FILE);
  EXPECT_EQ(policy(777, -1), UNDO_PLAIN);
  EXPECT_EQ(policy(121, 25, false), UNDO_NONE);
  EXPECT_EQ(policy(121, 25, true, true), UNDO_NONE);
  EXPECT_EQ(policy(145, 25, true), UNDO_WITH_FILE);
  EXPECT_EQ(policy(119, 26, false, false, 3), UNDO_WITH_FILE);
  EXPECT_EQ(policy(119, 26, false, false, -1), UNDO_NONE);
  for (int kind : {0, 3, 7, 13, 17}) EXPECT_EQ(policy(40, kind), UNDO_PLAIN) << kind;
  for (int kind : {-1, 1, 2, 4, 18}) EXPECT_EQ(policy(40, kind), UNDO_NONE) << kind;
}

namespace {

// A fixed sequence of draws: each value k comes out of randomInRange's
// shift as k.
std::vector<int> scripted;
size_t scriptedNext = 0;
int scriptedRandom() { return scriptedNext < scripted.size() ? scripted[scriptedNext++] << 4 : 0; }

struct ScriptedDraws {
  explicit ScriptedDraws(std::vector<int> values) {
    scripted = std::move(values);
    scriptedNext = 0;
    setRandomSource(scriptedRandom);
  }
  ~ScriptedDraws() { setRandomSource(nullptr); }
};

}  // namespace

TEST(Randomize, RangeDrawsTakeTheSigned16BitValueShiftedByFour) {
  {
    ScriptedDraws draws({2, 20, 5, 4});
    EXPECT_EQ(randomInRange(12, 1), 3);   // ends swapped; mask 15
    EXPECT_EQ(randomInRange(1, 12), 5);   // 20 & 15 = 4, plus 1
    // A span of 0 still masks with 1: 5 gives 8, above the range, and is
    // drawn again.
    EXPECT_EQ(randomInRange(7, 7), 7);
    EXPECT_EQ(scriptedNext, 4u);
  }
  // Values above 16 bits: only the low 16 count, as a signed number.
  setRandomSource([]() { return 0x12340; });
  EXPECT_EQ(randomInRange(0, 15), (int16_t(0x2340) >> 4) & 15);
  setRandomSource(nullptr);
}

TEST(Randomize, AHandWorkedDraw) {
  DialogRun run;
  run.p()->scaleDivisor = 3;
  run.p()->panX = 17;
  ScriptedDraws draws({2,            // style 3
                       30, 45,       // smoothing 50 * 45 / 100 + 10 = 32
                       100, 60,      // tweaker: 120 is redrawn, then 80
                       0, 5,         // extent 1, kept (5 is not above 8)
                       3,            // source 4
                       1, 1, 1, 1,   // colorize 1
                       2, 5, 300,    // spare 3, chrome 6, angle 300
                       0, 1,         // remove noise 0, flip 1
                       10, 50, 2,    // glue 11, then overlay
                       93, 20});     // the last twist: multiply, thin/soft, flip, tweaker 55
  randomizeParameters(run.p());
  EXPECT_EQ(run.p()->edgeStyle, 3);
  EXPECT_EQ(run.p()->smoothing, 32);
  EXPECT_EQ(run.p()->tweaker, 55);
  EXPECT_EQ(run.p()->edgeExtent, 1);
  EXPECT_EQ(run.p()->source, 4);
  EXPECT_EQ(run.p()->colorize, 1);
  EXPECT_EQ(run.p()->edgeSpare, 3);
  EXPECT_EQ(run.p()->chromeStyle, 6);
  EXPECT_EQ(run.p()->angle, 300);
  EXPECT_EQ(run.p()->removeNoise, 0);
  EXPECT_EQ(run.p()->flip, 1);
  EXPECT_EQ(run.p()->glue, 9);
  EXPECT_STREQ(run.p()->settingsName, "random settings.q4t");
  EXPECT_EQ(scriptedNext, scripted.size());
  EXPECT_EQ(run.p()->scaleDivisor, 3);  // the view is not a parameter
  EXPECT_EQ(run.p()->panX, 17);
}

TEST(Randomize, ManyDrawsStayInRangeAndNeverGiveStyle13) {
  std::srand(12345);
  EdgeParameters p;
  std::memset(&p, 0, sizeof(p));
  int splotchy = 0;
  for (int i = 0; i < 20000; ++i) {
    randomizeParameters(&p);
    ASSERT_GE(p.edgeStyle, 1);
    ASSERT_LE(p.edgeStyle, 12);
    splotchy += p.edgeStyle == 8;
    ASSERT_GE(p.smoothing, 10);
    ASSERT_LE(p.smoothing, 91);
    ASSERT_GE(p.tweaker, 20);
    ASSERT_LE(p.tweaker, 100);
    ASSERT_GE(p.edgeExtent, 1);
    ASSERT_LE(p.edgeExtent, 3);
    ASSERT_GE(p.source, 1);
    ASSERT_LE(p.source, 4);
    ASSERT_GE(p.chromeStyle, 1);
    ASSERT_LE(p.chromeStyle, 6);
    ASSERT_GE(p.angle, 0);
    ASSERT_LE(p.angle, 359);
    ASSERT_GE(p.glue, 1);
    ASSERT_LE(p.glue, 62);
  }
  // 8 comes only from the second draw: about 1/12 * 1/12 of runs, plus
  // nothing from the twist, which forces 3.
  EXPECT_GT(splotchy, 20000 / 144 / 3);
  EXPECT_LT(splotchy, 20000 / 144 * 3);
  // With a first draw of 8 the second decides.
  ScriptedDraws draws({7, 7});
  EXPECT_EQ(randomInRange(1, 12), 8);
  EXPECT_EQ(randomInRange(1, 12), 8);
}
