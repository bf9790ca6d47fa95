// The headless dialog windows: what tests use to play a user. A driver runs
// once the dialog is created; it sends events in and reads back what the
// dialog did. Posted events are delivered after each sent one.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "platform/window.h"

using HeadlessDriver = std::function<void(WindowHandle)>;
// Without a driver no dialog can be shown (windowRunDialog gives -1). When
// the driver returns with the dialog still open, it is cancelled (id 2).
void headlessSetDriver(HeadlessDriver driver);
// Plays a box the dialog opens over itself (the export's progress window).
// Without one such a box runs on its timers until it ends.
void headlessSetInnerDriver(HeadlessDriver driver);

void headlessSend(WindowHandle window, const WindowEvent& event);
void headlessPress(WindowHandle window, int32_t x, int32_t y, bool right = false, bool ctrl = false);
void headlessMove(WindowHandle window, int32_t x, int32_t y, bool right = false, bool ctrl = false);
void headlessRelease(WindowHandle window, int32_t x, int32_t y, bool right = false);
// A click on a button or check box (a check box flips first).
void headlessClick(WindowHandle window, int32_t id);
// The user types into a number box, or picks a list position.
void headlessType(WindowHandle window, int32_t id, const char* text);
void headlessChoose(WindowHandle window, int32_t id, int32_t position);
void headlessFireTimer(WindowHandle window, int32_t id);
void headlessPaint(WindowHandle window);

bool headlessDialogOpen();
bool headlessChildExists(WindowHandle window, int32_t id);
std::string headlessText(WindowHandle window, int32_t id);
bool headlessChecked(WindowHandle window, int32_t id);
int32_t headlessSelection(WindowHandle window, int32_t id);
int32_t headlessListSize(WindowHandle window, int32_t id);
bool headlessEnabled(WindowHandle window, int32_t id);
int32_t headlessIcon(WindowHandle window, int32_t id);
bool headlessCaptured(WindowHandle window);
WindowCursor headlessCursor();
bool headlessTimerArmed(WindowHandle window, int32_t id);
WindowRect headlessWindowClient(WindowHandle window);

// The drawing calls, in order, since the last clear.
enum DrawKind : int32_t { DRAW_BITMAP, DRAW_LINE, DRAW_TEXT, DRAW_CLIP, DRAW_UNCLIP, DRAW_EXCLUDE, DRAW_FILL_WHITE };
struct DrawCall {
  DrawKind kind;
  int32_t bitmapId;
  int32_t x0, y0, x1, y1;  // point, line ends or rectangle (left, top, right, bottom)
  int32_t width;
  uint32_t colour;
  std::string text;
};
const std::vector<DrawCall>& headlessDrawCalls();
// Clears the drawing calls and the single pixels.
void headlessClearDrawCalls();
// The last colour set at a point by canvasPixel, -1 when none.
int32_t headlessPixel(int32_t x, int32_t y);
int32_t headlessPixelCount();
// Text widths are 6 pixels a character.
constexpr int32_t HEADLESS_CHARACTER_WIDTH = 6;

// File dialogs: the answer gives the path (true) or cancels (false). The
// default answer cancels.
using HeadlessFileAnswer = std::function<bool(const FileDialogRequest&, std::string* path)>;
void headlessSetFileAnswer(HeadlessFileAnswer answer);
int32_t headlessFileDialogCount();
// The request of the last file dialog; its title is kept as text.
const FileDialogRequest& headlessLastFileRequest();
std::string headlessLastFileTitle();

// An open dialog with a pane, while its answer runs: the user selects an
// entry, or the pane is painted. The pane stands where the child template
// puts it at 8-point "MS Shell Dlg" (87 x 80 units at 211, 21).
constexpr WindowRect BROWSER_PANE_RECT{316, 34, 446, 164};
bool headlessBrowserOpen();
WindowRect headlessBrowserPaneRect();
void headlessBrowserSelect(const char* path);
void headlessBrowserPaint();
int32_t headlessAboutBoxCount();
int32_t headlessInfoBoxCount();
// How often a box was shown over its owner or raised.
int32_t headlessRaiseCount();
