// PixelMap: creation, the level chain, pixel access and the copy between maps.
#include "image/pixel_map.h"

#include <cstring>

#include "host/host_services.h"
#include "image/sampling.h"

namespace {

struct FormatInfo {
  int32_t bytesPerPixel;
  int32_t channels;
  int32_t bytesPerChannel;
  float fullScale;
};

// The four formats the system uses; anything else is refused at creation.
bool formatInfo(int32_t format, FormatInfo* info) {
  switch (format) {
    case PIXEL_BYTE: *info = {1, 1, 1, 255.0f}; return true;
    case PIXEL_RGBA8: *info = {4, 4, 1, 255.0f}; return true;
    case PIXEL_RGBA16: *info = {8, 4, 2, 32768.0f}; return true;
    case PIXEL_RGBAF: *info = {16, 4, 4, 1.0f}; return true;
    default: return false;
  }
}

// The level tables of an empty map: no level has a pixel, so every checked
// write falls outside (max -1) and every rectangle is empty.
void clearLevels(PixelMap* map) {
  map->pixels = nullptr;
  for (int32_t level = 0; level < PIXELMAP_MAX_LEVELS; ++level) {
    map->levelBase[level] = nullptr;
    map->levelStride[level] = 0;
    map->levelHeight[level] = 0;
    map->levelWidthInt[level] = 0;
    map->levelHeightInt[level] = 0;
    map->levelMaxXf[level] = -1.0f;
    map->levelMaxYf[level] = -1.0f;
    map->levelMaxX[level] = -1;
    map->levelMaxY[level] = -1;
    map->levelWidthF[level] = 0.0f;
    map->levelHeightF[level] = 0.0f;
  }
  map->baseWidth = 0;
  map->baseHeight = 0;
  map->levelCount = 0;
  map->blockBytes = 0;
}

bool validLevel(const PixelMap* map, int32_t level) {
  return !pixelMapEmpty(map) && level >= 0 && level <= map->levelCount;
}

// A float channel to its integer on the map's scale. Out-of-range and NaN
// inputs are held to the channel's range rather than wrapped.
int32_t truncateToScale(float value, float fullScale) {
  float scaled = value * fullScale;
  if (!(scaled > 0.0f)) return 0;
  if (scaled >= fullScale) return static_cast<int32_t>(fullScale);
  return static_cast<int32_t>(scaled);
}

}  // namespace

// --- level chain -------------------------------------------------------------

int32_t pixelMapNextSide(int32_t side) {
  int32_t half = (side + 1) / 2;
  if (half >= 3 && (half & 1) != 0) ++half;
  return half < 1 ? 1 : half;
}

int32_t pixelMapLevelChain(int32_t width, int32_t height, int32_t* widths, int32_t* heights) {
  int32_t count = 0;
  int32_t w = width, h = height;
  while (count < PIXELMAP_MAX_LEVELS) {
    widths[count] = w;
    heights[count] = h;
    ++count;
    if (w <= 1 && h <= 1) break;
    w = pixelMapNextSide(w);
    h = pixelMapNextSide(h);
  }
  return count;
}

// --- life of a map -------------------------------------------------------------

void pixelMapReset(PixelMap* map, BufferProcs* bufferProcs, const uint32_t* kernelTable) {
  if (map == nullptr) return;
  std::memset(map, 0, sizeof(*map));
  clearLevels(map);
  map->kernelTable = kernelTable;
  map->bufferId = 0;
  map->bufferProcs = bufferProcs;
  map->levelPolicy = 0;
  map->levelState = 0;
}

bool pixelMapCreate(PixelMap* map, int32_t width, int32_t height, int32_t format, int32_t levelPolicy) {
  FormatInfo info;
  // Checked before anything is freed, so a refused request keeps the old pixels.
  if (map == nullptr || width < 1 || height < 1 || !formatInfo(format, &info)) return false;
  pixelMapFree(map);

  int32_t widths[PIXELMAP_MAX_LEVELS], heights[PIXELMAP_MAX_LEVELS];
  int32_t levels = pixelMapLevelChain(width, height, widths, heights);
  int64_t totalPixels = 0;
  for (int32_t level = 0; level < levels; ++level) totalPixels += int64_t(widths[level]) * heights[level];
  int64_t bytes = totalPixels * info.bytesPerPixel;
  if (bytes > INT32_MAX) return false;

  void* block = allocateBuffer(static_cast<size_t>(bytes), &map->bufferId, map->bufferProcs);
  if (block == nullptr) {
    map->bufferId = 0;
    return false;
  }
  map->pixels = static_cast<uint8_t*>(block);
  map->format = format;
  map->bytesPerPixel = info.bytesPerPixel;
  map->channels = info.channels;
  map->bytesPerChannel = info.bytesPerChannel;

  int64_t offset = 0;
  for (int32_t level = 0; level < levels; ++level) {
    int32_t w = widths[level], h = heights[level];
    map->levelBase[level] = map->pixels + offset * info.bytesPerPixel;
    map->levelStride[level] = w;
    map->levelHeight[level] = h;
    map->levelWidthInt[level] = w;
    map->levelHeightInt[level] = h;
    map->levelMaxX[level] = w - 1;
    map->levelMaxY[level] = h - 1;
    map->levelMaxXf[level] = static_cast<float>(w - 1);
    map->levelMaxYf[level] = static_cast<float>(h - 1);
    map->levelWidthF[level] = static_cast<float>(w);
    map->levelHeightF[level] = static_cast<float>(h);
    offset += int64_t(w) * h;
  }
  map->baseWidth = width;
  map->baseHeight = height;
  map->levelCount = levels - 1;
  map->levelPolicy = levelPolicy;
  map->blockBytes = static_cast<int32_t>(bytes);
  map->levelState = 0;
  map->fullScale = info.fullScale;
  map->inverseScale = 1.0f / info.fullScale;
  return true;
}

