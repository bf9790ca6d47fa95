// What the open dialog holds besides the parameters: control values and
// flags by id, the guards of the boxes it opens, and the pending refresh.
#pragma once

#include <cstdint>

#include "dialog/controls.h"
#include "session/parameters.h"
#include "platform/window.h"

struct FilterSession;

constexpr int32_t APPLY_TIMER_ID = 8064;
constexpr int32_t APPLY_TIMER_MS = 1000;

struct DialogState {
  FilterSession* session;
  WindowHandle window;
  int32_t controlValue[CONTROL_COUNT];
  int32_t controlEnabled[CONTROL_COUNT];
  int32_t sliderMin[CONTROL_COUNT];
  int32_t sliderMax[CONTROL_COUNT];
  EdgeParameters entrySnapshot;
  WindowHandle fileDialogOwner;
  bool fileDialogOpen;
  bool settingsFolderBusy;  // a folder of settings is being refreshed
  bool aboutBoxOpen;
  bool infoBoxOpen;
  bool refreshPending;
  WindowCursor cursorState;
};

// The one dialog of the process (the host's thread runs one at a time).
DialogState& dialogState();
