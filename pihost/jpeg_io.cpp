// JPEG pictures through libjpeg-turbo's IJG interface. Errors long-jump back
// to the function that set up the codec; everything of ours that the jump
// could skip lives in the caller, so no destructor is lost.
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include <jpeglib.h>

#include "pihost/image_files.h"

namespace {

struct JpegError {
  jpeg_error_mgr manager;
  std::jmp_buf jump;
  char message[JMSG_LENGTH_MAX];
};

void jpegFail(j_common_ptr codec) {
  auto* error = reinterpret_cast<JpegError*>(codec->err);
  (*codec->err->format_message)(codec, error->message);
  std::longjmp(error->jump, 1);
}

void jpegQuiet(j_common_ptr, int) {}

void initError(JpegError* error) {
  jpeg_std_error(&error->manager);
  error->manager.error_exit = jpegFail;
  error->manager.emit_message = jpegQuiet;
  error->message[0] = 0;
}

// Everything the decoder hands back; filled before any long jump can end it.
struct JpegRead {
  HostImage* image;
  JOCTET* profile = nullptr;  // from malloc, by libjpeg
  unsigned int profileLength = 0;
  const char* refusal = nullptr;
};

bool decodeJpeg(FILE* file, JpegRead* read, JpegError* error) {
  jpeg_decompress_struct codec;
  codec.err = &error->manager;
  if (setjmp(error->jump)) {
    jpeg_destroy_decompress(&codec);
    return false;
  }
  jpeg_create_decompress(&codec);
  jpeg_stdio_src(&codec, file);
  // The ICC profile travels in APP2 markers, which are kept only when asked for.
  jpeg_save_markers(&codec, JPEG_APP0 + 2, 0xFFFF);
  jpeg_read_header(&codec, TRUE);
  if (codec.num_components != 1 && codec.num_components != 3) {
    read->refusal = "only grey and RGB JPEG pictures can be read";
    jpeg_destroy_decompress(&codec);
    return false;
  }
  codec.out_color_space = codec.num_components == 1 ? JCS_GRAYSCALE : JCS_RGB;
  jpeg_read_icc_profile(&codec, &read->profile, &read->profileLength);
  jpeg_start_decompress(&codec);
  if (codec.output_width == 0 || codec.output_height == 0 || codec.output_width > 32767 ||
      codec.output_height > 32767) {
    read->refusal = "the picture must be 1..32767 pixels on each side";
    jpeg_destroy_decompress(&codec);
    return false;
  }
  HostImage* image = read->image;
  image->width = int32_t(codec.output_width);
  image->height = int32_t(codec.output_height);
  image->colorPlanes = codec.output_components == 1 ? 1 : 3;
  image->hasAlpha = false;
  image->depth = 8;
  image->words.clear();
  image->bytes.resize(hostSampleCount(*image));
  while (codec.output_scanline < codec.output_height) {
    JSAMPROW row = &image->bytes[hostSampleIndex(*image, 0, int32_t(codec.output_scanline), 0)];
    jpeg_read_scanlines(&codec, &row, 1);
  }
  jpeg_finish_decompress(&codec);
  jpeg_destroy_decompress(&codec);
  return true;
}

// Rows as 8-bit colour samples, without alpha: a 16-bit picture is narrowed
// with rounding.
void narrowRow(const HostImage& image, int32_t y, std::vector<JSAMPLE>* row) {
  size_t at = 0;
  for (int32_t x = 0; x < image.width; ++x) {
    const size_t first = hostSampleIndex(image, x, y, 0);
    for (int32_t p = 0; p < image.colorPlanes; ++p) {
      (*row)[at++] = image.depth == 16 ? JSAMPLE((uint32_t(image.words[first + size_t(p)]) * 255u + 32767u) / 65535u)
                                       : image.bytes[first + size_t(p)];
    }
  }
}

bool encodeJpeg(FILE* file, const HostImage& image, std::vector<JSAMPLE>* row, JpegError* error) {
  jpeg_compress_struct codec;
  codec.err = &error->manager;
  if (setjmp(error->jump)) {
    jpeg_destroy_compress(&codec);
    return false;
  }
  jpeg_create_compress(&codec);
  jpeg_stdio_dest(&codec, file);
  codec.image_width = JDIMENSION(image.width);
  codec.image_height = JDIMENSION(image.height);
  codec.input_components = image.colorPlanes;
  codec.in_color_space = image.colorPlanes == 1 ? JCS_GRAYSCALE : JCS_RGB;
  jpeg_set_defaults(&codec);
  jpeg_set_quality(&codec, 92, TRUE);
  jpeg_start_compress(&codec, TRUE);
  if (!image.iccProfile.empty())
    jpeg_write_icc_profile(&codec, image.iccProfile.data(), unsigned(image.iccProfile.size()));
  const bool direct = image.depth == 8 && !image.hasAlpha;
  while (codec.next_scanline < codec.image_height) {
    const int32_t y = int32_t(codec.next_scanline);
    JSAMPROW pointer;
    if (direct) {
      pointer = const_cast<JSAMPROW>(&image.bytes[hostSampleIndex(image, 0, y, 0)]);
    } else {
      narrowRow(image, y, row);
      pointer = row->data();
    }
    jpeg_write_scanlines(&codec, &pointer, 1);
  }
  jpeg_finish_compress(&codec);
  jpeg_destroy_compress(&codec);
  return true;
}

}  // namespace

bool readJpegImage(const std::string& path, HostImage* image, std::string* error) {
  *image = HostImage();
  FILE* file = std::fopen(path.c_str(), "rb");
  if (!file) {
    *error = "cannot open " + path;
    return false;
  }
  JpegError jpegError;
  initError(&jpegError);
  JpegRead read{image};
  const bool ok = decodeJpeg(file, &read, &jpegError);
  std::fclose(file);
  if (read.profile) {
    if (ok) image->iccProfile.assign(read.profile, read.profile + read.profileLength);
    std::free(read.profile);
  }
  if (!ok) {
    const char* reason = read.refusal ? read.refusal : jpegError.message;
    *error = "cannot read " + path + (reason[0] ? std::string(": ") + reason : std::string());
    *image = HostImage();
  }
  return ok;
}

bool writeJpegImage(const std::string& path, const HostImage& image, std::string* error) {
  FILE* file = std::fopen(path.c_str(), "wb");
  if (!file) {
    *error = "cannot create " + path;
    return false;
  }
  JpegError jpegError;
  initError(&jpegError);
  std::vector<JSAMPLE> row(size_t(image.width) * size_t(image.colorPlanes));
  bool ok = encodeJpeg(file, image, &row, &jpegError);
  if (std::fclose(file) != 0) ok = false;
  if (!ok) {
    std::remove(path.c_str());  // never leave half a file behind
    *error = "cannot write " + path + (jpegError.message[0] ? std::string(": ") + jpegError.message : std::string());
  }
  return ok;
}

std::string jpegLibraryVersion() {
  const int v = LIBJPEG_TURBO_VERSION_NUMBER;
  return std::to_string(v / 1000000) + "." + std::to_string(v / 1000 % 1000) + "." + std::to_string(v % 1000);
}
