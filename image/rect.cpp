#include "image/rect.h"

namespace {

int16_t clamp16(int32_t v) { return static_cast<int16_t>(v < -32768 ? -32768 : (v > 32767 ? 32767 : v)); }

}  // namespace

Rect makeRect(int32_t top, int32_t left, int32_t bottom, int32_t right) {
  Rect r;
  r.top = clamp16(top);
  r.left = clamp16(left);
  r.bottom = clamp16(bottom);
  r.right = clamp16(right);
  return r;
}

Rect intersectRect(const Rect& a, const Rect& b) {
  int32_t top = a.top > b.top ? a.top : b.top;
  int32_t left = a.left > b.left ? a.left : b.left;
  int32_t bottom = a.bottom < b.bottom ? a.bottom : b.bottom;
  int32_t right = a.right < b.right ? a.right : b.right;
  if (bottom <= top || right <= left) return makeRect(0, 0, 0, 0);
  return makeRect(top, left, bottom, right);
}

Rect growRect(const Rect& r, int32_t margin) {
  return makeRect(r.top - margin, r.left - margin, r.bottom + margin, r.right + margin);
}

Rect offsetRect(const Rect& r, int32_t dy, int32_t dx) {
  return makeRect(r.top + dy, r.left + dx, r.bottom + dy, r.right + dx);
}

Rect scaleRect(const Rect& r, int32_t n, int32_t d) {
  return makeRect(r.top * n / d, r.left * n / d, r.bottom * n / d, r.right * n / d);
}
