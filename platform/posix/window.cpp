// Headless window layer: nothing is drawn; refusals are recorded.
#include "platform/window.h"

#include <string>

namespace {
int refusals = 0;
std::string lastRefusal;
}  // namespace

void platformRememberModule() {}
void* platformModuleHandle() { return nullptr; }

void platformShowRefusal(const char* title, const char* text) {
  ++refusals;
  lastRefusal = std::string(title) + ": " + text;
}

int platformRefusalCount() { return refusals; }
const char* platformLastRefusal() { return lastRefusal.c_str(); }

// ---------------------------------------------------------------------------
// Headless dialogs: a stack of them (a box the dialog opens sits on top of
// it), their children as plain records.

#include <cstdio>
#include <deque>
#include <map>
#include <memory>

#include "platform/posix/headless_window.h"

namespace {

struct HeadlessChild {
  ChildKind kind = CHILD_STATIC;
  WindowRect rect{};
  std::string text;
  bool checked = false;
  std::vector<std::string> items;
  int32_t selection = -1;
  bool enabled = true;
  int32_t icon = -1;
};

struct HeadlessDialog {
  DialogProc proc = nullptr;
  void* context = nullptr;
  bool open = false;
  int32_t endCode = 0;
  int32_t clientWidth = 0, clientHeight = 0;
  std::map<int32_t, HeadlessChild> children;
  std::deque<WindowEvent> posted;
  std::map<int32_t, int32_t> timers;
  bool captured = false;
};

std::vector<HeadlessDialog*> openDialogs;  // bottom first
HeadlessDriver driver, innerDriver;
HeadlessFileAnswer fileAnswer;
WindowCursor cursor = CURSOR_ARROW;
std::vector<DrawCall> drawCalls;
int32_t fileDialogs = 0, aboutBoxes = 0, infoBoxes = 0, raises = 0;
WindowCanvas* const HEADLESS_CANVAS = reinterpret_cast<WindowCanvas*>(&drawCalls);
// Single pixels by position, and the open dialog's pane while one is open.
std::map<int64_t, uint32_t> pixels;
const FilePreviewPane* browserPane = nullptr;
FileDialogRequest lastFileRequest{};
std::string lastFileTitle;
int browserWindow = 0;

int64_t pixelKey(int32_t x, int32_t y) { return (static_cast<int64_t>(y) << 32) | static_cast<uint32_t>(x); }

HeadlessDialog* dialogOf(WindowHandle window) {
  for (HeadlessDialog* d : openDialogs)
    if (d == window) return d;
  return nullptr;
}

HeadlessChild* childOf(WindowHandle window, int32_t id) {
  HeadlessDialog* d = dialogOf(window);
  if (d == nullptr) return nullptr;
  auto found = d->children.find(id);
  return found == d->children.end() ? nullptr : &found->second;
}

void deliver(HeadlessDialog* d, const WindowEvent& event) {
  if (d->open) d->proc(d, event, d->context);
}

void drainPosted(HeadlessDialog* d) {
  while (d->open && !d->posted.empty()) {
    WindowEvent event = d->posted.front();
    d->posted.pop_front();
    deliver(d, event);
  }
}

// A box nobody drives lives on its timers, the way time would pass for it.
void letTimersRun(HeadlessDialog* d) {
  for (int32_t ticks = 0; ticks < 10000 && d->open && !d->timers.empty(); ++ticks) {
    WindowEvent event{};
    event.kind = EVENT_TIMER;
    event.id = d->timers.begin()->first;
    headlessSend(d, event);
  }
}

WindowEvent mouseEvent(WindowEventKind kind, int32_t x, int32_t y, bool right, bool ctrl) {
  WindowEvent event{};
  event.kind = kind;
  event.x = x;
  event.y = y;
  event.rightButton = right;
  event.ctrl = ctrl;
  return event;
}

WindowEvent commandEvent(int32_t id, int32_t code) {
  WindowEvent event{};
  event.kind = EVENT_COMMAND;
  event.id = id;
  event.code = code;
  return event;
}

void record(DrawKind kind, int32_t x0, int32_t y0, int32_t x1, int32_t y1) {
  DrawCall call{};
  call.kind = kind;
  call.bitmapId = -1;
  call.x0 = x0;
  call.y0 = y0;
  call.x1 = x1;
  call.y1 = y1;
  drawCalls.push_back(call);
}

}  // namespace

