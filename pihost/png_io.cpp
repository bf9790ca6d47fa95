#include "pihost/png_io.h"

#include <png.h>

#include <cstdio>
#include <cstring>
#include <vector>

namespace {

// What libpng reports: the first error message, kept for the caller.
struct PngErrorState {
  char message[200];
};

void pngError(png_structp png, png_const_charp message) {
  auto* state = static_cast<PngErrorState*>(png_get_error_ptr(png));
  if (state && state->message[0] == 0) std::snprintf(state->message, sizeof state->message, "%s", message);
  png_longjmp(png, 1);
}

void pngWarning(png_structp, png_const_charp) {}

// Where decoded rows go: the picture's own samples, or a mask's plane.
struct PngTarget {
  HostImage* image = nullptr;  // null when reading a mask
  HostMask* mask = nullptr;
  bool storedAsMaskKind = false;  // 8-bit grey without transparency, as in the file
};

// Rows of the target, made before libpng starts so that its long jump
// skips no allocation of ours.
bool sizeTarget(PngTarget* target, png_uint_32 width, png_uint_32 height, int channels, int bitDepth,
                PngErrorState* state) {
  if (width == 0 || height == 0 || width > 32767 || height > 32767) {
    std::snprintf(state->message, sizeof state->message, "picture of %ux%u pixels is outside 1..32767",
                  unsigned(width), unsigned(height));
    return false;
  }
  if (target->image) {
    HostImage* image = target->image;
    image->width = int32_t(width);
    image->height = int32_t(height);
    image->colorPlanes = channels >= 3 ? 3 : 1;
    image->hasAlpha = channels == 2 || channels == 4;
    image->depth = bitDepth == 16 ? 16 : 8;
    image->bytes.clear();
    image->words.clear();
    if (image->depth == 16) image->words.resize(hostSampleCount(*image));
    else image->bytes.resize(hostSampleCount(*image));
    return true;
  }
  if (!target->storedAsMaskKind) {
    std::snprintf(state->message, sizeof state->message, "not an 8-bit grey PNG without alpha");
    return false;
  }
  target->mask->width = int32_t(width);
  target->mask->height = int32_t(height);
  target->mask->values.resize(size_t(width) * size_t(height));
  return true;
}

png_bytep rowOf(const PngTarget& target, png_uint_32 y) {
  if (!target.image) return &target.mask->values[size_t(y) * size_t(target.mask->width)];
  const size_t at = hostSampleIndex(*target.image, 0, int32_t(y), 0);
  return target.image->depth == 16 ? reinterpret_cast<png_bytep>(&target.image->words[at])
                                   : &target.image->bytes[at];
}

// Runs libpng's reader straight into the target's rows: no second copy of
// the picture is made. The row pointers live in the caller.
bool decodePng(FILE* file, PngTarget* target, std::vector<png_bytep>* rows, PngErrorState* state) {
  png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, state, pngError, pngWarning);
  if (!png) return false;
  png_infop info = png_create_info_struct(png);
  if (!info) {
    png_destroy_read_struct(&png, nullptr, nullptr);
    return false;
  }
  if (setjmp(png_jmpbuf(png))) {
    png_destroy_read_struct(&png, &info, nullptr);
    return false;
  }
  png_init_io(png, file);
  png_read_info(png, info);
  const int colorType = png_get_color_type(png, info);
  const int bitDepth = png_get_bit_depth(png, info);
  const bool transparency = png_get_valid(png, info, PNG_INFO_tRNS) != 0;
  target->storedAsMaskKind = colorType == PNG_COLOR_TYPE_GRAY && bitDepth == 8 && !transparency;
  if (colorType == PNG_COLOR_TYPE_PALETTE) png_set_palette_to_rgb(png);
  if (colorType == PNG_COLOR_TYPE_GRAY && bitDepth < 8) png_set_expand_gray_1_2_4_to_8(png);
  if (transparency) png_set_tRNS_to_alpha(png);
  if (bitDepth == 16) png_set_swap(png);  // samples in the machine's order
  png_set_interlace_handling(png);
  png_read_update_info(png, info);
  if (target->image) {
    png_charp name = nullptr;
    int compression = 0;
    png_bytep profile = nullptr;
    png_uint_32 length = 0;
    if (png_get_iCCP(png, info, &name, &compression, &profile, &length) != 0 && profile && length > 0)
      target->image->iccProfile.assign(profile, profile + length);
  }
  const png_uint_32 height = png_get_image_height(png, info);
  if (!sizeTarget(target, png_get_image_width(png, info), height, png_get_channels(png, info),
                  png_get_bit_depth(png, info), state)) {
    png_destroy_read_struct(&png, &info, nullptr);
    return false;
  }
  rows->resize(height);
  for (png_uint_32 y = 0; y < height; ++y) (*rows)[y] = rowOf(*target, y);
  png_read_image(png, rows->data());
  png_read_end(png, nullptr);
  png_destroy_read_struct(&png, &info, nullptr);
  return true;
}

