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

constexpr const char* PRESET_FILTER = "Marrowline presets (*.q4t)";
constexpr const char* PRESET_PATTERN = "*.q4t";
// A file dialog owned by the dialog, one at a time (false while another is
// open); path holds the proposal and receives the choice.
bool runFileDialog(DialogState& d, const FileDialogRequest& request, char* path);
// The open dialog of settings files with the preset browser's pane.
bool choosePresetFile(DialogState& d, const char* title, char* path);
// The folder of a path into a text field of the parameters.
void rememberFolder(char* field, const char* path);

// The maker's web page, opened from the about box.
constexpr const char* MAKER_ADDRESS = "https://quellfire.example/marrowline";
