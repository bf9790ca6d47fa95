#include "pihost/host_image.h"

#include <algorithm>
#include <cstring>

#include "platform/threads.h"

#if defined(__linux__)
#include <sys/mman.h>
#endif

void hostImageAllocate(HostImage* image, int32_t width, int32_t height, int32_t colorPlanes, bool hasAlpha,
                       int32_t depth, uint16_t value) {
  image->width = width;
  image->height = height;
  image->colorPlanes = colorPlanes;
  image->hasAlpha = hasAlpha;
  image->depth = depth;
  image->bytes.clear();
  image->words.clear();
  const size_t count = hostSampleCount(*image);
  if (depth == 16) image->words.assign(count, hostSampleToFile16(value));
  else image->bytes.assign(count, uint8_t(value > 255 ? 255 : value));
}

namespace {

// Below this a picture's pages are few enough not to matter.
constexpr size_t kLargePageWorthBytes = size_t(8) << 20;

// A fresh array of `count` samples from `first`. The memory is advised for
// large pages before anything touches it, since the advice only shapes pages
// not yet made.
template <typename Sample>
std::vector<Sample> largePageArray(const Sample* first, size_t count) {
  std::vector<Sample> fresh;
  fresh.reserve(count);
#if defined(__linux__) && defined(MADV_HUGEPAGE)
  const size_t bytes = count * sizeof(Sample);
  if (bytes >= kLargePageWorthBytes) {
    constexpr uintptr_t kLargePage = uintptr_t(2) << 20;
    const uintptr_t begin = (reinterpret_cast<uintptr_t>(fresh.data()) + kLargePage - 1) & ~(kLargePage - 1);
    const uintptr_t end = (reinterpret_cast<uintptr_t>(fresh.data()) + bytes) & ~(kLargePage - 1);
    if (end > begin) madvise(reinterpret_cast<void*>(begin), end - begin, MADV_HUGEPAGE);
  }
#endif
  fresh.assign(first, first + count);
  return fresh;
}

}  // namespace

HostImage hostImageCopy(const HostImage& image) {
  HostImage copy;
  copy.width = image.width;
  copy.height = image.height;
  copy.colorPlanes = image.colorPlanes;
  copy.hasAlpha = image.hasAlpha;
  copy.depth = image.depth;
  copy.bytes = largePageArray(image.bytes.data(), image.bytes.size());
  copy.words = largePageArray(image.words.data(), image.words.size());
  copy.iccProfile = image.iccProfile;
  return copy;
}

void hostImageToLargePages(HostImage* image) {
  if (hostImageBytes(*image) < kLargePageWorthBytes) return;
  if (!image->bytes.empty()) image->bytes = largePageArray(image->bytes.data(), image->bytes.size());
  if (!image->words.empty()) image->words = largePageArray(image->words.data(), image->words.size());
}

