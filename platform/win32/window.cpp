#include "platform/window.h"

#include <windows.h>

namespace {
HMODULE moduleHandle = nullptr;
int refusals = 0;
const char* lastRefusal = "";
}  // namespace

// The instance of the module that holds this function, whatever name the
// host loaded it under.
void platformRememberModule() {
  HMODULE handle = nullptr;
  if (GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                         reinterpret_cast<LPCSTR>(&platformRememberModule), &handle))
    moduleHandle = handle;
}

void* platformModuleHandle() { return moduleHandle; }

namespace {

struct RefusalWords {
  const char* title;
  const char* text;
};

constexpr int REFUSAL_TEXT_ID = 100;

// Any button ends the refusal.
INT_PTR CALLBACK refusalProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  switch (message) {
    case WM_INITDIALOG: {
      const RefusalWords* words = reinterpret_cast<const RefusalWords*>(lParam);
      SetWindowTextA(window, words->title);
      SetDlgItemTextA(window, REFUSAL_TEXT_ID, words->text);
      return TRUE;
    }
    case WM_COMMAND:
      EndDialog(window, LOWORD(wParam));
      return TRUE;
    case WM_CLOSE:
      EndDialog(window, IDCANCEL);
      return TRUE;
    default:
      return FALSE;
  }
}

}  // namespace

// The template "REFUSAL2" of the module, with no owner, centred.
void platformShowRefusal(const char* title, const char* text) {
  ++refusals;
  lastRefusal = text;
  RefusalWords words{title, text};
  if (DialogBoxParamA(moduleHandle, "REFUSAL2", nullptr, refusalProc, reinterpret_cast<LPARAM>(&words)) == -1)
    MessageBoxA(nullptr, text, title, MB_OK | MB_ICONSTOP | MB_TASKMODAL);
}

int platformRefusalCount() { return refusals; }
const char* platformLastRefusal() { return lastRefusal; }

// ---------------------------------------------------------------------------
// Dialog windows on USER32 and GDI32.

#include <commdlg.h>
#include <shellapi.h>

#include <cstdio>

struct WindowCanvas {
  HDC dc;
  HWND window;
  HFONT font;
};

