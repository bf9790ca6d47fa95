// TIFF pictures through libtiff: 8 or 16 bits, grey or RGB, one extra
// sample taken as alpha, samples interleaved or in planes, in strips or
// tiles. libtiff's messages are caught and the first one becomes the reason
// of a failure; nothing is printed.
#include <tiffio.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <vector>

#include "pihost/image_files.h"

namespace {

// libtiff reports through process-wide handlers; the host is single-threaded.
char lastTiffMessage[256];

void tiffMessage(const char*, const char* format, va_list arguments) {
  if (lastTiffMessage[0] == 0) std::vsnprintf(lastTiffMessage, sizeof lastTiffMessage, format, arguments);
}

void quietTiff() {
  TIFFSetErrorHandler(tiffMessage);
  TIFFSetWarningHandler(nullptr);
  lastTiffMessage[0] = 0;
}

std::string failure(const std::string& what, const std::string& path, const char* reason) {
  const char* text = reason ? reason : lastTiffMessage;
  return what + " " + path + (text[0] ? std::string(": ") + text : std::string());
}

// Stores sample `s` of a file row (one plane or all) into the picture.
struct RowLayout {
  int32_t samplesPerPixel;  // in the file
  int32_t planes;           // in the picture (the file's extra samples past alpha are dropped)
  bool separate;            // one plane per strip or tile
  bool invert;              // min-is-white grey
  int32_t bits;
};

void storeSamples(HostImage* image, const RowLayout& layout, const uint8_t* data, int32_t y, int32_t x0,
                  int32_t count, int32_t plane) {
  const int32_t step = layout.separate ? 1 : layout.samplesPerPixel;
  const int32_t first = layout.separate ? plane : 0;
  const int32_t last = layout.separate ? plane : layout.planes - 1;
  for (int32_t x = 0; x < count; ++x) {
    for (int32_t p = first; p <= last; ++p) {
      const int32_t at = x * step + (layout.separate ? 0 : p);
      const size_t index = hostSampleIndex(*image, x0 + x, y, p);
      const bool colour = p < image->colorPlanes;
      if (layout.bits == 16) {
        uint16_t v;
        std::memcpy(&v, data + 2 * at, 2);
        image->words[index] = (layout.invert && colour) ? uint16_t(65535 - v) : v;
      } else {
        const uint8_t v = data[at];
        image->bytes[index] = (layout.invert && colour) ? uint8_t(255 - v) : v;
      }
    }
  }
}

bool readPixels(TIFF* tiff, HostImage* image, const RowLayout& layout) {
  const int32_t planeCount = layout.separate ? layout.planes : 1;
  const int32_t bytesPerSample = layout.bits / 8;
  if (TIFFIsTiled(tiff)) {
    uint32_t tileWidth = 0, tileHeight = 0;
    TIFFGetField(tiff, TIFFTAG_TILEWIDTH, &tileWidth);
    TIFFGetField(tiff, TIFFTAG_TILELENGTH, &tileHeight);
    if (tileWidth == 0 || tileHeight == 0 || tileWidth > 65536 || tileHeight > 65536) return false;
    // A tile may overhang the picture, but one larger than the whole picture
    // (or 64 MB) only says the header lies: a short file must not make us
    // ask for gigabytes.
    const uint64_t tileBytes = uint64_t(TIFFTileSize64(tiff));
    const uint64_t pictureBytes =
        uint64_t(image->width) * uint64_t(image->height) * uint64_t(layout.samplesPerPixel) * uint64_t(bytesPerSample);
    if (tileBytes == 0 || tileBytes > std::max<uint64_t>(pictureBytes, uint64_t(64) << 20)) return false;
    std::vector<uint8_t> tile(static_cast<size_t>(tileBytes));
    const int32_t tileStride = int32_t(tileWidth) * (layout.separate ? 1 : layout.samplesPerPixel) * bytesPerSample;
    for (int32_t plane = 0; plane < planeCount; ++plane) {
      for (uint32_t ty = 0; ty < uint32_t(image->height); ty += tileHeight) {
        for (uint32_t tx = 0; tx < uint32_t(image->width); tx += tileWidth) {
          if (TIFFReadTile(tiff, tile.data(), tx, ty, 0, uint16_t(plane)) < 0) return false;
          const int32_t rows = int32_t(std::min<uint32_t>(tileHeight, uint32_t(image->height) - ty));
          const int32_t columns = int32_t(std::min<uint32_t>(tileWidth, uint32_t(image->width) - tx));
          for (int32_t r = 0; r < rows; ++r)
            storeSamples(image, layout, tile.data() + size_t(r) * size_t(tileStride), int32_t(ty) + r, int32_t(tx),
                         columns, plane);
        }
      }
    }
    return true;
  }
  std::vector<uint8_t> row(size_t(TIFFScanlineSize(tiff)));
  for (int32_t plane = 0; plane < planeCount; ++plane) {
    for (int32_t y = 0; y < image->height; ++y) {
      if (TIFFReadScanline(tiff, row.data(), uint32_t(y), uint16_t(plane)) < 0) return false;
      storeSamples(image, layout, row.data(), y, 0, image->width, plane);
    }
  }
  return true;
}

}  // namespace

