// Capital letters, digits and a little punctuation drawn as round-ended
// strokes on a 4 x 6 grid, for the words in the about and info pictures.
#pragma once

#include "resources/art/raster.h"

// Draws text with its top left at x, y; capHeight in pixels, tracking adds
// space between letters (in grid units). Lower case is drawn as capitals;
// characters without a glyph leave a space. Returns the width drawn.
float drawText(Raster& r, const char* text, float x, float y, float capHeight, Colour c, float tracking = 0);
float textWidth(const char* text, float capHeight, float tracking = 0);
