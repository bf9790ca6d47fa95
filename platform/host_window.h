// The host's side of a window system, for marrowline-host: a main window
// that owns the plug-in's dialog as a paint program's window would, and
// pictures drawn into the device context the plug-in hands to displayPixels.
// The native build has no window system: no owner, nothing drawn.
#pragma once

#include <cstdint>

// Whether this build can show the plug-in's dialog at all.
bool hostWindowsAvailable();

// A plain visible top-level window; null when there is none.
void* hostOpenOwnerWindow(const char* title);
void hostCloseOwnerWindow(void* window);

// 8-bit samples, `planes` of them per pixel (1 grey, 3 RGB) one beside the
// other, `rowBytes` apart, drawn with their top-left corner at (left, top)
// of the context. False when nothing could be drawn.
bool hostDrawPixels(void* context, int32_t left, int32_t top, int32_t width, int32_t height, int32_t planes,
                    const uint8_t* samples, int32_t rowBytes);
