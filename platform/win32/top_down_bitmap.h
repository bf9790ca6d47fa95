// The header of a top-down device-independent bitmap without a palette: row
// 0 is the top row, `bits` 24 (blue, green, red) or 32 (blue, green, red,
// unused) a pixel. Shared by the host's drawing and the tests' capture.
#pragma once

#include <windows.h>

inline BITMAPINFO topDownBitmapInfo(int width, int height, WORD bits) {
  BITMAPINFO info{};
  info.bmiHeader.biSize = sizeof info.bmiHeader;
  info.bmiHeader.biWidth = width;
  info.bmiHeader.biHeight = -height;
  info.bmiHeader.biPlanes = 1;
  info.bmiHeader.biBitCount = bits;
  info.bmiHeader.biCompression = BI_RGB;
  return info;
}
