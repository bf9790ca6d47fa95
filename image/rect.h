// Rectangle algebra on the host's 16-bit rectangles (top, left, bottom,
// right; bottom and right one past the last pixel). One small set of free
// functions, used by the plug-in and the substitute host alike.
#pragma once

#include <cstdint>

#include "pi/plugin_interface.h"

inline bool rectEmpty(const Rect& r) { return r.right <= r.left || r.bottom <= r.top; }
// Sizes of an empty rectangle are 0, never negative.
inline int32_t rectWidth(const Rect& r) { return rectEmpty(r) ? 0 : int32_t(r.right) - r.left; }
inline int32_t rectHeight(const Rect& r) { return rectEmpty(r) ? 0 : int32_t(r.bottom) - r.top; }

// Coordinates beyond 16 bits are held at the ends of the range.
Rect makeRect(int32_t top, int32_t left, int32_t bottom, int32_t right);
// All zero when the two do not meet.
Rect intersectRect(const Rect& a, const Rect& b);
Rect growRect(const Rect& r, int32_t margin);
Rect offsetRect(const Rect& r, int32_t dy, int32_t dx);
// Each coordinate times n over d, truncated toward zero.
Rect scaleRect(const Rect& r, int32_t n, int32_t d);
