#include "presets/preset_browser.h"

#include "files/paths.h"
#include "presets/settings_file.h"
#include "session/session.h"

namespace {

void paneSelected(void* context, WindowHandle window, const char* path, const WindowRect& pane) {
  previewSelection(static_cast<FilterSession*>(context), window, path, pane);
}

void panePaint(void* context, WindowCanvas* canvas, const WindowRect& pane) {
  paintThumbnail(static_cast<FilterSession*>(context), canvas, pane);
}

}  // namespace

FilePreviewPane openPresetBrowser(FilterSession* session) {
  if (!pixelMapEmpty(&session->presetThumbnail)) fillGreyRamp(&session->presetThumbnail);
  return FilePreviewPane{BROWSER_TEMPLATE, BROWSER_PANE_ID, session, paneSelected, panePaint};
}

void previewSelection(FilterSession* session, WindowHandle window, const char* path, const WindowRect& rect) {
  if (window == nullptr || rect.right <= rect.left || rect.bottom <= rect.top) return;
  if (!pixelMapEmpty(&session->presetThumbnail)) fillGreyRamp(&session->presetThumbnail);
  WindowCanvas* canvas = windowBeginDrawing(window);
  if (canvas == nullptr) return;
  paintThumbnail(session, canvas, rect);
  if (path != nullptr && findText(SETTINGS_EXTENSION, path, true) >= 0) {
    bool hasThumbnail = false;
    readSettingsFile(session, path, SettingsReadThumbnailOnly, &hasThumbnail);
    paintThumbnail(session, canvas, rect);
  }
  windowEndDrawing(window, canvas);
}

void paintThumbnail(FilterSession* session, WindowCanvas* canvas, const WindowRect& rect) {
  PixelMap* thumbnail = &session->presetThumbnail;
  if (pixelMapEmpty(thumbnail) || session->thumbnailWidth == 0 || session->thumbnailHeight == 0) return;
  const int32_t width = rect.right - rect.left, height = rect.bottom - rect.top;
  if (width <= 0 || height <= 0) return;
  PixelMap raster;
  pixelMapInit(&raster, session, thumbnail->kernelTable);
  if (!pixelMapCreate(&raster, width, height, PIXEL_RGBA8, 0)) return;
  pixelMapCopy(thumbnail, &raster);
  for (int32_t y = 0; y < height; ++y) {
    for (int32_t x = 0; x < width; ++x) {
      const uint32_t word = getWord(x, y, &raster, 0);
      canvasPixel(canvas, rect.left + x, rect.top + y, word >> 8);  // R, G, B of the top three bytes
    }
  }
  pixelMapFree(&raster);
}