namespace {

// What the open main dialog was given; the host's thread runs one at a time.
struct DialogBinding {
  DialogProc proc;
  void* context;
  const DialogShape* shape;
};

constexpr int CURSOR_OPEN_HAND_ID = 108;
constexpr int CURSOR_CLOSED_HAND_ID = 107;
constexpr UINT INFO_TIMER_ID = 997;
constexpr int TEXT_HEIGHT_POINTS = 8;

WindowCursor currentCursor = CURSOR_ARROW;
HWND aboutBox = nullptr;
HWND infoBox = nullptr;

HWND asWindow(WindowHandle window) { return static_cast<HWND>(window); }

DialogBinding* bindingOf(HWND window) {
  return reinterpret_cast<DialogBinding*>(GetWindowLongPtrA(window, DWLP_USER));
}

void deliver(HWND window, const WindowEvent& event) {
  if (DialogBinding* binding = bindingOf(window)) binding->proc(window, event, binding->context);
}

HCURSOR cursorHandle(WindowCursor cursor) {
  switch (cursor) {
    case CURSOR_OPEN_HAND: return LoadCursorA(moduleHandle, MAKEINTRESOURCEA(CURSOR_OPEN_HAND_ID));
    case CURSOR_CLOSED_HAND: return LoadCursorA(moduleHandle, MAKEINTRESOURCEA(CURSOR_CLOSED_HAND_ID));
    case CURSOR_WAIT: return LoadCursorA(nullptr, MAKEINTRESOURCEA(32514));
    default: return LoadCursorA(nullptr, MAKEINTRESOURCEA(32512));
  }
}

WindowEvent mouseEvent(WindowEventKind kind, WPARAM wParam, LPARAM lParam, bool right) {
  WindowEvent event{};
  event.kind = kind;
  // The position and keys of the message itself, not asked for afterwards.
  event.x = static_cast<short>(LOWORD(lParam));
  event.y = static_cast<short>(HIWORD(lParam));
  event.ctrl = (wParam & MK_CONTROL) != 0;
  event.rightButton = right || (kind == EVENT_MOUSE_MOVE && (wParam & MK_RBUTTON) != 0);
  return event;
}

// Centred on the owner's client area (or the screen), a caption's two
// thirds to the left, a third of the free height down, kept on the screen.
void placeWindow(HWND window, HWND owner, int width, int height) {
  RECT area;
  if (owner != nullptr && GetClientRect(owner, &area)) {
    POINT corner{area.left, area.top};
    ClientToScreen(owner, &corner);
    OffsetRect(&area, corner.x - area.left, corner.y - area.top);
  } else {
    GetClientRect(GetDesktopWindow(), &area);
  }
  int caption = GetSystemMetrics(SM_CYCAPTION);
  int x = area.left + (area.right - area.left - width) / 2 - caption * 2 / 3;
  int y = area.top + (area.bottom - area.top - height) / 3;
  int screenWidth = GetSystemMetrics(SM_CXSCREEN), screenHeight = GetSystemMetrics(SM_CYSCREEN);
  if (x + width > screenWidth) x = screenWidth - width;
  if (y + height > screenHeight) y = screenHeight - height;
  if (x < 0) x = 0;
  if (y < 0) y = 0;
  MoveWindow(window, x, y, width, height, TRUE);
}

void centreBox(HWND box) {
  RECT r;
  GetWindowRect(box, &r);
  placeWindow(box, nullptr, r.right - r.left, r.bottom - r.top);
}

void setPicture(HWND window, int id, int bitmapId) {
  HBITMAP bitmap = LoadBitmapA(moduleHandle, MAKEINTRESOURCEA(bitmapId));
  if (bitmap != nullptr) SendDlgItemMessageA(window, id, STM_SETIMAGE, IMAGE_BITMAP, reinterpret_cast<LPARAM>(bitmap));
}

INT_PTR answer(HWND window, LRESULT result) {
  SetWindowLongPtrA(window, DWLP_MSGRESULT, result);
  return TRUE;
}

bool systemPainted(HWND window) {
  auto* binding = reinterpret_cast<DialogBinding*>(GetWindowLongPtrA(window, DWLP_USER));
  return binding != nullptr && binding->shape->systemPainted;
}

INT_PTR CALLBACK mainDialogProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  switch (message) {
    case WM_INITDIALOG: {
      SetWindowLongPtrA(window, DWLP_USER, lParam);
      const DialogShape* shape = reinterpret_cast<DialogBinding*>(lParam)->shape;
      SetWindowTextA(window, shape->title);
      for (int32_t i = 0; i < shape->childCount; ++i)
        if (shape->children[i].kind == CHILD_PICTURE) setPicture(window, shape->children[i].id, shape->children[i].artId);
      WindowEvent event{};
      event.kind = EVENT_CREATE;
      deliver(window, event);
      return FALSE;  // the focus was not set
    }
    case WM_PAINT: {
      if (systemPainted(window)) return FALSE;
      PAINTSTRUCT paint;
      WindowCanvas canvas{BeginPaint(window, &paint), window, nullptr};
      WindowEvent event{};
      event.kind = EVENT_PAINT;
      event.canvas = &canvas;
      deliver(window, event);
      if (canvas.font != nullptr) DeleteObject(canvas.font);
      EndPaint(window, &paint);
      return TRUE;
    }
    case WM_ERASEBKGND: {
      if (systemPainted(window)) return FALSE;
      WindowCanvas canvas{reinterpret_cast<HDC>(wParam), window, nullptr};
      WindowEvent event{};
      event.kind = EVENT_ERASE;
      event.canvas = &canvas;
      deliver(window, event);
      return answer(window, 1);
    }
    case WM_CTLCOLORSTATIC:
      if (systemPainted(window)) return FALSE;
      // The skin shows through the check boxes.
      SetBkMode(reinterpret_cast<HDC>(wParam), TRANSPARENT);
      return reinterpret_cast<INT_PTR>(GetStockObject(HOLLOW_BRUSH));
    case WM_SETCURSOR:
      if (LOWORD(lParam) != HTCLIENT) return FALSE;
      SetCursor(cursorHandle(currentCursor));
      return answer(window, TRUE);
    case WM_COMMAND: {
      WindowEvent event{};
      event.kind = EVENT_COMMAND;
      event.id = LOWORD(wParam);
      event.code = HIWORD(wParam);
      deliver(window, event);
      return TRUE;
    }
    case WM_TIMER: {
      WindowEvent event{};
      event.kind = EVENT_TIMER;
      event.id = static_cast<int32_t>(wParam);
      deliver(window, event);
      return TRUE;
    }
    // A double click on a control that tracks the mouse is a press.
    case WM_LBUTTONDOWN:
    case WM_LBUTTONDBLCLK: deliver(window, mouseEvent(EVENT_MOUSE_DOWN, wParam, lParam, false)); return TRUE;
    case WM_RBUTTONDOWN:
    case WM_RBUTTONDBLCLK: deliver(window, mouseEvent(EVENT_MOUSE_DOWN, wParam, lParam, true)); return TRUE;
    case WM_MOUSEMOVE: deliver(window, mouseEvent(EVENT_MOUSE_MOVE, wParam, lParam, false)); return TRUE;
    case WM_LBUTTONUP: deliver(window, mouseEvent(EVENT_MOUSE_UP, wParam, lParam, false)); return TRUE;
    case WM_RBUTTONUP: deliver(window, mouseEvent(EVENT_MOUSE_UP, wParam, lParam, true)); return TRUE;
    default: return FALSE;
  }
}

