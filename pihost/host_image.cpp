#include "pihost/host_image.h"

#include <algorithm>
#include <cstring>

void hostImageAllocate(HostImage* image, int32_t width, int32_t height, int32_t colorPlanes, bool hasAlpha,
                       int32_t depth, uint16_t value) {
  image->width = width;
  image->height = height;
  image->colorPlanes = colorPlanes;
  image->hasAlpha = hasAlpha;
  image->depth = depth;
  image->samples.assign(size_t(width) * size_t(height) * size_t(imagePlanes(*image)), value);
}

int16_t hostImageMode(const HostImage& image) {
  if (image.depth == 16) return image.colorPlanes >= 3 ? plugInModeRGB48 : plugInModeGray16;
  return image.colorPlanes >= 3 ? plugInModeRGBColor : plugInModeGrayScale;
}


namespace {

// Picture coordinate of buffer coordinate `c` at the given 16.16 rate,
// rounded toward minus infinity.
int64_t sampledCoordinate(int32_t c, Fixed rate) {
  int64_t scaled = int64_t(c) * int64_t(rate);
  return scaled >= 0 ? scaled >> 16 : -((-scaled + 0xFFFF) >> 16);
}

// Where one buffer sample comes from: the picture index along one axis, or
// -1 when padding by a fill value or leaving the sample alone.
struct AxisMap {
  std::vector<int32_t> index;
  bool outside = false;
};

AxisMap mapAxis(int32_t first, int32_t count, Fixed rate, int32_t extent, int16_t padding) {
  AxisMap map;
  map.index.resize(size_t(count));
  for (int32_t i = 0; i < count; ++i) {
    int64_t p = sampledCoordinate(first + i, rate);
    if (p < 0 || p >= extent) {
      map.outside = true;
      if (padding == plugInWantsEdgeReplication) p = p < 0 ? 0 : extent - 1;
      else p = -1;
    }
    map.index[size_t(i)] = int32_t(p);
  }
  return map;
}

OSErr prepareBuffer(const CutRequest& request, int32_t samplesPerPixel, int32_t bytesPerSample, HostBuffer* buffer) {
  buffer->width = rectWidth(request.rect);
  buffer->height = rectHeight(request.rect);
  buffer->samplesPerPixel = samplesPerPixel;
  buffer->bytesPerSample = bytesPerSample;
  int64_t rowBytes = int64_t(buffer->width) * samplesPerPixel * bytesPerSample + request.rowPaddingBytes;
  int64_t total = rowBytes * buffer->height;
  if (total > kMaxHostBufferBytes || request.rowPaddingBytes < 0) return memFullErr;
  buffer->rowBytes = int32_t(rowBytes);
  // The vector keeps its capacity from one request to the next, so a run of
  // tiles does not allocate afresh for each.
  buffer->bytes.assign(size_t(total), 0);
  return noErr;
}

// Fill value of a padding request at the picture's depth.
uint16_t paddingValue(int16_t padding, int32_t depth) {
  if (padding < 0 || padding > 255) return 0;
  return depth == 16 ? uint16_t((uint32_t(padding) * 32768u + 127u) / 255u) : uint16_t(padding);
}

// Copies `count` pixels of `samplesPerPixel` samples, `stride` samples apart
// in the picture, into an interleaved buffer row.
void copyRowSamples(const uint16_t* source, int32_t stride, int32_t samplesPerPixel, int32_t count,
                    int32_t bytesPerSample, uint8_t* row) {
  if (bytesPerSample == 2) {
    if (stride == samplesPerPixel) {
      std::memcpy(row, source, size_t(count) * size_t(stride) * 2);
      return;
    }
    for (int32_t x = 0; x < count; ++x, source += stride, row += 2 * samplesPerPixel)
      std::memcpy(row, source, size_t(samplesPerPixel) * 2);
    return;
  }
  if (stride == samplesPerPixel) {
    // All planes: one narrowing run over the whole row.
    const size_t n = size_t(count) * size_t(stride);
    for (size_t i = 0; i < n; ++i) row[i] = uint8_t(source[i]);
    return;
  }
  for (int32_t x = 0; x < count; ++x, source += stride)
    for (int32_t p = 0; p < samplesPerPixel; ++p) *row++ = uint8_t(source[p]);
}

}  // namespace

void clearHostBuffer(HostBuffer* buffer) {
  buffer->bytes.clear();
  buffer->rowBytes = buffer->width = buffer->height = buffer->samplesPerPixel = 0;
  buffer->bytesPerSample = 1;
}

