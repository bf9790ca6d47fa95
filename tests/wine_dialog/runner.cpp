// dialog-runner.exe: a scripted user of the filter's dialog, for the tests
// under wine. It starts marrowline-host.exe with --dialog, finds the dialog
// among the host's windows, works its controls with posted messages, reads
// their state back, captures the window from its device context, and
// reports what it saw, one "KEY VALUE" line each, into the report file.
//
//   dialog-runner.exe SCENARIO REPORT CAPTURE_PREFIX HOST_EXE [HOST ARGS...]
//
// Scenarios:
//   edit    style by its popup, smoothing slider dragged, tweaker typed,
//           flip ticked, zoom in, pan with the hand; the client area is
//           captured (CAPTURE_PREFIX-client.ppm); then OK
//   cancel  the client area as it opens (CAPTURE_PREFIX-client.ppm), flip
//           ticked, then Cancel
//   escape  flip ticked, then the Esc key
//   dots    randomize, store in the third dot, randomize again, recall the
//           third dot, OK
//   browser Load: the preset browser's pane for two files of a folder,
//           then Cancel, then OK (see browserScenario)
//   shot    the client area as it opens (CAPTURE_PREFIX-client.ppm), then
//           Cancel
//
// Everything goes to the dialog as posted messages, the way input arrives:
// a click sent with SendMessage to a button whose handler opens a modal box
// would block the runner. Posted messages are handled in order, so after a
// step the runner posts a marker (a new text limit on a number box, which
// the dialog never reads) and waits until the box reports it: every message
// before it has then been handled.
#include <windows.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "platform/win32/top_down_bitmap.h"

// The dialog's control ids, from its own tables.
#include "dialog/controls.h"
#include "dialog/memory_dots.h"
#include "presets/preset_browser.h"