void pixelMapFree(PixelMap* map) {
  if (map == nullptr) return;
  if (map->pixels != nullptr || map->bufferId != 0) {
    void* address = map->pixels;
    freeBuffer(&address, &map->bufferId, map->bufferProcs);
  }
  map->bufferId = 0;
  clearLevels(map);
  map->levelState = 0;
}

void pixelMapRect(const PixelMap* map, int32_t level, Rect16* rect) {
  *rect = Rect16{0, 0, 0, 0};
  if (!validLevel(map, level)) return;
  rect->bottom = static_cast<int16_t>(map->levelHeight[level]);
  rect->right = static_cast<int16_t>(map->levelStride[level]);
}

bool pixelMapSameSize(const PixelMap* a, const PixelMap* b) {
  if (a == nullptr || b == nullptr) return false;
  return a->baseWidth == b->baseWidth && a->baseHeight == b->baseHeight;
}

bool pixelMapSameLayout(const PixelMap* a, const PixelMap* b) {
  return pixelMapSameSize(a, b) && a->bytesPerPixel == b->bytesPerPixel && a->levelCount == b->levelCount;
}

void pixelMapCopy(PixelMap* source, PixelMap* destination) {
  if (source == nullptr || destination == nullptr) return;
  if (!pixelMapSameSize(source, destination)) {
    // resampleInto ends by building the destination's levels itself.
    Rect16 sourceRect, destinationRect;
    pixelMapRect(source, 0, &sourceRect);
    pixelMapRect(destination, 0, &destinationRect);
    if (!pixelMapEmpty(source)) resampleInto(source, destination, sourceRect, destinationRect, 0.5f);
    else pixelMapBuildLevels(destination);
    return;
  }
  if (!pixelMapEmpty(source) && !pixelMapEmpty(destination)) {
    if (pixelMapSameLayout(source, destination)) {
      size_t bytes = size_t(source->levelStride[0]) * size_t(source->levelHeight[0]) * size_t(source->bytesPerPixel);
      std::memmove(destination->pixels, source->pixels, bytes);
      destination->levelState = 1;
    } else if (source->format == destination->format &&
               (source->format == PIXEL_RGBA8 || source->format == PIXEL_RGBA16 || source->format == PIXEL_RGBAF)) {
      int32_t width = source->levelStride[0] < destination->levelStride[0] ? source->levelStride[0]
                                                                           : destination->levelStride[0];
      int32_t height = source->levelHeight[0] < destination->levelHeight[0] ? source->levelHeight[0]
                                                                            : destination->levelHeight[0];
      float values[4];
      for (int32_t y = 0; y < height; ++y)
        for (int32_t x = 0; x < width; ++x) {
          getNormalized(x, y, source, 0, values);
          setNormalized(x, y, destination, 0, values);
        }
    }
  }
  pixelMapBuildLevels(destination);
}

void pixelMapFillBytes(PixelMap* map, int32_t level, uint8_t value) {
  if (!validLevel(map, level) || map->format != PIXEL_BYTE) return;
  std::memset(map->levelBase[level], value, size_t(map->levelStride[level]) * size_t(map->levelHeight[level]));
}

// --- pixel access ----------------------------------------------------------------

uint32_t getWord(int32_t x, int32_t y, const PixelMap* map, int32_t level) {
  clampToLevel(map, level, &x, &y);
  uint32_t word;
  std::memcpy(&word, pixelAddress(map, x, y, level), 4);
  return word;
}

uint32_t getWordChecked(int32_t x, int32_t y, const PixelMap* map, int32_t level) {
  if (!validLevel(map, level)) return 0;
  return getWord(x, y, map, level);
}

void getBytes4(int32_t x, int32_t y, const PixelMap* map, int32_t level, int32_t out[4]) {
  uint32_t word = getWord(x, y, map, level);
  out[0] = static_cast<int32_t>(word >> 24);
  out[1] = static_cast<int32_t>((word >> 16) & 255);
  out[2] = static_cast<int32_t>((word >> 8) & 255);
  out[3] = static_cast<int32_t>(word & 255);
}