int32_t windowRunDialog(const DialogShape& shape, void*, DialogProc proc, void* context) {
  const bool inner = !openDialogs.empty();
  if (!driver && !inner) return -1;
  auto d = std::make_unique<HeadlessDialog>();
  d->proc = proc;
  d->context = context;
  d->open = true;
  for (int32_t i = 0; i < shape.childCount; ++i) d->children[shape.children[i].id].kind = shape.children[i].kind;
  openDialogs.push_back(d.get());
  WindowEvent create{};
  create.kind = EVENT_CREATE;
  headlessSend(d.get(), create);
  if (d->open && !inner) driver(d.get());
  if (d->open && inner) innerDriver ? innerDriver(d.get()) : letTimersRun(d.get());
  if (d->open) headlessSend(d.get(), commandEvent(2, CODE_CLICKED));
  openDialogs.pop_back();
  return d->endCode;
}

void windowEndDialog(WindowHandle window, int32_t code) {
  HeadlessDialog* d = dialogOf(window);
  if (d == nullptr) return;
  d->endCode = code;
  d->open = false;
}

void windowPostEvent(WindowHandle window, const WindowEvent& event) {
  if (HeadlessDialog* d = dialogOf(window)) d->posted.push_back(event);
}

void windowShowOverOwner(WindowHandle window) { windowRaise(window); }
void windowRaise(WindowHandle window) {
  if (dialogOf(window) != nullptr) ++raises;
}

void windowPlaceDialog(WindowHandle window, int32_t clientWidth, int32_t clientHeight) {
  HeadlessDialog* d = dialogOf(window);
  if (d == nullptr) return;
  d->clientWidth = clientWidth;
  d->clientHeight = clientHeight;
}

void windowMoveChild(WindowHandle window, int32_t id, const WindowRect& rect) {
  if (HeadlessChild* child = childOf(window, id)) child->rect = rect;
}

WindowRect windowChildRect(WindowHandle window, int32_t id) {
  HeadlessChild* child = childOf(window, id);
  return child ? child->rect : WindowRect{};
}

void windowSetText(WindowHandle window, int32_t id, const char* text) {
  HeadlessChild* child = childOf(window, id);
  if (!child) return;
  child->text = text;
  // As the system does, a number box tells its owner at once.
  if (child->kind == CHILD_NUMBER_BOX) deliver(dialogOf(window), commandEvent(id, CODE_TEXT_CHANGED));
}

int32_t windowGetText(WindowHandle window, int32_t id, char* text, int32_t capacity) {
  HeadlessChild* child = childOf(window, id);
  if (capacity <= 0) return 0;
  std::snprintf(text, static_cast<size_t>(capacity), "%s", child ? child->text.c_str() : "");
  return static_cast<int32_t>(std::string(text).size());
}

void windowSetCheck(WindowHandle window, int32_t id, bool checked) {
  if (HeadlessChild* child = childOf(window, id)) child->checked = checked;
}
bool windowGetCheck(WindowHandle window, int32_t id) {
  HeadlessChild* child = childOf(window, id);
  return child && child->checked;
}
void windowAddListItem(WindowHandle window, int32_t id, const char* text) {
  if (HeadlessChild* child = childOf(window, id)) child->items.push_back(text);
}
void windowSetSelection(WindowHandle window, int32_t id, int32_t position) {
  HeadlessChild* child = childOf(window, id);
  if (!child) return;
  child->selection = (position >= 0 && position < static_cast<int32_t>(child->items.size())) ? position : -1;
}
int32_t windowGetSelection(WindowHandle window, int32_t id) {
  HeadlessChild* child = childOf(window, id);
  return child ? child->selection : -1;
}
void windowEnableChild(WindowHandle window, int32_t id, bool enabled) {
  if (HeadlessChild* child = childOf(window, id)) child->enabled = enabled;
}
void windowSetIcon(WindowHandle window, int32_t id, int32_t iconId) {
  if (HeadlessChild* child = childOf(window, id)) child->icon = iconId;
}
void windowRepaintChild(WindowHandle, int32_t) {}

