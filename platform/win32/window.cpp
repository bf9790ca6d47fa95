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

void platformShowRefusal(const char* title, const char* text) {
  ++refusals;
  lastRefusal = text;
  MessageBoxA(nullptr, text, title, MB_OK | MB_ICONSTOP | MB_TASKMODAL | MB_SETFOREGROUND);
}

int platformRefusalCount() { return refusals; }
const char* platformLastRefusal() { return lastRefusal; }
