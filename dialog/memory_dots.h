// The 25 memory dots round the dot thumbnail: which slot holds settings,
// which is pinned across runs, which is current, and what the thumbnail
// shows. Everything here is the dots' state and files; the dialog repaints
// after each call (the dots, and control 119 when the thumbnail changed).
#pragma once

#include <cstdint>

#include "pi/plugin_interface.h"

struct FilterSession;
struct FilterWorkArea;

constexpr int32_t FIRST_DOT_ID = 121;          // slot 0; slot 24 is 145
constexpr int32_t DOT_THUMBNAIL_ID = 119;
constexpr int32_t DOT_SIDE = 12;               // every dot is 12 x 12
constexpr int32_t DOT_MAP_FORMAT = 190;        // first word of the map file
constexpr int16_t DOT_EMPTY = 0;
constexpr int16_t DOT_STORED = 1;
constexpr int16_t DOT_CURRENT = 2;
constexpr int32_t DOT_PRESSED_FLAG = 2;        // in the dot's controlValue
// The thumbnail's picture: 88 x 88, 4 pixels inside the frame's corner.
constexpr int32_t DOT_THUMBNAIL_PICTURE_SIDE = 88;
constexpr int32_t DOT_THUMBNAIL_INSET = 4;

// Top-left corners of the dots in the dialog's client area, by slot.
struct DotPlace {
  int16_t id;
  int16_t left;
  int16_t top;
};
const DotPlace& dotPlace(int32_t slot);
// The slot of a control id 121..145, else -1.
int32_t dotSlotOf(int32_t id);
// The slot whose rectangle holds the point, else -1.
int32_t dotSlotAt(int32_t x, int32_t y);
// The 8 x 8 face bitmap for a dot's state, pin and pressed look.
int32_t dotFaceBitmap(int16_t state, bool pinned, bool pressed);

// At the start of a run: all dots free, then the pins of the map file in
// the temporary folder (a missing or short file leaves the rest free).
void loadDotMap(FilterSession* session);
// At the end of every run, after OK or Cancel: the format word, then the
// 25 pin words. A write that fails is not reported.
void saveDotMap(FilterSession* session);

// Dialog start-up, before the first render: ids, every dot empty, nothing
// shown, no thumbnail.
void initDots(FilterSession* session);
// After the first render: pinned dots show as stored.
void markPinnedDots(FilterSession* session);
// The first slot that is not pinned, or -1 when all 25 are.
int32_t firstFreeDot(const FilterWorkArea* work);

// Current mark: at most one dot is current.
void clearCurrentDot(FilterSession* session);
void setCurrentDot(FilterSession* session, int32_t slot);

// The slot's stored thumbnail into the work area's exportImage at 88 x 88.
// shownDot and lastShownDot move to the slot whether or not it could be
// read; true when the picture changed.
bool showDot(FilterSession* session, int32_t slot);
void hideDotThumbnail(FilterSession* session);

// The current settings and their thumbnail into the slot's file; the dot
// becomes current and its thumbnail shows.
void storeDot(FilterSession* session, int32_t slot);
// The settings of the slot's file (left as they are when it is missing);
// the dot becomes current. Slots outside 0..24 are ignored (false).
bool recallDot(FilterSession* session, int32_t slot);

// The mouse rests at a point while no control is active: a stored dot not
// yet shown shows its thumbnail, an empty one hides it. True when the
// thumbnail changed.
bool hoverDots(FilterSession* session, int32_t x, int32_t y);

// How the press that ended in a dot's command was made.
enum DotPress : int32_t { DOT_PRESS_PLAIN = 0, DOT_PRESS_CTRL = 1, DOT_PRESS_RIGHT = 2 };

// What the dialog must do after a dot's command.
struct DotCommandOutcome {
  bool settingsChanged;     // sync the controls from the parameters, refresh
  bool wantsHtmlPage;       // thumbnail, right: the memory dots page
  bool wantsSettingsFolder; // thumbnail, Ctrl: refresh the settings folder
};
// The command of a dot (121..145) or of the thumbnail (119) after its
// release, by the way it was pressed.
DotCommandOutcome dotCommand(FilterSession* session, int32_t id, DotPress press);
