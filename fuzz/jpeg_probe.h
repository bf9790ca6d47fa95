// How many pixels a JPEG stream's frame header claims, read by libjpeg
// itself without decoding anything. The fuzz entries pass over streams that
// claim far more than the place they stand in could hold: the decoder would
// spend seconds filling a huge frame from a few bytes, which tells nothing
// new and slows the fuzzer a thousandfold.
#pragma once

#include <csetjmp>
#include <cstddef>
#include <cstdint>
#include <cstdio>

#include <jpeglib.h>

namespace jpeg_probe {

struct ProbeError {
  jpeg_error_mgr manager;
  std::jmp_buf back;
};

inline void stop(j_common_ptr info) { std::longjmp(reinterpret_cast<ProbeError*>(info->err)->back, 1); }
inline void quiet(j_common_ptr, int) {}

// 0 when the header does not read.
inline uint64_t claimedPixels(const uint8_t* data, size_t size) {
  if (size < 4) return 0;
  jpeg_decompress_struct info;
  ProbeError error;
  info.err = jpeg_std_error(&error.manager);
  error.manager.error_exit = stop;
  error.manager.emit_message = quiet;
  uint64_t pixels = 0;
  jpeg_create_decompress(&info);
  if (setjmp(error.back) == 0) {
    jpeg_mem_src(&info, data, static_cast<unsigned long>(size));
    if (jpeg_read_header(&info, TRUE) == JPEG_HEADER_OK)
      pixels = uint64_t(info.image_width) * uint64_t(info.image_height);
  }
  jpeg_destroy_decompress(&info);
  return pixels;
}

}  // namespace jpeg_probe