void windowCaptureMouse(WindowHandle window) {
  for (HeadlessDialog* d : openDialogs) d->captured = d == window;
}
void windowReleaseMouse(WindowHandle) {
  for (HeadlessDialog* d : openDialogs) d->captured = false;
}
void windowSetTimer(WindowHandle window, int32_t id, int32_t milliseconds) {
  if (HeadlessDialog* d = dialogOf(window)) d->timers[id] = milliseconds;
}
void windowKillTimer(WindowHandle window, int32_t id) {
  if (HeadlessDialog* d = dialogOf(window)) d->timers.erase(id);
}
void windowSetCursor(WindowCursor next) { cursor = next; }

WindowCanvas* windowBeginDrawing(WindowHandle) { return HEADLESS_CANVAS; }
void windowEndDrawing(WindowHandle, WindowCanvas*) {}
void* canvasNativeContext(WindowCanvas* canvas) { return canvas; }

void canvasBitmap(WindowCanvas*, int32_t bitmapId, int32_t x, int32_t y) {
  record(DRAW_BITMAP, x, y, x, y);
  drawCalls.back().bitmapId = bitmapId;
}
void canvasLine(WindowCanvas*, int32_t x0, int32_t y0, int32_t x1, int32_t y1, int32_t width, uint32_t colour) {
  record(DRAW_LINE, x0, y0, x1, y1);
  drawCalls.back().width = width;
  drawCalls.back().colour = colour;
}
int32_t canvasTextWidth(WindowCanvas*, const char* text) {
  return static_cast<int32_t>(std::string(text).size()) * HEADLESS_CHARACTER_WIDTH;
}
void canvasText(WindowCanvas*, int32_t x, int32_t y, const char* text, uint32_t colour) {
  record(DRAW_TEXT, x, y, x, y);
  drawCalls.back().text = text;
  drawCalls.back().colour = colour;
}
void canvasClip(WindowCanvas*, const WindowRect& r) { record(DRAW_CLIP, r.left, r.top, r.right, r.bottom); }
void canvasUnclip(WindowCanvas*) { record(DRAW_UNCLIP, 0, 0, 0, 0); }
void canvasExcludeClip(WindowCanvas*, const WindowRect& r) { record(DRAW_EXCLUDE, r.left, r.top, r.right, r.bottom); }
void canvasFillWhite(WindowCanvas*, const WindowRect& r) { record(DRAW_FILL_WHITE, r.left, r.top, r.right, r.bottom); }

void canvasPixel(WindowCanvas*, int32_t x, int32_t y, uint32_t colour) { pixels[pixelKey(x, y)] = colour; }

bool windowFileDialog(WindowHandle, const FileDialogRequest& request, char* path, int32_t capacity) {
  ++fileDialogs;
  lastFileRequest = request;
  lastFileTitle = request.title != nullptr ? request.title : "";
  std::string chosen = path;
  // The pane's window stands for the system's dialog while the answer runs.
  browserPane = request.kind == FILE_DIALOG_OPEN ? request.pane : nullptr;
  const bool confirmed = fileAnswer && fileAnswer(request, &chosen) && capacity > 0;
  browserPane = nullptr;
  if (!confirmed) return false;
  std::snprintf(path, static_cast<size_t>(capacity), "%s", chosen.c_str());
  return true;
}

int32_t windowRunAboutBox(const char*) { return ++aboutBoxes, 1; }
int32_t windowRunInfoBox(bool (*)()) { return ++infoBoxes, 1; }
void windowCloseBoxes() {}

// --- What tests use ---------------------------------------------------------

void headlessSetDriver(HeadlessDriver next) { driver = std::move(next); }
void headlessSetInnerDriver(HeadlessDriver next) { innerDriver = std::move(next); }

void headlessSend(WindowHandle window, const WindowEvent& event) {
  HeadlessDialog* d = dialogOf(window);
  if (d == nullptr) return;
  deliver(d, event);
  drainPosted(d);
}

void headlessPress(WindowHandle window, int32_t x, int32_t y, bool right, bool ctrl) {
  headlessSend(window, mouseEvent(EVENT_MOUSE_DOWN, x, y, right, ctrl));
}
void headlessMove(WindowHandle window, int32_t x, int32_t y, bool right, bool ctrl) {
  headlessSend(window, mouseEvent(EVENT_MOUSE_MOVE, x, y, right, ctrl));
}
void headlessRelease(WindowHandle window, int32_t x, int32_t y, bool right) {
  headlessSend(window, mouseEvent(EVENT_MOUSE_UP, x, y, right, false));
}

