// The five-tap interpolating read of a PixelMap and the copy between sizes.
// Single precision throughout, as the weights are stored; every conversion to
// an integer truncates toward zero.
#include "image/sampling.h"

#include <cstring>

#include "numeric/portable_math.h"

namespace {

constexpr float KERNEL_PI = 3.141592653f;
constexpr float SCALE_2_POW_MINUS_22 = 2.3841858e-7f;  // integer 8-bit sums carry 2048 * 2048
constexpr float SCALE_2_POW_MINUS_15 = 3.0517578e-5f;  // integer 16-bit sums carry 32768
constexpr double LN_2 = 0.69314718055994530942;

float sinc(float x) {
  if (x == 0.0f) return 1.0f;
  float angle = KERNEL_PI * x;
  return static_cast<float>(numeric::sine(angle)) / angle;
}

float wordAsFloat(uint32_t word) {
  float value;
  std::memcpy(&value, &word, sizeof(value));
  return value;
}

uint32_t floatAsWord(float value) {
  uint32_t word;
  std::memcpy(&word, &value, sizeof(word));
  return word;
}

// The 5 x 5 neighbourhood of one sample: clamped pixel indices and, for each
// offset d = -2..2 (index d + 2), the table word of tap 2 - d at the phase.
struct Neighbourhood {
  int32_t columns[5];
  int32_t rows[5];
  int32_t columnTap[5];  // word index of the weight, before the row offset
  int32_t rowTap[5];
};

void locate(const PixelMap* map, int32_t level, float x, float y, Neighbourhood* n) {
  float cx = x + 0.5f, cy = y + 0.5f;
  // Positions before the map would give a negative phase, and far beyond it
  // an index that overflows; both read only the repeated border anyway.
  if (!(cx >= 0.0f)) cx = 0.0f;
  if (!(cy >= 0.0f)) cy = 0.0f;
  if (cx > map->levelWidthF[level] + 4.0f) cx = map->levelWidthF[level] + 4.0f;
  if (cy > map->levelHeightF[level] + 4.0f) cy = map->levelHeightF[level] + 4.0f;
  int32_t ix = static_cast<int32_t>(cx), iy = static_cast<int32_t>(cy);
  int32_t fx = static_cast<int32_t>((cx - static_cast<float>(ix)) * 128.0f);
  int32_t fy = static_cast<int32_t>((cy - static_cast<float>(iy)) * 128.0f);
  if (fx > KERNEL_PHASES - 1) fx = KERNEL_PHASES - 1;
  if (fy > KERNEL_PHASES - 1) fy = KERNEL_PHASES - 1;
  int32_t maxX = map->levelMaxX[level], maxY = map->levelMaxY[level];
  for (int32_t d = -2; d <= 2; ++d) {
    int32_t column = ix + d, row = iy + d;
    n->columns[d + 2] = column < 0 ? 0 : (column > maxX ? maxX : column);
    n->rows[d + 2] = row < 0 ? 0 : (row > maxY ? maxY : row);
    n->columnTap[d + 2] = (2 - d) * KERNEL_PHASES + fx;
    n->rowTap[d + 2] = (2 - d) * KERNEL_PHASES + fy;
  }
}

// Formats 0 and 3: integer sums over the whole 5 x 5, weights summing to 2^22.
void sampleBytes(const PixelMap* map, int32_t level, const Neighbourhood& n, float out[4]) {
  const int32_t* weights = reinterpret_cast<const int32_t*>(map->kernelTable) + KERNEL_ROW_INT8 * KERNEL_PHASES;
  int32_t channels = map->format == PIXEL_BYTE ? 1 : 4;
  int32_t total[4] = {0, 0, 0, 0};
  for (int32_t j = 0; j < 5; ++j) {
    const uint8_t* row = map->levelBase[level] + size_t(map->levelStride[level]) * n.rows[j] * map->bytesPerPixel;
    int32_t rowSum[4] = {0, 0, 0, 0};
    for (int32_t i = 0; i < 5; ++i) {
      int32_t weight = weights[n.columnTap[i]];
      if (channels == 1) {
        rowSum[0] += weight * row[n.columns[i]];
      } else {
        uint32_t word;
        std::memcpy(&word, row + size_t(n.columns[i]) * 4, 4);
        rowSum[0] += weight * static_cast<int32_t>(word >> 24);
        rowSum[1] += weight * static_cast<int32_t>((word >> 16) & 255);
        rowSum[2] += weight * static_cast<int32_t>((word >> 8) & 255);
        rowSum[3] += weight * static_cast<int32_t>(word & 255);
      }
    }
    int32_t weight = weights[n.rowTap[j]];
    for (int32_t c = 0; c < channels; ++c) total[c] += weight * rowSum[c];
  }
  if (channels == 1) {
    out[0] = out[1] = out[2] = static_cast<float>(total[0]) * SCALE_2_POW_MINUS_22;
    out[3] = 255.0f;
    return;
  }
  for (int32_t c = 0; c < 4; ++c) out[c] = static_cast<float>(total[c]) * SCALE_2_POW_MINUS_22;
}

// Format 4: each row's sum is brought back to the sample scale before the
// vertical sum. Samples up to 32768 keep both sums inside 32 bits; the sums
// are 64-bit so that a map holding larger words cannot overflow.
void sampleWords(const PixelMap* map, int32_t level, const Neighbourhood& n, float out[4]) {
  const int32_t* weights = reinterpret_cast<const int32_t*>(map->kernelTable) + KERNEL_ROW_INT16 * KERNEL_PHASES;
  int64_t total[4] = {0, 0, 0, 0};
  for (int32_t j = 0; j < 5; ++j) {
    const uint8_t* row = map->levelBase[level] + size_t(map->levelStride[level]) * n.rows[j] * 8;
    int64_t rowSum[4] = {0, 0, 0, 0};
    for (int32_t i = 0; i < 5; ++i) {
      uint16_t words[4];
      std::memcpy(words, row + size_t(n.columns[i]) * 8, sizeof(words));
      int32_t weight = weights[n.columnTap[i]];
      for (int32_t c = 0; c < 4; ++c) rowSum[c] += int64_t(weight) * words[c];
    }
    int32_t weight = weights[n.rowTap[j]];
    for (int32_t c = 0; c < 4; ++c) total[c] += int64_t(weight) * (rowSum[c] / 32768);
  }
  for (int32_t c = 0; c < 4; ++c) out[c] = static_cast<float>(total[c]) * SCALE_2_POW_MINUS_15;
}

// Format 9: float weights, rows summed across and then weighted down.
void sampleFloats(const PixelMap* map, int32_t level, const Neighbourhood& n, float out[4]) {
  const uint32_t* weights = map->kernelTable + KERNEL_ROW_FLOAT_COPY * KERNEL_PHASES;
  float total[4] = {0.0f, 0.0f, 0.0f, 0.0f};
  for (int32_t j = 0; j < 5; ++j) {
    const uint8_t* row = map->levelBase[level] + size_t(map->levelStride[level]) * n.rows[j] * 16;
    float rowSum[4] = {0.0f, 0.0f, 0.0f, 0.0f};
    for (int32_t i = 0; i < 5; ++i) {
      float values[4];
      std::memcpy(values, row + size_t(n.columns[i]) * 16, sizeof(values));
      float weight = wordAsFloat(weights[n.columnTap[i]]);
      for (int32_t c = 0; c < 4; ++c) rowSum[c] += weight * values[c];
    }
    float weight = wordAsFloat(weights[n.rowTap[j]]);
    for (int32_t c = 0; c < 4; ++c) total[c] += weight * rowSum[c];
  }
  for (int32_t c = 0; c < 4; ++c) out[c] = total[c];
}

void sampleLevel(const PixelMap* map, int32_t level, float u, float v, float out[4]) {
  float x = static_cast<float>(map->levelWidthInt[level]) * u - 0.5f;
  float y = static_cast<float>(map->levelHeightInt[level]) * v - 0.5f;
  Neighbourhood n;
  locate(map, level, x, y, &n);
  switch (map->format) {
    case PIXEL_BYTE:
    case PIXEL_RGBA8: sampleBytes(map, level, n, out); return;
    case PIXEL_RGBA16: sampleWords(map, level, n, out); return;
    case PIXEL_RGBAF: sampleFloats(map, level, n, out); return;
    default: out[0] = out[1] = out[2] = out[3] = 0.0f; return;
  }
}

}  // namespace

