// The dialog's controls as tables: what each id is, where it stands, what
// it says. Every lookup is a pure function of the id.
#pragma once

#include <cstdint>

#include "dialog/dialog_tables.h"
#include "platform/window.h"


constexpr int32_t NO_PARTNER = 65535;

struct ControlDescriptor {
  ControlKind kind;
  int32_t sliderId, readoutId;  // the two halves of a slider pair
  int32_t artId, iconId;        // -1 when none
  int32_t labelString;          // index into the text table, -1 when none
  int32_t minValue, maxValue;
};

constexpr int32_t CONTROL_COUNT = 200;
constexpr int32_t DIALOG_CLIENT_WIDTH = 866;
constexpr int32_t DIALOG_CLIENT_HEIGHT = 548;

// Ids the dialog's code refers to by name.
enum ControlId : int32_t {
  ID_OK = 3,
  ID_CANCEL = 2,
  ID_PREVIEW = 5,
  ID_COLORIZE = 6,
  ID_LOGO = 8,
  ID_SAVE = 9,
  ID_ZOOM_IN = 12,
  ID_ZOOM_OUT = 13,
  ID_ZOOM_ACTUAL = 14,
  ID_LOAD = 15,
  ID_SMOOTHING = 17,
  ID_TWEAKER = 19,
  ID_CHROME_LABEL = 22,
  ID_RANDOMIZE = 24,
  ID_UNDO = 25,
  ID_SETTINGS_NAME = 26,
  ID_TWEAKER_BOX = 27,
  ID_SMOOTHING_BOX = 28,
  ID_ANGLE = 29,
  ID_REMOVE_NOISE = 31,
  ID_GLUE_LABEL = 32,
  ID_EDGE_STYLE = 33,
  ID_EDGE_EXTENT = 34,
  ID_SOURCE = 35,
  ID_CHROME_STYLE = 36,
  ID_GLUE = 37,
  ID_ANGLE_LABEL = 38,
  ID_INFO = 39,
  ID_FLIP = 41,
  ID_NEXT_GLUE = 42,
  ID_PLAIN = 115,
  ID_EXPORT_PSD = 117,
  ID_PRESETS_PAGE = 150,
};

ControlDescriptor controlDescriptorOf(int32_t id);
ControlKind controlKindOf(int32_t id);
// Whether the id has a window in the dialog.
bool controlExists(int32_t id);
// The client rectangle of an id after the layout adjustments (buttons up
// and left by 2, id 14 two more up). Ids without a place give an empty one.
WindowRect layoutRectOf(int32_t id);
// The text table, by index; "" outside it.
const char* controlText(int32_t index);

// The window and its children as the platform makes them.
const DialogShape& mainDialogShape();
