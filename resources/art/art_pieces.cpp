#include "resources/art/art_pieces.h"

#include <cmath>
#include <utility>

#include "dialog/dialog_tables.h"
#include "resources/art/art_preview.h"
#include "resources/art/stroke_font.h"

namespace {

// The palette.
constexpr Colour PANEL_TOP = rgb(0xE7E9ED);
constexpr Colour PANEL_BOTTOM = rgb(0xDCDFE4);
constexpr Colour CARD = rgb(0xEBEDF0);
constexpr Colour CARD_EDGE = rgb(0xCDD1D8);
constexpr Colour WELL = rgb(0xF5F6F8);
constexpr Colour WELL_SHADOW = rgb(0xBFC5CE);
constexpr Colour HIGHLIGHT = rgb(0xFFFFFF);
constexpr Colour FIELD = rgb(0xFFFFFF);
constexpr Colour FIELD_EDGE = rgb(0xAEB5BF);
constexpr Colour INK = rgb(0x38404F);
constexpr Colour INK_SOFT = rgb(0x7A8291);
constexpr Colour INK_FAINT = rgb(0xB4BAC3);
constexpr Colour ACCENT = rgb(0xE4801F);
constexpr Colour ACCENT_LIGHT = rgb(0xF6A656);
constexpr Colour ACCENT_DARK = rgb(0xA85A10);
constexpr Colour DOT_DARK = rgb(0x8A919D);
constexpr Colour CLEAR = rgb(0xFFFFFF, 0);

WindowRect placeOf(int32_t id) { return placedRect(*controlRowOf(id)); }

Raster crop(const Raster& from, int32_t x, int32_t y, int32_t width, int32_t height) {
  Raster r = makeRaster(width, height, CLEAR);
  for (int32_t j = 0; j < height; ++j)
    for (int32_t i = 0; i < width; ++i) r.at(i, j) = from.at(x + i, y + j);
  return r;
}

// A sunken rounded area: a shadow line along its top, a light lip below.
void well(Raster& r, float x0, float y0, float x1, float y1, float radius, Colour face = WELL) {
  fill(r, roundedRect(x0, y0 + 1, x1, y1 + 1, radius), HIGHLIGHT);
  fill(r, roundedRect(x0, y0, x1, y1, radius), WELL_SHADOW);
  fill(r, roundedRect(x0 + 0.6f, y0 + 1, x1 - 0.6f, y1 - 0.6f, radius - 0.6f), face);
}

void wellAround(Raster& r, const WindowRect& rect, float margin, float radius) {
  well(r, rect.left - margin, rect.top - margin, rect.right + margin, rect.bottom + margin, radius);
}

// A raised card: a faint edge, a lighter face.
void card(Raster& r, float x0, float y0, float x1, float y1) {
  fill(r, roundedRect(x0, y0, x1, y1, 6), CARD_EDGE);
  fill(r, roundedRect(x0 + 1, y0 + 1, x1 - 1, y1 - 1, 5), verticalGradient(y0, rgb(0xF0F2F4), y1, CARD));
}

// Centre of a dot's 8 x 8 face, which is copied to its left, top + 2.
Point dotCentre(const DotPlace& p) { return Point{p.left + 4.0f, p.top + 6.0f}; }

// --- icon glyphs, drawn in a 24-unit box scaled to the size asked ----------

enum Glyph { GLYPH_N, GLYPH_LOAD, GLYPH_SAVE, GLYPH_DIE, GLYPH_UNDO, GLYPH_RING, GLYPH_DOCUMENT, GLYPH_MINUS,
             GLYPH_PLUS, GLYPH_INFO, GLYPH_PAGE };

struct Pen {
  Raster& r;
  float x, y, s;  // origin and scale
  Shape line(float ax, float ay, float bx, float by, float w) const {
    return ::line(x + ax * s, y + ay * s, x + bx * s, y + by * s, w * s);
  }
  Shape disc(float cx, float cy, float radius) const { return ::disc(x + cx * s, y + cy * s, radius * s); }
  Shape ring(float cx, float cy, float inner, float outer) const {
    return ::ring(x + cx * s, y + cy * s, inner * s, outer * s);
  }
  Shape box(float ax, float ay, float bx, float by, float radius) const {
    return roundedRect(x + ax * s, y + ay * s, x + bx * s, y + by * s, radius * s);
  }
  Shape poly(std::vector<Point> points) const {
    for (Point& p : points) p = Point{x + p.x * s, y + p.y * s};
    return polygon(points);
  }
  Shape arc(float cx, float cy, float radius, float w, float from, float to) const {
    return ::arc(x + cx * s, y + cy * s, radius * s, w * s, from, to);
  }
};

constexpr float STROKE = 3.0f;

// A disc with a hole, the stored settings.
void storageDisc(const Pen& p, float cx) {
  fill(p.r, p.disc(cx, 12, 6), INK);
  fill(p.r, p.disc(cx, 12, 1.8f), CLEAR);
}

void rightArrow(const Pen& p, float from, float to) {
  fill(p.r, p.line(from, 12, to - 4, 12, STROKE), ACCENT);
  fill(p.r, p.poly({{to, 12}, {to - 6, 6.5f}, {to - 6, 17.5f}}), ACCENT);
}

// A page with a folded corner, white inside.
void page(const Pen& p) {
  fill(p.r, p.poly({{5, 2.5f}, {14.5f, 2.5f}, {19.5f, 7.5f}, {19.5f, 21.5f}, {5, 21.5f}}), INK);
  fill(p.r, p.poly({{6.6f, 4.1f}, {13.8f, 4.1f}, {17.9f, 8.2f}, {17.9f, 19.9f}, {6.6f, 19.9f}}), HIGHLIGHT);
  fill(p.r, p.poly({{13.6f, 3}, {13.6f, 8.4f}, {19, 8.4f}}), INK);
}

void drawGlyph(Raster& r, Glyph glyph, float x, float y, float size) {
  const Pen p{r, x, y, size / 24};
  switch (glyph) {
    case GLYPH_N:
      fill(r, p.line(6, 19.5f, 6, 4.5f, STROKE), INK);
      fill(r, p.line(6, 4.5f, 18, 19.5f, STROKE), INK);
      fill(r, p.line(18, 19.5f, 18, 4.5f, STROKE), INK);
      break;
    case GLYPH_LOAD:  // out of the disc
      storageDisc(p, 7.5f);
      rightArrow(p, 14.5f, 23);
      break;
    case GLYPH_SAVE:  // into the disc
      rightArrow(p, 1, 10);
      storageDisc(p, 16.5f);
      break;
    case GLYPH_DIE:
      fill(r, p.box(3.5f, 3.5f, 20.5f, 20.5f, 4), INK);
      fill(r, p.box(5.1f, 5.1f, 18.9f, 18.9f, 2.6f), HIGHLIGHT);
      for (Point pip : {Point{8.4f, 8.4f}, Point{15.6f, 8.4f}, Point{12, 12}, Point{8.4f, 15.6f}, Point{15.6f, 15.6f}})
        fill(r, p.disc(pip.x, pip.y, 1.75f), pip.x == 12 ? ACCENT : INK);
      break;
    case GLYPH_UNDO:  // over the top and down the right, back to the left
      fill(r, p.arc(12.5f, 13, 7, STROKE, -12, 200), INK);
      fill(r, p.poly({{3, 6}, {11, 1.2f}, {11, 10.8f}}), INK);
      break;
    case GLYPH_RING:
      fill(r, p.ring(12, 12, 5, 8.3f), INK);
      break;
    case GLYPH_DOCUMENT:
      page(p);
      fill(r, p.line(9, 11.5f, 15.5f, 11.5f, 1.6f), ACCENT);
      fill(r, p.line(9, 14.5f, 15.5f, 14.5f, 1.6f), INK_SOFT);
      fill(r, p.line(9, 17.5f, 13.5f, 17.5f, 1.6f), INK_SOFT);
      break;
    case GLYPH_MINUS:
      fill(r, p.line(5, 12, 19, 12, STROKE), INK);
      break;
    case GLYPH_PLUS:
      fill(r, p.line(5, 12, 19, 12, STROKE), INK);
      fill(r, p.line(12, 5, 12, 19, STROKE), INK);
      break;
    case GLYPH_INFO:
      fill(r, p.disc(12.3f, 5.2f, 2.2f), INK);
      fill(r, p.line(12.3f, 10, 12.3f, 18.5f, STROKE), INK);
      fill(r, p.line(9, 10, 12.3f, 10, 2.4f), INK);
      fill(r, p.line(8.5f, 19.5f, 16, 19.5f, 2.2f), INK);
      break;
    case GLYPH_PAGE:  // a page of presets: a sheet of little pictures
      page(p);
      fill(r, p.box(8.3f, 9.5f, 11.6f, 12.8f, 0.6f), ACCENT);
      fill(r, p.box(13, 9.5f, 16.3f, 12.8f, 0.6f), INK_SOFT);
      fill(r, p.box(8.3f, 14.3f, 11.6f, 17.6f, 0.6f), INK_SOFT);
      fill(r, p.box(13, 14.3f, 16.3f, 17.6f, 0.6f), ACCENT);
      break;
  }
}

// The icon of each icon button, by its resource number.
struct NamedGlyph {
  int32_t iconId;
  const char* name;
  Glyph glyph;
};
constexpr NamedGlyph ICON_GLYPHS[] = {
    {231, "next_glue", GLYPH_N}, {240, "load", GLYPH_LOAD},        {241, "save", GLYPH_SAVE},
    {237, "randomize", GLYPH_DIE}, {242, "undo", GLYPH_UNDO},       {225, "plain", GLYPH_RING},
    {232, "export_psd", GLYPH_DOCUMENT}, {169, "zoom_out", GLYPH_MINUS}, {5, "zoom_in", GLYPH_PLUS},
    {235, "info", GLYPH_INFO},   {236, "presets_page", GLYPH_PAGE}};

ArtPiece icon(int32_t id, const char* name, Glyph glyph, int32_t size) {
  Raster r = makeRaster(size, size, CLEAR);
  drawGlyph(r, glyph, 0, 0, float(size));
  return ArtPiece{ART_ICON, id, name, r};
}

// --- the skin -------------------------------------------------------------

Raster drawSkin() {
  const int32_t width = 866, height = 548;
  Raster r = makeRaster(width, height, PANEL_TOP);
  fill(r, Shape{0, 0, float(width), float(height), [](float, float) { return true; }},
       verticalGradient(0, PANEL_TOP, float(height), PANEL_BOTTOM));

  // The parameters' column, and the buttons under it.
  card(r, 4, 4, 298, 352);
  card(r, 4, 386, 298, 544);

  // The preview's white field, its frame a hair outside the pane.
  const WindowRect pane = placeOf(5);
  fill(r, roundedRect(pane.left - 3.0f, pane.top - 2.0f, pane.right + 3.0f, pane.bottom + 4.0f, 3), rgb(0xD2D6DC));
  fill(r, Shape{pane.left - 1.0f, pane.top - 1.0f, pane.right + 1.0f, pane.bottom + 1.0f,
                [](float, float) { return true; }},
       FIELD_EDGE);
  fillRect(r, pane.left, pane.top, pane.right, pane.bottom, FIELD);

  // Wells under the controls: a slider with its number box is one well,
  // and so are the glue popup and its next button.
  for (int32_t i = 0; i < controlRowCount(); ++i) {
    const ControlRow& row = controlRows()[i];
    const WindowRect place = placedRect(row);
    switch (row.kind) {
      case kindSlider: {
        const WindowRect box = placeOf(row.partner);
        well(r, place.left - 5.0f, box.top - 3.0f, box.right + 4.0f, box.bottom + 3.0f, 4);
        break;
      }
      case kindPopup:
        if (row.id == 37) {
          const WindowRect next = placeOf(42);
          well(r, place.left - 4.0f, place.top - 3.0f, next.right + 4.0f, place.bottom + 3.0f, 4);
        } else {
          wellAround(r, place, 3.5f, 4);
        }
        break;
      case kindCheckbox: wellAround(r, place, 3, 3); break;
      case kindDial: wellAround(r, place, 4, 8); break;
      case kindIconButton:
        if (row.id != 42) wellAround(r, place, 3, 4);
        break;
      case kindDialogButton: wellAround(r, place, 3, 4); break;
      default: break;
    }
  }
  // The zoom row is one well: minus, percentage, plus.
  const WindowRect zoomOut = placeOf(13), zoomIn = placeOf(12), name = placeOf(26);
  well(r, zoomOut.left - 4.0f, zoomOut.top - 3.0f, zoomIn.right + 4.0f, zoomIn.bottom + 3.0f, 4);
  well(r, name.left - 2.0f, name.top - 3.0f, name.right + 2.0f, name.bottom + 3.0f, 4);

  // The dots: a string of sockets round the thumbnail.
  const DotPlace* dots = dotPlaces();
  for (int32_t slot = 0; slot + 1 < DOT_PLACE_COUNT; ++slot) {
    const Point a = dotCentre(dots[slot]), b = dotCentre(dots[slot + 1]);
    fill(r, line(a.x, a.y, b.x, b.y, 1.6f), INK_FAINT);
  }
  for (int32_t slot = 0; slot < DOT_PLACE_COUNT; ++slot) {
    const Point c = dotCentre(dots[slot]);
    fill(r, disc(c.x, c.y + 0.6f, 6.6f), HIGHLIGHT);
    fill(r, disc(c.x, c.y, 6.6f), WELL_SHADOW);
    fill(r, disc(c.x, c.y + 0.5f, 6.0f), WELL);
  }
  // A soft shadow under the thumbnail's frame.
  const WindowRect thumb = placeOf(119);
  fill(r, roundedRect(thumb.left - 1.0f, thumb.top, thumb.right + 1.0f, thumb.bottom + 2.0f, 6), rgb(0x000000, 28));
  return r;
}

// --- pieces over the skin ---------------------------------------------------

Raster drawTrack(const Raster& skin) {
  const WindowRect place = placeOf(17);
  Raster r = crop(skin, place.left, place.top, 135, 12);
  fill(r, roundedRect(1, 3.5f, 134, 9.5f, 3), HIGHLIGHT);
  fill(r, roundedRect(1, 3, 134, 9, 3), WELL_SHADOW);
  fill(r, roundedRect(1.8f, 4, 133.2f, 8.4f, 2.2f), rgb(0xDDE1E6));
  return r;
}

Raster drawThumb(const Raster& track) {
  // Over the middle of the track, where it usually stands.
  Raster r = crop(track, 61, 1, 12, 10);
  fill(r, roundedRect(0.5f, 0.3f, 11.5f, 9.7f, 2.6f), ACCENT_DARK);
  fill(r, roundedRect(1.4f, 1.2f, 10.6f, 8.8f, 1.8f), verticalGradient(1, ACCENT_LIGHT, 9, ACCENT));
  fill(r, line(6, 3, 6, 7, 1.1f), rgb(0xFFFFFF, 170));
  return r;
}

Raster drawDial(const Raster& skin, bool enabled) {
  const WindowRect place = placeOf(29);
  Raster r = crop(skin, place.left, place.top, 54, 54);
  const float cx = 27, cy = 28;  // the needle turns about pixel 26, 27
  fill(r, disc(cx, cy + 0.7f, 25.5f), HIGHLIGHT);
  fill(r, disc(cx, cy, 25.5f), enabled ? rgb(0x9EA6B2) : rgb(0xC4C9D0));
  fill(r, disc(cx, cy, 24.5f), verticalGradient(cy - 25, rgb(0xFFFFFF), cy + 25, enabled ? rgb(0xD5DAE0) : rgb(0xE4E7EB)));
  fill(r, disc(cx, cy, 21.5f), verticalGradient(cy - 22, enabled ? rgb(0xE9ECF0) : rgb(0xEEF0F2), cy + 22,
                                                  enabled ? rgb(0xFCFCFD) : rgb(0xF3F4F6)));
  const float pi = 3.14159265f;
  for (int32_t k = 0; k < 24; ++k) {
    const float a = float(k) * 15 * pi / 180;
    const bool major = k % 6 == 0, middle = k % 2 == 0;
    const float outer = 20.0f, inner = major ? 14.5f : middle ? 16.5f : 18.0f;
    const Colour c = !enabled ? INK_FAINT : major ? INK : middle ? INK_SOFT : INK_FAINT;
    fill(r, line(cx + inner * std::sin(a), cy - inner * std::cos(a), cx + outer * std::sin(a), cy - outer * std::cos(a),
                 major ? 1.6f : 1.0f),
         c);
  }
  if (enabled) {
    fill(r, disc(cx, cy, 4), ACCENT_DARK);
    fill(r, disc(cx, cy, 3), verticalGradient(cy - 3, ACCENT_LIGHT, cy + 3, ACCENT));
  } else {
    fill(r, disc(cx, cy, 3.5f), INK_FAINT);
  }
  return r;
}

Raster drawThumbnailFrame(const Raster& skin) {
  const WindowRect place = placeOf(119);
  Raster r = crop(skin, place.left, place.top, 96, 96);
  fill(r, roundedRect(0, 0, 96, 96, 5), rgb(0xA9B0BA));
  fill(r, roundedRect(1, 1, 95, 95, 4), verticalGradient(1, rgb(0xFFFFFF), 95, rgb(0xE6E9ED)));
  fillRect(r, 3, 3, 93, 93, rgb(0x9AA1AC));
  // What shows until a dot's picture is there: quiet checks.
  for (int32_t y = 4; y < 92; ++y)
    for (int32_t x = 4; x < 92; ++x) r.at(x, y) = ((x - 4) / 8 + (y - 4) / 8) % 2 ? rgb(0xE9EBEE) : rgb(0xF6F7F8);
  return r;
}

Raster drawLogo(const Raster* skin, int32_t size, float x, float y) {
  Raster r = skin ? crop(*skin, int32_t(x), int32_t(y), size, size) : makeRaster(size, size, FIELD);
  const float s = float(size) / 32;
  fill(r, roundedRect(1 * s, 1 * s, 31 * s, 31 * s, 7 * s), verticalGradient(0, rgb(0x46546F), float(size), rgb(0x222938)));
  fill(r, ring(16 * s, 16 * s, 7.2f * s, 10.6f * s), rgb(0xF4F5F7));
  fill(r, disc(16 * s, 16 * s, 4.6f * s), verticalGradient(11 * s, ACCENT_LIGHT, 21 * s, ACCENT));
  fill(r, line(4 * s, 26 * s, 28 * s, 6 * s, 1.2f * s), rgb(0xFFFFFF, 120));
  return r;
}

// --- the dots' faces --------------------------------------------------------

// A dot's look at x, y in a square of the given side (8 for the faces):
// the square's corners dark or pale by the pin, a disc white, grey or orange
// by the state, its shading turned over and dimmed when pressed.
void drawDot(Raster& r, float x, float y, float side, DotLook look, bool pressed) {
  const float s = side / 8;
  const bool pinned = look == LOOK_STORED_PINNED || look == LOOK_CURRENT_PINNED;
  if (look != LOOK_EMPTY) fill(r, roundedRect(x, y, x + side, y + side, 0), pinned ? WELL : DOT_DARK);
  Colour rim = INK_SOFT, top = HIGHLIGHT, bottom = rgb(0xE2E5E9);
  if (look == LOOK_STORED || look == LOOK_STORED_PINNED) {
    rim = rgb(0x596171), top = rgb(0xB9BFC8), bottom = rgb(0x8C94A1);
  } else if (look == LOOK_CURRENT || look == LOOK_CURRENT_PINNED) {
    rim = ACCENT_DARK, top = ACCENT_LIGHT, bottom = ACCENT;
  }
  if (pressed) std::swap(top, bottom);
  const float cx = x + 4 * s, cy = y + 4 * s;
  fill(r, disc(cx, cy, 4 * s), rim);
  fill(r, disc(cx, cy, 3.1f * s), verticalGradient(y + s, top, y + 7 * s, bottom));
  if (pressed) fill(r, disc(cx, cy, 3.1f * s), rgb(0x000000, 40));
}

Raster drawDotFace(const Raster& skin, DotLook look, bool pressed) {
  const DotPlace& place = dotPlaces()[0];
  Raster r = crop(skin, place.left, place.top + 2, 8, 8);
  drawDot(r, 0, 0, 8, look, pressed);
  return r;
}

// --- cursors ----------------------------------------------------------------

// A hand in a 32 x 32 cursor, the palm about the hot spot 8, 8.
Raster drawHand(bool closed) {
  Raster r = makeRaster(32, 32, CLEAR);
  const Colour outline = rgb(0x000000), face = rgb(0xFFFFFF);
  auto shape = [&](float grow, Colour c) {
    fill(r, roundedRect(3.5f - grow, 6.5f - grow, 14.5f + grow, 15.5f + grow, 3 + grow), c);  // palm
    const float fingerTop = closed ? 5.5f : 1.0f;
    for (int k = 0; k < 4; ++k) {
      const float fx = 4.7f + k * 2.9f;
      fill(r, line(fx, fingerTop + (k == 0 || k == 3 ? 1.0f : 0.0f), fx, 9, 2.2f + 2 * grow), c);
    }
    if (closed)
      fill(r, line(2.5f, 10, 5.5f, 11.5f, 2.2f + 2 * grow), c);  // thumb tucked in
    else
      fill(r, line(0.8f, 8.2f, 4.5f, 12.5f, 2.2f + 2 * grow), c);  // thumb out
  };
  shape(1.0f, outline);
  shape(0.0f, face);
  // The gaps between the fingers.
  const float gapTop = closed ? 5.5f : 2.5f;
  for (int k = 0; k < 3; ++k) fill(r, line(6.15f + k * 2.9f, gapTop, 6.15f + k * 2.9f, 8, 0.7f), rgb(0x000000, 150));
  return r;
}

// --- the about and info boxes ----------------------------------------------

Raster drawAboutMark() {
  Raster r = makeRaster(150, 96, FIELD);
  drawRaster(r, drawLogo(nullptr, 80, 0, 0), 35, 8);
  return r;
}

// Five small tiles of what the filter does to an edge: soft, thin, chrome,
// scribbled and tangled, in the palette.
Raster drawAboutSamples(int32_t width, int32_t height) {
  Raster r = makeRaster(width, height, FIELD);
  const int32_t tiles = 5, gap = 12;
  const float tile = float(width - gap * (tiles - 1)) / tiles;
  for (int32_t k = 0; k < tiles; ++k) {
    const float x0 = k * (tile + gap), y0 = (height - tile) / 2, x1 = x0 + tile, y1 = y0 + tile;
    const float cx = (x0 + x1) / 2, cy = (y0 + y1) / 2, rad = tile * 0.3f;
    fill(r, roundedRect(x0, y0, x1, y1, 6), rgb(0x2C3342));
    switch (k) {
      case 0:
        for (int i = 8; i >= 0; --i) fill(r, disc(cx, cy, rad + i * 1.5f), rgb(0xE4801F, uint8_t(255 - i * 26)));
        break;
      case 1: fill(r, ring(cx, cy, rad - 1, rad + 1), rgb(0xF4F5F7)); break;
      case 2:
        fill(r, disc(cx, cy, rad + 4), verticalGradient(cy - rad, rgb(0xFFFFFF), cy + rad, rgb(0x5D6678)));
        fill(r, disc(cx, cy, rad - 4), verticalGradient(cy - rad, rgb(0x4B5466), cy + rad, rgb(0xE9ECF0)));
        break;
      case 3:
        for (int i = 0; i < 7; ++i) fill(r, arc(cx, cy, rad - 6 + i * 2.2f, 1.1f, float(i * 47), float(i * 47 + 250)), ACCENT_LIGHT);
        break;
      default:
        for (int i = 0; i < 9; ++i) {
          const float a = i * 0.7f;
          fill(r, line(cx + rad * std::cos(a), cy + rad * std::sin(a), cx + rad * std::cos(a + 2.3f),
                       cy + rad * std::sin(a + 2.3f), 1.2f),
               i % 2 ? ACCENT : rgb(0xF4F5F7));
        }
    }
  }
  return r;
}

// The name beside the mark: the word, a rule in the accent, what it is.
Raster drawAboutName() {
  Raster r = makeRaster(195, 96, FIELD);
  drawText(r, "Marrowline", 4, 26, 20, INK, 0.6f);
  fill(r, line(5, 56, 60, 56, 2.2f), ACCENT);
  drawText(r, "Edge effects filter", 5, 66, 8, INK_SOFT, 0.4f);
  return r;
}

// The info sheet: the dialog in small, what each button does, and how the
// memory dots answer the mouse.
Raster drawInfoSheet(const std::vector<ArtPiece>& art) {
  Raster r = makeRaster(687, 510, FIELD);
  drawText(r, "Marrowline", 24, 22, 16, INK, 0.5f);
  drawText(r, "How the dialog works", 200, 28, 9, INK_SOFT, 0.4f);
  fill(r, line(24, 50, 663, 50, 1.2f), ACCENT);

  // The dialog at half size, its pixels averaged in fours.
  const Raster dialog = composeDialogPreview(art);
  const int32_t ox = 24, oy = 66;
  for (int32_t y = 0; y < dialog.height / 2; ++y)
    for (int32_t x = 0; x < dialog.width / 2; ++x) {
      const Colour a = dialog.at(2 * x, 2 * y), b = dialog.at(2 * x + 1, 2 * y), c = dialog.at(2 * x, 2 * y + 1),
                   d = dialog.at(2 * x + 1, 2 * y + 1);
      r.at(ox + x, oy + y) = Colour{uint8_t((a.r + b.r + c.r + d.r + 2) / 4), uint8_t((a.g + b.g + c.g + d.g + 2) / 4),
                                    uint8_t((a.b + b.b + c.b + d.b + 2) / 4), 255};
    }
  fill(r, subtract(Shape{ox - 1.0f, oy - 1.0f, ox + 434.0f, oy + 275.0f, [](float, float) { return true; }},
                   Shape{float(ox), float(oy), ox + 433.0f, oy + 274.0f, [](float, float) { return true; }}),
       CARD_EDGE);

  // What each button does, in the order they stand.
  struct Entry {
    Glyph glyph;
    const char* words;
  };
  const Entry entries[] = {{GLYPH_LOAD, "Load settings"},     {GLYPH_SAVE, "Save settings"},
                           {GLYPH_DIE, "Random settings"},    {GLYPH_UNDO, "Undo, twice to redo"},
                           {GLYPH_RING, "Plain settings"},    {GLYPH_DOCUMENT, "Export a PSD file"},
                           {GLYPH_N, "Next glue mode"},       {GLYPH_MINUS, "Zoom out"},
                           {GLYPH_PLUS, "Zoom in"},           {GLYPH_INFO, "This sheet"},
                           {GLYPH_PAGE, "Page of presets"}};
  for (int32_t k = 0; k < 11; ++k) {
    const float x = 478, y = 62 + k * 36.0f;
    well(r, x, y, x + 30, y + 30, 6);
    drawGlyph(r, entries[k].glyph, x + 3, y + 3, 24);
    drawText(r, entries[k].words, x + 42, y + 11, 8, INK, 0.3f);
  }

  // The memory dots.
  drawText(r, "Memory dots", 24, 362, 10, INK, 0.4f);
  struct Look {
    DotLook look;
    const char* words;
  };
  const Look looks[] = {{LOOK_EMPTY, "Empty"},
                        {LOOK_STORED, "Stored"},
                        {LOOK_STORED_PINNED, "Kept"},
                        {LOOK_CURRENT, "Current"},
                        {LOOK_CURRENT_PINNED, "Current, kept"}};
  for (int32_t k = 0; k < 5; ++k) {
    const float x = 24 + k * 86.0f, y = 384;
    drawDot(r, x, y, 24, looks[k].look, false);
    drawText(r, looks[k].words, x, y + 32, 7, INK_SOFT, 0.3f);
  }
  const char* const hints[] = {"Click an empty dot: keep the settings there", "Click a stored dot: back to its settings",
                               "Ctrl-click: for this run only", "Right-click: clear the dot",
                               "Rest on a dot: see its picture"};
  for (int32_t k = 0; k < 5; ++k) {
    fill(r, disc(28, 448 + k * 12.0f + 3.5f, 2), ACCENT);
    drawText(r, hints[k], 36, 448 + k * 12.0f, 7, INK, 0.3f);
  }
  return r;
}

}  // namespace

