// Fuzz entry for marrowline-host's picture and mask readers: any bytes, as a
// picture file named on the command line. The readers take paths, so the
// bytes go into an anonymous in-memory file (memfd) and are read through its
// /proc/self/fd name: nothing touches the disk and nothing is left behind.
//
// The format is chosen when the entry is built (FUZZ_PICTURE_FORMAT, an
// index into PICTURE_FORMATS); a new reader of the host is one more row
// there and one more target in fuzz/CMakeLists.txt.
//
// Beyond "no crash": a picture that reads has a size within the host's
// limits, one or three colour planes, a depth of 8 or 16 and as many samples
// as it has pixels and planes; a mask reads only at the picture's own size.
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "jpeg_probe.h"
#include "pihost/host_image.h"
#include "pihost/image_files.h"
#include "pihost/png_io.h"

#ifndef FUZZ_PICTURE_FORMAT
#define FUZZ_PICTURE_FORMAT 0
#endif

namespace {

// Pictures that claim more pixels than this are passed over: the readers
// size their buffers from the header, and the fuzzer's memory limit would
// take a huge claim for a fault.
constexpr uint64_t CLAIMED_PIXEL_LIMIT = uint64_t(1024) * 1024;

uint32_t bigEndianAt(const uint8_t* data) {
  return (uint32_t(data[0]) << 24) | (uint32_t(data[1]) << 16) | (uint32_t(data[2]) << 8) | data[3];
}

// PNG: the header chunk comes first, width and height at 16 and 20.
uint64_t pngClaimedPixels(const uint8_t* data, size_t size) {
  if (size < 24) return 0;
  return uint64_t(bigEndianAt(data + 16)) * bigEndianAt(data + 20);
}

// TIFF: the first directory's ImageWidth (256) and ImageLength (257), in
// the file's byte order; classic and BigTIFF layouts.
uint64_t tiffClaimedPixels(const uint8_t* data, size_t size) {
  if (size < 16) return 0;
  const bool little = data[0] == 'I' && data[1] == 'I';
  if (!little && !(data[0] == 'M' && data[1] == 'M')) return 0;
  auto word = [&](size_t at, int bytes) -> uint64_t {
    uint64_t value = 0;
    if (at > size || size - at < size_t(bytes)) return 0;
    for (int i = 0; i < bytes; ++i) value |= uint64_t(data[at + (little ? i : bytes - 1 - i)]) << (8 * i);
    return value;
  };
  const bool big = word(2, 2) == 43;
  const int offsetBytes = big ? 8 : 4, countBytes = big ? 8 : 2, entryBytes = big ? 20 : 12;
  const uint64_t directory = word(big ? 8 : 4, offsetBytes);
  const uint64_t entries = word(directory, countBytes);
  uint64_t width = 0, height = 0;
  for (uint64_t i = 0; i < entries && i < 4096; ++i) {
    if (directory > size) break;
    const size_t at = size_t(directory) + countBytes + size_t(i) * entryBytes;
    if (at > size || size - at < size_t(entryBytes)) break;
    const uint64_t tag = word(at, 2), type = word(at + 2, 2);
    const size_t valueAt = at + 4 + (big ? 8 : 4);
    const uint64_t value = type == 3 ? word(valueAt, 2) : word(valueAt, type == 16 ? 8 : 4);
    if (tag == 256) width = value;
    if (tag == 257) height = value;
  }
  return width * height;
}

struct PictureFormat {
  const char* name;
  bool (*readImage)(const std::string& path, HostImage* image, std::string* error);
  // Null for formats a mask can't come in.
  bool (*readMask)(const std::string& path, int32_t width, int32_t height, HostMask* mask, std::string* error);
  uint64_t (*claimedPixels)(const uint8_t* data, size_t size);
};

const PictureFormat PICTURE_FORMATS[] = {
    {"png", readPngImage, readPngMask, pngClaimedPixels},
    {"jpeg", readJpegImage, nullptr, jpeg_probe::claimedPixels},
    {"tiff", readTiffImage, nullptr, tiffClaimedPixels},
};

// The in-memory file, made once and rewritten for each input.
int memoryFile() {
  static const int fd = memfd_create("marrowline-fuzz-picture", MFD_CLOEXEC);
  return fd;
}

bool putInMemoryFile(int fd, const uint8_t* data, size_t size) {
  if (fd < 0 || ftruncate(fd, 0) != 0) return false;
  size_t done = 0;
  while (done < size) {
    const ssize_t wrote = pwrite(fd, data + done, size - done, static_cast<off_t>(done));
    if (wrote <= 0) return false;
    done += static_cast<size_t>(wrote);
  }
  return true;
}

void checkPicture(const HostImage& image) {
  if (image.width < 1 || image.height < 1 || image.width > 32767 || image.height > 32767) __builtin_trap();
  if (image.colorPlanes != 1 && image.colorPlanes != 3) __builtin_trap();
  if (image.depth != 8 && image.depth != 16) __builtin_trap();
  // The samples are kept as the file holds them, in the list of the depth.
  const size_t count = hostSampleCount(image);
  if (image.depth == 8 && (image.bytes.size() != count || !image.words.empty())) __builtin_trap();
  if (image.depth == 16 && (image.words.size() != count || !image.bytes.empty())) __builtin_trap();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const PictureFormat& format = PICTURE_FORMATS[FUZZ_PICTURE_FORMAT];
  if (format.claimedPixels(data, size) > CLAIMED_PIXEL_LIMIT) return 0;
  const int fd = memoryFile();
  if (!putInMemoryFile(fd, data, size)) return 0;
  const std::string path = "/proc/self/fd/" + std::to_string(fd);

  HostImage image;
  std::string error;
  int32_t width = 16, height = 16;
  if (format.readImage(path, &image, &error)) {
    checkPicture(image);
    width = image.width;
    height = image.height;
  } else if (error.empty()) {
    __builtin_trap();  // a refusal always says why
  }

  if (format.readMask == nullptr) return 0;
  HostMask mask;
  error.clear();
  if (format.readMask(path, width, height, &mask, &error)) {
    if (mask.width != width || mask.height != height || mask.values.size() != size_t(width) * size_t(height))
      __builtin_trap();
  } else if (error.empty()) {
    __builtin_trap();
  }
  // The same file at another size is never taken for a mask.
  if (format.readMask(path, width + 1, height, &mask, &error)) __builtin_trap();
  return 0;
}
