// The substitute host's pictures and the buffers it hands to a plug-in.
//
// A `HostImage` holds interleaved samples in the host's own scale: 0..255 for
// 8-bit pictures, 0..32768 for 16-bit ones (32768 is full intensity, as the
// plug-in interface has it). Colour planes come first, alpha last.
//
// The cutting and committing functions are the heart of `advanceState`: they
// copy a rectangle of the picture, possibly reduced by a sampling rate and
// padded where it leaves the picture, into an interleaved host buffer, and
// copy an output buffer back, clipped to the filter rectangle.
#pragma once

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
  std::vector<uint16_t> samples;
};

inline int32_t imagePlanes(const HostImage& image) { return image.colorPlanes + (image.hasAlpha ? 1 : 0); }
inline int32_t imageMaxValue(const HostImage& image) { return image.depth == 16 ? 32768 : 255; }

// Sizes the picture and fills every sample with `value`.
void hostImageAllocate(HostImage* image, int32_t width, int32_t height, int32_t colorPlanes, bool hasAlpha,
                       int32_t depth, uint16_t value);

inline uint16_t* hostImageAt(HostImage& image, int32_t x, int32_t y) {
  return &image.samples[(size_t(y) * size_t(image.width) + size_t(x)) * size_t(imagePlanes(image))];
}
inline const uint16_t* hostImageAt(const HostImage& image, int32_t x, int32_t y) {
  return &image.samples[(size_t(y) * size_t(image.width) + size_t(x)) * size_t(imagePlanes(image))];
}

// A 16-bit PNG sample (0..65535) to the host scale (0..32768) and back, both
// with integer division.
inline uint16_t pngSampleToHost16(uint32_t v) { return uint16_t((v * 32768u + 32767u) / 65535u); }
inline uint16_t hostSampleToPng16(uint32_t v) {
  if (v > 32768u) v = 32768u;  // a plug-in may write past white; PNG cannot hold it
  return uint16_t((v * 65535u + 16384u) / 32768u);
}

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

// Copies an output buffer for `rect` and planes lo..hi back into the picture,
// skipping every pixel outside `clip` or outside the picture.
void commitImageRect(HostImage* image, const HostBuffer& buffer, const Rect& rect, int32_t loPlane,
                     int32_t hiPlane, const Rect& clip);

// Lays the filtered picture into the original by the mask: each sample
// becomes (filtered * m + original * (255 - m) + 127) / 255 inside `clip`;
// the original stands outside it.
void blendByMask(const HostImage& original, const HostImage& filtered, const HostMask* mask, const Rect& clip,
                 HostImage* result);