void setBytes4(int32_t x, int32_t y, PixelMap* map, int32_t level, int32_t b3, int32_t b2, int32_t b1, int32_t b0) {
  if (!insideLevel(map, level, x, y)) return;
  setBytes4Fast(x, y, map, level, b3, b2, b1, b0);
}

void getWords4(int32_t x, int32_t y, const PixelMap* map, int32_t level, int32_t out[4]) {
  clampToLevel(map, level, &x, &y);
  uint16_t words[4];
  std::memcpy(words, pixelAddress(map, x, y, level), sizeof(words));
  for (int32_t i = 0; i < 4; ++i) out[i] = words[i];
}

void setWords4(int32_t x, int32_t y, PixelMap* map, int32_t level, int32_t w0, int32_t w1, int32_t w2, int32_t w3) {
  if (!insideLevel(map, level, x, y)) return;
  setWords4Fast(x, y, map, level, w0, w1, w2, w3);
}

void getFloats4(int32_t x, int32_t y, const PixelMap* map, int32_t level, float out[4]) {
  clampToLevel(map, level, &x, &y);
  std::memcpy(out, pixelAddress(map, x, y, level), 4 * sizeof(float));
}

void setFloats4(int32_t x, int32_t y, PixelMap* map, int32_t level, const float in[4]) {
  if (!insideLevel(map, level, x, y)) return;
  std::memcpy(pixelAddress(map, x, y, level), in, 4 * sizeof(float));
}

uint8_t getByte(int32_t x, int32_t y, const PixelMap* map, int32_t level) {
  if (!validLevel(map, level)) return 0;
  clampToLevel(map, level, &x, &y);
  return *pixelAddress(map, x, y, level);
}

void setByte(int32_t x, int32_t y, PixelMap* map, int32_t level, uint8_t value) {
  if (!validLevel(map, level) || !insideLevel(map, level, x, y)) return;
  *pixelAddress(map, x, y, level) = value;
}

void getChannels(int32_t x, int32_t y, const PixelMap* map, int32_t level, int32_t out[4]) {
  switch (map->format) {
    case PIXEL_RGBA8: getBytes4(x, y, map, level, out); return;
    case PIXEL_RGBA16: getWords4(x, y, map, level, out); return;
    case PIXEL_RGBAF: {
      float values[4];
      getFloats4(x, y, map, level, values);
      std::memcpy(out, values, sizeof(values));
      return;
    }
    default: out[0] = out[1] = out[2] = out[3] = 0; return;
  }
}

void setChannels(int32_t x, int32_t y, PixelMap* map, int32_t level, const int32_t in[4]) {
  switch (map->format) {
    case PIXEL_RGBA8: setBytes4(x, y, map, level, in[0], in[1], in[2], in[3]); return;
    case PIXEL_RGBA16: setWords4(x, y, map, level, in[0], in[1], in[2], in[3]); return;
    case PIXEL_RGBAF: {
      float values[4];
      std::memcpy(values, in, sizeof(values));
      setFloats4(x, y, map, level, values);
      return;
    }
    default: return;
  }
}

void getNormalized(int32_t x, int32_t y, const PixelMap* map, int32_t level, float out[4]) {
  int32_t channels[4];
  switch (map->format) {
    case PIXEL_BYTE: {
      float value = static_cast<float>(getByte(x, y, map, level)) * map->inverseScale;
      out[0] = out[1] = out[2] = value;
      out[3] = 1.0f;
      return;
    }
    case PIXEL_RGBA8: getBytes4(x, y, map, level, channels); break;
    case PIXEL_RGBA16: getWords4(x, y, map, level, channels); break;
    case PIXEL_RGBAF: getFloats4(x, y, map, level, out); return;
    default: out[0] = out[1] = out[2] = out[3] = 0.0f; return;
  }
  for (int32_t i = 0; i < 4; ++i) out[i] = static_cast<float>(channels[i]) * map->inverseScale;
}

void setNormalized(int32_t x, int32_t y, PixelMap* map, int32_t level, const float in[4]) {
  int32_t c[4];
  switch (map->format) {
    case PIXEL_RGBA8:
      for (int32_t i = 0; i < 4; ++i) c[i] = truncateToScale(in[i], map->fullScale);
      setBytes4(x, y, map, level, c[0], c[1], c[2], c[3]);
      return;
    case PIXEL_RGBA16:
      for (int32_t i = 0; i < 4; ++i) c[i] = truncateToScale(in[i], map->fullScale);
      setWords4(x, y, map, level, c[0], c[1], c[2], c[3]);
      return;
    case PIXEL_RGBAF: setFloats4(x, y, map, level, in); return;
    default: return;
  }
}
