// Fuzz entry for decodeJpeg: any bytes, as a settings file's thumbnail block
// would hand them over (at most 49,152 of them), decoded into a 128 x 128
// raster and into a small rectangle inside it. The decoder must return a
// code, never crash, never read or write outside its buffers.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "jpeg/jpeg_codec.h"
#include "image/pixel_map.h"
#include "pi/plugin_interface.h"

namespace {
constexpr size_t THUMBNAIL_STREAM_LIMIT = 49152;

PixelMap* thumbnail() {
  static PixelMap raster;
  static bool made = false;
  if (!made) {
    pixelMapReset(&raster, nullptr, nullptr);
    made = pixelMapCreate(&raster, 128, 128, PIXEL_RGBA8, 0);
  }
  return made ? &raster : nullptr;
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  PixelMap* raster = thumbnail();
  if (raster == nullptr) return 0;
  if (size > THUMBNAIL_STREAM_LIMIT) size = THUMBNAIL_STREAM_LIMIT;
  Rect16 whole{0, 0, 128, 128};
  decodeJpeg(raster, &whole, data, size);
  Rect16 corner{100, 90, 140, 150};  // reaches past the raster: checked writes
  decodeJpeg(raster, &corner, data, size);
  return 0;
}