std::vector<ArtPiece> drawAllArt() {
  std::vector<ArtPiece> art;
  const Raster skin = drawSkin();
  const Raster track = drawTrack(skin);
  const WindowRect logo = placeOf(8);
  art.push_back({ART_BITMAP, BITMAP_SKIN, "skin", skin});
  art.push_back({ART_BITMAP, BITMAP_SLIDER_TRACK, "slider_track", track});
  art.push_back({ART_BITMAP, BITMAP_SLIDER_THUMB, "slider_thumb", drawThumb(track)});
  art.push_back({ART_BITMAP, BITMAP_DIAL, "dial", drawDial(skin, true)});
  art.push_back({ART_BITMAP, BITMAP_DIAL_DISABLED, "dial_disabled", drawDial(skin, false)});
  art.push_back({ART_BITMAP, BITMAP_THUMBNAIL_FRAME, "thumbnail_frame", drawThumbnailFrame(skin)});
  art.push_back({ART_BITMAP, BITMAP_LOGO, "logo", drawLogo(&skin, 32, float(logo.left), float(logo.top))});
  art.push_back({ART_BITMAP, BITMAP_ABOUT_MARK, "about_mark", drawAboutMark()});
  art.push_back({ART_BITMAP, BITMAP_ABOUT_NAME, "about_name", drawAboutName()});
  art.push_back({ART_BITMAP, BITMAP_ABOUT_SAMPLES, "about_samples", drawAboutSamples(360, 144)});

  static const char* const LOOK_NAMES[LOOK_COUNT][2] = {{"dot_empty", "dot_empty_pressed"},
                                                        {"dot_stored", "dot_stored_pressed"},
                                                        {"dot_pinned", "dot_pinned_pressed"},
                                                        {"dot_current", "dot_current_pressed"},
                                                        {"dot_current_pinned", "dot_current_pinned_pressed"}};
  for (int32_t look = 0; look < LOOK_COUNT; ++look)
    for (int32_t pressed = 0; pressed < 2; ++pressed)
      art.push_back({ART_BITMAP, dotFaceOfLook(DotLook(look), pressed != 0), LOOK_NAMES[look][pressed],
                     drawDotFace(skin, DotLook(look), pressed != 0)});

  // Icons: 24 pixels for the large square buttons, 16 for the small ones.
  for (int32_t i = 0; i < controlRowCount(); ++i) {
    const ControlRow& row = controlRows()[i];
    if (row.kind != kindIconButton) continue;
    const WindowRect place = placedRect(row);
    const int32_t size = place.bottom - place.top >= 28 ? 24 : 16;
    for (const NamedGlyph& g : ICON_GLYPHS)
      if (g.iconId == row.art) art.push_back(icon(g.iconId, g.name, g.glyph, size));
  }

  ArtPiece open{ART_CURSOR, CURSOR_OPEN_HAND_RESOURCE, "hand_open", drawHand(false), 8, 8};
  ArtPiece closed{ART_CURSOR, CURSOR_CLOSED_HAND_RESOURCE, "hand_closed", drawHand(true), 8, 8};
  art.push_back(open);
  art.push_back(closed);
  // Last, as it shows the dialog with all of the above.
  art.push_back({ART_BITMAP, BITMAP_INFO, "info", drawInfoSheet(art)});
  return art;
}
