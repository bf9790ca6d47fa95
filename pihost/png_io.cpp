#include "pihost/png_io.h"

#include <png.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

// What libpng reports: the first error message, kept for the caller. Also
// the largest single block libpng may allocate while reading.
struct PngErrorState {
  char message[200];
  size_t allocationLimit;
};

// libpng sizes a chunk's buffer by the length the chunk claims and only
// warns when that is too large, so a file of a few bytes could make it ask
// for gigabytes. No chunk holds more than the file, and nothing libpng
// decompresses for us (a colour profile, text) is allowed more than its own
// 8 MB, so a block larger than both is refused: the chunk is then dropped
// or the read fails, with no memory spent.
constexpr size_t PNG_DECOMPRESSED_CHUNK_LIMIT = size_t(8) << 20;

png_voidp boundedPngAllocate(png_structp png, png_alloc_size_t size) {
  auto* state = static_cast<PngErrorState*>(png_get_mem_ptr(png));
  if (state != nullptr && size > state->allocationLimit) return nullptr;
  return std::malloc(size);
}

void boundedPngFree(png_structp, png_voidp block) { std::free(block); }

void pngError(png_structp png, png_const_charp message) {
  auto* state = static_cast<PngErrorState*>(png_get_error_ptr(png));
  if (state && state->message[0] == 0) std::snprintf(state->message, sizeof state->message, "%s", message);
  png_longjmp(png, 1);
}

void pngWarning(png_structp, png_const_charp) {}

// The decoded file before it becomes a HostImage.
struct DecodedPng {
  png_uint_32 width = 0;
  png_uint_32 height = 0;
  int channels = 0;
  int bitDepth = 0;
  bool originalIsMaskKind = false;  // 8-bit grey without alpha as stored
  std::vector<png_byte> bytes;
  size_t rowBytes = 0;
};

// Runs libpng's reader; all C++ objects it touches live in the caller, so
// the long jump of an error skips no destructor.
bool decodePng(FILE* file, DecodedPng* out, PngErrorState* state) {
  png_structp png = png_create_read_struct_2(PNG_LIBPNG_VER_STRING, state, pngError, pngWarning, state,
                                             boundedPngAllocate, boundedPngFree);
  if (!png) return false;
  png_infop info = png_create_info_struct(png);
  if (!info) {
    png_destroy_read_struct(&png, nullptr, nullptr);
    return false;
  }
  std::vector<png_bytep>* rows = new std::vector<png_bytep>();
  if (setjmp(png_jmpbuf(png))) {
    png_destroy_read_struct(&png, &info, nullptr);
    delete rows;
    return false;
  }
  png_init_io(png, file);
  png_read_info(png, info);
  const int colorType = png_get_color_type(png, info);
  const int bitDepth = png_get_bit_depth(png, info);
  out->originalIsMaskKind = colorType == PNG_COLOR_TYPE_GRAY && bitDepth == 8 && !png_get_valid(png, info, PNG_INFO_tRNS);
  if (colorType == PNG_COLOR_TYPE_PALETTE) png_set_palette_to_rgb(png);
  if (colorType == PNG_COLOR_TYPE_GRAY && bitDepth < 8) png_set_expand_gray_1_2_4_to_8(png);
  if (png_get_valid(png, info, PNG_INFO_tRNS)) png_set_tRNS_to_alpha(png);
  if (bitDepth == 16) png_set_swap(png);  // samples in the machine's order
  png_set_interlace_handling(png);
  png_read_update_info(png, info);
  out->width = png_get_image_width(png, info);
  out->height = png_get_image_height(png, info);
  out->channels = png_get_channels(png, info);
  out->bitDepth = png_get_bit_depth(png, info);
  out->rowBytes = png_get_rowbytes(png, info);
  if (out->width == 0 || out->height == 0 || out->width > 32767 || out->height > 32767) {
    std::snprintf(state->message, sizeof state->message, "picture of %ux%u pixels is outside 1..32767",
                  unsigned(out->width), unsigned(out->height));
    png_destroy_read_struct(&png, &info, nullptr);
    delete rows;
    return false;
  }
  out->bytes.resize(out->rowBytes * out->height);
  rows->resize(out->height);
  for (png_uint_32 y = 0; y < out->height; ++y) (*rows)[y] = out->bytes.data() + size_t(y) * out->rowBytes;
  png_read_image(png, rows->data());
  png_read_end(png, nullptr);
  png_destroy_read_struct(&png, &info, nullptr);
  delete rows;
  return true;
}

bool decodeFile(const std::string& path, DecodedPng* decoded, std::string* error) {
  FILE* file = std::fopen(path.c_str(), "rb");
  if (!file) {
    *error = "cannot open " + path;
    return false;
  }
  unsigned char signature[8] = {};
  const size_t got = std::fread(signature, 1, 8, file);
  if (got != 8 || png_sig_cmp(signature, 0, 8) != 0) {
    std::fclose(file);
    *error = path + " is not a PNG file";
    return false;
  }
  std::fseek(file, 0, SEEK_END);
  const long fileSize = std::ftell(file);
  std::rewind(file);
  PngErrorState state{};
  state.allocationLimit = std::max(fileSize > 0 ? size_t(fileSize) : size_t(0), PNG_DECOMPRESSED_CHUNK_LIMIT);
  const bool ok = decodePng(file, decoded, &state);
  std::fclose(file);
  if (!ok) {
    *error = "cannot read " + path + (state.message[0] ? std::string(": ") + state.message : std::string());
    return false;
  }
  return true;
}

