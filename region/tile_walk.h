// The transfer of the host's pixels into tiles, and the walk that cuts the
// filter rectangle into 256 x 256 cores with a margin of 41 pixels.
#pragma once

#include <cstdint>

#include "image/pixel_map.h"
#include "image/rect.h"

struct FilterSession;

inline Rect toRect16(const Rect& r) { return r; }

// Tile format for the host's image: 3 for 8-bit grey and RGB, else 4.
int32_t tileFormatOf(const FilterRecord* record);

void readHostRow(PixelMap* map, int32_t row, FilterSession* session, int32_t columnOffset, int32_t rowOffset);
void readTile(FilterSession* session, PixelMap* map, const Rect& padded);

void setRegion(FilterSession* session, const Rect& rect, int32_t scale);
void setWholeRegion(FilterSession* session);
void setTileRects(FilterSession* session, const Rect& clip, const Rect& in, const Rect& out);
void buildRunTables(FilterSession* session);
void beginRun(FilterSession* session);
void runTiles(FilterSession* session);
void runFilterTiles(FilterSession* session);

bool isTwoPassStyle(int32_t edgeStyle);
