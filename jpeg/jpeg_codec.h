// JPEG streams through IJG libjpeg, over memory. The encoder uses the
// system's own quantisation tables, always optimises its Huffman tables, and
// puts a fixed comment with the maker's address and the given metadata in
// front of the frame. Library errors never print and never end the process:
// they come back as a result code, with no stream and no pixels changed.
//
// jpeglib.h stays inside jpeg_codec.cpp: it clashes with windows.h over
// `boolean`, so no header of the system includes it.
#pragma once

#include <cstddef>
#include <cstdint>

#include "image/pixel_map.h"
#include "platform/files.h"

struct MetadataBlock;
struct FilterSession;

constexpr int32_t JPEG_MIN_SIDE = 16;          // smaller regions repeat their last pixels
constexpr int32_t JPEG_STAGING_BYTES = 4096;   // the library's output buffer
constexpr int32_t JPEG_BYTES_PER_PIXEL = 6;    // work buffer per pixel of the image
constexpr int16_t JPEG_FILE_QUALITY = 80;
// The decoder refuses streams of more pixels than this: thumbnails and page
// images are far smaller, and a corrupt header must not cost minutes.
constexpr int64_t JPEG_DECODE_PIXEL_LIMIT = 4096 * 4096;

// Result codes of the JPEG side.
constexpr int16_t JPEG_OK = 0;
constexpr int16_t JPEG_NO_RASTER = 1;
constexpr int16_t JPEG_NO_PIXELS = 2;       // writeJpegBlock only
constexpr int16_t JPEG_NO_BUFFER_PROCS = 3; // writeJpegBlock only
constexpr int16_t JPEG_LIBRARY_FAILED = 4;  // the library stopped: no stream, no pixels

struct EncodeRequest {
  const PixelMap* raster;  // any format
  Rect16 rect;             // region to encode
  uint8_t* out;            // destination
  size_t capacity;
  int16_t quality;         // clamped to 0..99
  int32_t iccSize;         // colour profile; 0 and null for none
  const uint8_t* iccData;
  MetadataBlock* iptc;     // each may be null; written when it has a buffer
  MetadataBlock* exif;
};

// The quantisation rows: row quality / 10 of each table, natural order.
const unsigned int* jpegLuminanceRow(int32_t row);
const unsigned int* jpegChrominanceRow(int32_t row);
// 2 (luminance sampled 2 x 2) for rows 0 to 4, else 1.
int32_t jpegLuminanceSampling(int32_t row);
int32_t jpegQualityRow(int32_t quality);

// The image is max(rect width, 16) x max(rect height, 16); pixels come from
// the raster through its float reader, clamped to the raster. `length`
// receives the stream's size, 0 when there is none.
int16_t encodeJpeg(const EncodeRequest* request, size_t* length);

// Stream pixel (x, y) goes to raster pixel (rect.left + x, rect.top + y),
// for the part of the stream that the rectangle covers, as R, G, B and alpha
// 255 (grey streams give R = G = B). The raster is only touched once the
// whole stream has decoded. JPEG_LIBRARY_FAILED for a stream that does not
// decode.
int16_t decodeJpeg(PixelMap* raster, const Rect16* rect, const uint8_t* data, size_t size);

// Encodes the whole raster and writes the stream to an open file. With
// withHeader the thumbnail block of a settings file goes in front: u32 1,
// width, height (each at least 16) and the stream's length, or a single u32
// 0 when no work buffer can be had. Returns 1, 2 or 3 for a missing raster,
// pixels or buffer procedures, else the code of the write.
int16_t writeJpegBlock(const PixelMap* raster, FileHandle file, bool withHeader, int16_t quality, int32_t iccSize,
                       const uint8_t* iccData, MetadataBlock* iptc, MetadataBlock* exif);

// The host's colour profile while a file is written: the locked bytes and
// their count when the host has a profile and says it may be used, else null
// and 0. Every non-null result is given back with unlockHostProfile.
const uint8_t* lockHostProfile(const FilterSession* session, int32_t* size);
void unlockHostProfile(const FilterSession* session);

// A whole JPEG file at quality 80 with EXIF, IPTC (no keywords) and the
// host's colour profile when it offers one. With closeIt the file is ended at
// the stream's end and closed.
int16_t writeJpegFile(const PixelMap* raster, FileHandle file, bool closeIt);
