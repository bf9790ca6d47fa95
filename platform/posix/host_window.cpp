#include "platform/host_window.h"

bool hostWindowsAvailable() { return false; }
void* hostOpenOwnerWindow(const char*) { return nullptr; }
void hostCloseOwnerWindow(void*) {}
bool hostDrawPixels(void*, int32_t, int32_t, int32_t, int32_t, int32_t, const uint8_t*, int32_t) { return false; }
