// The preset browser: the system's open dialog with a pane beside it that
// shows the thumbnail stored in the selected settings file. It reads only
// thumbnails (into presetThumbnail), never the parameters, and renders
// nothing: the pane shows what was stored with the preset.
#pragma once

#include <cstdint>

#include "platform/window.h"

struct FilterSession;

constexpr const char* BROWSER_TEMPLATE = "FANCY_OPEN3";
constexpr int32_t BROWSER_PANE_ID = 123;

// Readies a browser for one open dialog: presetThumbnail back to the grey
// ramp, and the pane that the dialog's request carries.
FilePreviewPane openPresetBrowser(FilterSession* session);

// The user selected `path` (empty: nothing, or a folder): the pane clears
// to the ramp at once, then shows the file's stored thumbnail when ".q4t"
// stands anywhere in the name (case ignored) and the file holds one.
void previewSelection(FilterSession* session, WindowHandle window, const char* path, const WindowRect& rect);
// presetThumbnail scaled into the rectangle, pixel by pixel; nothing while
// no thumbnail size is known (none was read, or the last read found none).
void paintThumbnail(FilterSession* session, WindowCanvas* canvas, const WindowRect& rect);