HFONT canvasFont(WindowCanvas* canvas) {
  if (canvas->font == nullptr) {
    int height = MulDiv(TEXT_HEIGHT_POINTS, GetDeviceCaps(canvas->dc, LOGPIXELSY), 72);
    canvas->font = CreateFontA(-height, 0, 0, 0, FW_DONTCARE, FALSE, FALSE, FALSE, ANSI_CHARSET, OUT_DEFAULT_PRECIS,
                               CLIP_DEFAULT_PRECIS, DEFAULT_QUALITY, DEFAULT_PITCH | FF_SWISS, "Arial");
  }
  return canvas->font;
}

void endBox(HWND box, INT_PTR code, HWND* slot) {
  if (*slot == box) *slot = nullptr;
  EndDialog(box, code);
}

INT_PTR CALLBACK aboutProc(HWND box, UINT message, WPARAM wParam, LPARAM lParam) {
  constexpr int VISIT_ID = 5;
  switch (message) {
    case WM_INITDIALOG:
      aboutBox = box;
      SetWindowLongPtrA(box, DWLP_USER, lParam);
      setPicture(box, 127, 127);
      setPicture(box, 136, 136);
      setPicture(box, 182, 182);
      centreBox(box);
      return TRUE;
    case WM_ERASEBKGND: {
      RECT r;
      GetClientRect(box, &r);
      FillRect(reinterpret_cast<HDC>(wParam), &r, static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH)));
      return answer(box, 1);
    }
    case WM_COMMAND:
      if (LOWORD(wParam) == VISIT_ID) {
        const char* address = reinterpret_cast<const char*>(GetWindowLongPtrA(box, DWLP_USER));
        ShellExecuteA(nullptr, "open", address, nullptr, nullptr, SW_SHOWNORMAL);
      }
      endBox(box, LOWORD(wParam), &aboutBox);
      return TRUE;
    case WM_CLOSE: endBox(box, 1, &aboutBox); return TRUE;
    default: return FALSE;
  }
}

