// The transfer of the host's pixels into tiles, and the walk that cuts the
// filter rectangle into 256 x 256 cores with a margin of 41 pixels.
#pragma once

#include <cstdint>

#include "image/pixel_map.h"

struct FilterSession;

// Rectangle algebra on the host's 16-bit rectangles.
inline int32_t rectWidth(const Rect& r) { return r.right - r.left; }
inline int32_t rectHeight(const Rect& r) { return r.bottom - r.top; }
inline bool rectEmpty(const Rect& r) { return r.right <= r.left || r.bottom <= r.top; }
Rect makeRect(int32_t top, int32_t left, int32_t bottom, int32_t right);
Rect intersectRect(const Rect& a, const Rect& b);  // all zero when they do not meet
Rect growRect(const Rect& r, int32_t margin);
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
