#include "dialog/controls.h"

#include "dialog/memory_dots.h"
#include "session/session.h"

namespace {

struct ControlRow {
  int16_t id;
  ControlKind kind;
  int16_t partner;  // the other half of a slider pair
  int16_t art;      // bitmap, or icon for an icon button
  int16_t label;
  WindowRect rect;
};

// Every control but the dots, with its table rectangle.
constexpr ControlRow CONTROL_ROWS[] = {
    {30, kindLabel, -1, -1, 3, {11, 17, 109, 32}},
    {33, kindPopup, -1, -1, -1, {118, 13, 253, 29}},
    {16, kindLabel, -1, -1, 4, {11, 45, 109, 60}},
    {17, kindSlider, 28, BITMAP_SLIDER_TRACK, -1, {117, 45, 252, 57}},
    {28, kindReadout, 17, -1, -1, {257, 43, 287, 59}},
    {18, kindLabel, -1, -1, 5, {11, 71, 109, 86}},
    {19, kindSlider, 27, BITMAP_SLIDER_TRACK, -1, {117, 71, 252, 83}},
    {27, kindReadout, 19, -1, -1, {257, 69, 287, 85}},
    {20, kindLabel, -1, -1, 6, {10, 100, 108, 115}},
    {34, kindPopup, -1, -1, -1, {117, 96, 252, 112}},
    {21, kindLabel, -1, -1, 7, {10, 133, 108, 148}},
    {35, kindPopup, -1, -1, -1, {117, 130, 252, 146}},
    {7, kindLabel, -1, -1, 8, {12, 164, 110, 175}},
    {6, kindCheckbox, -1, -1, -1, {116, 164, 130, 179}},
    {40, kindLabel, -1, -1, 13, {165, 164, 230, 176}},
    {41, kindCheckbox, -1, -1, -1, {237, 163, 251, 177}},
    {22, kindLabel, -1, -1, 10, {11, 197, 109, 212}},
    {36, kindPopup, -1, -1, -1, {117, 193, 252, 209}},
    {38, kindLabel, -1, -1, 11, {12, 241, 110, 256}},
    {29, kindDial, -1, BITMAP_DIAL, -1, {116, 221, 170, 275}},
    {23, kindLabel, -1, -1, 12, {10, 294, 108, 307}},
    {31, kindCheckbox, -1, -1, -1, {117, 291, 131, 305}},
    {32, kindLabel, -1, -1, 9, {79, 325, 109, 341}},
    {37, kindPopup, -1, -1, -1, {117, 321, 252, 337}},
    {42, kindIconButton, -1, 231, -1, {264, 324, 279, 338}},
    {15, kindIconButton, -1, 240, -1, {116, 399, 176, 428}},
    {9, kindIconButton, -1, 241, -1, {116, 450, 176, 479}},
    {24, kindIconButton, -1, 237, -1, {219, 399, 279, 428}},
    {25, kindIconButton, -1, 242, -1, {220, 450, 280, 479}},
    {115, kindIconButton, -1, 225, -1, {116, 504, 176, 533}},
    {117, kindIconButton, -1, 232, -1, {220, 504, 280, 533}},
    {8, kindLogo, -1, BITMAP_LOGO, -1, {16, 504, 48, 536}},
    {5, kindNone, -1, -1, -1, {326, 2, 848, 383}},
    {13, kindIconButton, -1, 169, -1, {622, 395, 636, 409}},
    {14, kindNone, -1, -1, -1, {642, 394, 682, 410}},
    {12, kindIconButton, -1, 5, -1, {687, 395, 701, 409}},
    {150, kindIconButton, -1, 236, -1, {834, 395, 848, 409}},
    {39, kindIconButton, -1, 235, -1, {481, 398, 503, 420}},
    {26, kindLabel, -1, -1, -1, {477, 443, 849, 461}},
    {119, kindDotThumbnail, -1, BITMAP_THUMBNAIL_FRAME, -1, {335, 398, 431, 494}},
    {2, kindDialogButton, -1, -1, -1, {481, 504, 541, 533}},
    {3, kindDialogButton, -1, -1, -1, {791, 504, 849, 533}},
};
constexpr int32_t ROW_COUNT = static_cast<int32_t>(sizeof(CONTROL_ROWS) / sizeof(CONTROL_ROWS[0]));

const char* const TEXTS[] = {"", "", "", "Edge style", "Smoothing", "Tweaker", "Edge extent", "Source",
                             "Colorize", "Glue", "Chrome style", "Angle", "Remove noise", "Flip"};

const ControlRow* rowOf(int32_t id) {
  for (const ControlRow& row : CONTROL_ROWS)
    if (row.id == id) return &row;
  return nullptr;
}

ChildKind childKindOf(int32_t id) {
  switch (controlKindOf(id)) {
    case kindCheckbox: return CHILD_CHECKBOX;
    case kindPopup: return CHILD_DROPDOWN;
    case kindReadout: return CHILD_NUMBER_BOX;
    case kindIconButton: return CHILD_BUTTON;
    case kindDialogButton: return id == ID_OK ? CHILD_DEFAULT_BUTTON : CHILD_BUTTON;
    case kindLogo: return CHILD_PICTURE;
    default: return id == ID_ZOOM_ACTUAL ? CHILD_BUTTON : CHILD_STATIC;
  }
}

}  // namespace

