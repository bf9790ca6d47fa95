// Strokes into the one-byte plane of the two-pass styles: the bilinear dot
// and the marching-squares cell that places one dot per contour segment.
#include "core/session.h"
#include "engine/styles.h"
#include "numeric/portable_math.h"

namespace {

// Raises one cell to the share if the share is larger, at most 255. The
// read clamps, the write drops cells outside the plane.
inline void raiseCell(PixelMap* plane, int32_t x, int32_t y, float share) {
  float old = static_cast<float>(getByte(x, y, plane, 0));
  float v = share > old ? share : old;
  if (v > 255.0f) v = 255.0f;
  setByte(x, y, plane, 0, static_cast<uint8_t>(static_cast<int32_t>(v)));
}

// The same raise on a cell known to lie inside the plane.
inline void raiseInside(uint8_t* cell, float share) {
  float old = static_cast<float>(*cell);
  float v = share > old ? share : old;
  if (v > 255.0f) v = 255.0f;
  *cell = static_cast<uint8_t>(static_cast<int32_t>(v));
}

}  // namespace

void drawStrokeDot(float x, float y, PixelMap* plane, float value) {
  if (pixelMapEmpty(plane)) return;
  // A dot whose four cells all lie outside the plane changes nothing; the
  // test also keeps the conversions below defined for any coordinate.
  if (!(x > -2.0f && y > -2.0f && x < static_cast<float>(plane->baseWidth) + 1.0f &&
        y < static_cast<float>(plane->baseHeight) + 1.0f))
    return;
  int32_t ix = x >= 0.0f ? static_cast<int32_t>(x) : static_cast<int32_t>(x - 1.0);
  int32_t iy = y >= 0.0f ? static_cast<int32_t>(y) : static_cast<int32_t>(y - 1.0);
  float fx = x - static_cast<float>(ix), fy = y - static_cast<float>(iy);
  float left = value - value * fx, right = value * fx;
  if (ix >= 0 && iy >= 0 && ix < plane->levelMaxX[0] && iy < plane->levelMaxY[0]) {
    // All four cells inside: no clamp can make one cell's read see another
    // cell's write, so the cells are raised in place in the same order.
    uint8_t* top = pixelAddress(plane, ix, iy, 0);
    uint8_t* bottom = pixelAddress(plane, ix, iy + 1, 0);
    const int32_t step = plane->bytesPerPixel;
    raiseInside(top, left - left * fy);
    raiseInside(top + step, right - right * fy);
    raiseInside(bottom, left * fy);
    raiseInside(bottom + step, right * fy);
    return;
  }
  raiseCell(plane, ix, iy, left - left * fy);
  raiseCell(plane, ix + 1, iy, right - right * fy);
  raiseCell(plane, ix, iy + 1, left * fy);
  raiseCell(plane, ix + 1, iy + 1, right * fy);
}

namespace {

// Where the level crosses the side from corner p to corner q, 0..1 from p.
// Both forms are bp / (bp - bq) but for rounding: the first is the rounded
// quotient, the second is taken in double from it.
inline double crossing(float bp, float bq) {
  if (bp > bq) return static_cast<double>(-bp / (bq - bp));
  float q = -bq / (bp - bq);
  return 1.0 - static_cast<double>(q);
}

struct ContourDot {
  double x0, y0, x1, y1;
};

inline void dotForSegment(const ContourDot& s, int32_t x, int32_t y, PixelMap* plane, int32_t value) {
  double dx = s.x0 - s.x1, dy = s.y0 - s.y1;
  double strength = numeric::squareRoot(dy * dy + dx * dx) * value;
  drawStrokeDot(static_cast<float>((s.x0 + s.x1) / 2.0 + x), static_cast<float>((s.y0 + s.y1) / 2.0 + y), plane,
                static_cast<float>(strength));
}

}  // namespace

void contourCell(float a00, float a01, float a10, float a11, float threshold, int32_t x, int32_t y, PixelMap* plane,
                 int32_t value) {
  float b00 = a00 - threshold, b01 = a01 - threshold, b10 = a10 - threshold, b11 = a11 - threshold;
  int32_t index = (a00 > threshold ? 1 : 0) + (a01 > threshold ? 2 : 0) + (a10 > threshold ? 4 : 0) +
                  (a11 > threshold ? 8 : 0);
  // The four sides' crossings, each computed only where the case uses it.
  auto top = [&] { return crossing(b00, b01); };     // (t, 0)
  auto left = [&] { return crossing(b00, b10); };    // (0, t)
  auto right = [&] { return crossing(b01, b11); };   // (1, t)
  auto bottom = [&] { return crossing(b10, b11); };  // (t, 1)
  switch (index) {
    case 1:
    case 14:
      dotForSegment({top(), 0.0, 0.0, left()}, x, y, plane, value);
      break;
    case 2:
    case 13:
      dotForSegment({top(), 0.0, 1.0, right()}, x, y, plane, value);
      break;
    case 3:
    case 12:
      dotForSegment({0.0, left(), 1.0, right()}, x, y, plane, value);
      break;
    case 4:
    case 11:
      dotForSegment({bottom(), 1.0, 0.0, left()}, x, y, plane, value);
      break;
    case 5:
    case 10:
      dotForSegment({top(), 0.0, bottom(), 1.0}, x, y, plane, value);
      break;
    case 6:
      dotForSegment({top(), 0.0, 1.0, right()}, x, y, plane, value);
      dotForSegment({bottom(), 1.0, 0.0, left()}, x, y, plane, value);
      break;
    case 7:
    case 8:
      dotForSegment({bottom(), 1.0, 1.0, right()}, x, y, plane, value);
      break;
    case 9:
      dotForSegment({top(), 0.0, 0.0, left()}, x, y, plane, value);
      dotForSegment({bottom(), 1.0, 1.0, right()}, x, y, plane, value);
      break;
    default:  // 0 and 15: no crossing
      break;
  }
}
