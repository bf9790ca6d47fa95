// The preview pane's window work: the opening with its cursors, the frame,
// the host's picture and the white strip, the refresh, the pan with the
// hand and the zoom row.
#pragma once

#include "dialog/dialog_state.h"

// At start-up: geometry and the first render; a failed first advanceState
// turns the preview off for the dialog's life.
void openDialogPreview(DialogState& d);
void displayPreview(DialogState& d, WindowCanvas* canvas, bool erase);
// Parameters from the controls, render, display.
void refreshPreview(DialogState& d);
void panPreview(DialogState& d, int32_t x, int32_t y);
void updateZoomControls(DialogState& d);
