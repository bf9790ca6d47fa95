// The substitute host's pictures and the buffers it hands to a plug-in.
//
// A `HostImage` keeps the samples exactly as the picture file holds them:
// one byte each at 8 bits, one 16-bit word each (0..65535) at 16 bits,
// pixel after pixel with the colour planes first and alpha last. The plug-in
// sees 16-bit samples on its own scale, 0..32768 with 32768 full intensity;
// the accessors and the buffer functions convert on the way, and a sample
// whose converted value comes back unchanged keeps its stored word, so
// nothing the filter left alone loses a bit.
//
// The cutting and committing functions are the heart of `advanceState`: they
// copy a rectangle of the picture, possibly reduced by a sampling rate and
// padded where it leaves the picture, into an interleaved host buffer, and
// copy an output buffer back, clipped to the filter rectangle.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "image/rect.h"
#include "pi/plugin_interface.h"

struct HostImage {
  int32_t width = 0;
  int32_t height = 0;
  int32_t colorPlanes = 0;  // 1 grey, 3 RGB
  bool hasAlpha = false;
  int32_t depth = 8;        // 8 or 16
  std::vector<uint8_t> bytes;   // the samples of an 8-bit picture
  std::vector<uint16_t> words;  // the samples of a 16-bit picture, 0..65535
  std::vector<uint8_t> iccProfile;  // the embedded colour profile, empty when none
};

// A copy of the picture whose large sample arrays sit in memory the system
// may back with large pages (where it offers them on request): a filter
// reads and writes the picture in tiles of rows far apart, which otherwise
// costs a page-table walk for nearly every row. The samples are the same.
HostImage hostImageCopy(const HostImage& image);
// Moves the picture's own samples there too.
void hostImageToLargePages(HostImage* image);

inline int32_t imagePlanes(const HostImage& image) { return image.colorPlanes + (image.hasAlpha ? 1 : 0); }
inline int32_t imageMaxValue(const HostImage& image) { return image.depth == 16 ? 32768 : 255; }

// Sizes the picture and fills every sample with `value` (on the host scale).
void hostImageAllocate(HostImage* image, int32_t width, int32_t height, int32_t colorPlanes, bool hasAlpha,
                       int32_t depth, uint16_t value);

// A 16-bit file sample (0..65535) to the host scale (0..32768) and back,
// both with integer division. Every host value survives the way out and
// back in; values past white, which a plug-in may write, become 65535.
inline uint16_t fileSampleToHost16(uint32_t v) { return uint16_t((v * 32768u + 32767u) / 65535u); }
inline uint16_t hostSampleToFile16(uint32_t v) {
  if (v > 32768u) v = 32768u;
  return uint16_t((v * 65535u + 16384u) / 32768u);
}

// Samples by index (pixel * planes + plane) and by position, on the host scale.
inline size_t hostSampleCount(const HostImage& image) {
  return size_t(image.width) * size_t(image.height) * size_t(imagePlanes(image));
}
inline size_t hostSampleIndex(const HostImage& image, int32_t x, int32_t y, int32_t plane) {
  return (size_t(y) * size_t(image.width) + size_t(x)) * size_t(imagePlanes(image)) + size_t(plane);
}
inline uint16_t hostSampleAtIndex(const HostImage& image, size_t index) {
  return image.depth == 16 ? fileSampleToHost16(image.words[index]) : image.bytes[index];
}
// A 16-bit sample that already reads as `value` keeps its stored word.
inline void setHostSampleAtIndex(HostImage* image, size_t index, uint32_t value) {
  if (image->depth != 16) {
    image->bytes[index] = uint8_t(value > 255u ? 255u : value);
  } else if (fileSampleToHost16(image->words[index]) != value) {
    image->words[index] = hostSampleToFile16(value);
  }
}
inline uint16_t hostSample(const HostImage& image, int32_t x, int32_t y, int32_t plane) {
  return hostSampleAtIndex(image, hostSampleIndex(image, x, y, plane));
}
inline void setHostSample(HostImage* image, int32_t x, int32_t y, int32_t plane, uint32_t value) {
  setHostSampleAtIndex(image, hostSampleIndex(*image, x, y, plane), value);
}

// The samples of one pixel on the host scale, colour planes then alpha.
struct HostPixel {
  uint16_t sample[4];
  uint16_t operator[](int32_t plane) const { return sample[plane]; }
};
inline HostPixel hostPixel(const HostImage& image, int32_t x, int32_t y) {
  HostPixel pixel{};
  for (int32_t p = 0; p < imagePlanes(image) && p < 4; ++p) pixel.sample[p] = hostSample(image, x, y, p);
  return pixel;
}