void headlessClick(WindowHandle window, int32_t id) {
  HeadlessChild* child = childOf(window, id);
  if (!child || !child->enabled) return;
  if (child->kind == CHILD_CHECKBOX) child->checked = !child->checked;
  headlessSend(window, commandEvent(id, CODE_CLICKED));
}

void headlessType(WindowHandle window, int32_t id, const char* text) {
  windowSetText(window, id, text);
  if (HeadlessDialog* d = dialogOf(window)) drainPosted(d);
}

void headlessChoose(WindowHandle window, int32_t id, int32_t position) {
  windowSetSelection(window, id, position);
  headlessSend(window, commandEvent(id, CODE_SELECTION_CHANGED));
}

void headlessFireTimer(WindowHandle window, int32_t id) {
  WindowEvent event{};
  event.kind = EVENT_TIMER;
  event.id = id;
  headlessSend(window, event);
}

void headlessPaint(WindowHandle window) {
  WindowEvent event{};
  event.canvas = HEADLESS_CANVAS;
  event.kind = EVENT_ERASE;
  headlessSend(window, event);
  event.kind = EVENT_PAINT;
  headlessSend(window, event);
}

bool headlessDialogOpen() { return !openDialogs.empty(); }
bool headlessChildExists(WindowHandle window, int32_t id) { return childOf(window, id) != nullptr; }
std::string headlessText(WindowHandle window, int32_t id) {
  HeadlessChild* child = childOf(window, id);
  return child ? child->text : std::string();
}
bool headlessChecked(WindowHandle window, int32_t id) { return windowGetCheck(window, id); }
int32_t headlessSelection(WindowHandle window, int32_t id) { return windowGetSelection(window, id); }
int32_t headlessListSize(WindowHandle window, int32_t id) {
  HeadlessChild* child = childOf(window, id);
  return child ? static_cast<int32_t>(child->items.size()) : 0;
}
bool headlessEnabled(WindowHandle window, int32_t id) {
  HeadlessChild* child = childOf(window, id);
  return child && child->enabled;
}
int32_t headlessIcon(WindowHandle window, int32_t id) {
  HeadlessChild* child = childOf(window, id);
  return child ? child->icon : -1;
}
bool headlessCaptured(WindowHandle window) {
  HeadlessDialog* d = dialogOf(window);
  return d != nullptr && d->captured;
}
WindowCursor headlessCursor() { return cursor; }
bool headlessTimerArmed(WindowHandle window, int32_t id) {
  HeadlessDialog* d = dialogOf(window);
  return d != nullptr && d->timers.count(id) != 0;
}
WindowRect headlessWindowClient(WindowHandle window) {
  HeadlessDialog* d = dialogOf(window);
  return d ? WindowRect{0, 0, d->clientWidth, d->clientHeight} : WindowRect{};
}

const std::vector<DrawCall>& headlessDrawCalls() { return drawCalls; }
void headlessClearDrawCalls() {
  drawCalls.clear();
  pixels.clear();
}
int32_t headlessPixel(int32_t x, int32_t y) {
  auto found = pixels.find(pixelKey(x, y));
  return found == pixels.end() ? -1 : static_cast<int32_t>(found->second);
}
int32_t headlessPixelCount() { return static_cast<int32_t>(pixels.size()); }

bool headlessBrowserOpen() { return browserPane != nullptr; }
WindowRect headlessBrowserPaneRect() { return browserPane != nullptr ? BROWSER_PANE_RECT : WindowRect{}; }
void headlessBrowserSelect(const char* path) {
  if (browserPane != nullptr && browserPane->selected != nullptr)
    browserPane->selected(browserPane->context, &browserWindow, path, BROWSER_PANE_RECT);
}
void headlessBrowserPaint() {
  if (browserPane != nullptr && browserPane->paint != nullptr)
    browserPane->paint(browserPane->context, HEADLESS_CANVAS, BROWSER_PANE_RECT);
}
const FileDialogRequest& headlessLastFileRequest() { return lastFileRequest; }
std::string headlessLastFileTitle() { return lastFileTitle; }
void headlessSetFileAnswer(HeadlessFileAnswer answer) { fileAnswer = std::move(answer); }
int32_t headlessFileDialogCount() { return fileDialogs; }
int32_t headlessAboutBoxCount() { return aboutBoxes; }
int32_t headlessInfoBoxCount() { return infoBoxes; }
int32_t headlessRaiseCount() { return raises; }
