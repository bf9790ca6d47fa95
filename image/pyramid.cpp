// The reduced levels of a PixelMap, built top down so that each level is
// filtered from the already filtered one above it.
#include "image/pyramid.h"

#include <cstring>

namespace {

constexpr int32_t WINDOW = 6;
constexpr int32_t WEIGHTS[WINDOW][WINDOW] = {
    {0, 1, 4, 4, 1, 0},         //
    {1, 16, 64, 64, 16, 1},     //
    {4, 64, 256, 256, 64, 4},   //
    {4, 64, 256, 256, 64, 4},   //
    {1, 16, 64, 64, 16, 1},     //
    {0, 1, 4, 4, 1, 0},         //
};

// The integer formats divide by 1630 rather than the true 1640, so each level
// comes out slightly brighter than the one above; the limit keeps it in range.
constexpr float INTEGER_FACTOR = 0.00061349693f;  // 1 / 1630
constexpr float FLOAT_FACTOR = 0.0006097561f;     // 1 / 1640

int32_t clampIndex(int32_t value, int32_t last) { return value < 0 ? 0 : (value > last ? last : value); }

int32_t normalizeInteger(int32_t sum, int32_t limit) {
  int32_t value = static_cast<int32_t>(static_cast<float>(sum) * INTEGER_FACTOR);
  return value > limit ? limit : value;
}

float normalizeFloat(float sum) {
  float value = sum * FLOAT_FACTOR;
  if (!(value > 0.0f)) return 0.0f;
  return value > 65535.0f ? 65535.0f : value;
}

}  // namespace

int32_t pyramidWeight(int32_t dx, int32_t dy) {
  if (dx < -2 || dx > 3 || dy < -2 || dy > 3) return 0;
  return WEIGHTS[dy + 2][dx + 2];
}

void buildLevel(PixelMap* map, int32_t sourceLevel, const Rect16& rect) {
  if (pixelMapEmpty(map) || sourceLevel < 0) return;
  int32_t level = sourceLevel + 1;
  if (level > map->levelCount) return;
  int32_t top = rect.top < 0 ? 0 : rect.top;
  int32_t left = rect.left < 0 ? 0 : rect.left;
  int32_t bottom = rect.bottom > map->levelHeight[level] ? map->levelHeight[level] : rect.bottom;
  int32_t right = rect.right > map->levelStride[level] ? map->levelStride[level] : rect.right;
  if (bottom <= top || right <= left) return;

  const int32_t bytesPerPixel = map->bytesPerPixel;
  const int32_t sourceStride = map->levelStride[sourceLevel];
  const int32_t lastX = map->levelMaxX[sourceLevel], lastY = map->levelMaxY[sourceLevel];
  const uint8_t* source = map->levelBase[sourceLevel];

  for (int32_t y = top; y < bottom; ++y) {
    // The source rows of the window, clamped so the border repeats.
    const uint8_t* rows[WINDOW];
    for (int32_t j = 0; j < WINDOW; ++j)
      rows[j] = source + size_t(clampIndex(2 * y + j - 2, lastY)) * size_t(sourceStride) * bytesPerPixel;
    for (int32_t x = left; x < right; ++x) {
      int32_t columns[WINDOW];
      for (int32_t i = 0; i < WINDOW; ++i) columns[i] = clampIndex(2 * x + i - 2, lastX);
      uint8_t* target = pixelAddress(map, x, y, level);

      switch (map->format) {
        case PIXEL_BYTE: {
          int32_t sum = 0;
          for (int32_t j = 0; j < WINDOW; ++j)
            for (int32_t i = 0; i < WINDOW; ++i)
              if (WEIGHTS[j][i] != 0) sum += WEIGHTS[j][i] * rows[j][columns[i]];
          *target = static_cast<uint8_t>(normalizeInteger(sum, 255));
          break;
        }
        case PIXEL_RGBA8: {
          // Each byte position by itself, whatever channel the writer put there.
          int32_t sum[4] = {0, 0, 0, 0};
          for (int32_t j = 0; j < WINDOW; ++j)
            for (int32_t i = 0; i < WINDOW; ++i) {
              int32_t weight = WEIGHTS[j][i];
              if (weight == 0) continue;
              uint32_t word;
              std::memcpy(&word, rows[j] + size_t(columns[i]) * 4, 4);
              sum[0] += weight * static_cast<int32_t>(word >> 24);
              sum[1] += weight * static_cast<int32_t>((word >> 16) & 255);
              sum[2] += weight * static_cast<int32_t>((word >> 8) & 255);
              sum[3] += weight * static_cast<int32_t>(word & 255);
            }
          uint32_t word = (uint32_t(normalizeInteger(sum[0], 255)) << 24) |
                          (uint32_t(normalizeInteger(sum[1], 255)) << 16) |
                          (uint32_t(normalizeInteger(sum[2], 255)) << 8) | uint32_t(normalizeInteger(sum[3], 255));
          std::memcpy(target, &word, 4);
          break;
        }
        case PIXEL_RGBA16: {
          int32_t sum[4] = {0, 0, 0, 0};
          for (int32_t j = 0; j < WINDOW; ++j)
            for (int32_t i = 0; i < WINDOW; ++i) {
              int32_t weight = WEIGHTS[j][i];
              if (weight == 0) continue;
              uint16_t words[4];
              std::memcpy(words, rows[j] + size_t(columns[i]) * 8, sizeof(words));
              for (int32_t c = 0; c < 4; ++c) sum[c] += weight * static_cast<int32_t>(words[c]);
            }
          uint16_t words[4];
          for (int32_t c = 0; c < 4; ++c) words[c] = static_cast<uint16_t>(normalizeInteger(sum[c], 32768));
          std::memcpy(target, words, sizeof(words));
          break;
        }
        case PIXEL_RGBAF: {
          float sum[4] = {0.0f, 0.0f, 0.0f, 0.0f};
          for (int32_t j = 0; j < WINDOW; ++j)
            for (int32_t i = 0; i < WINDOW; ++i) {
              int32_t weight = WEIGHTS[j][i];
              if (weight == 0) continue;
              float values[4];
              std::memcpy(values, rows[j] + size_t(columns[i]) * 16, sizeof(values));
              for (int32_t c = 0; c < 4; ++c) sum[c] += static_cast<float>(weight) * values[c];
            }
          float values[4];
          for (int32_t c = 0; c < 4; ++c) values[c] = normalizeFloat(sum[c]);
          std::memcpy(target, values, sizeof(values));
          break;
        }
        default: return;
      }
    }
  }
}

void pixelMapBuildLevels(PixelMap* map) {
  if (pixelMapEmpty(map) || map->levelPolicy == -1) return;
  for (int32_t level = 0; level < map->levelCount; ++level) {
    Rect16 whole;
    pixelMapRect(map, level + 1, &whole);
    buildLevel(map, level, whole);
  }
  map->levelState = 2;
}