// Same kind, size and stored samples (the colour profile is not compared).
bool hostImagesEqual(const HostImage& a, const HostImage& b);
// Bytes the samples take.
inline size_t hostImageBytes(const HostImage& image) { return image.bytes.size() + 2 * image.words.size(); }

// The plug-in interface's image mode for a picture: 1/3 at 8 bits, 10/11 at 16.
int16_t hostImageMode(const HostImage& image);

// One 8-bit grey plane, the selection mask.
struct HostMask {
  int32_t width = 0;
  int32_t height = 0;
  std::vector<uint8_t> values;
};

// Where a buffer's rows come from: a picture's planes lo..hi, reduced by
// `rate` (16.16 fixed; buffer sample (x, y) of the rectangle is picture pixel
// (x * rate, y * rate), rounded down) and padded by `padding` outside the
// picture (0..255 a fill value, plugInWantsEdgeReplication,
// plugInDoesNotWantPadding leaves the samples 0,
// plugInWantsErrorOnBoundsException refuses the request).
struct CutRequest {
  Rect rect;
  int32_t loPlane = 0;
  int32_t hiPlane = 0;
  Fixed rate = 0x10000;
  int16_t padding = plugInWantsEdgeReplication;
  int32_t rowPaddingBytes = 0;  // extra bytes at the end of each row, as some hosts have
};

struct HostBuffer {
  std::vector<uint8_t> bytes;
  int32_t rowBytes = 0;
  int32_t width = 0;
  int32_t height = 0;
  int32_t samplesPerPixel = 0;
  int32_t bytesPerSample = 1;
};


// Threads the host spreads the rows of a large cut, commit or blend over:
// the cores the process may use unless set (0 sets that back). The host's
// own helpers; the plug-in's callbacks still come from the calling thread.
// Whoever runs a session stops them at its end (platformStopWorkers).
int32_t hostCopyThreads();
void setHostCopyThreads(int32_t threads);

// Empties a buffer but keeps its memory for the next request.
void clearHostBuffer(HostBuffer* buffer);

// The largest buffer the host hands out, so a wild rectangle cannot exhaust memory.
constexpr int64_t kMaxHostBufferBytes = int64_t(1) << 30;

// Cuts the request out of the picture into `buffer`. Gives noErr, paramErr
// for planes or rates out of range or a bounds error the plug-in asked for,
// or memFullErr for a buffer beyond kMaxHostBufferBytes. An empty rectangle
// gives an empty buffer.
OSErr cutImageRect(const HostImage& image, const CutRequest& request, HostBuffer* buffer);
// The same for the 8-bit selection mask (one plane).
OSErr cutMaskRect(const HostMask& mask, const CutRequest& request, HostBuffer* buffer);

// Rows a host can lend the plug-in straight from its own picture, as a real
// host hands out its tiles: the first byte of the rectangle and the stride
// between its rows.
struct LentRows {
  uint8_t* first = nullptr;
  int32_t rowBytes = 0;
};

// Lends the request's rows when they need no conversion and no copy: 8-bit
// samples, all the picture's planes, rate 1, no extra row bytes, the whole
// rectangle inside the picture and within the buffer limit. False otherwise;
// the request is then cut as usual (and refused there if it must be).
bool lendImageRows(HostImage* image, const CutRequest& request, LentRows* rows);
// The same for the selection mask.
bool lendMaskRows(HostMask* mask, const CutRequest& request, LentRows* rows);

// Copies an output buffer for `rect` and planes lo..hi back into the picture,
// skipping every pixel outside `clip` or outside the picture. A 16-bit
// sample that comes back as it was handed out keeps its stored word.
void commitImageRect(HostImage* image, const HostBuffer& buffer, const Rect& rect, int32_t loPlane,
                     int32_t hiPlane, const Rect& clip);

// Lays the filtered picture into the original by the mask, at the file's own
// depth: each stored sample becomes (filtered * m + original * (255 - m) +
// 127) / 255 inside `clip`, so a mask of 0 gives the original exactly and
// 255 the filtered sample; the original stands outside `clip`.
void blendByMask(const HostImage& original, const HostImage& filtered, const HostMask* mask, const Rect& clip,
                 HostImage* result);
// The same into `filtered` itself, which saves a third copy of the picture.
// `filtered` must equal `original` outside `clip`, as commits leave it.
void blendByMaskInPlace(const HostImage& original, const HostMask* mask, const Rect& clip, HostImage* filtered);