bool hostImagesEqual(const HostImage& a, const HostImage& b) {
  return a.width == b.width && a.height == b.height && a.colorPlanes == b.colorPlanes && a.hasAlpha == b.hasAlpha &&
         a.depth == b.depth && a.bytes == b.bytes && a.words == b.words;
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

int32_t copyThreads = 0;  // 0: the cores

// Calls rows(begin, end) over rows [0, count) in parts of about 128 KB on
// the host's threads; a small job stays on the calling thread. Rows are
// independent, so the parts may run in any order.
template <typename Rows>
void forRowParts(int32_t count, size_t bytesPerRow, const Rows& rows) {
  constexpr size_t kPartBytes = size_t(128) << 10;
  const int32_t perPart = int32_t(std::max<size_t>(1, kPartBytes / std::max<size_t>(bytesPerRow, 1)));
  const int32_t parts = count / perPart + (count % perPart != 0 ? 1 : 0);
  const int32_t threads = hostCopyThreads();
  if (parts <= 1 || threads <= 1) {
    rows(0, count);
    return;
  }
  struct Job {
    const Rows* rows;
    int32_t count, perPart;
  } job{&rows, count, perPart};
  auto part = [](void* context, int32_t index) {
    const Job& j = *static_cast<const Job*>(context);
    const int32_t begin = index * j.perPart;
    (*j.rows)(begin, std::min(begin + j.perPart, j.count));
  };
  platformRunParts(part, &job, parts, threads);
}

// Copies `count` pixels of `samplesPerPixel` samples, `stride` samples apart
// in the picture, into an interleaved buffer row: bytes as they are, 16-bit
// words brought to the host scale.
void copyRowBytes(const uint8_t* source, int32_t stride, int32_t samplesPerPixel, int32_t count, uint8_t* row) {
  if (stride == samplesPerPixel) {
    std::memcpy(row, source, size_t(count) * size_t(stride));
    return;
  }
  for (int32_t x = 0; x < count; ++x, source += stride, row += samplesPerPixel)
    std::memcpy(row, source, size_t(samplesPerPixel));
}

// fileSampleToHost16 of a stored word in shifts and adds, which the
// compiler runs over vector lanes: x / 65535 is (x + (x >> 16) + 1) >> 16
// for every x that a word gives here (the tests go through all 65536).
inline uint16_t storedWordToHost(uint16_t word) {
  const uint32_t x = uint32_t(word) * 32768u + 32767u;
  return uint16_t((x + (x >> 16) + 1u) >> 16);
}

// hostSampleToFile16 without a branch: the clamp is a minimum.
inline uint16_t hostToStoredWord(uint16_t value) {
  const uint32_t v = std::min<uint32_t>(value, 32768u);
  return uint16_t((v * 65535u + 16384u) >> 15);
}

void copyRowWords(const uint16_t* source, int32_t stride, int32_t samplesPerPixel, int32_t count, uint8_t* row) {
  if (stride == samplesPerPixel) {
    // Whole pixels: one run of samples.
    const size_t samples = size_t(count) * size_t(stride);
    for (size_t i = 0; i < samples; ++i) {
      const uint16_t value = storedWordToHost(source[i]);
      std::memcpy(row + 2 * i, &value, 2);
    }
    return;
  }
  for (int32_t x = 0; x < count; ++x, source += stride) {
    for (int32_t p = 0; p < samplesPerPixel; ++p, row += 2) {
      const uint16_t value = storedWordToHost(source[p]);
      std::memcpy(row, &value, 2);
    }
  }
}

// A returned sample into its stored word: one that comes back as it was
// handed out keeps the word it had.
inline void commitWord(const uint8_t* from, uint16_t* stored) {
  uint16_t value;
  std::memcpy(&value, from, 2);
  const uint16_t word = *stored;
  *stored = storedWordToHost(word) == value ? word : hostToStoredWord(value);
}

}  // namespace

int32_t hostCopyThreads() { return copyThreads > 0 ? copyThreads : platformCoreCount(); }

void setHostCopyThreads(int32_t threads) { copyThreads = threads < 0 ? 0 : std::min(threads, 64); }

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
  forRowParts(buffer->height, size_t(buffer->rowBytes), [&](int32_t begin, int32_t end) {
    for (int32_t y = begin; y < end; ++y) {
      uint8_t* row = buffer->bytes.data() + size_t(y) * size_t(buffer->rowBytes);
      const int32_t sy = rows.index[size_t(y)];
      if (plainColumns && sy >= 0) {
        // The common case: a run of whole pixels straight from one picture row.
        const size_t first = hostSampleIndex(image, columns.index[0], sy, request.loPlane);
        if (bytesPerSample == 2) copyRowWords(&image.words[first], planes, samplesPerPixel, buffer->width, row);
        else copyRowBytes(&image.bytes[first], planes, samplesPerPixel, buffer->width, row);
        continue;
      }
      for (int32_t x = 0; x < buffer->width; ++x) {
        const int32_t sx = columns.index[size_t(x)];
        const bool inside = sx >= 0 && sy >= 0;
        if (!inside && request.padding == plugInDoesNotWantPadding) continue;
        const size_t first = inside ? hostSampleIndex(image, sx, sy, request.loPlane) : 0;
        for (int32_t p = 0; p < samplesPerPixel; ++p) {
          const uint16_t value = inside ? hostSampleAtIndex(image, first + size_t(p)) : fill;
          const size_t at = size_t(x) * size_t(samplesPerPixel) + size_t(p);
          if (bytesPerSample == 2) std::memcpy(row + at * 2, &value, 2);
          else row[at] = uint8_t(value);
        }
      }
    }
  });
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

namespace {

// Whether a request reads whole pixels of a width x height picture one for
// one, inside it and within the buffer limit.
bool lendableRect(const CutRequest& request, int32_t width, int32_t height, int32_t samplesPerPixel) {
  const Rect& r = request.rect;
  if (rectEmpty(r) || request.rate != 0x10000 || request.rowPaddingBytes != 0) return false;
  if (r.left < 0 || r.top < 0 || r.right > width || r.bottom > height) return false;
  return int64_t(rectWidth(r)) * samplesPerPixel * rectHeight(r) <= kMaxHostBufferBytes;
}

}  // namespace

bool lendImageRows(HostImage* image, const CutRequest& request, LentRows* rows) {
  const int32_t planes = imagePlanes(*image);
  if (image->depth != 8 || request.loPlane != 0 || request.hiPlane != planes - 1) return false;
  if (!lendableRect(request, image->width, image->height, planes)) return false;
  rows->first = &image->bytes[hostSampleIndex(*image, request.rect.left, request.rect.top, 0)];
  rows->rowBytes = image->width * planes;
  return true;
}