bool encodePng(FILE* file, const HostImage& image, PngErrorState* state) {
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, state, pngError, pngWarning);
  if (!png) return false;
  png_infop info = png_create_info_struct(png);
  if (!info) {
    png_destroy_write_struct(&png, nullptr);
    return false;
  }
  const int planes = imagePlanes(image);
  const int bytesPerSample = image.depth == 16 ? 2 : 1;
  const size_t rowBytes = size_t(image.width) * size_t(planes) * size_t(bytesPerSample);
  std::vector<png_byte>* row = new std::vector<png_byte>(rowBytes);
  if (setjmp(png_jmpbuf(png))) {
    png_destroy_write_struct(&png, &info);
    delete row;
    return false;
  }
  png_init_io(png, file);
  int colorType = 0;
  if (image.colorPlanes >= 3) colorType = image.hasAlpha ? PNG_COLOR_TYPE_RGB_ALPHA : PNG_COLOR_TYPE_RGB;
  else colorType = image.hasAlpha ? PNG_COLOR_TYPE_GRAY_ALPHA : PNG_COLOR_TYPE_GRAY;
  png_set_IHDR(png, info, png_uint_32(image.width), png_uint_32(image.height), image.depth == 16 ? 16 : 8,
               colorType, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_write_info(png, info);
  for (int32_t y = 0; y < image.height; ++y) {
    const uint16_t* source = hostImageAt(image, 0, y);
    png_byte* out = row->data();
    for (size_t i = 0; i < size_t(image.width) * size_t(planes); ++i) {
      if (bytesPerSample == 2) {
        const uint16_t v = hostSampleToPng16(source[i]);
        out[2 * i] = png_byte(v >> 8);  // PNG stores big-endian
        out[2 * i + 1] = png_byte(v & 0xFF);
      } else {
        out[i] = png_byte(source[i] > 255 ? 255 : source[i]);
      }
    }
    png_write_row(png, row->data());
  }
  png_write_end(png, nullptr);
  png_destroy_write_struct(&png, &info);
  delete row;
  return true;
}

}  // namespace

bool readPngImage(const std::string& path, HostImage* image, std::string* error) {
  DecodedPng decoded;
  if (!decodeFile(path, &decoded, error)) return false;
  const bool hasAlpha = decoded.channels == 2 || decoded.channels == 4;
  const int colorPlanes = decoded.channels >= 3 ? 3 : 1;
  const int depth = decoded.bitDepth == 16 ? 16 : 8;
  hostImageAllocate(image, int32_t(decoded.width), int32_t(decoded.height), colorPlanes, hasAlpha, depth, 0);
  const size_t count = size_t(decoded.width) * size_t(decoded.channels);
  for (png_uint_32 y = 0; y < decoded.height; ++y) {
    const png_byte* row = decoded.bytes.data() + size_t(y) * decoded.rowBytes;
    uint16_t* out = hostImageAt(*image, 0, int32_t(y));
    for (size_t i = 0; i < count; ++i) {
      if (depth == 16) {
        uint16_t v;
        std::memcpy(&v, row + 2 * i, 2);
        out[i] = pngSampleToHost16(v);
      } else {
        out[i] = row[i];
      }
    }
  }
  return true;
}

bool writePngImage(const std::string& path, const HostImage& image, std::string* error) {
  FILE* file = std::fopen(path.c_str(), "wb");
  if (!file) {
    *error = "cannot create " + path;
    return false;
  }
  PngErrorState state{};
  bool ok = encodePng(file, image, &state);
  if (std::fclose(file) != 0) ok = false;
  if (!ok) {
    std::remove(path.c_str());  // never leave half a file behind
    *error = "cannot write " + path + (state.message[0] ? std::string(": ") + state.message : std::string());
  }
  return ok;
}

bool readPngMask(const std::string& path, int32_t width, int32_t height, HostMask* mask, std::string* error) {
  DecodedPng decoded;
  if (!decodeFile(path, &decoded, error)) return false;
  if (!decoded.originalIsMaskKind) {
    *error = "mask " + path + " is not an 8-bit grey PNG without alpha";
    return false;
  }
  if (int32_t(decoded.width) != width || int32_t(decoded.height) != height) {
    *error = "mask " + path + " is " + std::to_string(decoded.width) + "x" + std::to_string(decoded.height) +
             ", the picture " + std::to_string(width) + "x" + std::to_string(height);
    return false;
  }
  mask->width = width;
  mask->height = height;
  mask->values.resize(size_t(width) * size_t(height));
  for (int32_t y = 0; y < height; ++y) {
    std::memcpy(&mask->values[size_t(y) * size_t(width)], decoded.bytes.data() + size_t(y) * decoded.rowBytes,
                size_t(width));
  }
  return true;
}