OSErr cutImageRect(const HostImage& image, const CutRequest& request, HostBuffer* buffer) {
  const int32_t planes = imagePlanes(image);
  if (rectEmpty(request.rect)) {
    clearHostBuffer(buffer);
    return noErr;
  }
  if (request.loPlane < 0 || request.hiPlane >= planes || request.loPlane > request.hiPlane) return paramErr;
  if (request.rate <= 0) return paramErr;
  const int32_t samplesPerPixel = request.hiPlane - request.loPlane + 1;
  const int32_t bytesPerSample = image.depth == 16 ? 2 : 1;
  OSErr err = prepareBuffer(request, samplesPerPixel, bytesPerSample, buffer);
  if (err != noErr) return err;

  AxisMap columns = mapAxis(request.rect.left, buffer->width, request.rate, image.width, request.padding);
  AxisMap rows = mapAxis(request.rect.top, buffer->height, request.rate, image.height, request.padding);
  if ((columns.outside || rows.outside) && request.padding == plugInWantsErrorOnBoundsException) return paramErr;
  const uint16_t fill = paddingValue(request.padding, image.depth);

  const bool plainColumns = !columns.outside && request.rate == 0x10000;
  for (int32_t y = 0; y < buffer->height; ++y) {
    uint8_t* row = buffer->bytes.data() + size_t(y) * size_t(buffer->rowBytes);
    const int32_t sy = rows.index[size_t(y)];
    if (plainColumns && sy >= 0) {
      // The common case: a run of whole pixels straight from one picture row.
      copyRowSamples(hostImageAt(image, columns.index[0], sy) + request.loPlane, planes, samplesPerPixel,
                     buffer->width, bytesPerSample, row);
      continue;
    }
    for (int32_t x = 0; x < buffer->width; ++x) {
      const int32_t sx = columns.index[size_t(x)];
      const uint16_t* source = (sx >= 0 && sy >= 0) ? hostImageAt(image, sx, sy) + request.loPlane : nullptr;
      if (!source && request.padding == plugInDoesNotWantPadding) continue;
      for (int32_t p = 0; p < samplesPerPixel; ++p) {
        const uint16_t value = source ? source[p] : fill;
        const size_t at = size_t(x) * size_t(samplesPerPixel) + size_t(p);
        if (bytesPerSample == 2) std::memcpy(row + at * 2, &value, 2);
        else row[at] = uint8_t(value);
      }
    }
  }
  return noErr;
}

OSErr cutMaskRect(const HostMask& mask, const CutRequest& request, HostBuffer* buffer) {
  if (rectEmpty(request.rect)) {
    clearHostBuffer(buffer);
    return noErr;
  }
  if (request.rate <= 0 || mask.width <= 0 || mask.height <= 0) return paramErr;
  OSErr err = prepareBuffer(request, 1, 1, buffer);
  if (err != noErr) return err;
  AxisMap columns = mapAxis(request.rect.left, buffer->width, request.rate, mask.width, request.padding);
  AxisMap rows = mapAxis(request.rect.top, buffer->height, request.rate, mask.height, request.padding);
  if ((columns.outside || rows.outside) && request.padding == plugInWantsErrorOnBoundsException) return paramErr;
  const uint8_t fill = uint8_t(paddingValue(request.padding, 8));
  for (int32_t y = 0; y < buffer->height; ++y) {
    uint8_t* row = buffer->bytes.data() + size_t(y) * size_t(buffer->rowBytes);
    const int32_t sy = rows.index[size_t(y)];
    for (int32_t x = 0; x < buffer->width; ++x) {
      const int32_t sx = columns.index[size_t(x)];
      if (sx >= 0 && sy >= 0) row[x] = mask.values[size_t(sy) * size_t(mask.width) + size_t(sx)];
      else if (request.padding != plugInDoesNotWantPadding) row[x] = fill;
    }
  }
  return noErr;
}

void commitImageRect(HostImage* image, const HostBuffer& buffer, const Rect& rect, int32_t loPlane,
                     int32_t hiPlane, const Rect& clip) {
  const int32_t planes = imagePlanes(*image);
  if (rectEmpty(rect) || buffer.bytes.empty()) return;
  if (loPlane < 0 || hiPlane >= planes || loPlane > hiPlane) return;
  const int32_t samplesPerPixel = hiPlane - loPlane + 1;
  if (samplesPerPixel != buffer.samplesPerPixel) return;
  const Rect bounds{0, 0, int16_t(std::min<int32_t>(image->height, INT16_MAX)),
                    int16_t(std::min<int32_t>(image->width, INT16_MAX))};
  const Rect target = intersectRect(intersectRect(rect, clip), bounds);
  if (rectEmpty(target)) return;
  const int32_t bytesPerSample = image->depth == 16 ? 2 : 1;
  for (int32_t y = target.top; y < target.bottom; ++y) {
    const uint8_t* row = buffer.bytes.data() + size_t(y - rect.top) * size_t(buffer.rowBytes) +
                         size_t(target.left - rect.left) * size_t(samplesPerPixel) * size_t(bytesPerSample);
    uint16_t* destination = hostImageAt(*image, target.left, y) + loPlane;
    const int32_t count = target.right - target.left;
    if (bytesPerSample == 2) {
      if (samplesPerPixel == planes) {
        std::memcpy(destination, row, size_t(count) * size_t(planes) * 2);
        continue;
      }
      for (int32_t x = 0; x < count; ++x, destination += planes, row += 2 * samplesPerPixel)
        std::memcpy(destination, row, size_t(samplesPerPixel) * 2);
      continue;
    }
    for (int32_t x = 0; x < count; ++x, destination += planes)
      for (int32_t p = 0; p < samplesPerPixel; ++p) destination[p] = *row++;
  }
}

void blendByMask(const HostImage& original, const HostImage& filtered, const HostMask* mask, const Rect& clip,
                 HostImage* result) {
  *result = original;
  const int32_t planes = imagePlanes(original);
  const Rect bounds{0, 0, int16_t(std::min<int32_t>(original.height, INT16_MAX)),
                    int16_t(std::min<int32_t>(original.width, INT16_MAX))};
  const Rect area = intersectRect(clip, bounds);
  for (int32_t y = area.top; y < area.bottom; ++y) {
    for (int32_t x = area.left; x < area.right; ++x) {
      const uint16_t* f = hostImageAt(filtered, x, y);
      uint16_t* r = hostImageAt(*result, x, y);
      if (!mask) {
        std::copy(f, f + planes, r);
        continue;
      }
      const uint32_t m = mask->values[size_t(y) * size_t(mask->width) + size_t(x)];
      for (int32_t p = 0; p < planes; ++p) {
        r[p] = uint16_t((uint32_t(f[p]) * m + uint32_t(r[p]) * (255u - m) + 127u) / 255u);
      }
    }
  }
}