bool lendMaskRows(HostMask* mask, const CutRequest& request, LentRows* rows) {
  if (!lendableRect(request, mask->width, mask->height, 1)) return false;
  rows->first = &mask->values[size_t(request.rect.top) * size_t(mask->width) + size_t(request.rect.left)];
  rows->rowBytes = mask->width;
  return true;
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
  const int32_t count = target.right - target.left;
  forRowParts(target.bottom - target.top, size_t(buffer.rowBytes), [&](int32_t begin, int32_t end) {
    for (int32_t y = target.top + begin; y < target.top + end; ++y) {
      const uint8_t* row = buffer.bytes.data() + size_t(y - rect.top) * size_t(buffer.rowBytes) +
                           size_t(target.left - rect.left) * size_t(samplesPerPixel) * size_t(bytesPerSample);
      const size_t first = hostSampleIndex(*image, target.left, y, loPlane);
      if (bytesPerSample == 1) {
        uint8_t* destination = &image->bytes[first];
        if (samplesPerPixel == planes) {
          std::memcpy(destination, row, size_t(count) * size_t(planes));
          continue;
        }
        for (int32_t x = 0; x < count; ++x, destination += planes, row += samplesPerPixel)
          std::memcpy(destination, row, size_t(samplesPerPixel));
        continue;
      }
      uint16_t* destination = &image->words[first];
      if (samplesPerPixel == planes) {
        const size_t samples = size_t(count) * size_t(planes);
        for (size_t i = 0; i < samples; ++i) commitWord(row + 2 * i, destination + i);
        continue;
      }
      for (int32_t x = 0; x < count; ++x, destination += planes)
        for (int32_t p = 0; p < samplesPerPixel; ++p, row += 2) commitWord(row, destination + p);
    }
  });
}

namespace {

template <typename Sample>
void blendSamples(const Sample* original, const uint8_t* mask, int32_t planes, int32_t count, Sample* filtered) {
  for (int32_t x = 0; x < count; ++x, original += planes, filtered += planes) {
    const uint32_t m = mask[x];
    if (m == 255) continue;
    for (int32_t p = 0; p < planes; ++p)
      filtered[p] = Sample((uint32_t(filtered[p]) * m + uint32_t(original[p]) * (255u - m) + 127u) / 255u);
  }
}

}  // namespace

void blendByMaskInPlace(const HostImage& original, const HostMask* mask, const Rect& clip, HostImage* filtered) {
  if (!mask) return;
  const int32_t planes = imagePlanes(original);
  const Rect bounds{0, 0, int16_t(std::min<int32_t>(original.height, INT16_MAX)),
                    int16_t(std::min<int32_t>(original.width, INT16_MAX))};
  const Rect area = intersectRect(clip, bounds);
  if (rectEmpty(area)) return;
  const int32_t count = area.right - area.left;
  const size_t rowBytes = size_t(count) * size_t(planes) * (original.depth == 16 ? 2 : 1);
  forRowParts(area.bottom - area.top, rowBytes, [&](int32_t begin, int32_t end) {
    for (int32_t y = area.top + begin; y < area.top + end; ++y) {
      const size_t first = hostSampleIndex(original, area.left, y, 0);
      const uint8_t* m = &mask->values[size_t(y) * size_t(mask->width) + size_t(area.left)];
      if (original.depth == 16) blendSamples(&original.words[first], m, planes, count, &filtered->words[first]);
      else blendSamples(&original.bytes[first], m, planes, count, &filtered->bytes[first]);
    }
  });
}

void blendByMask(const HostImage& original, const HostImage& filtered, const HostMask* mask, const Rect& clip,
                 HostImage* result) {
  // Commits never reach outside the filter rectangle, but a caller's
  // `filtered` may: only `clip` of it is taken.
  *result = original;
  const int32_t planes = imagePlanes(original);
  const Rect bounds{0, 0, int16_t(std::min<int32_t>(original.height, INT16_MAX)),
                    int16_t(std::min<int32_t>(original.width, INT16_MAX))};
  const Rect area = intersectRect(clip, bounds);
  if (rectEmpty(area)) return;
  const size_t rowSamples = size_t(area.right - area.left) * size_t(planes);
  for (int32_t y = area.top; y < area.bottom; ++y) {
    const size_t first = hostSampleIndex(original, area.left, y, 0);
    if (original.depth == 16)
      std::copy(&filtered.words[first], &filtered.words[first] + rowSamples, &result->words[first]);
    else
      std::copy(&filtered.bytes[first], &filtered.bytes[first] + rowSamples, &result->bytes[first]);
  }
  blendByMaskInPlace(original, mask, clip, result);
}
