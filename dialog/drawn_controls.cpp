#include "dialog/drawn_controls.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "dialog/memory_dots.h"
#include "host/host_services.h"
#include "session/session.h"

namespace {

constexpr uint32_t GREY_TEXT = 0x8C8C8C;
constexpr uint32_t NEEDLE_COLOUR = 0x404080;
constexpr int32_t NEEDLE_LENGTH = 24;
constexpr int32_t TEXT_OFFSET = -2;

bool isSliderPair(int32_t id) {
  ControlDescriptor c = controlDescriptorOf(id);
  return c.kind == kindSlider || c.kind == kindReadout;
}

void setNumberText(DialogState& d, int32_t readoutId, double value) {
  char text[64];
  std::snprintf(text, sizeof text, "%g", value);
  windowSetText(d.window, readoutId, text);
}

int32_t clampInt(int32_t v, int32_t low, int32_t high) { return v < low ? low : (v > high ? high : v); }

int32_t sliderRange(const DialogState& d, int32_t id) {
  int32_t range = d.sliderMax[id] - d.sliderMin[id];
  return range < 1 ? 1 : range;
}

void drawSlider(DialogState& d, WindowCanvas* canvas, int32_t id) {
  WindowRect r = windowChildRect(d.window, id);
  canvasBitmap(canvas, BITMAP_SLIDER_TRACK, r.left, r.top);
  int32_t thumb = r.left + 1 + (d.controlValue[id] - d.sliderMin[id]) * (r.right - r.left - 15) / sliderRange(d, id);
  canvasBitmap(canvas, BITMAP_SLIDER_THUMB, thumb, r.top + 1);
}

void drawDial(DialogState& d, WindowCanvas* canvas, int32_t id) {
  WindowRect r = windowChildRect(d.window, id);
  bool enabled = d.controlEnabled[id] == 1;
  canvasBitmap(canvas, enabled ? BITMAP_DIAL : BITMAP_DIAL_DISABLED, r.left, r.top);
  if (!enabled) return;
  double a = d.controlValue[id] / 57.295779524;
  int32_t cx = r.left + 26, cy = r.top + 27;
  canvasLine(canvas, cx, cy, cx + static_cast<int32_t>(NEEDLE_LENGTH * std::sin(a)),
             cy - static_cast<int32_t>(NEEDLE_LENGTH * std::cos(a)), 2, NEEDLE_COLOUR);
}

void drawDot(DialogState& d, WindowCanvas* canvas, int32_t id) {
  int32_t slot = dotSlotOf(id);
  const FilterWorkArea* work = d.session->work;
  if (slot < 0 || work == nullptr) return;
  bool pressed = (d.controlValue[id] & DOT_PRESSED_FLAG) != 0;
  const DotPlace& place = dotPlace(slot);
  canvasBitmap(canvas, dotFaceBitmap(work->dotState[slot], work->dotMap[slot] != 0, pressed), place.left + 2,
               place.top + 2);
}

// The stored picture of the dot last touched, inside the thumbnail's frame:
// an interleaved RGB copy in a host buffer, handed to the host's
// displayPixels as the preview is. Without a buffer only the frame shows.
void drawDotThumbnailPicture(DialogState& d, WindowCanvas* canvas, const WindowRect& frame) {
  FilterSession* s = d.session;
  const FilterWorkArea* work = s->work;
  FilterRecord* record = s->filterRecord;
  if (work == nullptr || pixelMapEmpty(&work->exportImage) || record == nullptr || record->displayPixels == nullptr)
    return;
  constexpr int32_t SIDE = DOT_THUMBNAIL_PICTURE_SIDE;
  constexpr int32_t ROW_BYTES = SIDE * 3;
  intptr_t bufferId = 0;
  auto* rgb = static_cast<uint8_t*>(allocateBuffer(static_cast<size_t>(ROW_BYTES) * SIDE, &bufferId, record->bufferProcs));
  if (rgb == nullptr) return;
  for (int32_t y = 0; y < SIDE; ++y) {
    for (int32_t x = 0; x < SIDE; ++x) {
      int32_t sx = x, sy = y;  // a smaller picture repeats its last row and column
      clampToLevel(&work->exportImage, 0, &sx, &sy);
      const uint32_t word = getWord(sx, sy, &work->exportImage, 0);
      uint8_t* pixel = rgb + y * ROW_BYTES + x * 3;
      pixel[0] = static_cast<uint8_t>(word >> 24);
      pixel[1] = static_cast<uint8_t>(word >> 16);
      pixel[2] = static_cast<uint8_t>(word >> 8);
    }
  }
  PSPixelMap map{};
  map.version = 1;
  map.bounds = VRect{0, 0, SIDE, SIDE};
  map.imageMode = plugInModeRGBColor;
  map.rowBytes = ROW_BYTES;
  map.colBytes = 3;
  map.planeBytes = 1;
  map.baseAddr = rgb;
  const VRect area = map.bounds;
  record->displayPixels(&map, &area, frame.top + DOT_THUMBNAIL_INSET, frame.left + DOT_THUMBNAIL_INSET,
                        canvasNativeContext(canvas));
  void* address = rgb;
  freeBuffer(&address, &bufferId, record->bufferProcs);
}

}  // namespace