namespace {

constexpr DWORD STEP_TIMEOUT_MS = 20000;
constexpr DWORD START_TIMEOUT_MS = 60000;

FILE* report = nullptr;
PROCESS_INFORMATION host{};
HWND dialog = nullptr;
UINT markerCount = 0;

void note(const char* key, const std::string& value) {
  std::fprintf(report, "%s %s\n", key, value.c_str());
  std::fflush(report);
}

[[noreturn]] void giveUp(const std::string& why) {
  note("error", why);
  if (host.hProcess != nullptr) {
    TerminateProcess(host.hProcess, 99);
    WaitForSingleObject(host.hProcess, 5000);
  }
  std::fclose(report);
  ExitProcess(1);
}

bool hostEnded() { return WaitForSingleObject(host.hProcess, 0) == WAIT_OBJECT_0; }

std::string quoted(const char* text) {
  std::string q = "\"";
  for (const char* c = text; *c; ++c) {
    if (*c == '"') q += '\\';
    q += *c;
  }
  return q + "\"";
}

void startHost(int argc, char** argv, int first) {
  std::string line;
  for (int i = first; i < argc; ++i) line += (line.empty() ? "" : " ") + quoted(argv[i]);
  std::vector<char> buffer(line.begin(), line.end());
  buffer.push_back('\0');
  STARTUPINFOA start{};
  start.cb = sizeof start;
  if (!CreateProcessA(nullptr, buffer.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &start, &host))
    giveUp("cannot start the host: " + line);
}

struct Search {
  DWORD processId;
  const char* title;
  HWND found;
};

BOOL CALLBACK considerWindow(HWND window, LPARAM data) {
  Search* search = reinterpret_cast<Search*>(data);
  DWORD owner = 0;
  GetWindowThreadProcessId(window, &owner);
  if (owner != search->processId || !IsWindowVisible(window)) return TRUE;
  char title[64] = {}, kind[64] = {};
  GetWindowTextA(window, title, sizeof title);
  GetClassNameA(window, kind, sizeof kind);
  if (std::strcmp(title, search->title) != 0 || std::strcmp(kind, "#32770") != 0) return TRUE;
  search->found = window;
  return FALSE;
}

// A dialog of the host's with this title, once it shows.
HWND findHostDialog(const char* title) {
  const DWORD begun = GetTickCount();
  while (GetTickCount() - begun < START_TIMEOUT_MS) {
    Search search{host.dwProcessId, title, nullptr};
    EnumWindows(considerWindow, reinterpret_cast<LPARAM>(&search));
    if (search.found != nullptr) return search.found;
    if (hostEnded()) giveUp(std::string("the host ended without showing \"") + title + "\"");
    Sleep(50);
  }
  giveUp(std::string("no \"") + title + "\" appeared");
}

HWND child(int id) {
  HWND window = GetDlgItem(dialog, id);
  if (window == nullptr) giveUp("the dialog has no control " + std::to_string(id));
  return window;
}

LRESULT ask(HWND window, UINT message, WPARAM wParam = 0, LPARAM lParam = 0) {
  DWORD_PTR answer = 0;
  if (!SendMessageTimeoutA(window, message, wParam, lParam, SMTO_NORMAL, STEP_TIMEOUT_MS, &answer))
    giveUp("the dialog does not answer");
  return static_cast<LRESULT>(answer);
}

void post(HWND window, UINT message, WPARAM wParam = 0, LPARAM lParam = 0) {
  if (!PostMessageA(window, message, wParam, lParam)) giveUp("cannot post to the dialog");
}

// Waits until every message posted so far has been handled.
void settle() {
  HWND box = child(ID_SMOOTHING_BOX);
  const UINT limit = 30000 + ++markerCount;
  post(box, EM_SETLIMITTEXT, limit, 0);
  const DWORD begun = GetTickCount();
  while (static_cast<UINT>(ask(box, EM_GETLIMITTEXT)) != limit) {
    if (hostEnded()) giveUp("the host ended during a step");
    if (GetTickCount() - begun > STEP_TIMEOUT_MS) giveUp("a step was not handled in time");
    Sleep(10);
  }
  // The window's pixels reach the screen when its thread is idle again.
  Sleep(100);
}

std::string textOf(int id) {
  char text[128] = {};
  // WM_GETTEXT carries a pointer, which the system marshals between
  // processes (GetWindowText would read only the caption it keeps itself).
  ask(child(id), WM_GETTEXT, sizeof text, reinterpret_cast<LPARAM>(text));
  return text;
}

// A child's rectangle in the dialog's client coordinates.
RECT childRect(int id) {
  RECT r;
  GetWindowRect(child(id), &r);
  MapWindowPoints(nullptr, dialog, reinterpret_cast<POINT*>(&r), 2);
  return r;
}

LPARAM at(int x, int y) { return MAKELPARAM(x, y); }

// Press, moves in steps, release: the mouse as the dialog's own window sees it.
void drag(int x0, int y0, int x1, int y1, int steps) {
  post(dialog, WM_MOUSEMOVE, 0, at(x0, y0));
  post(dialog, WM_LBUTTONDOWN, MK_LBUTTON, at(x0, y0));
  settle();
  for (int i = 1; i <= steps; ++i)
    post(dialog, WM_MOUSEMOVE, MK_LBUTTON, at(x0 + (x1 - x0) * i / steps, y0 + (y1 - y0) * i / steps));
  settle();
  post(dialog, WM_LBUTTONUP, 0, at(x1, y1));
  settle();
}

void click(int id) {
  post(child(id), BM_CLICK);
  settle();
}

// What a window shows in a rectangle of its client area, read from its
// device context (the children are drawn there too), as a binary PPM.
void captureRect(HWND window, const RECT& r, const std::string& path) {
  const int width = r.right - r.left, height = r.bottom - r.top;
  HDC source = GetDC(window);
  HDC memory = CreateCompatibleDC(source);
  BITMAPINFO info = topDownBitmapInfo(width, height, 32);
  void* bits = nullptr;
  HBITMAP bitmap = CreateDIBSection(memory, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
  HGDIOBJ previous = SelectObject(memory, bitmap);
  BitBlt(memory, 0, 0, width, height, source, r.left, r.top, SRCCOPY);
  GdiFlush();
  FILE* file = std::fopen(path.c_str(), "wb");
  if (file == nullptr) giveUp("cannot write " + path);
  std::fprintf(file, "P6\n%d %d\n255\n", width, height);
  const auto* pixels = static_cast<const uint8_t*>(bits);
  std::vector<uint8_t> row(size_t(width) * 3);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const uint8_t* bgrx = pixels + (size_t(y) * width + x) * 4;
      row[size_t(x) * 3] = bgrx[2];
      row[size_t(x) * 3 + 1] = bgrx[1];
      row[size_t(x) * 3 + 2] = bgrx[0];
    }
    std::fwrite(row.data(), 1, row.size(), file);
  }
  std::fclose(file);
  SelectObject(memory, previous);
  DeleteObject(bitmap);
  DeleteDC(memory);
  ReleaseDC(window, source);
}

void capture(const std::string& path) {
  RECT r;
  GetClientRect(dialog, &r);
  captureRect(dialog, r, path);
  note("client", std::to_string(r.right - r.left) + " " + std::to_string(r.bottom - r.top));
}

void tickFlip() {
  click(ID_FLIP);
  note("flip", ask(child(ID_FLIP), BM_GETCHECK) == BST_CHECKED ? "1" : "0");
}

