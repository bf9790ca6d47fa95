// The export's progress window: a small box over the dialog that shows how
// far the PSD render has come. The render runs inside the box's first timer
// tick, on this thread, so the box repaints its percentage itself.
#pragma once

#include <cstdint>

#include "platform/window.h"

struct FilterSession;

constexpr int32_t PSD_PROGRESS_TIMER = 993;
constexpr int32_t PSD_PROGRESS_DELAY = 1000;  // ms before the render starts
constexpr int32_t ID_PROGRESS_PERCENT = 2;
constexpr int32_t ID_PROGRESS_CAPTION = 3;
constexpr int32_t EXPORT_ALREADY_RUNNING = 199;

// Renders the export into path inside the progress window, owned by the
// dialog. While a window is up a second export only raises it and gives
// EXPORT_ALREADY_RUNNING; otherwise 0 once the window has closed. The
// export says nothing of a failure: the file is left as renderPsd left it.
int32_t runPsdExport(FilterSession* session, WindowHandle dialog, const char* path);

// The window of an export under way, or null.
WindowHandle psdProgressWindow();
