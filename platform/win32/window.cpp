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