double parseNumberText(const char* text) {
  // Only the leading decimal number: sign, digits, point, digits, exponent.
  const char* p = text;
  std::string number;
  if (*p == '+' || *p == '-') number += *p++;
  bool digits = false;
  while (*p >= '0' && *p <= '9') number += *p++, digits = true;
  if (*p == '.') {
    number += *p++;
    while (*p >= '0' && *p <= '9') number += *p++, digits = true;
  }
  if (!digits) return 0;
  if (*p == 'e' || *p == 'E') {
    const char* q = p + 1;
    if (*q == '+' || *q == '-') ++q;
    if (*q >= '0' && *q <= '9') {
      number.append(p, q);
      while (*q >= '0' && *q <= '9') number += *q++;
    }
  }
  double value = std::strtod(number.c_str(), nullptr);
  return std::isfinite(value) ? value : (value > 0 ? 1e300 : -1e300);
}

void setControlValue(DialogState& d, int32_t id, float value) {
  int32_t whole = static_cast<int32_t>(value);
  ControlDescriptor c = controlDescriptorOf(id);
  if (isSliderPair(id)) {
    d.controlValue[c.sliderId] = whole;
    repaintControl(d, c.sliderId);
    setNumberText(d, c.readoutId, value);
    windowKillTimer(d.window, APPLY_TIMER_ID);
  } else if (c.kind == kindCheckbox) {
    d.controlValue[id] = whole;
    windowSetCheck(d.window, id, whole != 0);
  } else if (c.kind == kindPopup) {
    d.controlValue[id] = whole;
    windowSetSelection(d.window, id, whole - 1);
  } else {
    d.controlValue[id] = whole;
    repaintControl(d, id);
  }
}

double getControlValue(DialogState& d, int32_t id) {
  ControlDescriptor c = controlDescriptorOf(id);
  if (isSliderPair(id)) {
    char text[257];
    windowGetText(d.window, c.readoutId, text, sizeof text);
    double value = parseNumberText(text);
    double clamped = value < c.minValue ? c.minValue : (value > c.maxValue ? c.maxValue : value);
    if (clamped != value) setNumberText(d, c.readoutId, clamped);
    return clamped;
  }
  if (c.kind == kindCheckbox) {
    d.controlValue[id] = windowGetCheck(d.window, id) ? 1 : 0;
  } else if (c.kind == kindPopup) {
    d.controlValue[id] = windowGetSelection(d.window, id) + 1;
  }
  return d.controlValue[id];
}

void numberBoxChanged(DialogState& d, int32_t readoutId) {
  ControlDescriptor c = controlDescriptorOf(readoutId);
  char text[257];
  windowGetText(d.window, readoutId, text, sizeof text);
  double value = parseNumberText(text);
  value = value < c.minValue ? c.minValue : (value > c.maxValue ? c.maxValue : value);
  d.controlValue[c.sliderId] = static_cast<int32_t>(value);
  repaintControl(d, c.sliderId);
  windowSetTimer(d.window, APPLY_TIMER_ID, APPLY_TIMER_MS);
}

void restoreSkin(WindowCanvas* canvas, const WindowRect& rect) {
  canvasClip(canvas, rect);
  canvasBitmap(canvas, BITMAP_SKIN, 0, 0);
  canvasUnclip(canvas);
}

void drawAlignedText(WindowCanvas* canvas, WindowRect r, TextAlign align, const char* text, int32_t offset,
                     uint32_t colour) {
  r.bottom -= 2;
  r.top += offset;
  r.bottom += offset;
  int32_t shift = (r.bottom - r.top - 14) / 2;
  r.top += shift;
  int32_t freeWidth = (r.right - r.left) - canvasTextWidth(canvas, text);
  if (align == ALIGN_RIGHT) r.left += freeWidth;
  if (align == ALIGN_CENTRE) r.left += freeWidth / 2;
  canvasText(canvas, r.left, r.top, text, colour);
}

