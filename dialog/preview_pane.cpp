#include "dialog/preview_pane.h"

#include <initializer_list>

#include "dialog/drawn_controls.h"
#include "dialog/main_dialog.h"
#include "region/preview_geometry.h"
#include "session/session.h"

namespace {

Rect hostRectOf(const WindowRect& r) {
  return Rect{static_cast<int16_t>(r.top), static_cast<int16_t>(r.left), static_cast<int16_t>(r.bottom),
              static_cast<int16_t>(r.right)};
}

void drawFrame(WindowCanvas* canvas, const WindowRect& inner) {
  int32_t l = inner.left - 1, t = inner.top - 1, r = inner.right, b = inner.bottom;
  canvasLine(canvas, l, t, r, t, 1, COLOUR_BLACK);
  canvasLine(canvas, r, t, r, b, 1, COLOUR_BLACK);
  canvasLine(canvas, r, b, l, b, 1, COLOUR_BLACK);
  canvasLine(canvas, l, b, l, t, 1, COLOUR_BLACK);
}

}  // namespace

void openDialogPreview(DialogState& d) {
  FilterSession* s = d.session;
  const Rect pane = hostRectOf(windowChildRect(d.window, ID_PREVIEW));
  setCursorByState(d, CURSOR_WAIT);
  if (openPreviewGeometry(s, pane)) renderPreview(s);
  setCursorByState(d, CURSOR_ARROW);
}

void displayPreview(DialogState& d, WindowCanvas* canvas, bool erase) {
  WindowRect pane = windowChildRect(d.window, ID_PREVIEW);
  WindowRect inner{pane.left + 2, pane.top + 2, pane.right - 2, pane.bottom - 2};
  drawFrame(canvas, inner);
  FilterSession* s = d.session;
  if (!sessionParameters(s)->previewAvailable) return;
  PreviewPicture picture;
  bool ready = preparePreviewPicture(s, hostRectOf(pane), &picture);
  if (ready) {
    s->filterRecord->displayPixels(&picture.map, &picture.bounds, picture.destinationRow, picture.destinationColumn,
                                   canvasNativeContext(canvas));
  }
  releasePreviewPicture(s, &picture);
  if (!erase) return;
  if (ready) {
    int32_t width = picture.bounds.right - picture.bounds.left;
    int32_t height = picture.bounds.bottom - picture.bounds.top;
    canvasExcludeClip(canvas, WindowRect{picture.destinationColumn, picture.destinationRow,
                                         picture.destinationColumn + width, picture.destinationRow + height});
  }
  canvasFillWhite(canvas, inner);
  canvasUnclip(canvas);
}

void refreshPreview(DialogState& d) {
  syncParametersFromControls(d);
  FilterSession* s = d.session;
  if (sessionParameters(s)->previewAvailable) {
    setCursorByState(d, CURSOR_WAIT);
    renderPreview(s);
    setCursorByState(d, CURSOR_ARROW);
  }
  WindowCanvas* canvas = windowBeginDrawing(d.window);
  if (canvas == nullptr) return;
  displayPreview(d, canvas, true);
  windowEndDrawing(d.window, canvas);
}

void panPreview(DialogState& d, int32_t x, int32_t y) {
  FilterSession* s = d.session;
  EdgeParameters* p = sessionParameters(s);
  bool moved = panPreviewStep(s, static_cast<int16_t>(y), static_cast<int16_t>(x));
  if (!moved) return;
  setCursorByState(d, CURSOR_CLOSED_HAND);
  if (!p->previewAvailable) return;
  WindowCanvas* canvas = windowBeginDrawing(d.window);
  if (canvas == nullptr) return;
  displayPreview(d, canvas, false);
  windowEndDrawing(d.window, canvas);
}

void updateZoomControls(DialogState& d) {
  FilterSession* s = d.session;
  bool scaling = canScale(s->filterRecord);
  d.controlEnabled[ID_ZOOM_OUT] = scaling && zoomOutEnabled(s) ? 1 : 0;
  d.controlEnabled[ID_ZOOM_IN] = scaling && zoomInEnabled(s) ? 1 : 0;
  windowEnableChild(d.window, ID_ZOOM_OUT, d.controlEnabled[ID_ZOOM_OUT] == 1);
  windowEnableChild(d.window, ID_ZOOM_IN, d.controlEnabled[ID_ZOOM_IN] == 1);
  char text[16];
  zoomPercentText(s, text);
  windowSetText(d.window, ID_ZOOM_ACTUAL, text);
  for (int32_t id : {ID_ZOOM_OUT, ID_ZOOM_ACTUAL, ID_ZOOM_IN}) windowRepaintChild(d.window, id);
  sessionParameters(s)->zoomChanged = 0;
}
