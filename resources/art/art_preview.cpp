#include "resources/art/art_preview.h"

#include <cmath>

#include "dialog/dialog_tables.h"

namespace {

const Raster* find(const std::vector<ArtPiece>& art, ArtKind kind, int32_t id) {
  for (const ArtPiece& piece : art)
    if (piece.kind == kind && piece.id == id) return &piece.image;
  return nullptr;
}

void put(Raster& r, const std::vector<ArtPiece>& art, ArtKind kind, int32_t id, int32_t x, int32_t y) {
  if (const Raster* piece = find(art, kind, id)) drawRaster(r, *piece, x, y);
}

// A stand-in for a system push button, with its icon in the middle.
void button(Raster& r, const std::vector<ArtPiece>& art, const WindowRect& place, int32_t iconId) {
  fill(r, roundedRect(float(place.left), float(place.top), float(place.right), float(place.bottom), 3), rgb(0x8E959F));
  fill(r, roundedRect(place.left + 1.0f, place.top + 1.0f, place.right - 1.0f, place.bottom - 1.0f, 2),
       verticalGradient(float(place.top), rgb(0xFBFBFC), float(place.bottom), rgb(0xE3E6EA)));
  if (const Raster* icon = find(art, ART_ICON, iconId))
    drawRaster(r, *icon, (place.left + place.right - icon->width) / 2, (place.top + place.bottom - icon->height) / 2);
}

void whiteBox(Raster& r, const WindowRect& place) {
  fillRect(r, place.left, place.top, place.right, place.bottom, rgb(0x8E959F));
  fillRect(r, place.left + 1, place.top + 1, place.right - 1, place.bottom - 1, rgb(0xFFFFFF));
}

}  // namespace

Raster composeDialogPreview(const std::vector<ArtPiece>& art) {
  const Raster* skin = find(art, ART_BITMAP, BITMAP_SKIN);
  Raster r = *skin;
  // A picture in the preview: a soft orange edge round a dark disc.
  for (int32_t y = 2; y < 383; ++y)
    for (int32_t x = 326; x < 848; ++x) {
      const float d = std::hypot(x - 587.0f, y - 192.0f);
      const float t = std::fmin(std::fabs(d - 120) / 40, 1.0f);
      r.at(x, y) = mix(rgb(0xE4801F), d < 120 ? rgb(0x2C3342) : rgb(0xF4F5F7), t);
    }
  int32_t sliderValue = 30;
  for (int32_t i = 0; i < controlRowCount(); ++i) {
    const ControlRow& row = controlRows()[i];
    const WindowRect place = placedRect(row);
    switch (row.kind) {
      case kindSlider:
        put(r, art, ART_BITMAP, BITMAP_SLIDER_TRACK, place.left, place.top);
        put(r, art, ART_BITMAP, BITMAP_SLIDER_THUMB, place.left + 1 + sliderValue * (place.right - place.left - 15) / 100,
            place.top + 1);
        sliderValue += 45;
        break;
      case kindReadout:
      case kindPopup: whiteBox(r, place.right - place.left > 60 ? WindowRect{place.left, place.top, place.right, place.top + 17} : place); break;
      case kindCheckbox: whiteBox(r, WindowRect{place.left, place.top, place.left + 13, place.top + 13}); break;
      case kindDial: {
        put(r, art, ART_BITMAP, BITMAP_DIAL, place.left, place.top);
        const float a = 135 / 57.295779524f;
        fill(r, line(place.left + 26.5f, place.top + 27.5f, place.left + 26.5f + std::trunc(24 * std::sin(a)),
                     place.top + 27.5f - std::trunc(24 * std::cos(a)), 2),
             rgb(0x404080));
        break;
      }
      case kindIconButton: button(r, art, place, row.art); break;
      case kindDialogButton: button(r, art, place, -1); break;
      case kindLogo: put(r, art, ART_BITMAP, row.art, place.left, place.top); break;
      case kindDotThumbnail: put(r, art, ART_BITMAP, row.art, place.left, place.top); break;
      default:
        if (row.id == 14) button(r, art, place, -1);
        break;
    }
  }
  const DotPlace* dots = dotPlaces();
  for (int32_t slot = 0; slot < DOT_PLACE_COUNT; ++slot) {
    // A few dots in use, to show every look.
    const DotLook look = slot == 2 ? LOOK_CURRENT : slot < 2 ? LOOK_STORED_PINNED : slot == 3 ? LOOK_STORED : LOOK_EMPTY;
    put(r, art, ART_BITMAP, dotFaceOfLook(look, false), dots[slot].left, dots[slot].top + 2);
  }
  return r;
}

Raster composeIconSheet(const std::vector<ArtPiece>& art, int32_t scale) {
  const int32_t cell = 34, columns = 10;
  int32_t count = 0;
  for (const ArtPiece& piece : art)
    if (piece.kind != ART_BITMAP || (piece.image.width <= 8 && piece.image.height <= 8)) ++count;
  const int32_t rows = (count + columns - 1) / columns;
  Raster r = makeRaster(cell * columns * scale, cell * rows * scale, rgb(0xE7E9ED));
  int32_t n = 0;
  for (const ArtPiece& piece : art) {
    if (piece.kind == ART_BITMAP && (piece.image.width > 8 || piece.image.height > 8)) continue;
    const int32_t x0 = (n % columns) * cell + (cell - piece.image.width) / 2;
    const int32_t y0 = (n / columns) * cell + (cell - piece.image.height) / 2;
    for (int32_t y = 0; y < piece.image.height; ++y)
      for (int32_t x = 0; x < piece.image.width; ++x)
        for (int32_t sy = 0; sy < scale; ++sy)
          for (int32_t sx = 0; sx < scale; ++sx)
            blendPixel(r, (x0 + x) * scale + sx, (y0 + y) * scale + sy, piece.image.at(x, y), 1);
    ++n;
  }
  return r;
}
