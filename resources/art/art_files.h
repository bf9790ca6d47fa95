// The art's file formats: 24-bit Windows bitmaps, and 32-bit icons and
// cursors with their transparency mask, as the resource compiler takes them.
#pragma once

#include <cstdint>
#include <vector>

#include "resources/art/raster.h"

enum ArtKind : int32_t { ART_BITMAP, ART_ICON, ART_CURSOR };

struct ArtPiece {
  ArtKind kind;
  int32_t id;        // resource number
  const char* name;  // file name without extension
  Raster image;
  int32_t hotX = 0, hotY = 0;  // cursors only
};

// A bottom-up 24-bit bitmap file, 96 dpi; alpha is ignored.
std::vector<uint8_t> encodeBitmap(const Raster& image);
// A one-image icon or cursor file: 32-bit colour with alpha, then the mask
// (set where alpha is below one half, the colour black there).
std::vector<uint8_t> encodeIcon(const Raster& image);
std::vector<uint8_t> encodeCursor(const Raster& image, int32_t hotX, int32_t hotY);

std::vector<uint8_t> encodeArt(const ArtPiece& piece);
const char* artExtension(ArtKind kind);
const char* artResourceType(ArtKind kind);
