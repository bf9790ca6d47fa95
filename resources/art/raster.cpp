#include "resources/art/raster.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr float PI = 3.14159265f;
constexpr int SAMPLES = 4;  // per side of a pixel

uint8_t toByte(float v) { return uint8_t(std::clamp(v, 0.0f, 255.0f) + 0.5f); }

float distanceToSegment(float px, float py, float x0, float y0, float x1, float y1) {
  const float dx = x1 - x0, dy = y1 - y0;
  const float length2 = dx * dx + dy * dy;
  float t = length2 > 0 ? ((px - x0) * dx + (py - y0) * dy) / length2 : 0;
  t = std::clamp(t, 0.0f, 1.0f);
  const float ex = px - (x0 + t * dx), ey = py - (y0 + t * dy);
  return std::sqrt(ex * ex + ey * ey);
}

}  // namespace

Colour mix(Colour a, Colour b, float t) {
  return Colour{toByte(a.r + (b.r - a.r) * t), toByte(a.g + (b.g - a.g) * t), toByte(a.b + (b.b - a.b) * t),
                toByte(a.a + (b.a - a.a) * t)};
}

Raster makeRaster(int32_t width, int32_t height, Colour fill) {
  Raster r;
  r.width = width;
  r.height = height;
  r.pixels.assign(size_t(width) * size_t(height), fill);
  return r;
}

void blendPixel(Raster& r, int32_t x, int32_t y, Colour c, float coverage) {
  if (x < 0 || y < 0 || x >= r.width || y >= r.height || coverage <= 0) return;
  Colour& d = r.at(x, y);
  const float sa = c.a / 255.0f * std::min(coverage, 1.0f);
  const float da = d.a / 255.0f;
  const float oa = sa + da * (1 - sa);
  if (oa <= 0) return;
  auto channel = [&](uint8_t s, uint8_t t) { return toByte((s * sa + t * da * (1 - sa)) / oa); };
  d = Colour{channel(c.r, d.r), channel(c.g, d.g), channel(c.b, d.b), toByte(oa * 255)};
}

void fillRect(Raster& r, int32_t x0, int32_t y0, int32_t x1, int32_t y1, Colour c) {
  for (int32_t y = std::max(y0, 0); y < std::min(y1, r.height); ++y)
    for (int32_t x = std::max(x0, 0); x < std::min(x1, r.width); ++x) blendPixel(r, x, y, c, 1);
}

void drawRaster(Raster& r, const Raster& piece, int32_t x, int32_t y) {
  for (int32_t py = 0; py < piece.height; ++py)
    for (int32_t px = 0; px < piece.width; ++px) blendPixel(r, x + px, y + py, piece.at(px, py), 1);
}

Shape roundedRect(float x0, float y0, float x1, float y1, float radius) {
  return Shape{x0, y0, x1, y1, [=](float x, float y) {
                 if (x < x0 || x > x1 || y < y0 || y > y1) return false;
                 const float cx = std::clamp(x, x0 + radius, x1 - radius);
                 const float cy = std::clamp(y, y0 + radius, y1 - radius);
                 return (x - cx) * (x - cx) + (y - cy) * (y - cy) <= radius * radius;
               }};
}

Shape disc(float cx, float cy, float radius) {
  return Shape{cx - radius, cy - radius, cx + radius, cy + radius,
               [=](float x, float y) { return (x - cx) * (x - cx) + (y - cy) * (y - cy) <= radius * radius; }};
}

Shape ring(float cx, float cy, float inner, float outer) {
  return Shape{cx - outer, cy - outer, cx + outer, cy + outer, [=](float x, float y) {
                 const float d2 = (x - cx) * (x - cx) + (y - cy) * (y - cy);
                 return d2 <= outer * outer && d2 >= inner * inner;
               }};
}

Shape line(float x0, float y0, float x1, float y1, float width) {
  const float h = width / 2;
  return Shape{std::min(x0, x1) - h, std::min(y0, y1) - h, std::max(x0, x1) + h, std::max(y0, y1) + h,
               [=](float x, float y) { return distanceToSegment(x, y, x0, y0, x1, y1) <= h; }};
}

Shape arc(float cx, float cy, float radius, float width, float fromDegrees, float toDegrees) {
  const float outer = radius + width / 2, inner = radius - width / 2;
  return Shape{cx - outer, cy - outer, cx + outer, cy + outer, [=](float x, float y) {
                 const float d2 = (x - cx) * (x - cx) + (y - cy) * (y - cy);
                 if (d2 > outer * outer || d2 < inner * inner) return false;
                 float a = std::atan2(x - cx, cy - y) * 180 / PI;  // clockwise from up
                 if (a < fromDegrees) a += 360;
                 return a <= toDegrees;
               }};
}

Shape polygon(std::vector<Point> points) {
  float x0 = 1e9f, y0 = 1e9f, x1 = -1e9f, y1 = -1e9f;
  for (const Point& p : points) {
    x0 = std::min(x0, p.x), y0 = std::min(y0, p.y), x1 = std::max(x1, p.x), y1 = std::max(y1, p.y);
  }
  return Shape{x0, y0, x1, y1, [points](float x, float y) {
                 bool in = false;
                 for (size_t i = 0, j = points.size() - 1; i < points.size(); j = i++) {
                   const Point& a = points[i];
                   const Point& b = points[j];
                   if ((a.y > y) != (b.y > y) && x < (b.x - a.x) * (y - a.y) / (b.y - a.y) + a.x) in = !in;
                 }
                 return in;
               }};
}

Shape unite(Shape a, Shape b) {
  return Shape{std::min(a.x0, b.x0), std::min(a.y0, b.y0), std::max(a.x1, b.x1), std::max(a.y1, b.y1),
               [a, b](float x, float y) { return a.inside(x, y) || b.inside(x, y); }};
}

Shape subtract(Shape a, Shape b) {
  return Shape{a.x0, a.y0, a.x1, a.y1, [a, b](float x, float y) { return a.inside(x, y) && !b.inside(x, y); }};
}

Paint solid(Colour c) {
  return [c](float, float) { return c; };
}

Paint verticalGradient(float y0, Colour top, float y1, Colour bottom) {
  return [=](float, float y) { return mix(top, bottom, std::clamp((y - y0) / (y1 - y0), 0.0f, 1.0f)); };
}

void fill(Raster& r, const Shape& shape, const Paint& paint) {
  const int32_t left = std::max(0, int32_t(std::floor(shape.x0)) - 1);
  const int32_t top = std::max(0, int32_t(std::floor(shape.y0)) - 1);
  const int32_t right = std::min(r.width, int32_t(std::ceil(shape.x1)) + 1);
  const int32_t bottom = std::min(r.height, int32_t(std::ceil(shape.y1)) + 1);
  for (int32_t y = top; y < bottom; ++y) {
    for (int32_t x = left; x < right; ++x) {
      int hits = 0;
      for (int sy = 0; sy < SAMPLES; ++sy)
        for (int sx = 0; sx < SAMPLES; ++sx)
          if (shape.inside(x + (sx + 0.5f) / SAMPLES, y + (sy + 0.5f) / SAMPLES)) ++hits;
      if (hits > 0) blendPixel(r, x, y, paint(x + 0.5f, y + 0.5f), float(hits) / (SAMPLES * SAMPLES));
    }
  }
}

void fill(Raster& r, const Shape& shape, Colour c) { fill(r, shape, solid(c)); }