INT_PTR CALLBACK infoProc(HWND box, UINT message, WPARAM wParam, LPARAM lParam) {
  switch (message) {
    case WM_INITDIALOG:
      infoBox = box;
      SetWindowLongPtrA(box, DWLP_USER, lParam);
      setPicture(box, 189, 189);
      centreBox(box);
      SetTimer(box, INFO_TIMER_ID, 1000, nullptr);
      return TRUE;
    case WM_TIMER: {
      if (wParam != INFO_TIMER_ID) return FALSE;
      KillTimer(box, INFO_TIMER_ID);
      auto ownerGone = reinterpret_cast<bool (*)()>(GetWindowLongPtrA(box, DWLP_USER));
      if (ownerGone != nullptr && ownerGone()) {
        endBox(box, 0, &infoBox);
      } else {
        SetTimer(box, INFO_TIMER_ID, 1000, nullptr);
      }
      return TRUE;
    }
    case WM_COMMAND: endBox(box, LOWORD(wParam), &infoBox); return TRUE;
    case WM_CLOSE: endBox(box, 1, &infoBox); return TRUE;
    default: return FALSE;
  }
}

}  // namespace

int32_t windowRunDialog(const DialogShape& shape, void* owner, DialogProc proc, void* context) {
  DialogBinding binding{proc, context, &shape};
  INT_PTR code = DialogBoxParamA(moduleHandle, shape.templateName, static_cast<HWND>(owner), mainDialogProc,
                                 reinterpret_cast<LPARAM>(&binding));
  return static_cast<int32_t>(code);
}

void windowEndDialog(WindowHandle window, int32_t code) { EndDialog(asWindow(window), code); }

void windowPostEvent(WindowHandle window, const WindowEvent& event) {
  if (event.kind == EVENT_COMMAND) {
    PostMessageA(asWindow(window), WM_COMMAND, MAKEWPARAM(event.id, event.code), 0);
  } else if (event.kind == EVENT_MOUSE_MOVE) {
    WPARAM keys = (event.ctrl ? MK_CONTROL : 0) | (event.rightButton ? MK_RBUTTON : MK_LBUTTON);
    PostMessageA(asWindow(window), WM_MOUSEMOVE, keys, MAKELPARAM(event.x, event.y));
  }
}

void windowShowOverOwner(WindowHandle window) {
  HWND box = asWindow(window);
  RECT r;
  GetWindowRect(box, &r);
  placeWindow(box, GetParent(box), r.right - r.left, r.bottom - r.top);
  ShowWindow(box, SW_SHOW);
  BringWindowToTop(box);
}

void windowRaise(WindowHandle window) {
  HWND box = asWindow(window);
  BringWindowToTop(box);
  RedrawWindow(box, nullptr, nullptr, RDW_UPDATENOW | RDW_ALLCHILDREN);
}

void windowPlaceDialog(WindowHandle window, int32_t clientWidth, int32_t clientHeight) {
  HWND dialog = asWindow(window);
  RECT outer, inner;
  GetWindowRect(dialog, &outer);
  GetClientRect(dialog, &inner);
  int width = clientWidth + (outer.right - outer.left) - inner.right;
  int height = clientHeight + (outer.bottom - outer.top) - inner.bottom;
  MoveWindow(dialog, 0, 0, width, height, FALSE);
  placeWindow(dialog, GetParent(dialog), width, height);
}

void windowMoveChild(WindowHandle window, int32_t id, const WindowRect& rect) {
  HWND child = GetDlgItem(asWindow(window), id);
  if (child == nullptr) return;
  RECT outer, inner;
  GetWindowRect(child, &outer);
  GetClientRect(child, &inner);
  int extraWidth = (outer.right - outer.left) - inner.right;
  int extraHeight = (outer.bottom - outer.top) - inner.bottom;
  MoveWindow(child, rect.left, rect.top, rect.right - rect.left + extraWidth, rect.bottom - rect.top + extraHeight,
             FALSE);
}

WindowRect windowChildRect(WindowHandle window, int32_t id) {
  HWND child = GetDlgItem(asWindow(window), id);
  RECT r{};
  if (child == nullptr || !GetWindowRect(child, &r)) return WindowRect{};
  POINT corners[2] = {{r.left, r.top}, {r.right, r.bottom}};
  ScreenToClient(asWindow(window), &corners[0]);
  ScreenToClient(asWindow(window), &corners[1]);
  return WindowRect{corners[0].x, corners[0].y, corners[1].x, corners[1].y};
}

