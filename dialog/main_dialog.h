// The main dialog's state machine: start-up, the command order, the timer,
// the mouse, the enable rules and the two directions of sync between the
// controls and the parameters.
#pragma once

#include "dialog/dialog_state.h"

// The dialog's event procedure; context is the FilterSession.
void mainDialogEvent(WindowHandle window, const WindowEvent& event, void* context);

void syncParametersFromControls(DialogState& d);
void syncControlsFromParameters(DialogState& d);
void updateControlEnabling(DialogState& d);
// The enable rules by style, for every dialog of the filter: the angle
// serves chrome and scribble, the chrome style only chrome.
bool edgeStyleUsesAngle(int32_t edgeStyle);
bool edgeStyleUsesChromeStyle(int32_t edgeStyle);
// The high-dynamic-range rule: no glue for 32-bit pictures.
void applyHighDynamicRangeRule(DialogState& d);
void recordUndoFor(DialogState& d, int32_t id);

// The maker's web page, opened from the about box.
constexpr const char* MAKER_ADDRESS = "https://quellfire.example/marrowline";