void editScenario(const std::string& capturePrefix) {
  // The style popup, from the keyboard: two down from "blurry" is
  // "thin/soft"; the list tells the dialog of each change itself.
  HWND styles = child(ID_EDGE_STYLE);
  for (int step = 0; step < 2; ++step) {
    post(styles, WM_KEYDOWN, VK_DOWN, 1);
    post(styles, WM_KEYUP, VK_DOWN, 0xC0000001);
  }
  settle();
  note("style", std::to_string(ask(styles, CB_GETCURSEL) + 1));

  // The smoothing slider: pressed near its left end, dragged to two thirds.
  RECT slider = childRect(ID_SMOOTHING);
  const int middle = (slider.top + slider.bottom) / 2;
  drag(slider.left + 12, middle, slider.left + (slider.right - slider.left) * 2 / 3, middle, 6);
  note("smoothing", textOf(ID_SMOOTHING_BOX));

  // The tweaker typed over its box's text: past the top of its range.
  HWND tweaker = child(ID_TWEAKER_BOX);
  post(tweaker, EM_SETSEL, 0, -1);
  for (char c : std::string("150")) post(tweaker, WM_CHAR, static_cast<WPARAM>(c), 1);
  settle();
  note("tweaker-typed", textOf(ID_TWEAKER_BOX));
  // A second after the last key the box takes the value the thumb shows.
  const DWORD begun = GetTickCount();
  while (textOf(ID_TWEAKER_BOX) == "150" && GetTickCount() - begun < STEP_TIMEOUT_MS) Sleep(50);
  settle();
  note("tweaker", textOf(ID_TWEAKER_BOX));

  tickFlip();

  click(ID_ZOOM_IN);
  note("zoom", textOf(ID_ZOOM_ACTUAL));

  // The hand: the picture follows the mouse, 40 pixels right and far up.
  RECT pane = childRect(ID_PREVIEW);
  const int cx = (pane.left + pane.right) / 2, cy = (pane.top + pane.bottom) / 2;
  drag(cx, cy, cx + 40, cy - 160, 8);
  note("pane", std::to_string(pane.left) + " " + std::to_string(pane.top) + " " + std::to_string(pane.right) + " " +
                   std::to_string(pane.bottom));
  capture(capturePrefix + "-client.ppm");

  post(child(ID_OK), BM_CLICK);
}

// The parameters as the controls show them (all but the drawn dial).
std::string controlState() {
  std::string state;
  for (int id : {ID_EDGE_STYLE, ID_EDGE_EXTENT, ID_SOURCE, ID_CHROME_STYLE, ID_GLUE})
    state += std::to_string(ask(child(id), CB_GETCURSEL) + 1) + " ";
  for (int id : {ID_SMOOTHING_BOX, ID_TWEAKER_BOX}) state += textOf(id) + " ";
  for (int id : {ID_COLORIZE, ID_REMOVE_NOISE, ID_FLIP})
    state += ask(child(id), BM_GETCHECK) == BST_CHECKED ? "1 " : "0 ";
  state.pop_back();
  return state;
}

// A plain click on a memory dot: its command runs at the release, which
// the dialog posts behind the marker of the release's own step.
void clickDot(int slot) {
  RECT dot = childRect(FIRST_DOT_ID + slot);
  const int x = (dot.left + dot.right) / 2, y = (dot.top + dot.bottom) / 2;
  post(dialog, WM_MOUSEMOVE, 0, at(x, y));
  post(dialog, WM_LBUTTONDOWN, MK_LBUTTON, at(x, y));
  settle();
  post(dialog, WM_LBUTTONUP, 0, at(x, y));
  settle();
  settle();
}

// Randomize, keep it in the third dot, randomize again, come back to the
// dot, OK.
void dotsScenario() {
  click(ID_RANDOMIZE);
  note("randomized", controlState());
  clickDot(2);
  click(ID_RANDOMIZE);
  note("randomized-again", controlState());
  clickDot(2);
  note("recalled", controlState());
  // The dots' files are kept in the temporary folder.
  char folder[MAX_PATH] = {};
  GetTempPathA(sizeof folder, folder);
  note("temporary-folder", folder);
  post(child(ID_OK), BM_CLICK);
}

struct ChildSearch {
  const char* kind;
  int id;  // a control id the child must hold, or 0
  HWND found;
};

BOOL CALLBACK considerChild(HWND window, LPARAM data) {
  ChildSearch* search = reinterpret_cast<ChildSearch*>(data);
  char kind[64] = {};
  GetClassNameA(window, kind, sizeof kind);
  if (std::strcmp(kind, search->kind) != 0 || (search->id != 0 && GetDlgItem(window, search->id) == nullptr))
    return TRUE;
  search->found = window;
  return FALSE;
}