bool readTiffImage(const std::string& path, HostImage* image, std::string* error) {
  *image = HostImage();
  quietTiff();
  TIFF* tiff = TIFFOpen(path.c_str(), "r");
  if (!tiff) {
    *error = failure("cannot open", path, nullptr);
    return false;
  }
  uint32_t width = 0, height = 0;
  uint16_t bits = 0, samples = 1, photometric = 0, planar = PLANARCONFIG_CONTIG, format = SAMPLEFORMAT_UINT;
  TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &width);
  TIFFGetField(tiff, TIFFTAG_IMAGELENGTH, &height);
  TIFFGetFieldDefaulted(tiff, TIFFTAG_BITSPERSAMPLE, &bits);
  TIFFGetFieldDefaulted(tiff, TIFFTAG_SAMPLESPERPIXEL, &samples);
  TIFFGetFieldDefaulted(tiff, TIFFTAG_PLANARCONFIG, &planar);
  TIFFGetFieldDefaulted(tiff, TIFFTAG_SAMPLEFORMAT, &format);
  const bool havePhotometric = TIFFGetField(tiff, TIFFTAG_PHOTOMETRIC, &photometric) != 0;

  const char* refusal = nullptr;
  int32_t colorPlanes = 0;
  if (!havePhotometric) refusal = "no photometric interpretation";
  else if (photometric == PHOTOMETRIC_MINISBLACK || photometric == PHOTOMETRIC_MINISWHITE) colorPlanes = 1;
  else if (photometric == PHOTOMETRIC_RGB) colorPlanes = 3;
  else refusal = "only grey and RGB TIFF pictures can be read";
  if (!refusal && bits != 8 && bits != 16) refusal = "only 8- and 16-bit TIFF pictures can be read";
  if (!refusal && format != SAMPLEFORMAT_UINT) refusal = "only unsigned integer TIFF samples can be read";
  if (!refusal && samples < colorPlanes) refusal = "fewer samples than colour planes";
  if (!refusal && samples > 256) refusal = "more than 256 samples a pixel";
  if (!refusal && (width == 0 || height == 0 || width > 32767 || height > 32767))
    refusal = "the picture must be 1..32767 pixels on each side";
  if (refusal) {
    *error = failure("cannot read", path, refusal);
    TIFFClose(tiff);
    return false;
  }

  image->width = int32_t(width);
  image->height = int32_t(height);
  image->colorPlanes = colorPlanes;
  image->hasAlpha = samples > colorPlanes;  // the first extra sample; any others are dropped
  image->depth = bits;
  if (bits == 16) image->words.assign(hostSampleCount(*image), 0);
  else image->bytes.assign(hostSampleCount(*image), 0);

  uint32_t profileLength = 0;
  void* profile = nullptr;
  if (TIFFGetField(tiff, TIFFTAG_ICCPROFILE, &profileLength, &profile) && profile && profileLength > 0) {
    const auto* bytes = static_cast<const uint8_t*>(profile);
    image->iccProfile.assign(bytes, bytes + profileLength);
  }

  const RowLayout layout{int32_t(samples), imagePlanes(*image), planar == PLANARCONFIG_SEPARATE,
                         photometric == PHOTOMETRIC_MINISWHITE, bits};
  const bool ok = readPixels(tiff, image, layout);
  TIFFClose(tiff);
  if (!ok) {
    *error = failure("cannot read", path, nullptr);
    *image = HostImage();
  }
  return ok;
}

bool writeTiffImage(const std::string& path, const HostImage& image, std::string* error) {
  quietTiff();
  TIFF* tiff = TIFFOpen(path.c_str(), "w");
  if (!tiff) {
    *error = failure("cannot create", path, nullptr);
    return false;
  }
  const uint16_t samples = uint16_t(imagePlanes(image));
  TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, uint32_t(image.width));
  TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, uint32_t(image.height));
  TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, uint16_t(image.depth));
  TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, samples);
  TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, image.colorPlanes >= 3 ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK);
  TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
  TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
  TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, TIFFDefaultStripSize(tiff, 0));
  if (image.hasAlpha) {
    const uint16_t kind = EXTRASAMPLE_UNASSALPHA;  // alpha as PNG has it, not premultiplied
    TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, uint16_t(1), &kind);
  }
  if (!image.iccProfile.empty())
    TIFFSetField(tiff, TIFFTAG_ICCPROFILE, uint32_t(image.iccProfile.size()), image.iccProfile.data());
  bool ok = true;
  for (int32_t y = 0; ok && y < image.height; ++y) {
    const size_t at = hostSampleIndex(image, 0, y, 0);
    void* row = image.depth == 16 ? static_cast<void*>(const_cast<uint16_t*>(&image.words[at]))
                                  : static_cast<void*>(const_cast<uint8_t*>(&image.bytes[at]));
    ok = TIFFWriteScanline(tiff, row, uint32_t(y), 0) >= 0;
  }
  if (ok) ok = TIFFWriteDirectory(tiff) != 0;
  TIFFClose(tiff);
  if (!ok) {
    std::remove(path.c_str());  // never leave half a file behind
    *error = failure("cannot write", path, nullptr);
  }
  return ok;
}

std::string tiffLibraryVersion() {
  // "LIBTIFF, Version 4.5.0\n..." : the number only.
  const char* text = TIFFGetVersion();
  const char* number = std::strstr(text, "Version ");
  std::string version = number ? number + 8 : text;
  const size_t end = version.find_first_of("\r\n ");
  return end == std::string::npos ? version : version.substr(0, end);
}