void drawControl(DialogState& d, WindowCanvas* canvas, int32_t id) {
  if (id == ID_SETTINGS_NAME) {
    WindowRect r = windowChildRect(d.window, id);
    restoreSkin(canvas, r);
    canvasClip(canvas, r);
    r.left += 1;
    drawAlignedText(canvas, r, ALIGN_CENTRE, sessionParameters(d.session)->settingsName, TEXT_OFFSET, COLOUR_BLACK);
    canvasUnclip(canvas);
    return;
  }
  if (id == DOT_THUMBNAIL_ID) {
    WindowRect r = windowChildRect(d.window, id);
    canvasBitmap(canvas, BITMAP_THUMBNAIL_FRAME, r.left, r.top);
    drawDotThumbnailPicture(d, canvas, r);
    return;
  }
  switch (controlKindOf(id)) {
    case kindSlider: drawSlider(d, canvas, id); break;
    case kindLabel: {
      WindowRect r = windowChildRect(d.window, id);
      restoreSkin(canvas, r);
      drawAlignedText(canvas, r, ALIGN_RIGHT, controlText(controlDescriptorOf(id).labelString), TEXT_OFFSET,
                      d.controlEnabled[id] == 1 ? COLOUR_BLACK : GREY_TEXT);
      break;
    }
    case kindDot: drawDot(d, canvas, id); break;
    case kindDial: drawDial(d, canvas, id); break;
    default: break;
  }
}

void repaintControl(DialogState& d, int32_t id) {
  if (d.window == nullptr) return;
  WindowCanvas* canvas = windowBeginDrawing(d.window);
  if (canvas == nullptr) return;
  drawControl(d, canvas, id);
  windowEndDrawing(d.window, canvas);
}

int32_t hitTest(DialogState& d, int32_t x, int32_t y) {
  for (int32_t id = 0; id < CONTROL_COUNT; ++id) {
    if (d.controlEnabled[id] != 1 || !controlExists(id)) continue;
    ControlKind kind = controlKindOf(id);
    bool candidate = id == ID_PREVIEW || kind == kindSlider || kind == kindDial || kind == kindLogo ||
                     kind == kindDot || kind == kindDotThumbnail;
    if (candidate && windowRectContains(windowChildRect(d.window, id), x, y)) return id;
  }
  return -1;
}

void setCursorByState(DialogState& d, WindowCursor cursor) {
  if (cursor == CURSOR_ARROW && d.cursorState == CURSOR_ARROW) return;
  windowSetCursor(cursor);
  d.cursorState = cursor;
}

void dragSlider(DialogState& d, int32_t id, int32_t x, int32_t y) {
  EdgeParameters* p = sessionParameters(d.session);
  x -= 4;
  if (p->lastMousePoint[0] == y && p->lastMousePoint[1] == x) return;
  WindowRect r = windowChildRect(d.window, id);
  int32_t value = (x - (r.left + 1)) * sliderRange(d, id) / (r.right - r.left - 14) + d.sliderMin[id];
  d.controlValue[id] = clampInt(value, d.sliderMin[id], d.sliderMax[id]);
  repaintControl(d, id);
  setNumberText(d, controlDescriptorOf(id).readoutId, d.controlValue[id]);
  windowKillTimer(d.window, APPLY_TIMER_ID);
  p->lastMousePoint[0] = static_cast<int16_t>(y);
  p->lastMousePoint[1] = static_cast<int16_t>(x);
}

int32_t dialAngleAt(const WindowRect& r, int32_t x, int32_t y) {
  int32_t cx = (r.left + r.right) / 2, cy = (r.top + r.bottom) / 2;
  int32_t p = (y - cy) * (r.right - r.left);
  int32_t q = (x - cx) * (r.bottom - r.top);
  if (p == 0) return q > 0 ? 90 : (q < 0 ? 270 : 0);
  float degrees = std::atan(static_cast<float>(q) / static_cast<float>(-p)) * 57.29577951308232f;
  if (-p < 1) degrees += 180.0f;
  int32_t angle = static_cast<int32_t>(degrees);
  return angle < 0 ? angle + 360 : angle;
}

void dragDial(DialogState& d, int32_t id, int32_t x, int32_t y) {
  EdgeParameters* p = sessionParameters(d.session);
  if (p->lastMousePoint[0] == y && p->lastMousePoint[1] == x) return;
  d.controlValue[id] = dialAngleAt(windowChildRect(d.window, id), x, y);
  repaintControl(d, id);
  p->lastMousePoint[0] = static_cast<int16_t>(y);
  p->lastMousePoint[1] = static_cast<int16_t>(x);
}