ControlDescriptor controlDescriptorOf(int32_t id) {
  ControlDescriptor d{kindNone, NO_PARTNER, NO_PARTNER, -1, -1, -1, 0, 100};
  if (dotSlotOf(id) >= 0) {
    d.kind = kindDot;
    return d;
  }
  const ControlRow* row = rowOf(id);
  if (!row) return d;
  d.kind = row->kind;
  d.labelString = row->label;
  if (row->kind == kindIconButton) {
    d.iconId = row->art;
  } else {
    d.artId = row->art;
  }
  if (row->kind == kindSlider) {
    d.sliderId = id;
    d.readoutId = row->partner;
  } else if (row->kind == kindReadout) {
    d.sliderId = row->partner;
    d.readoutId = id;
  }
  return d;
}

ControlKind controlKindOf(int32_t id) { return controlDescriptorOf(id).kind; }

bool controlExists(int32_t id) { return dotSlotOf(id) >= 0 || rowOf(id) != nullptr; }

WindowRect layoutRectOf(int32_t id) {
  WindowRect r{};
  if (id == 0) return WindowRect{0, 0, DIALOG_CLIENT_WIDTH, DIALOG_CLIENT_HEIGHT};
  if (int32_t slot = dotSlotOf(id); slot >= 0) {
    const DotPlace& place = dotPlace(slot);
    return WindowRect{place.left, place.top, place.left + DOT_SIDE, place.top + DOT_SIDE};
  }
  const ControlRow* row = rowOf(id);
  if (!row) return r;
  r = row->rect;
  if (row->kind == kindDialogButton || row->kind == kindIconButton) {
    r.left -= 2;
    r.top -= 2;
  }
  if (id == ID_ZOOM_ACTUAL) r.top -= 2;
  return r;
}

const char* controlText(int32_t index) {
  constexpr int32_t count = static_cast<int32_t>(sizeof(TEXTS) / sizeof(TEXTS[0]));
  return (index >= 0 && index < count) ? TEXTS[index] : "";
}

const DialogShape& mainDialogShape() {
  static ChildShape children[ROW_COUNT + DOT_COUNT];
  static DialogShape shape{};
  if (shape.childCount == 0) {
    int32_t n = 0;
    for (const ControlRow& row : CONTROL_ROWS)
      children[n++] = ChildShape{row.id, childKindOf(row.id), row.kind == kindLogo ? row.art : -1};
    for (int32_t slot = 0; slot < DOT_COUNT; ++slot)
      children[n++] = ChildShape{FIRST_DOT_ID + slot, CHILD_STATIC, -1};
    shape = DialogShape{"DISSOLVESANSPARAM", "Marrowline", DIALOG_CLIENT_WIDTH, DIALOG_CLIENT_HEIGHT, children, n};
  }
  return shape;
}
