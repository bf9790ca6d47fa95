#include "region/region.h"

#include <cstring>

#include "session/session.h"
#include "region/preview_geometry.h"
#include "engine/render.h"
#include "region/tile_walk.h"

void saveView(ViewSnapshot* snapshot, const FilterSession* session) {
  const FilterRecord* record = session->filterRecord;
  const EdgeParameters* p = session->parameters;
  snapshot->inRect = record->inRect;
  snapshot->outRect = record->outRect;
  snapshot->maskRect = record->maskRect;
  snapshot->scaleDivisor = p->scaleDivisor;
  snapshot->filterTop = record->filterRect.top;
  snapshot->currentRow = session->currentRow;
  snapshot->panX = p->panX;
  snapshot->panY = p->panY;
  snapshot->renderTarget = p->renderTarget;
}

void restoreView(const ViewSnapshot* snapshot, FilterSession* session) {
  FilterRecord* record = session->filterRecord;
  EdgeParameters* p = sessionParameters(session);
  record->inRect = snapshot->inRect;
  record->outRect = snapshot->outRect;
  record->maskRect = snapshot->maskRect;
  p->scaleDivisor = snapshot->scaleDivisor;
  session->currentRow = snapshot->currentRow;
  p->panX = snapshot->panX;
  p->panY = snapshot->panY;
  p->renderTarget = snapshot->renderTarget;
  if (p->renderTarget == 1) setPreviewGeometry(session, p->scaleDivisor);
}

void saveRegionView(RegionSnapshot* snapshot, const FilterSession* session) {
  const FilterRecord* record = session->filterRecord;
  snapshot->inRect = record->inRect;
  snapshot->outRect = record->outRect;
  snapshot->maskRect = record->maskRect;
  snapshot->scaleDivisor = session->parameters->scaleDivisor;
  snapshot->currentRow = session->currentRow;
}

void restoreRegionView(const RegionSnapshot* snapshot, FilterSession* session) {
  FilterRecord* record = session->filterRecord;
  record->inRect = snapshot->inRect;
  record->outRect = snapshot->outRect;
  record->maskRect = snapshot->maskRect;
  sessionParameters(session)->scaleDivisor = snapshot->scaleDivisor;
  session->currentRow = snapshot->currentRow;
}

namespace {

// One pass over the region's single tile. False when the host or the memory
// failed, with the code in the result word. With keepTile the tile stays
// allocated for the second pass of a two-pass style, which takes it as it is
// when its size and format fit instead of allocating the same block again;
// it is read from the host anew either way.
bool renderRegionPass(FilterSession* session, const Rect& region, PixelMap* tile, bool strokePlanePass,
                      bool keepTile) {
  FilterRecord* record = session->filterRecord;
  session->tileTop = 0;
  session->tileLeft = 0;
  int32_t width = rectWidth(region), height = rectHeight(region);
  int32_t side = width > height ? width : height;
  Rect core = makeRect(region.top, region.left, region.top + side, region.left + side);
  Rect padded = growRect(core, TILE_MARGIN);
  const bool fits = !pixelMapEmpty(tile) && tile->baseWidth == rectWidth(padded) &&
                    tile->baseHeight == rectHeight(padded) && tile->format == tileFormatOf(record);
  if (!fits && !pixelMapCreate(tile, rectWidth(padded), rectHeight(padded), tileFormatOf(record), 0)) {
    // Nothing may render from an empty tile.
    setResult(session, RESULT_MEM_FULL);
    return false;
  }
  // inRect is cut back to the region: the host delivers only the region and
  // the whole margin comes from repetition.
  setTileRects(session, region, padded, intersectRect(region, core));
  OSErr err = record->advanceState != nullptr ? record->advanceState() : RESULT_STOPPED;
  setResult(session, err);
  if (err != 0) {
    pixelMapFree(tile);
    return false;
  }
  readTile(session, tile, padded);
  if (strokePlanePass)
    renderStrokePlaneTile(session, tile);
  else
    renderTile(session, tile);
  if (!keepTile) pixelMapFree(tile);
  return true;
}

// Clears the part of the stroke plane that this render reads: the plane
// pass reads core pixels only, so strokes that land beyond the region are
// never read now, and every other render clears what it reads itself. At
// the preview's scale this is a small corner of a full-size plane.
void clearStrokePlaneFor(PixelMap* plane, const Rect& region) {
  if (pixelMapEmpty(plane) || plane->format != PIXEL_BYTE) return;
  int32_t width = rectWidth(region), height = rectHeight(region);
  if (width >= plane->baseWidth && height >= plane->baseHeight) {
    pixelMapFillBytes(plane, 0, 0);
    return;
  }
  if (width > plane->baseWidth) width = plane->baseWidth;
  if (height > plane->baseHeight) height = plane->baseHeight;
  for (int32_t y = 0; y < height; ++y) std::memset(pixelAddress(plane, 0, y, 0), 0, static_cast<size_t>(width));
}

}  // namespace

void renderRegion(FilterSession* session) {
  FilterRecord* record = session->filterRecord;
  EdgeParameters* p = sessionParameters(session);
  PixelMap tile;
  pixelMapInit(&tile, session, session->work->kernelTable);
  RegionSnapshot snapshot;
  saveRegionView(&snapshot, session);
  const Rect region = record->inRect;
  bool twoPass = isTwoPassStyle(p->edgeStyle);
  if (twoPass) clearStrokePlaneFor(&session->strokePlane, region);
  if (p->renderTarget == 2) reportProgress(session, 0, 1, 1);
  if (!rectEmpty(region) && renderRegionPass(session, region, &tile, false, twoPass) && twoPass)
    renderRegionPass(session, region, &tile, true, false);
  pixelMapFree(&tile);
  restoreRegionView(&snapshot, session);
  if (p->renderTarget == 1) setPreviewGeometry(session, p->scaleDivisor);
}

void renderToTarget(FilterSession* session) {
  FilterRecord* record = session->filterRecord;
  EdgeParameters* p = sessionParameters(session);
  ViewSnapshot view;
  saveView(&view, session);
  const Rect keptFilterRect = record->filterRect;
  p->scaleDivisor = 1;
  record->filterRect = session->fullFilterRect;
  setWholeRegion(session);
  setRegion(session, record->filterRect, 1);
  record->maskRect = makeRect(record->filterRect.top, record->filterRect.left, record->filterRect.top,
                              record->filterRect.left);
  p->renderTarget = 2;
  buildRunTables(session);
  beginRun(session);
  renderRegion(session);
  record->filterRect = keptFilterRect;
  restoreView(&view, session);
}
