// The dialog's fixed tables as plain data: each control's kind, partner,
// art and rectangle, the dots' places and faces, and the numbers of the
// module's bitmaps, icons and cursors. Nothing here needs more than the
// standard library, so the art generator is built from these same tables
// and the skin's wells stand exactly where the controls do.
#pragma once

#include <cstdint>

#include "platform/window.h"

enum ControlKind : int32_t {
  kindNone = -1,
  kindSlider = 0,
  kindLabel = 1,
  kindReadout = 2,
  kindCheckbox = 3,
  kindDialogButton = 4,
  kindIconButton = 7,
  kindPopup = 13,
  kindDial = 17,
  kindLogo = 18,
  kindDot = 25,
  kindDotThumbnail = 26,
};

// One control but the dots, with the rectangle of the layout table (before
// the adjustments of the layout rule).
struct ControlRow {
  int16_t id;
  ControlKind kind;
  int16_t partner;  // the other half of a slider pair
  int16_t art;      // bitmap, or icon for an icon button
  int16_t label;    // index into the text table
  WindowRect rect;
};
constexpr int32_t CONTROL_ROW_COUNT = 42;
const ControlRow* controlRows();
int32_t controlRowCount();
// The row of an id, null for the dots and for ids without a control.
const ControlRow* controlRowOf(int32_t id);
// Where the row's window stands: buttons sit 2 pixels up and left of their
// table rectangle, and the zoom percentage button 2 more up.
WindowRect placedRect(const ControlRow& row);

// Top-left corners of the 12 x 12 memory dots in the client area, by slot.
struct DotPlace {
  int16_t id;
  int16_t left;
  int16_t top;
};
constexpr int32_t DOT_PLACE_COUNT = 25;
const DotPlace* dotPlaces();

// The 8 x 8 dot faces by look (rows) and pressed (columns): empty, stored,
// stored pinned, current, current pinned.
enum DotLook : int32_t { LOOK_EMPTY, LOOK_STORED, LOOK_STORED_PINNED, LOOK_CURRENT, LOOK_CURRENT_PINNED, LOOK_COUNT };
int32_t dotFaceOfLook(DotLook look, bool pressed);

// Bitmaps of the module's resources.
constexpr int32_t BITMAP_SKIN = 239;
constexpr int32_t BITMAP_SLIDER_TRACK = 102;
constexpr int32_t BITMAP_SLIDER_THUMB = 120;
constexpr int32_t BITMAP_DIAL = 110;
constexpr int32_t BITMAP_DIAL_DISABLED = 109;
constexpr int32_t BITMAP_THUMBNAIL_FRAME = 217;
constexpr int32_t BITMAP_LOGO = 183;
// The about box's three pictures and the info box's sheet.
constexpr int32_t BITMAP_ABOUT_MARK = 127;
constexpr int32_t BITMAP_ABOUT_NAME = 136;
constexpr int32_t BITMAP_ABOUT_SAMPLES = 182;
constexpr int32_t BITMAP_INFO = 189;

// Cursors of the preview's pan, hot spot at 8, 8.
constexpr int32_t CURSOR_OPEN_HAND_RESOURCE = 108;
constexpr int32_t CURSOR_CLOSED_HAND_RESOURCE = 107;