bool decodeFile(const std::string& path, PngTarget* target, std::string* error) {
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
  std::rewind(file);
  PngErrorState state{};
  std::vector<png_bytep> rows;
  const bool ok = decodePng(file, target, &rows, &state);
  std::fclose(file);
  if (!ok) {
    *error = "cannot read " + path + (state.message[0] ? std::string(": ") + state.message : std::string());
    return false;
  }
  return true;
}

bool encodePng(FILE* file, const HostImage& image, std::vector<png_bytep>* rows, PngErrorState* state) {
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, state, pngError, pngWarning);
  if (!png) return false;
  png_infop info = png_create_info_struct(png);
  if (!info) {
    png_destroy_write_struct(&png, nullptr);
    return false;
  }
  if (setjmp(png_jmpbuf(png))) {
    png_destroy_write_struct(&png, &info);
    return false;
  }
  png_init_io(png, file);
  // Writing must never dominate a run: the fastest deflate level with one
  // cheap row filter compresses a photograph nearly as well as the default.
  png_set_compression_level(png, 1);
  png_set_filter(png, PNG_FILTER_TYPE_BASE, PNG_FILTER_SUB);
  int colorType = 0;
  if (image.colorPlanes >= 3) colorType = image.hasAlpha ? PNG_COLOR_TYPE_RGB_ALPHA : PNG_COLOR_TYPE_RGB;
  else colorType = image.hasAlpha ? PNG_COLOR_TYPE_GRAY_ALPHA : PNG_COLOR_TYPE_GRAY;
  png_set_IHDR(png, info, png_uint_32(image.width), png_uint_32(image.height), image.depth == 16 ? 16 : 8,
               colorType, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  if (!image.iccProfile.empty()) {
    // A profile libpng finds malformed is left out rather than failing the file.
    png_set_benign_errors(png, 1);
    png_set_iCCP(png, info, "ICC profile", PNG_COMPRESSION_TYPE_BASE, image.iccProfile.data(),
                 png_uint_32(image.iccProfile.size()));
  }
  png_write_info(png, info);
  if (image.depth == 16) png_set_swap(png);  // PNG stores big-endian
  png_write_image(png, rows->data());
  png_write_end(png, nullptr);
  png_destroy_write_struct(&png, &info);
  return true;
}

}  // namespace

bool readPngImage(const std::string& path, HostImage* image, std::string* error) {
  *image = HostImage();
  PngTarget target;
  target.image = image;
  return decodeFile(path, &target, error);
}

bool writePngImage(const std::string& path, const HostImage& image, std::string* error) {
  FILE* file = std::fopen(path.c_str(), "wb");
  if (!file) {
    *error = "cannot create " + path;
    return false;
  }
  // The rows are the picture's own samples; libpng only reads them.
  std::vector<png_bytep> rows(size_t(image.height));
  for (int32_t y = 0; y < image.height; ++y) {
    const size_t at = hostSampleIndex(image, 0, y, 0);
    rows[size_t(y)] = image.depth == 16
                          ? reinterpret_cast<png_bytep>(const_cast<uint16_t*>(&image.words[at]))
                          : const_cast<png_bytep>(&image.bytes[at]);
  }
  PngErrorState state{};
  bool ok = encodePng(file, image, &rows, &state);
  if (std::fclose(file) != 0) ok = false;
  if (!ok) {
    std::remove(path.c_str());  // never leave half a file behind
    *error = "cannot write " + path + (state.message[0] ? std::string(": ") + state.message : std::string());
  }
  return ok;
}

bool readPngMask(const std::string& path, int32_t width, int32_t height, HostMask* mask, std::string* error) {
  PngTarget target;
  target.mask = mask;
  if (!decodeFile(path, &target, error)) {
    if (!target.storedAsMaskKind && error->find("not an 8-bit grey") != std::string::npos)
      *error = "mask " + path + " is not an 8-bit grey PNG without alpha";
    return false;
  }
  if (mask->width != width || mask->height != height) {
    *error = "mask " + path + " is " + std::to_string(mask->width) + "x" + std::to_string(mask->height) +
             ", the picture " + std::to_string(width) + "x" + std::to_string(height);
    return false;
  }
  return true;
}
