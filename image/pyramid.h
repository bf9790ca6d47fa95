// The level chain of a PixelMap: each level is filtered from the one above it
// with a 6 x 6 window (corners dropped, 32 taps) centred between source pixels.
#pragma once

#include <cstdint>

#include "image/pixel_map.h"

constexpr int32_t PYRAMID_WEIGHT_SUM = 1640;

// Weight of source pixel (2x + dx, 2y + dy) for destination pixel (x, y),
// dx and dy from -2 to 3; 0 outside that window.
int32_t pyramidWeight(int32_t dx, int32_t dy);

// Fills `rect` (cut to the level's size) of level sourceLevel + 1 from
// sourceLevel. Nothing happens when that level does not exist.
void buildLevel(PixelMap* map, int32_t sourceLevel, const Rect16& rect);

// pixelMapBuildLevels (declared with PixelMap) builds levels 1 to levelCount
// in order unless levelPolicy is -1, and sets levelState to 2.
