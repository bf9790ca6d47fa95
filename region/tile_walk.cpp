#include "region/tile_walk.h"

#include <cstring>

#include "session/session.h"
#include "engine/field_kernels.h"
#include "engine/render.h"
#include "region/region.h"
#include "pi/plugin_interface.h"
#include "platform/threads.h"

namespace {

constexpr Fixed FIXED_ONE = 0x10000;

void setPlanesRatesPadding(FilterRecord* record, int32_t scale, bool wholeRegion) {
  record->inLoPlane = 0;
  record->outLoPlane = 0;
  record->inHiPlane = static_cast<int16_t>(record->planes - 1);
  record->outHiPlane = static_cast<int16_t>(record->planes - 1);
  Fixed rate = wholeRegion ? FIXED_ONE : static_cast<Fixed>(scale) * FIXED_ONE;
  record->inputRate = rate;
  record->maskRate = rate;
  int16_t padding = wholeRegion ? plugInWantsEdgeReplication : plugInDoesNotWantPadding;
  record->inputPadding = padding;
  record->outputPadding = padding;
  record->maskPadding = padding;
}

// Mask, when the host has one, covers the output; otherwise an empty
// rectangle at the top left corner of the filter rectangle.
Rect maskRectFor(const FilterRecord* record, const Rect& out) {
  if (record->haveMask) return out;
  return makeRect(record->filterRect.top, record->filterRect.left, record->filterRect.top, record->filterRect.left);
}

// Rows of maskRect and inRect relative to the filter rectangle's top, the
// bottom being the last row rather than the one past it.
void setRowFields(FilterSession* session) {
  const FilterRecord* record = session->filterRecord;
  int32_t top = record->filterRect.top;
  session->maskTop = record->maskRect.top - top;
  session->maskBottom = record->maskRect.bottom - top - 1;
  session->outTop = record->inRect.top - top;
  session->outBottom = record->inRect.bottom - top - 1;
}

// `count` copies of the pixel at `from`, side by side from `to`: as one
// word per pixel for the tiles' four- and eight-byte pixels.
void repeatPixel(uint8_t* to, const uint8_t* from, int32_t count, int32_t bpp) {
  if (bpp == 4) {
    uint32_t word;
    std::memcpy(&word, from, sizeof word);
    for (int32_t i = 0; i < count; ++i) std::memcpy(to + 4 * i, &word, sizeof word);
  } else if (bpp == 8) {
    uint64_t word;
    std::memcpy(&word, from, sizeof word);
    for (int32_t i = 0; i < count; ++i) std::memcpy(to + 8 * i, &word, sizeof word);
  } else {
    for (int32_t i = 0; i < count; ++i) std::memcpy(to + bpp * i, from, static_cast<size_t>(bpp));
  }
}

}  // namespace

int32_t tileFormatOf(const FilterRecord* record) { return isEightBitImage(record) ? PIXEL_RGBA8 : PIXEL_RGBA16; }

bool isTwoPassStyle(int32_t edgeStyle) { return edgeStyle == 3 || edgeStyle == 5; }