void windowSetText(WindowHandle window, int32_t id, const char* text) { SetDlgItemTextA(asWindow(window), id, text); }
int32_t windowGetText(WindowHandle window, int32_t id, char* text, int32_t capacity) {
  if (capacity <= 0) return 0;
  text[0] = '\0';
  return static_cast<int32_t>(GetDlgItemTextA(asWindow(window), id, text, capacity));
}
void windowSetCheck(WindowHandle window, int32_t id, bool checked) {
  SendDlgItemMessageA(asWindow(window), id, BM_SETCHECK, checked ? BST_CHECKED : BST_UNCHECKED, 0);
}
bool windowGetCheck(WindowHandle window, int32_t id) {
  return SendDlgItemMessageA(asWindow(window), id, BM_GETCHECK, 0, 0) == BST_CHECKED;
}
void windowAddListItem(WindowHandle window, int32_t id, const char* text) {
  SendDlgItemMessageA(asWindow(window), id, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(text));
}
void windowSetSelection(WindowHandle window, int32_t id, int32_t position) {
  SendDlgItemMessageA(asWindow(window), id, CB_SETCURSEL, static_cast<WPARAM>(position), 0);
}
int32_t windowGetSelection(WindowHandle window, int32_t id) {
  return static_cast<int32_t>(SendDlgItemMessageA(asWindow(window), id, CB_GETCURSEL, 0, 0));
}
void windowEnableChild(WindowHandle window, int32_t id, bool enabled) {
  if (HWND child = GetDlgItem(asWindow(window), id)) EnableWindow(child, enabled ? TRUE : FALSE);
}
void windowSetIcon(WindowHandle window, int32_t id, int32_t iconId) {
  HICON icon = LoadIconA(moduleHandle, MAKEINTRESOURCEA(iconId));
  if (icon != nullptr) SendDlgItemMessageA(asWindow(window), id, BM_SETIMAGE, IMAGE_ICON, reinterpret_cast<LPARAM>(icon));
}
void windowRepaintChild(WindowHandle window, int32_t id) {
  if (HWND child = GetDlgItem(asWindow(window), id)) InvalidateRect(child, nullptr, TRUE);
}

void windowCaptureMouse(WindowHandle window) { SetCapture(asWindow(window)); }
void windowReleaseMouse(WindowHandle) { ReleaseCapture(); }
void windowSetTimer(WindowHandle window, int32_t id, int32_t milliseconds) {
  SetTimer(asWindow(window), static_cast<UINT_PTR>(id), static_cast<UINT>(milliseconds), nullptr);
}
void windowKillTimer(WindowHandle window, int32_t id) { KillTimer(asWindow(window), static_cast<UINT_PTR>(id)); }

void windowSetCursor(WindowCursor cursor) {
  currentCursor = cursor;
  SetCursor(cursorHandle(cursor));
}

WindowCanvas* windowBeginDrawing(WindowHandle window) {
  HDC dc = GetDC(asWindow(window));
  if (dc == nullptr) return nullptr;
  return new WindowCanvas{dc, asWindow(window), nullptr};
}

void windowEndDrawing(WindowHandle window, WindowCanvas* canvas) {
  if (canvas == nullptr) return;
  if (canvas->font != nullptr) DeleteObject(canvas->font);
  ReleaseDC(asWindow(window), canvas->dc);
  delete canvas;
}

void* canvasNativeContext(WindowCanvas* canvas) { return canvas->dc; }

void canvasBitmap(WindowCanvas* canvas, int32_t bitmapId, int32_t x, int32_t y) {
  HBITMAP bitmap = LoadBitmapA(moduleHandle, MAKEINTRESOURCEA(bitmapId));
  if (bitmap == nullptr) return;
  BITMAP info{};
  GetObjectA(bitmap, sizeof info, &info);
  HDC memory = CreateCompatibleDC(canvas->dc);
  HGDIOBJ previous = SelectObject(memory, bitmap);
  BitBlt(canvas->dc, x, y, info.bmWidth, info.bmHeight, memory, 0, 0, SRCCOPY);
  SelectObject(memory, previous);
  DeleteDC(memory);
  DeleteObject(bitmap);
}