float kernelWeight(float x) {
  if (!(x > -2.0f && x < 2.0f)) return 0.0f;
  return sinc(x) * sinc(x / 2.0f);
}

void buildKernelTable(uint32_t* table) {
  int32_t* integers = reinterpret_cast<int32_t*>(table);
  for (int32_t p = 0; p < KERNEL_PHASES; ++p) {
    float t = static_cast<float>(p) / 128.0f - 2.0f;
    // Each tap is the mean of the kernel over a small step, which keeps the
    // response smooth from one phase to the next.
    float s[KERNEL_TAPS] = {0.0f, 0.0f, 0.0f, 0.0f, 0.0f};
    for (int32_t j = 0; j < 20; ++j) {
      float x = t - static_cast<float>(j) / 21.0f;
      for (int32_t tap = 0; tap < KERNEL_TAPS; ++tap) s[tap] += kernelWeight(x + static_cast<float>(tap));
    }
    float n = 1.0f / (s[0] + s[1] + s[2] + s[3] + s[4]);
    float w[KERNEL_TAPS];
    for (int32_t tap = 0; tap < 4; ++tap) w[tap] = n * s[tap];
    w[4] = 1.0f - (w[0] + w[1] + w[2] + w[3]);

    // The last tap takes what the truncated others leave, so every integer
    // phase sums exactly to its scale and a constant image stays constant.
    int32_t sum8 = 0, sum16 = 0;
    for (int32_t tap = 0; tap < KERNEL_TAPS; ++tap) {
      table[(KERNEL_ROW_FLOAT + tap) * KERNEL_PHASES + p] = floatAsWord(w[tap]);
      table[(KERNEL_ROW_FLOAT_COPY + tap) * KERNEL_PHASES + p] = floatAsWord(w[tap]);
      if (tap == 4) break;
      int32_t w8 = static_cast<int32_t>(w[tap] * 2048.0f);
      int32_t w16 = static_cast<int32_t>(w[tap] * 32768.0f);
      integers[(KERNEL_ROW_INT8 + tap) * KERNEL_PHASES + p] = w8;
      integers[(KERNEL_ROW_INT16 + tap) * KERNEL_PHASES + p] = w16;
      sum8 += w8;
      sum16 += w16;
    }
    integers[(KERNEL_ROW_INT8 + 4) * KERNEL_PHASES + p] = 2048 - sum8;
    integers[(KERNEL_ROW_INT16 + 4) * KERNEL_PHASES + p] = 32768 - sum16;
  }
}

