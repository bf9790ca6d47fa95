// The window layer. On Windows these are real dialogs; the headless build
// records what would have been shown, so tests can see it.
#pragma once

#include <cstdint>

// The module's own instance handle, fetched by the entry at every call.
void platformRememberModule();
void* platformModuleHandle();

// A modal refusal: the title, the text and one Cancel button, no owner.
void platformShowRefusal(const char* title, const char* text);

// Headless builds: how many refusals were shown and the last text.
int platformRefusalCount();
const char* platformLastRefusal();

// ---------------------------------------------------------------------------
// Dialog windows. The dialog describes its window and children, receives
// events through one procedure, and answers with the calls below. Nothing
// here names a window system: a handle is opaque, rectangles are client
// pixels, bitmaps, icons and cursors are resource numbers of the module.

using WindowHandle = void*;

// Left, top, right, bottom; right and bottom one past the last pixel.
struct WindowRect {
  int32_t left, top, right, bottom;
};
inline bool windowRectContains(const WindowRect& r, int32_t x, int32_t y) {
  return x >= r.left && x < r.right && y >= r.top && y < r.bottom;
}

// The system control that stands at a child id. Statics are invisible
// rectangles the dialog draws over; a picture static shows a bitmap.
enum ChildKind : int32_t {
  CHILD_STATIC = 0,
  CHILD_PICTURE = 1,
  CHILD_CHECKBOX = 2,
  CHILD_DROPDOWN = 3,
  CHILD_NUMBER_BOX = 4,
  CHILD_BUTTON = 5,
  CHILD_DEFAULT_BUTTON = 6,
};

struct ChildShape {
  int32_t id;
  ChildKind kind;
  int32_t artId;  // a picture static's bitmap, else -1
};

struct DialogShape {
  const char* templateName;  // where the system keeps a template of it
  const char* title;
  int32_t clientWidth, clientHeight;
  const ChildShape* children;
  int32_t childCount;
  // A plain box: the system paints its background and its texts. Otherwise
  // the dialog draws everything itself over a transparent background.
  bool systemPainted = false;
};

enum WindowEventKind : int32_t {
  EVENT_CREATE = 0,
  EVENT_PAINT = 1,       // canvas set: draw everything
  EVENT_ERASE = 2,       // canvas set: the background
  EVENT_COMMAND = 3,     // id, code
  EVENT_TIMER = 4,       // id
  EVENT_MOUSE_DOWN = 5,  // x, y, rightButton, ctrl
  EVENT_MOUSE_MOVE = 6,
  EVENT_MOUSE_UP = 7,
};

// Notification codes of commands.
constexpr int32_t CODE_CLICKED = 0;
constexpr int32_t CODE_SELECTION_CHANGED = 1;  // a drop-down list's choice
constexpr int32_t CODE_TEXT_CHANGED = 768;     // a number box's text

struct WindowCanvas;

struct WindowEvent {
  WindowEventKind kind;
  int32_t id;    // command or timer id
  int32_t code;  // command notification
  int32_t x, y;  // client coordinates of a mouse event
  bool rightButton;
  bool ctrl;
  WindowCanvas* canvas;
};

using DialogProc = void (*)(WindowHandle window, const WindowEvent& event, void* context);

// Runs the dialog modally, owned by the host's window (may be null). The
// result is the code given to windowEndDialog, or -1 when no dialog could
// be shown at all.
int32_t windowRunDialog(const DialogShape& shape, void* owner, DialogProc proc, void* context);
void windowEndDialog(WindowHandle window, int32_t code);
// Queues an event behind those already waiting.
void windowPostEvent(WindowHandle window, const WindowEvent& event);

// A box shown over its owner's client area and brought to the top.
void windowShowOverOwner(WindowHandle window);
// Brings the window to the top and paints what waits to be painted, its
// children included, even while its events are not being handled.
void windowRaise(WindowHandle window);

// Size and place: the client area becomes exactly width x height; the
// window is centred on its owner (or the screen) and kept on the screen.
void windowPlaceDialog(WindowHandle window, int32_t clientWidth, int32_t clientHeight);
// Moves a child so that its client area is the rectangle, without repainting.
void windowMoveChild(WindowHandle window, int32_t id, const WindowRect& rect);
WindowRect windowChildRect(WindowHandle window, int32_t id);