void readHostRow(PixelMap* map, int32_t row, FilterSession* session, int32_t columnOffset, int32_t rowOffset) {
  const FilterRecord* record = session->filterRecord;
  int32_t count = rectWidth(record->inRect);
  int32_t step = record->inHiPlane - record->inLoPlane + 1;
  bool colour = record->planes >= 3;
  bool alpha = hasHostAlpha(record);
  int32_t alphaIndex = record->inLayerPlanes;
  int32_t y = row + rowOffset;
  // The choice of depth, colour and alpha is made once per row.
  if (isEightBitImage(record)) {
    const uint8_t* s = static_cast<const uint8_t*>(record->inData) + static_cast<intptr_t>(row) * record->inRowBytes;
    uint32_t* d = reinterpret_cast<uint32_t*>(pixelAddress(map, columnOffset, y, 0));
    int32_t i = 0;
    // Colour pixels of three or more planes: one four-byte read per pixel
    // takes red, green and blue (and the alpha when it is the fourth
    // plane). The row's last pixel goes byte by byte, so no read passes the
    // end of the host's row.
    if (colour && step >= 3 && (!alpha || alphaIndex == 3) && count > 0) {
      const uint32_t opaque = alpha ? 0u : 0xff000000u;
      const uint32_t keep = alpha ? 0xffffffffu : 0x00ffffffu;
      for (; i < count - 1; ++i, s += step) {
        uint32_t v;
        std::memcpy(&v, s, 4);
        d[i] = (v & keep) | opaque;
      }
    }
    for (; i < count; ++i, s += step) {
      uint32_t r = s[0], g = colour ? s[1] : s[0], b = colour ? s[2] : s[0];
      uint32_t a = alpha ? s[alphaIndex] : 255;
      d[i] = (a << 24) | (b << 16) | (g << 8) | r;
    }
  } else {
    const uint16_t* s = static_cast<const uint16_t*>(record->inData) + static_cast<intptr_t>(row) * (record->inRowBytes / 2);
    uint16_t* d = reinterpret_cast<uint16_t*>(pixelAddress(map, columnOffset, y, 0));
    for (int32_t i = 0; i < count; ++i, s += step, d += 4) {
      d[0] = s[0];
      d[1] = colour ? s[1] : s[0];
      d[2] = colour ? s[2] : s[0];
      d[3] = alpha ? s[alphaIndex] : 32768;
    }
  }
}

void readTile(FilterSession* session, PixelMap* map, const Rect& padded) {
  if (pixelMapEmpty(map)) return;
  const FilterRecord* record = session->filterRecord;
  Rect source = intersectRect(record->inRect, padded);
  int32_t columnOffset = source.left - padded.left;
  int32_t rowOffset = source.top - padded.top;
  int32_t rows = rectHeight(source);
  int32_t columns = rectWidth(source);
  if (rows <= 0 || columns <= 0) {
    // Nothing of the picture in reach: a tile kept from the one before
    // must not show through.
    std::memset(map->pixels, 0, static_cast<size_t>(map->baseWidth) * map->baseHeight * map->bytesPerPixel);
    return;
  }
  // The rows over the render's threads: each writes its own rows of the
  // tile and reads the host's buffer only.
  struct RowsJob {
    PixelMap* map;
    FilterSession* session;
    int32_t columnOffset, rowOffset, rows;
  } job{map, session, columnOffset, rowOffset, rows};
  constexpr int32_t ROWS_PER_PART = 32;
  // The host's rows lie far apart, each a fresh stream the caches do not
  // foresee: the lines of a row a few ahead are asked for while this one is
  // converted.
  constexpr int32_t ROWS_AHEAD = 3;
  auto readRows = [](void* context, int32_t part) {
    const RowsJob& j = *static_cast<const RowsJob*>(context);
    const FilterRecord* record = j.session->filterRecord;
    const auto* first = static_cast<const uint8_t*>(record->inData);
    const int32_t rowBytes = record->inRowBytes;
    const int32_t sampleBytes = isEightBitImage(record) ? 1 : 2;
    const int32_t usedBytes = rectWidth(record->inRect) * (record->inHiPlane - record->inLoPlane + 1) * sampleBytes;
    const int32_t begin = part * ROWS_PER_PART;
    const int32_t end = (part + 1) * ROWS_PER_PART < j.rows ? (part + 1) * ROWS_PER_PART : j.rows;
    auto fetch = [&](int32_t row) {
      const uint8_t* s = first + static_cast<intptr_t>(row) * rowBytes;
      for (int32_t at = 0; at < usedBytes; at += 64) __builtin_prefetch(s + at);
    };
    for (int32_t row = begin; row < begin + ROWS_AHEAD && row < end; ++row) fetch(row);
    for (int32_t row = begin; row < end; ++row) {
      if (row + ROWS_AHEAD < end) fetch(row + ROWS_AHEAD);
      readHostRow(j.map, row, j.session, j.columnOffset, j.rowOffset);
    }
  };
  platformRunParts(readRows, &job, (rows + ROWS_PER_PART - 1) / ROWS_PER_PART, renderThreads());

  // Margins repeat the border pixels: top and bottom across the columns of
  // the source, then left and right down the whole tile, which fills the
  // corners from what the first two wrote.
  int32_t bpp = map->bytesPerPixel;
  int32_t tileWidth = map->baseWidth, tileHeight = map->baseHeight;
  int32_t lastRow = rowOffset + rows - 1;
  int32_t lastColumn = columnOffset + columns - 1;
  size_t span = static_cast<size_t>(columns) * bpp;
  for (int32_t y = 0; y < rowOffset; ++y)
    std::memcpy(pixelAddress(map, columnOffset, y, 0), pixelAddress(map, columnOffset, rowOffset, 0), span);
  for (int32_t y = lastRow + 1; y < tileHeight; ++y)
    std::memcpy(pixelAddress(map, columnOffset, y, 0), pixelAddress(map, columnOffset, lastRow, 0), span);
  for (int32_t y = 0; y < tileHeight; ++y) {
    repeatPixel(pixelAddress(map, 0, y, 0), pixelAddress(map, columnOffset, y, 0), columnOffset, bpp);
    repeatPixel(pixelAddress(map, lastColumn + 1, y, 0), pixelAddress(map, lastColumn, y, 0),
                tileWidth - lastColumn - 1, bpp);
  }
}

