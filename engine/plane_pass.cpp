// The second pass of the two-pass styles ("thin/soft", "scribble"): the
// strokes lie complete in the stroke plane, and this pass gives each core
// pixel of the tile its colour through the shared loop. The tile serves
// only as the source of the unfiltered pixels for glue.
#include "session/session.h"
#include "engine/pixel_loop.h"
#include "engine/render.h"
#include "engine/styles.h"
#include "pi/plugin_interface.h"

// Brightens the plane's values: slope 1.75 near 0, flattening toward 255.
const uint8_t TONE_CURVE[256] = {
    0,   2,   4,   5,   7,   9,   11,  12,  14,  16,  18,  19,  21,  23,  25,  26,  28,  30,  32,  33,  35,  37,
    39,  40,  42,  44,  46,  47,  49,  51,  52,  54,  56,  58,  59,  61,  63,  64,  66,  68,  69,  71,  73,  75,
    76,  78,  79,  81,  83,  84,  86,  88,  89,  91,  93,  94,  96,  97,  99,  101, 102, 104, 105, 107, 108, 110,
    111, 113, 115, 116, 118, 119, 121, 122, 124, 125, 127, 128, 129, 131, 132, 134, 135, 137, 138, 139, 141, 142,
    143, 145, 146, 148, 149, 150, 151, 153, 154, 155, 157, 158, 159, 160, 162, 163, 164, 165, 166, 168, 169, 170,
    171, 172, 173, 174, 175, 177, 178, 179, 180, 181, 182, 183, 184, 185, 186, 187, 188, 189, 190, 191, 191, 192,
    193, 194, 195, 196, 197, 198, 199, 199, 200, 201, 202, 203, 203, 204, 205, 206, 207, 207, 208, 209, 209, 210,
    211, 212, 212, 213, 214, 214, 215, 216, 216, 217, 218, 218, 219, 219, 220, 221, 221, 222, 222, 223, 224, 224,
    225, 225, 226, 226, 227, 227, 228, 228, 229, 229, 230, 230, 231, 231, 232, 232, 233, 233, 234, 234, 234, 235,
    235, 236, 236, 237, 237, 237, 238, 238, 239, 239, 239, 240, 240, 241, 241, 241, 242, 242, 242, 243, 243, 244,
    244, 244, 245, 245, 245, 246, 246, 246, 247, 247, 247, 248, 248, 248, 249, 249, 249, 249, 250, 250, 250, 251,
    251, 251, 252, 252, 252, 253, 253, 253, 253, 254, 254, 254, 255, 255,
};

int32_t planeEdgeValue(int32_t a, bool flip, bool eightBit) {
  a &= 255;
  int32_t v = flip ? 255 - a : TONE_CURVE[a];
  if (eightBit) return v;
  return v == 255 ? 32768 : (v << 7) | (v >> 1);
}

void renderStrokePlaneTile(FilterSession* session, PixelMap* tile) {
  if (pixelMapEmpty(tile)) return;
  const FilterRecord* record = session->filterRecord;
  const EdgeParameters* p = sessionParameters(session);
  uint8_t ramp[256][4];
  if (p->renderColorize)
    buildColorRamp(record->backColor, record->foreColor, ramp);
  else
    buildGreyRamp(ramp);
  PixelLoop loop;
  preparePixelLoop(&loop, session, ramp);
  const PixelMap* plane = &session->strokePlane;
  if (pixelMapEmpty(plane)) {
    // Every read of an empty plane gives 0.
    const int32_t e = planeEdgeValue(0, loop.flip, loop.eightBit);
    shadeRowsInBands(loop, [&](const PixelLoop& bandLoop, int32_t row, int32_t* edges) {
      for (int32_t c = 0; c < loop.columns; ++c) edges[c] = e;
      shadeRow(bandLoop, row, edges, tile, false);
    });
    return;
  }
  // The plane's value to the edge value, for this tile's flip and depth.
  int32_t edgeOf[256];
  for (int32_t a = 0; a < 256; ++a) edgeOf[a] = planeEdgeValue(a, loop.flip, loop.eightBit);
  // Reads clamp to the plane: the columns that need no clamp run straight
  // along the row.
  const int32_t maxX = plane->levelMaxX[0], maxY = plane->levelMaxY[0];
  const int32_t step = plane->bytesPerPixel;
  int32_t first = -loop.tileLeft, last = maxX - loop.tileLeft;  // core columns inside the plane
  if (first < 0) first = 0;
  if (last > loop.columns - 1) last = loop.columns - 1;
  auto clamped = [&](const uint8_t* source, int32_t c) {
    int32_t x = c + loop.tileLeft;
    x = x < 0 ? 0 : (x > maxX ? maxX : x);
    return edgeOf[source[static_cast<intptr_t>(x) * step]];
  };
  // The plane is only read here: its rows shade on any thread.
  shadeRowsInBands(loop, [&](const PixelLoop& bandLoop, int32_t row, int32_t* edges) {
    // Flip is part of the plane's own mapping and is not applied again.
    int32_t y = row + loop.tileTop;
    y = y < 0 ? 0 : (y > maxY ? maxY : y);
    const uint8_t* source = pixelAddress(plane, 0, y, 0);
    if (first > last) {
      for (int32_t c = 0; c < loop.columns; ++c) edges[c] = clamped(source, c);
    } else {
      for (int32_t c = 0; c < first; ++c) edges[c] = clamped(source, c);
      const uint8_t* at = source + static_cast<intptr_t>(first + loop.tileLeft) * step;
      for (int32_t c = first; c <= last; ++c, at += step) edges[c] = edgeOf[*at];
      for (int32_t c = last + 1; c < loop.columns; ++c) edges[c] = clamped(source, c);
    }
    shadeRow(bandLoop, row, edges, tile, false);
  });
}
