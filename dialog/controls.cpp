#include "dialog/controls.h"

#include "dialog/memory_dots.h"
#include "session/session.h"

namespace {

const char* const TEXTS[] = {"", "", "", "Edge style", "Smoothing", "Tweaker", "Edge extent", "Source",
                             "Colorize", "Glue", "Chrome style", "Angle", "Remove noise", "Flip"};

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
  const ControlRow* row = controlRowOf(id);
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

bool controlExists(int32_t id) { return dotSlotOf(id) >= 0 || controlRowOf(id) != nullptr; }

WindowRect layoutRectOf(int32_t id) {
  if (id == 0) return WindowRect{0, 0, DIALOG_CLIENT_WIDTH, DIALOG_CLIENT_HEIGHT};
  if (int32_t slot = dotSlotOf(id); slot >= 0) {
    const DotPlace& place = dotPlace(slot);
    return WindowRect{place.left, place.top, place.left + DOT_SIDE, place.top + DOT_SIDE};
  }
  const ControlRow* row = controlRowOf(id);
  return row ? placedRect(*row) : WindowRect{};
}

const char* controlText(int32_t index) {
  constexpr int32_t count = static_cast<int32_t>(sizeof(TEXTS) / sizeof(TEXTS[0]));
  return (index >= 0 && index < count) ? TEXTS[index] : "";
}

const DialogShape& mainDialogShape() {
  static ChildShape children[CONTROL_ROW_COUNT + DOT_COUNT];
  static DialogShape shape{};
  if (shape.childCount == 0) {
    int32_t n = 0;
    const ControlRow* rows = controlRows();
    for (int32_t i = 0; i < controlRowCount(); ++i)
      children[n++] = ChildShape{rows[i].id, childKindOf(rows[i].id), rows[i].kind == kindLogo ? rows[i].art : -1};
    for (int32_t slot = 0; slot < DOT_COUNT; ++slot)
      children[n++] = ChildShape{FIRST_DOT_ID + slot, CHILD_STATIC, -1};
    shape = DialogShape{"DISSOLVESANSPARAM", "Marrowline", DIALOG_CLIENT_WIDTH, DIALOG_CLIENT_HEIGHT, children, n};
  }
  return shape;
}