void setRegion(FilterSession* session, const Rect& rect, int32_t scale) {
  sessionParameters(session)->scaleDivisor = scale;
  session->regionWidth = rectWidth(rect);
  session->regionHeight = rectHeight(rect);
  session->imageTop = 0;
  session->imageLeft = 0;
  session->imageRight = session->regionWidth - 1;
  session->imageBottom = session->regionHeight - 1;
}

void setWholeRegion(FilterSession* session) {
  FilterRecord* record = session->filterRecord;
  setRegion(session, record->filterRect, 1);
  record->inRect = record->filterRect;
  record->outRect = record->filterRect;
  record->maskRect = maskRectFor(record, record->filterRect);
  setPlanesRatesPadding(record, 1, true);
  setRowFields(session);
}

void setTileRects(FilterSession* session, const Rect& clip, const Rect& in, const Rect& out) {
  FilterRecord* record = session->filterRecord;
  EdgeParameters* p = sessionParameters(session);
  int32_t scale = p->scaleDivisor;
  setRegion(session, record->filterRect, scale);
  record->inRect = intersectRect(in, clip);
  record->outRect = intersectRect(out, clip);
  record->maskRect = maskRectFor(record, record->outRect);
  if (p->renderTarget == 1) {
    // The preview's picture always stands at the start of the output buffer.
    int32_t dy = record->filterRect.top - record->outRect.top;
    int32_t dx = record->filterRect.left - record->outRect.left;
    record->outRect = makeRect(record->outRect.top + dy, record->outRect.left + dx, record->outRect.bottom + dy,
                               record->outRect.right + dx);
  }
  if (record->hostSig == hostSignaturePSP8 && scale >= 2) {
    // This host takes the mask rectangle in its own scaled coordinates.
    int32_t h = rectHeight(record->maskRect), w = rectWidth(record->maskRect);
    int32_t top = p->panY / scale, left = p->panX / scale;
    record->maskRect = makeRect(top, left, top + h, left + w);
  }
  setPlanesRatesPadding(record, scale, false);
  if (p->renderTarget != 1) {
    setRowFields(session);
  } else {
    session->maskTop = session->outTop = session->imageTop;
    session->maskBottom = session->outBottom = session->imageBottom;
  }
}

void buildRunTables(FilterSession* session) { buildRunTables(session->work->glueTables); }