void windowSetText(WindowHandle window, int32_t id, const char* text);  // a number box reports the change
int32_t windowGetText(WindowHandle window, int32_t id, char* text, int32_t capacity);
void windowSetCheck(WindowHandle window, int32_t id, bool checked);
bool windowGetCheck(WindowHandle window, int32_t id);
void windowAddListItem(WindowHandle window, int32_t id, const char* text);
void windowSetSelection(WindowHandle window, int32_t id, int32_t position);
int32_t windowGetSelection(WindowHandle window, int32_t id);
void windowEnableChild(WindowHandle window, int32_t id, bool enabled);
void windowSetIcon(WindowHandle window, int32_t id, int32_t iconId);
void windowRepaintChild(WindowHandle window, int32_t id);

void windowCaptureMouse(WindowHandle window);
void windowReleaseMouse(WindowHandle window);
void windowSetTimer(WindowHandle window, int32_t id, int32_t milliseconds);
void windowKillTimer(WindowHandle window, int32_t id);

enum WindowCursor : int32_t { CURSOR_ARROW = 0, CURSOR_OPEN_HAND = 1, CURSOR_CLOSED_HAND = 2, CURSOR_WAIT = 4 };
void windowSetCursor(WindowCursor cursor);

// Drawing straight onto the client area, outside a paint event.
WindowCanvas* windowBeginDrawing(WindowHandle window);
void windowEndDrawing(WindowHandle window, WindowCanvas* canvas);
// What the host's displayPixels is given to draw into.
void* canvasNativeContext(WindowCanvas* canvas);

constexpr uint32_t COLOUR_BLACK = 0x000000;
// Colours are 0xRRGGBB.
void canvasBitmap(WindowCanvas* canvas, int32_t bitmapId, int32_t x, int32_t y);
void canvasLine(WindowCanvas* canvas, int32_t x0, int32_t y0, int32_t x1, int32_t y1, int32_t width, uint32_t colour);
// The dialog's one text style: Arial 11 pixels, transparent background.
int32_t canvasTextWidth(WindowCanvas* canvas, const char* text);
void canvasText(WindowCanvas* canvas, int32_t x, int32_t y, const char* text, uint32_t colour);
void canvasClip(WindowCanvas* canvas, const WindowRect& rect);
void canvasUnclip(WindowCanvas* canvas);
void canvasExcludeClip(WindowCanvas* canvas, const WindowRect& rect);
void canvasFillWhite(WindowCanvas* canvas, const WindowRect& rect);

// One pixel, outside the bitmap calls (the browser's pane is set pixel by
// pixel).
void canvasPixel(WindowCanvas* canvas, int32_t x, int32_t y, uint32_t colour);

// A pane beside the standard controls of an open dialog: the module's child
// template `templateName` places the standard controls and, as child
// `paneId`, the pane. While the dialog is open, `selected` runs each time
// the user selects an entry (its full path), and `paint` each time the pane
// needs drawing; both get the pane's rectangle in the client coordinates of
// `window`. Without the template the dialog runs plain.
struct FilePreviewPane {
  const char* templateName;
  int32_t paneId;
  void* context;
  void (*selected)(void* context, WindowHandle window, const char* path, const WindowRect& pane);
  void (*paint)(void* context, WindowCanvas* canvas, const WindowRect& pane);
};

// The system's file dialogs. path holds the proposed name on entry and the
// chosen path on confirmation (true).
enum FileDialogKind : int32_t { FILE_DIALOG_OPEN = 0, FILE_DIALOG_SAVE = 1 };
struct FileDialogRequest {
  FileDialogKind kind;
  const char* title;
  const char* filterName;  // "Marrowline presets (*.q4t)"
  const char* pattern;     // "*.q4t"
  const char* extension;   // added when the user types none
  const FilePreviewPane* pane = nullptr;  // open dialogs only; null: none
};
bool windowFileDialog(WindowHandle owner, const FileDialogRequest& request, char* path, int32_t capacity);

// The two boxes without owner that sit beside the dialog. Each returns when
// its box ends; ownerGone is polled every second by the info box.
int32_t windowRunAboutBox(const char* address);
int32_t windowRunInfoBox(bool (*ownerGone)());
// A close request to each box that is open.
void windowCloseBoxes();
