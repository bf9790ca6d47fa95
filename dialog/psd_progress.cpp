#include "dialog/psd_progress.h"

#include <cstdio>

#include "export/psd_file.h"
#include "session/session.h"

namespace {

const ChildShape PROGRESS_CHILDREN[] = {
    {ID_PROGRESS_CAPTION, CHILD_STATIC, -1},
    {ID_PROGRESS_PERCENT, CHILD_STATIC, -1},
};

struct ExportJob {
  FilterSession* session;
  const char* path;
};

// Guards against a second export from the start of the window to its end.
WindowHandle progressWindow = nullptr;

void showPercent(void*, int32_t percent) {
  if (progressWindow == nullptr) return;
  char text[16];
  std::snprintf(text, sizeof text, "%d%%", static_cast<int>(percent));
  windowSetText(progressWindow, ID_PROGRESS_PERCENT, text);
  windowRaise(progressWindow);
}

void closeProgress(WindowHandle window) {
  windowKillTimer(window, PSD_PROGRESS_TIMER);
  windowSetCursor(CURSOR_ARROW);
  windowEndDialog(window, 0);
  progressWindow = nullptr;
}

void psdProgressProc(WindowHandle window, const WindowEvent& event, void* context) {
  auto* job = static_cast<ExportJob*>(context);
  switch (event.kind) {
    case EVENT_CREATE:
      progressWindow = window;
      windowShowOverOwner(window);
      windowSetCursor(CURSOR_WAIT);
      windowSetTimer(window, PSD_PROGRESS_TIMER, PSD_PROGRESS_DELAY);
      break;
    case EVENT_TIMER:
      if (event.id != PSD_PROGRESS_TIMER) break;
      windowKillTimer(window, PSD_PROGRESS_TIMER);
      job->session->exportProgress = showPercent;
      renderPsd(job->session, job->path);
      job->session->exportProgress = nullptr;
      closeProgress(window);
      break;
    case EVENT_COMMAND:
      if (event.id == 2) closeProgress(window);  // the close box
      break;
    default: break;
  }
}

}  // namespace

WindowHandle psdProgressWindow() { return progressWindow; }

int32_t runPsdExport(FilterSession* session, WindowHandle dialog, const char* path) {
  if (progressWindow != nullptr) {
    windowRaise(progressWindow);
    return EXPORT_ALREADY_RUNNING;
  }
  static const DialogShape shape{"PSD_PROGRESS", "PSD file progress", 0, 0, PROGRESS_CHILDREN, 2, true};
  ExportJob job{session, path};
  windowRunDialog(shape, dialog, psdProgressProc, &job);
  progressWindow = nullptr;
  return 0;
}
