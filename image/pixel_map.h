// PixelMap: the raster of the system. One block holds level 0 followed by
// its chain of reduced levels; callers address a pixel by x, y and level.
//
// Formats: 0 one byte; 3 one 32-bit word of four 8-bit channels; 4 four
// 16-bit channels (0..32768); 9 four floats (nominally 0..1). Which byte of
// a format 3 word is which channel is the writer's convention: a tile read
// from the host holds alpha, blue, green, red from the top byte down (so its
// bytes in memory run R, G, B, A); every other use puts red on top.
#pragma once

#include <cstdint>

#include "pi/plugin_interface.h"

struct FilterSession;

constexpr int PIXELMAP_MAX_LEVELS = 20;

enum PixelFormat : int32_t {
  PIXEL_BYTE = 0,
  PIXEL_RGBA8 = 3,
  PIXEL_RGBA16 = 4,
  PIXEL_RGBAF = 9,
};

struct PixelMap {
  uint8_t* pixels;
  uint8_t* levelBase[PIXELMAP_MAX_LEVELS];
  int32_t levelStride[PIXELMAP_MAX_LEVELS];
  int32_t levelHeight[PIXELMAP_MAX_LEVELS];
  int32_t levelWidthInt[PIXELMAP_MAX_LEVELS];
  int32_t levelHeightInt[PIXELMAP_MAX_LEVELS];
  int32_t baseWidth, baseHeight;
  float levelMaxXf[PIXELMAP_MAX_LEVELS];
  float levelMaxYf[PIXELMAP_MAX_LEVELS];
  int32_t levelMaxX[PIXELMAP_MAX_LEVELS];
  int32_t levelMaxY[PIXELMAP_MAX_LEVELS];
  float levelWidthF[PIXELMAP_MAX_LEVELS];
  float levelHeightF[PIXELMAP_MAX_LEVELS];
  int32_t levelCount;  // index of the smallest level
  int32_t blockBytes;
  int32_t bytesPerPixel, channels, bytesPerChannel;
  int32_t format;
  intptr_t bufferId;  // 0 when the block came from platform memory
  BufferProcs* bufferProcs;
  FilterSession* session;
  const uint32_t* kernelTable;
  int32_t levelPolicy;  // -1: levels are never built
  int32_t levelState;   // 0 created, 1 level 0 copied whole, 2 all levels built
  float inverseScale, fullScale;
};

// Rectangles are the host's: 16-bit top, left, bottom, right, with bottom and
// right one past the last pixel.
using Rect16 = Rect;

// --- life of a map ---------------------------------------------------------
// An empty map whose blocks come from these buffer procedures (null: plain
// platform memory). pixelMapInit (session.h) binds a map to a session.
void pixelMapReset(PixelMap* map, BufferProcs* bufferProcs, const uint32_t* kernelTable);
bool pixelMapCreate(PixelMap* map, int32_t width, int32_t height, int32_t format, int32_t levelPolicy);
void pixelMapFree(PixelMap* map);
void pixelMapRect(const PixelMap* map, int32_t level, Rect16* rect);
bool pixelMapSameSize(const PixelMap* a, const PixelMap* b);
bool pixelMapSameLayout(const PixelMap* a, const PixelMap* b);
void pixelMapCopy(PixelMap* source, PixelMap* destination);
void pixelMapFillBytes(PixelMap* map, int32_t level, uint8_t value);
void pixelMapBuildLevels(PixelMap* map);  // image/pyramid.cpp

// Size of the level below a side, and the whole chain of a w x h map: fills
// up to PIXELMAP_MAX_LEVELS sides and returns the number of levels
// (levelCount + 1).
int32_t pixelMapNextSide(int32_t side);
int32_t pixelMapLevelChain(int32_t width, int32_t height, int32_t* widths, int32_t* heights);

inline bool pixelMapEmpty(const PixelMap* map) { return map == nullptr || map->pixels == nullptr; }

// --- pixel access ----------------------------------------------------------
// Clamped reads move x and y into the level; checked writes ignore pixels
// outside it; the Fast writes trust the caller.
inline uint8_t* pixelAddress(const PixelMap* map, int32_t x, int32_t y, int32_t level) {
  return map->levelBase[level] + (static_cast<intptr_t>(map->levelStride[level]) * y + x) * map->bytesPerPixel;
}
inline void clampToLevel(const PixelMap* map, int32_t level, int32_t* x, int32_t* y) {
  if (*x < 0) *x = 0;
  if (*x > map->levelMaxX[level]) *x = map->levelMaxX[level];
  if (*y < 0) *y = 0;
  if (*y > map->levelMaxY[level]) *y = map->levelMaxY[level];
}
inline bool insideLevel(const PixelMap* map, int32_t level, int32_t x, int32_t y) {
  return x >= 0 && y >= 0 && x <= map->levelMaxX[level] && y <= map->levelMaxY[level];
}

uint32_t getWord(int32_t x, int32_t y, const PixelMap* map, int32_t level);
uint32_t getWordChecked(int32_t x, int32_t y, const PixelMap* map, int32_t level);
void getBytes4(int32_t x, int32_t y, const PixelMap* map, int32_t level, int32_t out[4]);
void setBytes4(int32_t x, int32_t y, PixelMap* map, int32_t level, int32_t b3, int32_t b2, int32_t b1, int32_t b0);
inline void setBytes4Fast(int32_t x, int32_t y, PixelMap* map, int32_t level, int32_t b3, int32_t b2, int32_t b1,
                          int32_t b0) {
  uint32_t word = (static_cast<uint32_t>(b3 & 255) << 24) | (static_cast<uint32_t>(b2 & 255) << 16) |
                  (static_cast<uint32_t>(b1 & 255) << 8) | static_cast<uint32_t>(b0 & 255);
  *reinterpret_cast<uint32_t*>(pixelAddress(map, x, y, level)) = word;
}
void getWords4(int32_t x, int32_t y, const PixelMap* map, int32_t level, int32_t out[4]);
void setWords4(int32_t x, int32_t y, PixelMap* map, int32_t level, int32_t w0, int32_t w1, int32_t w2, int32_t w3);
inline void setWords4Fast(int32_t x, int32_t y, PixelMap* map, int32_t level, int32_t w0, int32_t w1, int32_t w2,
                          int32_t w3) {
  uint16_t* p = reinterpret_cast<uint16_t*>(pixelAddress(map, x, y, level));
  p[0] = static_cast<uint16_t>(w0);
  p[1] = static_cast<uint16_t>(w1);
  p[2] = static_cast<uint16_t>(w2);
  p[3] = static_cast<uint16_t>(w3);
}
void getFloats4(int32_t x, int32_t y, const PixelMap* map, int32_t level, float out[4]);
void setFloats4(int32_t x, int32_t y, PixelMap* map, int32_t level, const float in[4]);
uint8_t getByte(int32_t x, int32_t y, const PixelMap* map, int32_t level);
void setByte(int32_t x, int32_t y, PixelMap* map, int32_t level, uint8_t value);
// Four integers by format (format 9: the float bit patterns).
void getChannels(int32_t x, int32_t y, const PixelMap* map, int32_t level, int32_t out[4]);
void setChannels(int32_t x, int32_t y, PixelMap* map, int32_t level, const int32_t in[4]);
void getNormalized(int32_t x, int32_t y, const PixelMap* map, int32_t level, float out[4]);
void setNormalized(int32_t x, int32_t y, PixelMap* map, int32_t level, const float in[4]);