void sampleFiltered(const PixelMap* map, int32_t level, float blend, float u, float v, float out[4]) {
  out[0] = out[1] = out[2] = out[3] = 0.0f;
  if (pixelMapEmpty(map) || map->kernelTable == nullptr) return;
  // Held below the last level so that a blend has a next level to read.
  if (level > map->levelCount - 1) level = map->levelCount - 1;
  if (level < 0) level = 0;
  sampleLevel(map, level, u, v, out);
  if (blend == 0.0f || level + 1 > map->levelCount) return;
  float next[4];
  sampleLevel(map, level + 1, u, v, next);
  for (int32_t c = 0; c < 4; ++c) out[c] = out[c] + (next[c] - out[c]) * blend;
}

void sampleNormalized(const PixelMap* map, int32_t level, float blend, float u, float v, float out[4]) {
  sampleFiltered(map, level, blend, u, v, out);
  if (pixelMapEmpty(map)) return;
  for (int32_t c = 0; c < 4; ++c) out[c] *= map->inverseScale;
}

double log2Exact(double value) {
  if (!(value > 0.0) || value > 1.0e300) return numeric::logarithm(value) / LN_2;
  // value = mantissa * 2^exponent with the mantissa in [1, 2); halving and
  // doubling are exact, so a power of two comes out as its exponent alone.
  int32_t exponent = 0;
  double mantissa = value;
  while (mantissa >= 2.0) {
    mantissa *= 0.5;
    ++exponent;
  }
  while (mantissa < 1.0) {
    mantissa *= 2.0;
    --exponent;
  }
  if (mantissa == 1.0) return static_cast<double>(exponent);
  return static_cast<double>(exponent) + numeric::logarithm(mantissa) / LN_2;
}

void resampleLevelAndBlend(int32_t sourceWidth, int32_t destinationWidth, float bias, int32_t levelCount,
                           int32_t* level, float* blend) {
  float l = 0.0f;
  if (sourceWidth > 0 && destinationWidth > 0) {
    double ratio = static_cast<double>(sourceWidth) / static_cast<double>(destinationWidth);
    l = static_cast<float>(log2Exact(ratio)) - bias;
  }
  if (!(l > 0.0f)) l = 0.0f;
  if (l > static_cast<float>(levelCount)) l = static_cast<float>(levelCount);
  *level = static_cast<int32_t>(l);
  *blend = l - static_cast<float>(*level);
}

void resampleInto(const PixelMap* source, PixelMap* destination, const Rect16& sourceRect,
                  const Rect16& destinationRect, float bias) {
  if (pixelMapEmpty(destination)) return;
  int32_t width = destinationRect.right - destinationRect.left;
  int32_t height = destinationRect.bottom - destinationRect.top;
  // Without a table or source pixels the destination is left as it was
  // rather than overwritten with black.
  bool canSample = !pixelMapEmpty(source) && source->kernelTable != nullptr && destination->format == PIXEL_RGBA8;
  if (canSample && width > 0 && height > 0) {
    int32_t level;
    float blend;
    resampleLevelAndBlend(sourceRect.right - sourceRect.left, width, bias, source->levelCount, &level, &blend);
    float doubleWidth = static_cast<float>(2 * width), doubleHeight = static_cast<float>(2 * height);
    for (int32_t row = 0; row < height; ++row) {
      float v = static_cast<float>(2 * row + 1) / doubleHeight;
      for (int32_t column = 0; column < width; ++column) {
        float u = static_cast<float>(2 * column + 1) / doubleWidth;
        float values[4];
        sampleNormalized(source, level, blend, u, v, values);
        int32_t bytes[3];
        for (int32_t c = 0; c < 3; ++c) {
          float scaled = values[c] * 255.0f;
          bytes[c] = !(scaled > 0.0f) ? 0 : (scaled >= 255.0f ? 255 : static_cast<int32_t>(scaled));
        }
        setBytes4(destinationRect.left + column, destinationRect.top + row, destination, 0, bytes[0], bytes[1],
                  bytes[2], 255);
      }
    }
  }
  pixelMapBuildLevels(destination);
}