void canvasLine(WindowCanvas* canvas, int32_t x0, int32_t y0, int32_t x1, int32_t y1, int32_t width, uint32_t colour) {
  HPEN pen = CreatePen(PS_SOLID, width, RGB((colour >> 16) & 0xFF, (colour >> 8) & 0xFF, colour & 0xFF));
  HGDIOBJ previous = SelectObject(canvas->dc, pen);
  MoveToEx(canvas->dc, x0, y0, nullptr);
  LineTo(canvas->dc, x1, y1);
  SelectObject(canvas->dc, previous);
  DeleteObject(pen);
}

int32_t canvasTextWidth(WindowCanvas* canvas, const char* text) {
  HGDIOBJ previous = SelectObject(canvas->dc, canvasFont(canvas));
  RECT r{0, 0, 0, 0};
  DrawTextA(canvas->dc, text, -1, &r, DT_CALCRECT | DT_SINGLELINE | DT_NOPREFIX);
  SelectObject(canvas->dc, previous);
  return r.right - r.left;
}

void canvasText(WindowCanvas* canvas, int32_t x, int32_t y, const char* text, uint32_t colour) {
  HGDIOBJ previous = SelectObject(canvas->dc, canvasFont(canvas));
  SetBkMode(canvas->dc, TRANSPARENT);
  SetTextColor(canvas->dc, RGB((colour >> 16) & 0xFF, (colour >> 8) & 0xFF, colour & 0xFF));
  TextOutA(canvas->dc, x, y, text, lstrlenA(text));
  SelectObject(canvas->dc, previous);
}

void canvasClip(WindowCanvas* canvas, const WindowRect& r) {
  HRGN region = CreateRectRgn(r.left, r.top, r.right, r.bottom);
  SelectClipRgn(canvas->dc, region);
  DeleteObject(region);
}
void canvasUnclip(WindowCanvas* canvas) { SelectClipRgn(canvas->dc, nullptr); }
void canvasExcludeClip(WindowCanvas* canvas, const WindowRect& r) {
  ExcludeClipRect(canvas->dc, r.left, r.top, r.right, r.bottom);
}
void canvasFillWhite(WindowCanvas* canvas, const WindowRect& r) {
  RECT area{r.left, r.top, r.right, r.bottom};
  FillRect(canvas->dc, &area, static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH)));
}

void canvasPixel(WindowCanvas* canvas, int32_t x, int32_t y, uint32_t colour) {
  SetPixelV(canvas->dc, x, y, RGB((colour >> 16) & 255, (colour >> 8) & 255, colour & 255));
}

namespace {

// The pane's rectangle in the client coordinates of the hook's own dialog
// (the child template), which is where the hook paints.
WindowRect paneRect(HWND hookDialog, const FilePreviewPane* pane) {
  return windowChildRect(hookDialog, pane->paneId);
}

const FilePreviewPane* paneOf(HWND hookDialog) {
  auto* dialog = reinterpret_cast<const OPENFILENAMEA*>(GetWindowLongPtrA(hookDialog, GWLP_USERDATA));
  return dialog != nullptr ? reinterpret_cast<const FilePreviewPane*>(dialog->lCustData) : nullptr;
}

// The hook of an open dialog with a pane. The hook's window is the child
// dialog made from the template; its parent is the system's dialog.
UINT_PTR CALLBACK paneHook(HWND hookDialog, UINT message, WPARAM, LPARAM lParam) {
  switch (message) {
    case WM_INITDIALOG: {
      SetWindowLongPtrA(hookDialog, GWLP_USERDATA, lParam);
      HWND fileDialog = GetParent(hookDialog);
      RECT r;
      if (fileDialog != nullptr && GetWindowRect(fileDialog, &r))
        placeWindow(fileDialog, GetWindow(fileDialog, GW_OWNER), r.right - r.left, r.bottom - r.top);
      return TRUE;
    }
    case WM_PAINT: {
      const FilePreviewPane* pane = paneOf(hookDialog);
      PAINTSTRUCT paint;
      HDC dc = BeginPaint(hookDialog, &paint);
      if (pane != nullptr && pane->paint != nullptr && dc != nullptr) {
        WindowCanvas canvas{dc, hookDialog, nullptr};
        pane->paint(pane->context, &canvas, paneRect(hookDialog, pane));
      }
      EndPaint(hookDialog, &paint);
      return TRUE;
    }
    case WM_NOTIFY: {
      const auto* notice = reinterpret_cast<const OFNOTIFYA*>(lParam);
      if (notice == nullptr || notice->hdr.code != CDN_SELCHANGE) return FALSE;
      const FilePreviewPane* pane = paneOf(hookDialog);
      if (pane == nullptr || pane->selected == nullptr) return FALSE;
      char path[MAX_PATH] = {};
      LRESULT length = SendMessageA(GetParent(hookDialog), CDM_GETFILEPATH, MAX_PATH, reinterpret_cast<LPARAM>(path));
      // A folder or nothing selected gives an empty path or a negative answer.
      if (length < 0) path[0] = '\0';
      if (length <= MAX_PATH) {
        path[MAX_PATH - 1] = '\0';
        pane->selected(pane->context, hookDialog, path, paneRect(hookDialog, pane));
      }
      return FALSE;
    }
    case WM_DESTROY: return TRUE;
    default: return FALSE;
  }
}

}  // namespace