HWND findChild(HWND parent, const char* kind, int id) {
  ChildSearch search{kind, id, nullptr};
  EnumChildWindows(parent, considerChild, reinterpret_cast<LPARAM>(&search));
  if (search.found == nullptr) giveUp(std::string("the open dialog has no ") + kind);
  return search.found;
}

// The key as the list gets it while it has the focus.
void press(HWND window, WPARAM key) {
  post(window, WM_KEYDOWN, key, 1);
  post(window, WM_KEYUP, key, 0xC0000001);
}

// Load: the open dialog with the preset browser's pane. The folder named
// by MARROWLINE_BROWSE_FOLDER is typed into the name box and opened; the
// first file and then the second are selected from the keyboard, the pane
// captured after each (CAPTURE_PREFIX-first.ppm, -second.ppm); Cancel, then
// the main dialog's controls are noted and OK pressed.
void browserScenario(const std::string& capturePrefix) {
  char folder[MAX_PATH] = {};
  if (GetEnvironmentVariableA("MARROWLINE_BROWSE_FOLDER", folder, sizeof folder) == 0)
    giveUp("MARROWLINE_BROWSE_FOLDER is not set");
  note("before", controlState());
  post(child(ID_LOAD), BM_CLICK);
  HWND open = findHostDialog("Open a settings file");
  HWND pane = findChild(open, "#32770", BROWSER_PANE_ID);
  settle();
  // The name box takes the folder; OK on a folder opens it.
  HWND name = findChild(open, "Edit", 0);
  ask(name, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(folder));
  post(open, WM_COMMAND, MAKEWPARAM(IDOK, BN_CLICKED), 0);
  settle();
  HWND list = findChild(open, "SysListView32", 0);
  // Read through the top-level dialog: a child's own device context of
  // another process reads back black under wine.
  RECT area;
  GetWindowRect(GetDlgItem(pane, BROWSER_PANE_ID), &area);
  MapWindowPoints(nullptr, open, reinterpret_cast<POINT*>(&area), 2);
  note("browser-pane", std::to_string(area.right - area.left) + " " + std::to_string(area.bottom - area.top));
  press(list, VK_HOME);
  settle();
  captureRect(open, area, capturePrefix + "-first.ppm");
  press(list, VK_DOWN);
  settle();
  captureRect(open, area, capturePrefix + "-second.ppm");
  post(open, WM_COMMAND, MAKEWPARAM(IDCANCEL, BN_CLICKED), 0);
  settle();
  note("after", controlState());
  post(child(ID_OK), BM_CLICK);
}

void finish() {
  if (WaitForSingleObject(host.hProcess, START_TIMEOUT_MS) != WAIT_OBJECT_0) giveUp("the host did not end");
  DWORD code = 0;
  GetExitCodeProcess(host.hProcess, &code);
  note("exit", std::to_string(code));
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 5) {
    std::fprintf(stderr,
                 "usage: dialog-runner.exe edit|cancel|escape|dots|browser|shot REPORT CAPTURE_PREFIX HOST_EXE [ARGS...]\n");
    return 2;
  }
  const std::string scenario = argv[1];
  report = std::fopen(argv[2], "wb");
  if (report == nullptr) return 2;
  const std::string capturePrefix = argv[3];
  startHost(argc, argv, 4);
  dialog = findHostDialog("Marrowline");
  note("dialog", "found");
  // A host's dialog belongs to the host's main window.
  char ownerClass[64] = {};
  if (HWND owner = GetWindow(dialog, GW_OWNER)) GetClassNameA(owner, ownerClass, sizeof ownerClass);
  note("owner", ownerClass[0] ? ownerClass : "none");
  settle();
  if (scenario == "edit") {
    editScenario(capturePrefix);
  } else if (scenario == "cancel") {
    capture(capturePrefix + "-client.ppm");
    tickFlip();
    post(child(ID_CANCEL), BM_CLICK);
  } else if (scenario == "escape") {
    tickFlip();
    post(dialog, WM_KEYDOWN, VK_ESCAPE, 1);
    post(dialog, WM_KEYUP, VK_ESCAPE, 0xC0000001);
  } else if (scenario == "browser") {
    browserScenario(capturePrefix);
  } else if (scenario == "dots") {
    dotsScenario();
  } else if (scenario == "shot") {
    capture(capturePrefix + "-client.ppm");
    post(child(ID_CANCEL), BM_CLICK);
  } else {
    giveUp("unknown scenario " + scenario);
  }
  finish();
  std::fclose(report);
  return 0;
}
