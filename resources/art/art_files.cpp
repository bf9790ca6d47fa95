#include "resources/art/art_files.h"

namespace {

constexpr int32_t PIXELS_PER_METRE_96_DPI = 3780;

void put16(std::vector<uint8_t>& out, uint32_t v) {
  out.push_back(uint8_t(v));
  out.push_back(uint8_t(v >> 8));
}
void put32(std::vector<uint8_t>& out, uint32_t v) {
  put16(out, v & 0xFFFF);
  put16(out, v >> 16);
}

void putInfoHeader(std::vector<uint8_t>& out, int32_t width, int32_t height, uint16_t bits, uint32_t imageBytes) {
  put32(out, 40);
  put32(out, uint32_t(width));
  put32(out, uint32_t(height));
  put16(out, 1);
  put16(out, bits);
  put32(out, 0);  // no compression
  put32(out, imageBytes);
  put32(out, PIXELS_PER_METRE_96_DPI);
  put32(out, PIXELS_PER_METRE_96_DPI);
  put32(out, 0);
  put32(out, 0);
}

// Icon and cursor files differ only in their type word and in what the
// directory entry's two middle words hold (planes and bits, or hot spot).
std::vector<uint8_t> encodeIconFile(const Raster& image, uint16_t type, uint16_t word1, uint16_t word2) {
  const uint32_t maskStride = uint32_t((image.width + 31) / 32 * 4);
  const uint32_t colourBytes = uint32_t(image.width * image.height * 4);
  const uint32_t maskBytes = maskStride * uint32_t(image.height);
  std::vector<uint8_t> out;
  put16(out, 0);
  put16(out, type);
  put16(out, 1);
  out.push_back(uint8_t(image.width >= 256 ? 0 : image.width));
  out.push_back(uint8_t(image.height >= 256 ? 0 : image.height));
  out.push_back(0);  // no palette
  out.push_back(0);
  put16(out, word1);
  put16(out, word2);
  put32(out, 40 + colourBytes + maskBytes);
  put32(out, 6 + 16);
  putInfoHeader(out, image.width, image.height * 2, 32, colourBytes + maskBytes);
  // Where the mask is set the colour is black, so that a system that
  // ignores alpha (drawing a disabled button, say) and XORs the colour over
  // the screen leaves it as it is.
  for (int32_t y = image.height - 1; y >= 0; --y) {
    for (int32_t x = 0; x < image.width; ++x) {
      const Colour c = image.at(x, y);
      if (c.a < 128) {
        out.insert(out.end(), {0, 0, 0, c.a});
      } else {
        out.insert(out.end(), {c.b, c.g, c.r, c.a});
      }
    }
  }
  for (int32_t y = image.height - 1; y >= 0; --y) {
    std::vector<uint8_t> row(maskStride, 0);
    for (int32_t x = 0; x < image.width; ++x)
      if (image.at(x, y).a < 128) row[size_t(x / 8)] |= uint8_t(0x80 >> (x % 8));
    out.insert(out.end(), row.begin(), row.end());
  }
  return out;
}

}  // namespace

std::vector<uint8_t> encodeBitmap(const Raster& image) {
  const uint32_t stride = uint32_t((image.width * 3 + 3) / 4 * 4);
  const uint32_t imageBytes = stride * uint32_t(image.height);
  std::vector<uint8_t> out;
  out.push_back('B');
  out.push_back('M');
  put32(out, 14 + 40 + imageBytes);
  put32(out, 0);
  put32(out, 14 + 40);
  putInfoHeader(out, image.width, image.height, 24, imageBytes);
  for (int32_t y = image.height - 1; y >= 0; --y) {
    const size_t start = out.size();
    for (int32_t x = 0; x < image.width; ++x) {
      const Colour c = image.at(x, y);
      out.insert(out.end(), {c.b, c.g, c.r});
    }
    out.resize(start + stride, 0);
  }
  return out;
}

std::vector<uint8_t> encodeIcon(const Raster& image) { return encodeIconFile(image, 1, 1, 32); }

std::vector<uint8_t> encodeCursor(const Raster& image, int32_t hotX, int32_t hotY) {
  return encodeIconFile(image, 2, uint16_t(hotX), uint16_t(hotY));
}

std::vector<uint8_t> encodeArt(const ArtPiece& piece) {
  switch (piece.kind) {
    case ART_ICON: return encodeIcon(piece.image);
    case ART_CURSOR: return encodeCursor(piece.image, piece.hotX, piece.hotY);
    default: return encodeBitmap(piece.image);
  }
}

const char* artExtension(ArtKind kind) { return kind == ART_ICON ? "ico" : kind == ART_CURSOR ? "cur" : "bmp"; }

const char* artResourceType(ArtKind kind) {
  return kind == ART_ICON ? "ICON" : kind == ART_CURSOR ? "CURSOR" : "BITMAP";
}
