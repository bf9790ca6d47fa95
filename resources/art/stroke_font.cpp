#include "resources/art/stroke_font.h"

#include <cctype>
#include <cstdlib>

namespace {

constexpr float GRID_HEIGHT = 6;
constexpr float ADVANCE = 5.6f;  // a letter of 4 and its gap
constexpr float SPACE = 3.5f;

// Each glyph: strokes separated by ';', points "x,y" separated by spaces.
const char* glyphOf(char ch) {
  switch (ch) {
    case 'A': return "0,6 2,0 4,6;0.7,4 3.3,4";
    case 'B': return "0,3 3,3 4,4 4,5 3,6 0,6 0,0 2.7,0 3.6,0.8 3.6,2.2 2.7,3";
    case 'C': return "4,1 3,0 1,0 0,1 0,5 1,6 3,6 4,5";
    case 'D': return "0,0 0,6 2.4,6 4,4.5 4,1.5 2.4,0 0,0";
    case 'E': return "4,0 0,0 0,6 4,6;0,3 3,3";
    case 'F': return "4,0 0,0 0,6;0,3 3,3";
    case 'G': return "4,1 3,0 1,0 0,1 0,5 1,6 3,6 4,5 4,3.5 2.3,3.5";
    case 'H': return "0,0 0,6;4,0 4,6;0,3 4,3";
    case 'I': return "0.5,0 0.5,6";
    case 'J': return "4,0 4,5 3,6 1,6 0,5";
    case 'K': return "0,0 0,6;4,0 0,3.6;1.5,2.6 4,6";
    case 'L': return "0,0 0,6 4,6";
    case 'M': return "0,6 0,0 2,4 4,0 4,6";
    case 'N': return "0,6 0,0 4,6 4,0";
    case 'O': return "1,0 3,0 4,1 4,5 3,6 1,6 0,5 0,1 1,0";
    case 'P': return "0,6 0,0 3,0 4,1 4,2 3,3 0,3";
    case 'Q': return "1,0 3,0 4,1 4,5 3,6 1,6 0,5 0,1 1,0;2.6,4.6 4,6";
    case 'R': return "0,6 0,0 3,0 4,1 4,2 3,3 0,3;2,3 4,6";
    case 'S': return "4,1 3,0 1,0 0,1 0,2 1,3 3,3 4,4 4,5 3,6 1,6 0,5";
    case 'T': return "0,0 4,0;2,0 2,6";
    case 'U': return "0,0 0,5 1,6 3,6 4,5 4,0";
    case 'V': return "0,0 2,6 4,0";
    case 'W': return "0,0 1,6 2,2.5 3,6 4,0";
    case 'X': return "0,0 4,6;4,0 0,6";
    case 'Y': return "0,0 2,3 4,0;2,3 2,6";
    case 'Z': return "0,0 4,0 0,6 4,6";
    case '0': return "1,0 3,0 4,1 4,5 3,6 1,6 0,5 0,1 1,0";
    case '1': return "1,1 2,0 2,6;1,6 3,6";
    case '2': return "0,1 1,0 3,0 4,1 4,2 0,6 4,6";
    case '3': return "0,0 4,0 2,2.5 3,2.5 4,3.5 4,5 3,6 1,6 0,5";
    case '4': return "3,6 3,0 0,4 4,4";
    case '5': return "4,0 0,0 0,2.6 3,2.6 4,3.6 4,5 3,6 0,6";
    case '6': return "3.5,0 1,0 0,1 0,5 1,6 3,6 4,5 4,4 3,3 0,3";
    case '7': return "0,0 4,0 1.5,6";
    case '8': return "1,3 0,2 0,1 1,0 3,0 4,1 4,2 3,3 1,3 0,4 0,5 1,6 3,6 4,5 4,4 3,3";
    case '9': return "4,3 1,3 0,2 0,1 1,0 3,0 4,1 4,5 3,6 0.5,6";
    case '.': return "0.5,6 0.5,6";
    case ',': return "0.8,5.6 0.2,7";
    case ':': return "0.5,1.8 0.5,1.8;0.5,5.5 0.5,5.5";
    case '-': return "0.4,3.3 3,3.3";
    case '+': return "0,3.2 3.6,3.2;1.8,1.4 1.8,5";
    case '/': return "0,6 3,0";
    case '%': return "0,6 4,0;0.6,0.6 0.6,0.6;3.4,5.4 3.4,5.4";
    case '\'': return "0.5,0 0.5,1.5";
    default: return nullptr;
  }
}

// How wide a glyph's ink is, in grid units.
float glyphWidth(char ch) {
  switch (ch) {
    case '.': case ',': case ':': case '\'': case 'I': return 1;
    case '-': return 3;
    case '+': return 3.6f;
    case '/': return 3;
    default: return 4;
  }
}

float advanceOf(char ch, float tracking) {
  if (glyphOf(ch) == nullptr) return SPACE + tracking;
  return glyphWidth(ch) + (ADVANCE - 4) + tracking;
}

}  // namespace

float textWidth(const char* text, float capHeight, float tracking) {
  float units = 0;
  for (const char* p = text; *p; ++p) units += advanceOf(char(std::toupper(static_cast<unsigned char>(*p))), tracking);
  if (*text) units -= (ADVANCE - 4) + tracking;  // no gap after the last letter
  return units * capHeight / GRID_HEIGHT;
}

float drawText(Raster& r, const char* text, float x, float y, float capHeight, Colour c, float tracking) {
  const float s = capHeight / GRID_HEIGHT;
  const float weight = capHeight < 12 ? 0.85f + capHeight * 0.04f : capHeight * 0.12f;
  float cursor = 0;
  for (const char* p = text; *p; ++p) {
    const char ch = char(std::toupper(static_cast<unsigned char>(*p)));
    if (const char* glyph = glyphOf(ch)) {
      // Read the strokes: points until ';' or the end.
      const char* q = glyph;
      while (*q) {
        float px = 0, py = 0;
        bool first = true;
        while (*q && *q != ';') {
          char* end = nullptr;
          const float gx = std::strtof(q, &end);
          const float gy = std::strtof(end + 1, &end);
          q = end;
          while (*q == ' ') ++q;
          const float ax = x + (cursor + gx) * s, ay = y + gy * s;
          if (!first) fill(r, line(px, py, ax, ay, weight), c);
          px = ax, py = ay;
          first = false;
        }
        if (*q == ';') ++q;
      }
    }
    cursor += advanceOf(ch, tracking);
  }
  return cursor * s;
}
