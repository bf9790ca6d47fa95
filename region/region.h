// One-tile renders of a whole region: the preview and the off-screen renders
// of the exports, and the snapshots that give the host's rectangles and the
// view back afterwards.
#pragma once

#include <cstdint>

#include "pi/plugin_interface.h"

struct FilterSession;

// What an off-screen render saves and puts back.
struct ViewSnapshot {
  Rect inRect;
  Rect outRect;
  Rect maskRect;
  int32_t scaleDivisor;
  int16_t filterTop;
  int32_t currentRow;
  int32_t panX, panY;
  int32_t renderTarget;
};

// The lighter pair of renderRegion: the three rectangles, the scale and
// currentRow, without pan and target.
struct RegionSnapshot {
  Rect inRect;
  Rect outRect;
  Rect maskRect;
  int32_t scaleDivisor;
  int32_t currentRow;
};

void saveView(ViewSnapshot* snapshot, const FilterSession* session);
// Puts the view back; with renderTarget 1 it also sets the preview geometry
// again for the restored scale (which calls advanceState).
void restoreView(const ViewSnapshot* snapshot, FilterSession* session);
void saveRegionView(RegionSnapshot* snapshot, const FilterSession* session);
void restoreRegionView(const RegionSnapshot* snapshot, FilterSession* session);

// Renders inRect as one tile: a square of the region's longer side with a
// margin of 41, all of the margin by repetition. Target 1 writes the host's
// outData from its start, target 2 the map of exportTarget. The rectangles
// are as they were afterwards.
void renderRegion(FilterSession* session);

// Renders the whole filter rectangle at full size into the map that the work
// area's exportTarget names (format 3 or 4), and puts the view back.
void renderToTarget(FilterSession* session);