bool windowFileDialog(WindowHandle owner, const FileDialogRequest& request, char* path, int32_t capacity) {
  // The filter is pairs of texts, each ended by a NUL, and a NUL after all.
  char filter[160];
  int n = std::snprintf(filter, sizeof filter, "%s%c%s%c", request.filterName, '\0', request.pattern, '\0');
  if (n < 0 || n + 1 >= static_cast<int>(sizeof filter)) return false;
  filter[n] = '\0';
  OPENFILENAMEA dialog{};
  dialog.lStructSize = sizeof dialog;
  dialog.hwndOwner = asWindow(owner);
  dialog.lpstrFilter = filter;
  dialog.lpstrFile = path;
  dialog.nMaxFile = static_cast<DWORD>(capacity);
  dialog.lpstrTitle = request.title;
  dialog.lpstrDefExt = request.extension;
  dialog.Flags = OFN_HIDEREADONLY | OFN_PATHMUSTEXIST |
                 (request.kind == FILE_DIALOG_SAVE ? OFN_OVERWRITEPROMPT : OFN_FILEMUSTEXIST);
  const FilePreviewPane* pane = request.kind == FILE_DIALOG_OPEN ? request.pane : nullptr;
  // Without its template the dialog runs plain and only the pane is lost.
  if (pane != nullptr && FindResourceA(moduleHandle, pane->templateName, MAKEINTRESOURCEA(5)) != nullptr) {
    dialog.Flags |= OFN_EXPLORER | OFN_ENABLETEMPLATE | OFN_ENABLEHOOK;
    dialog.hInstance = moduleHandle;
    dialog.lpTemplateName = pane->templateName;
    dialog.lpfnHook = paneHook;
    dialog.lCustData = reinterpret_cast<LPARAM>(pane);
  }
  BOOL chosen = request.kind == FILE_DIALOG_SAVE ? GetSaveFileNameA(&dialog) : GetOpenFileNameA(&dialog);
  return chosen != FALSE;
}

int32_t windowRunAboutBox(const char* address) {
  return static_cast<int32_t>(
      DialogBoxParamA(moduleHandle, "ABOUTBOX", nullptr, aboutProc, reinterpret_cast<LPARAM>(address)));
}

int32_t windowRunInfoBox(bool (*ownerGone)()) {
  return static_cast<int32_t>(
      DialogBoxParamA(moduleHandle, "TELMO_INFO_BOX", nullptr, infoProc, reinterpret_cast<LPARAM>(ownerGone)));
}

void windowCloseBoxes() {
  if (aboutBox != nullptr) PostMessageA(aboutBox, WM_CLOSE, 0, 0);
  if (infoBox != nullptr) PostMessageA(infoBox, WM_CLOSE, 0, 0);
}
