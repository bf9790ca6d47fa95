// A small RGBA raster for drawing the dialog's art: rectangles, and shapes
// given as inside-tests that are filled with 4 x 4 coverage, so that round
// edges come out smooth at their natural size.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

struct Colour {
  uint8_t r, g, b, a;
};
constexpr Colour rgb(uint32_t hex, uint8_t alpha = 255) {
  return Colour{uint8_t(hex >> 16), uint8_t(hex >> 8), uint8_t(hex), alpha};
}
// The straight mix of two colours, t = 0 gives a, t = 1 gives b.
Colour mix(Colour a, Colour b, float t);

struct Raster {
  int32_t width = 0, height = 0;
  std::vector<Colour> pixels;  // rows top to bottom
  Colour& at(int32_t x, int32_t y) { return pixels[size_t(y) * size_t(width) + size_t(x)]; }
  Colour at(int32_t x, int32_t y) const { return pixels[size_t(y) * size_t(width) + size_t(x)]; }
};
Raster makeRaster(int32_t width, int32_t height, Colour fill);

// Source-over of a colour at a pixel, its alpha scaled by coverage.
void blendPixel(Raster& r, int32_t x, int32_t y, Colour c, float coverage);
// Pixels x0..x1-1, y0..y1-1, clipped to the raster.
void fillRect(Raster& r, int32_t x0, int32_t y0, int32_t x1, int32_t y1, Colour c);
// Another raster at x, y, blended by its alpha.
void drawRaster(Raster& r, const Raster& piece, int32_t x, int32_t y);

// A region of the plane (pixel x, y covers [x, x+1) x [y, y+1)) with the box
// that holds it.
struct Shape {
  float x0, y0, x1, y1;
  std::function<bool(float, float)> inside;
};
Shape roundedRect(float x0, float y0, float x1, float y1, float radius);
Shape disc(float cx, float cy, float radius);
Shape ring(float cx, float cy, float inner, float outer);
// A stroke from one point to another with round ends.
Shape line(float x0, float y0, float x1, float y1, float width);
// Part of a ring from one angle to another, degrees clockwise from 12 o'clock.
Shape arc(float cx, float cy, float radius, float width, float fromDegrees, float toDegrees);
struct Point {
  float x, y;
};
Shape polygon(std::vector<Point> points);
Shape unite(Shape a, Shape b);
Shape subtract(Shape a, Shape b);

using Paint = std::function<Colour(float x, float y)>;
Paint solid(Colour c);
// Top to bottom between y0 and y1.
Paint verticalGradient(float y0, Colour top, float y1, Colour bottom);

void fill(Raster& r, const Shape& shape, const Paint& paint);
void fill(Raster& r, const Shape& shape, Colour c);