void beginRun(FilterSession* session) {
  deriveRenderFieldsOf(sessionParameters(session));
  session->currentRow = 0;
}

namespace {

// One walk over all tiles; secondWalk renders from the stroke plane.
void walkTiles(FilterSession* session, int32_t rows, int32_t cols, int32_t total, bool secondWalk) {
  FilterRecord* record = session->filterRecord;
  const Rect clip = record->filterRect;
  int32_t format = tileFormatOf(record);
  PixelMap tile;
  pixelMapInit(&tile, session, session->work->kernelTable);
  int32_t countBase = secondWalk ? total / 2 : 0;
  for (int32_t r = 0; r < rows; ++r) {
    for (int32_t c = 0; c < cols; ++c) {
      if ((record->abortProc != nullptr && record->abortProc()) || resultOf(session) != 0) {
        setResult(session, RESULT_USER_CANCELED);
        pixelMapFree(&tile);
        return;
      }
      session->tileTop = r * TILE_SIZE;
      session->tileLeft = c * TILE_SIZE;
      int32_t top = clip.top + r * TILE_SIZE, left = clip.left + c * TILE_SIZE;
      Rect core = makeRect(top, left, top + TILE_SIZE, left + TILE_SIZE);
      Rect padded = growRect(core, TILE_MARGIN);
      // Every tile has the same size: one block serves the whole walk, and
      // readTile writes all of it each time.
      const bool fits = !pixelMapEmpty(&tile) && tile.baseWidth == rectWidth(padded) &&
                        tile.baseHeight == rectHeight(padded) && tile.format == format;
      if (!fits && !pixelMapCreate(&tile, rectWidth(padded), rectHeight(padded), format, 0)) {
        // Nothing must render from an empty tile: the run stops here.
        setResult(session, RESULT_MEM_FULL);
        return;
      }
      Rect out = intersectRect(core, clip);
      setTileRects(session, clip, padded, out);
      OSErr err = record->advanceState();
      setResult(session, err);
      if (err != 0) {
        pixelMapFree(&tile);
        return;
      }
      readTile(session, &tile, padded);
      if (secondWalk)
        renderStrokePlaneTile(session, &tile);
      else
        renderTile(session, &tile);
      reportProgress(session, countBase + r * cols + c + 1, total, 1);
    }
  }
  pixelMapFree(&tile);
}

}  // namespace

void runTiles(FilterSession* session) {
  FilterRecord* record = session->filterRecord;
  EdgeParameters* p = sessionParameters(session);
  setRegion(session, record->filterRect, 1);
  int32_t rows = rectHeight(record->filterRect) / TILE_SIZE + 1;
  int32_t cols = rectWidth(record->filterRect) / TILE_SIZE + 1;
  bool twoPass = isTwoPassStyle(p->edgeStyle);
  int32_t total = rows * cols * (twoPass ? 2 : 1);
  reportProgress(session, 0, total, 1);
  record->inLoPlane = 0;
  record->outLoPlane = 0;
  record->inHiPlane = static_cast<int16_t>(record->planes - 1);
  record->outHiPlane = static_cast<int16_t>(record->planes - 1);
  if (twoPass) pixelMapFillBytes(&session->strokePlane, 0, 0);
  walkTiles(session, rows, cols, total, false);
  // The second walk starts even after an error; its first test ends it at
  // once with the cancel code.
  if (twoPass) walkTiles(session, rows, cols, total, true);
  releaseFieldBuffers(session, &session->edgeScratchA);
  releaseFieldBuffers(session, &session->edgeScratchB);
  releaseFieldBuffers(session, &session->edgeSource);
  record->inRect = makeRect(0, 0, 0, 0);
  record->outRect = makeRect(0, 0, 0, 0);
  record->maskRect = makeRect(0, 0, 0, 0);
}

void runFilterTiles(FilterSession* session) {
  if (sessionParameters(session)->renderTarget == 1)
    renderRegion(session);
  else
    runTiles(session);
}
