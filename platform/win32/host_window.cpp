#include "platform/host_window.h"

#include <windows.h>

#include <vector>

#include "platform/win32/top_down_bitmap.h"

namespace {

constexpr const char* OWNER_CLASS = "MarrowlineHostWindow";

LRESULT CALLBACK ownerProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  return DefWindowProcA(window, message, wParam, lParam);
}

}  // namespace

bool hostWindowsAvailable() { return true; }

void* hostOpenOwnerWindow(const char* title) {
  HINSTANCE instance = GetModuleHandleA(nullptr);
  WNDCLASSA windowClass{};
  if (!GetClassInfoA(instance, OWNER_CLASS, &windowClass)) {
    windowClass.lpfnWndProc = ownerProc;
    windowClass.hInstance = instance;
    windowClass.hCursor = LoadCursorA(nullptr, MAKEINTRESOURCEA(32512));
    windowClass.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_APPWORKSPACE + 1);
    windowClass.lpszClassName = OWNER_CLASS;
    if (RegisterClassA(&windowClass) == 0) return nullptr;
  }
  // As large as the dialog and a margin, so that it centres on its owner.
  HWND window = CreateWindowExA(0, OWNER_CLASS, title, WS_OVERLAPPEDWINDOW, 0, 0, 1000, 680, nullptr, nullptr,
                                instance, nullptr);
  if (window == nullptr) return nullptr;
  ShowWindow(window, SW_SHOWNORMAL);
  UpdateWindow(window);
  return window;
}

void hostCloseOwnerWindow(void* window) {
  if (window != nullptr) DestroyWindow(static_cast<HWND>(window));
}

bool hostDrawPixels(void* context, int32_t left, int32_t top, int32_t width, int32_t height, int32_t planes,
                    const uint8_t* samples, int32_t rowBytes) {
  if (context == nullptr || samples == nullptr || width <= 0 || height <= 0 || (planes != 1 && planes != 3))
    return false;
  // A top-down 24-bit device-independent bitmap: blue, green, red, each row
  // padded to four bytes.
  const int32_t dibRowBytes = (width * 3 + 3) & ~3;
  std::vector<uint8_t> dib(size_t(dibRowBytes) * size_t(height));
  for (int32_t y = 0; y < height; ++y) {
    const uint8_t* in = samples + size_t(y) * size_t(rowBytes);
    uint8_t* out = &dib[size_t(y) * size_t(dibRowBytes)];
    for (int32_t x = 0; x < width; ++x, in += planes, out += 3) {
      out[0] = in[planes == 3 ? 2 : 0];
      out[1] = in[planes == 3 ? 1 : 0];
      out[2] = in[0];
    }
  }
  BITMAPINFO info = topDownBitmapInfo(width, height, 24);
  const int lines = SetDIBitsToDevice(static_cast<HDC>(context), left, top, DWORD(width), DWORD(height), 0, 0, 0,
                                      UINT(height), dib.data(), &info, DIB_RGB_COLORS);
  return lines == height;
}
