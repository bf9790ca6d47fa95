// JPEG streams and their metadata: the markers in front of the frame and
// their order, the quantisation tables as the stream carries them, the 16 x 16
// floor, the keyword rule, blocks byte for byte, and decoding that fails
// cleanly. Streams are read back by parsing their markers and by the real
// libjpeg reader.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <jpeglib.h>

#include "jpeg/jpeg_codec.h"
#include "jpeg/metadata.h"
#include "session/session.h"
#include "image/pixel_map.h"
#include "pi/plugin_interface.h"
#include "platform/memory.h"
#include "files/file_io.h"
#include "files/paths.h"

namespace {

using Bytes = std::vector<uint8_t>;

struct Segment {
  int marker;
  Bytes data;  // without the length field
};

// Markers from SOI up to and including SOS.
std::vector<Segment> markersOf(const Bytes& stream) {
  std::vector<Segment> out;
  if (stream.size() < 2 || stream[0] != 0xFF || stream[1] != 0xD8) return out;
  out.push_back({0xD8, {}});
  size_t at = 2;
  while (at + 4 <= stream.size() && stream[at] == 0xFF) {
    int marker = stream[at + 1];
    size_t length = (static_cast<size_t>(stream[at + 2]) << 8) | stream[at + 3];
    if (length < 2 || at + 2 + length > stream.size()) break;
    out.push_back({marker, Bytes(stream.begin() + static_cast<long>(at + 4),
                                 stream.begin() + static_cast<long>(at + 2 + length))});
    at += 2 + length;
    if (marker == 0xDA) break;
  }
  return out;
}

std::vector<int> markerCodes(const std::vector<Segment>& segments) {
  std::vector<int> codes;
  for (const Segment& s : segments) codes.push_back(s.marker);
  return codes;
}

struct Raster {
  PixelMap map;
  BufferProcs procs;  // only its presence matters: the block is platform memory
  Raster(int32_t width, int32_t height, int32_t format = PIXEL_RGBA8) {
    std::memset(&procs, 0, sizeof procs);
    pixelMapInit(&map, nullptr, nullptr);
    EXPECT_TRUE(pixelMapCreate(&map, width, height, format, 0));
    map.bufferProcs = &procs;
  }
  ~Raster() { pixelMapFree(&map); }
  Rect16 rect() const { return Rect16{0, 0, static_cast<int16_t>(map.baseHeight), static_cast<int16_t>(map.baseWidth)}; }
};

// A smooth picture with some colour in it, so every table entry matters.
void paintGradient(PixelMap* map) {
  for (int32_t y = 0; y < map->baseHeight; ++y)
    for (int32_t x = 0; x < map->baseWidth; ++x)
      setBytes4(x, y, map, 0, (x * 255) / map->baseWidth, (y * 255) / map->baseHeight, ((x + y) * 7) & 255, 255);
}

Bytes encode(const PixelMap* map, Rect16 rect, int16_t quality, MetadataBlock* iptc = nullptr,
             MetadataBlock* exif = nullptr, const Bytes* icc = nullptr, size_t capacity = 0) {
  if (capacity == 0) capacity = static_cast<size_t>(map->baseWidth + 16) * (map->baseHeight + 16) * 6 + 200000;
  Bytes out(capacity);
  EncodeRequest request;
  std::memset(&request, 0, sizeof request);
  request.raster = map;
  request.rect = rect;
  request.out = out.data();
  request.capacity = capacity;
  request.quality = quality;
  request.iptc = iptc;
  request.exif = exif;
  if (icc != nullptr) {
    request.iccSize = static_cast<int32_t>(icc->size());
    request.iccData = icc->data();
  }
  size_t length = 12345;
  int16_t code = encodeJpeg(&request, &length);
  if (code != JPEG_OK) {
    EXPECT_EQ(length, 0u);
    return {};
  }
  out.resize(length);
  return out;
}

// What the real libjpeg reader makes of a stream: its tables, sampling and pixels.
struct Decoded {
  bool ok = false;
  int width = 0, height = 0, components = 0;
  int lumaSampling = 0;
  unsigned int luma[64] = {}, chroma[64] = {};
  Bytes pixels;  // RGB
};

struct ThrowingError {
  jpeg_error_mgr manager;
};
void failHard(j_common_ptr info) {
  char message[JMSG_LENGTH_MAX];
  info->err->format_message(info, message);
  ADD_FAILURE() << "libjpeg: " << message;
  throw 1;  // the test's own reader only; never in the product
}

Decoded readWithLibjpeg(const Bytes& stream) {
  Decoded result;
  jpeg_decompress_struct info;
  ThrowingError error;
  info.err = jpeg_std_error(&error.manager);
  error.manager.error_exit = failHard;
  jpeg_create_decompress(&info);
  try {
    jpeg_mem_src(&info, stream.data(), static_cast<unsigned long>(stream.size()));
    jpeg_read_header(&info, TRUE);
    for (int i = 0; i < 64; ++i) {
      result.luma[i] = info.quant_tbl_ptrs[0]->quantval[i];
      result.chroma[i] = info.quant_tbl_ptrs[1] ? info.quant_tbl_ptrs[1]->quantval[i] : 0;
    }
    result.lumaSampling = info.comp_info[0].h_samp_factor * 10 + info.comp_info[0].v_samp_factor;
    info.out_color_space = JCS_RGB;
    jpeg_start_decompress(&info);
    result.width = static_cast<int>(info.output_width);
    result.height = static_cast<int>(info.output_height);
    result.components = info.output_components;
    result.pixels.resize(static_cast<size_t>(result.width) * result.height * 3);
    while (info.output_scanline < info.output_height) {
      JSAMPROW row = result.pixels.data() + static_cast<size_t>(info.output_scanline) * result.width * 3;
      jpeg_read_scanlines(&info, &row, 1);
    }
    jpeg_finish_decompress(&info);
    result.ok = true;
  } catch (int) {
  }
  jpeg_destroy_decompress(&info);
  return result;
}

// The row-8 tables, written out again here as the check.
const unsigned int LUMA_80[64] = {2, 2, 2, 2, 3,  4,  5,  6,  2, 2, 2, 2, 3,  4,  5,  6,  2, 2, 2,  2,  4,  5,
                                  7, 9, 2, 2, 2,  4,  5,  7,  9, 12, 3, 3, 4,  5,  8,  13, 12, 12, 4, 4, 5,  7,
                                  13, 12, 12, 12, 5, 5, 7, 9, 12, 12, 12, 12, 6, 6, 9, 12, 12, 12, 12, 12};
const unsigned int CHROMA_80[64] = {3,  3,  5,  9,  10, 15, 15, 15, 3,  4,  6,  13, 14, 12, 12, 12,
                                    5,  6,  9,  14, 12, 12, 12, 12, 9,  13, 14, 12, 12, 12, 12, 12,
                                    10, 14, 12, 12, 12, 12, 12, 12, 15, 12, 12, 12, 12, 12, 12, 12,
                                    15, 12, 12, 12, 12, 12, 12, 12, 15, 12, 12, 12, 12, 12, 12, 12};

std::string today() {
  char date[9];
  metadataDate(date);
  return date;
}

uint32_t be32(const uint8_t* p) {
  return (uint32_t(p[0]) << 24) | (uint32_t(p[1]) << 16) | (uint32_t(p[2]) << 8) | p[3];
}

struct IptcRecord {
  int dataset;
  std::string data;
};

// Records behind the 12-byte resource header; checks their framing as it goes.
std::vector<IptcRecord> iptcRecordsOf(const uint8_t* records, size_t size) {
  std::vector<IptcRecord> out;
  size_t at = 0;
  while (at + 5 <= size && records[at] == 0x1C) {
    EXPECT_EQ(records[at + 1], 2);
    size_t length = (size_t(records[at + 3]) << 8) | records[at + 4];
    out.push_back({records[at + 2], std::string(reinterpret_cast<const char*>(records + at + 5), length)});
    at += 5 + length;
  }
  EXPECT_GE(size - at, 0u);
  EXPECT_LE(size - at, 1u);  // at most the pad byte
  if (at < size) {
    EXPECT_EQ(records[at], 0);
  }
  return out;
}

Bytes fileBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::string scratchPath(const char* name) {
  PathSpec path;
  tempFile(&path, "");
  return std::string(path.text) + "ml_jpeg_test_" + name;
}

}  // namespace

// --- metadata blocks -----------------------------------------------------------

TEST(Metadata, ExifIsOneSoftwareTagWithOrWithoutPrefix) {
  MetadataBlock block;
  initMetadata(&block);
  EXPECT_EQ(makeExifBlock(&block, false, true), 37);  // 27 + "Marrowline"
  EXPECT_EQ(makeExifBlock(&block, true, true), 43);
  EXPECT_EQ(block.buffer, nullptr);  // sizes only

  ASSERT_EQ(makeExifBlock(&block, false, false), 37);
  const uint8_t expected[37] = {'M', 'M', 0, 0x2A, 0, 0, 0, 8, 0, 1, 1, 0x31, 0, 2, 0, 0, 0, 11, 0, 0, 0, 0x1A, 0, 0,
                                0,   0,   'M', 'a', 'r', 'r', 'o', 'w', 'l', 'i', 'n', 'e', 0};
  EXPECT_EQ(std::memcmp(block.buffer, expected, 37), 0);
  // A block that is made already stays as it is.
  EXPECT_EQ(makeExifBlock(&block, true, false), 0);
  EXPECT_EQ(block.size, 37);
  freeMetadata(&block);

  ASSERT_EQ(makeExifBlock(&block, true, false), 43);
  EXPECT_EQ(std::memcmp(block.buffer, "Exif\0\0MM", 8), 0);
  freeMetadata(&block);
  freeMetadata(&block);  // twice is harmless
}

TEST(Metadata, IptcRecordsInOrderInsideTheResource) {
  MetadataBlock block;
  initMetadata(&block);
  addKeyword(&block, "thin/soft");
  addKeyword(&block, "");
  addKeyword(&block, "green");
  int64_t planned = makeIptcBlock(&block, true, true);
  ASSERT_EQ(makeIptcBlock(&block, true, false), planned);
  ASSERT_EQ(block.size, planned);
  const uint8_t* p = block.buffer;
  EXPECT_EQ(std::memcmp(p, "Photoshop 3.0\0008BIM\004\004\0\0", 22), 0);
  uint32_t records = be32(p + 22);
  EXPECT_EQ(records, static_cast<uint32_t>(planned - 26));
  EXPECT_EQ(records % 2, 0u);
  std::vector<IptcRecord> list = iptcRecordsOf(p + 26, records);
  ASSERT_EQ(list.size(), 7u);
  EXPECT_EQ(list[0].dataset, 0);
  EXPECT_EQ(list[0].data, std::string("\0\2", 2));
  EXPECT_EQ(list[1].dataset, 115);
  EXPECT_EQ(list[1].data, makerUrl);
  EXPECT_EQ(list[2].dataset, 55);
  EXPECT_EQ(list[2].data, today());
  EXPECT_EQ(list[3].dataset, 120);
  EXPECT_EQ(list[3].data, "Made with Marrowline");
  EXPECT_EQ(list[4].dataset, 25);
  EXPECT_EQ(list[4].data, "Marrowline");
  EXPECT_EQ(list[5].data, "thin/soft");
  EXPECT_EQ(list[6].data, "green");
  freeMetadata(&block);

  // Without the JPEG lead-in the resource starts at once.
  ASSERT_GT(makeIptcBlock(&block, false, false), 0);
  EXPECT_EQ(std::memcmp(block.buffer, "8BIM", 4), 0);
  EXPECT_EQ(block.size, planned - 14);
  freeMetadata(&block);
}

TEST(Metadata, OddIptcTotalGainsOnePadByte) {
  // The fixed records add to an even total; a keyword record of odd length
  // (5 + 2 bytes) makes it odd, one of even length (5 + 1) keeps it even.
  for (const char* keyword : {"ab", "a"}) {
    MetadataBlock block;
    initMetadata(&block);
    MetadataBlock bare;
    initMetadata(&bare);
    addKeyword(&block, keyword);
    makeIptcBlock(&block, false, false);
    makeIptcBlock(&bare, false, false);
    uint32_t records = be32(block.buffer + 8);
    uint32_t bareRecords = be32(bare.buffer + 8);
    size_t recordLength = 5 + std::strlen(keyword);
    bool odd = (bareRecords + recordLength) % 2 != 0;
    EXPECT_EQ(records, bareRecords + recordLength + (odd ? 1 : 0)) << keyword;
    EXPECT_EQ(block.size, 12 + static_cast<int64_t>(records));
    if (odd) {
      EXPECT_EQ(block.buffer[block.size - 1], 0);
    }
    EXPECT_EQ(iptcRecordsOf(block.buffer + 12, records).size(), 6u);
    freeMetadata(&block);
    freeMetadata(&bare);
  }
}

TEST(Metadata, KeywordRule) {
  MetadataBlock block;
  initMetadata(&block);
  EXPECT_TRUE(addKeyword(&block, "thin/soft"));
  EXPECT_FALSE(addKeyword(&block, "thin"));  // an entry starts with it
  EXPECT_FALSE(addKeyword(&block, "THIN/"));  // case ignored
  EXPECT_EQ(block.keywordCount, 1);

  MetadataBlock other;
  initMetadata(&other);
  EXPECT_TRUE(addKeyword(&other, "thin"));
  EXPECT_TRUE(addKeyword(&other, "thin/soft"));  // the longer one is new
  EXPECT_FALSE(addKeyword(&other, nullptr));
  EXPECT_FALSE(addKeyword(&other, ""));
  EXPECT_FALSE(addKeyword(&other, std::string(50, 'k').c_str()));
  EXPECT_TRUE(addKeyword(&other, std::string(49, 'k').c_str()));
  EXPECT_EQ(other.keywordCount, 3);

  MetadataBlock full;
  initMetadata(&full);
  for (int i = 0; i < 20; ++i) addKeyword(&full, ("word" + std::to_string(100 + i)).c_str());
  EXPECT_EQ(full.keywordCount, 19);
  EXPECT_STREQ(full.keywords[18], "word118");

  // Nineteen keywords of 49 bytes outgrow the customary 1,000 bytes; the
  // buffer grows to fit.
  MetadataBlock big;
  initMetadata(&big);
  for (int i = 0; i < 19; ++i) addKeyword(&big, (std::string(47, 'a' + i) + "zz").c_str());
  EXPECT_EQ(big.keywordCount, 19);
  int64_t size = makeIptcBlock(&big, true, false);
  EXPECT_GT(size, 1000);
  EXPECT_EQ(iptcRecordsOf(big.buffer + 26, be32(big.buffer + 22)).size(), 24u);
  freeMetadata(&big);
}

// --- streams -----------------------------------------------------------------------

TEST(JpegStream, MarkersInOrderInFrontOfTheFrame) {
  Raster raster(128, 128);
  paintGradient(&raster.map);
  MetadataBlock iptc, exif;
  initMetadata(&iptc);
  initMetadata(&exif);
  makeIptcBlock(&iptc, true, false);
  makeExifBlock(&exif, true, false);
  Bytes icc(70000);
  for (size_t i = 0; i < icc.size(); ++i) icc[i] = static_cast<uint8_t>(i * 31);
  Bytes stream = encode(&raster.map, raster.rect(), 80, &iptc, &exif, &icc);
  ASSERT_FALSE(stream.empty());
  EXPECT_EQ(stream[stream.size() - 2], 0xFF);
  EXPECT_EQ(stream[stream.size() - 1], 0xD9);

  std::vector<Segment> segments = markersOf(stream);
  std::vector<int> codes = markerCodes(segments);
  // SOI, JFIF, comment, EXIF, two profile chunks, IPTC; then the library's
  // tables and frame.
  ASSERT_GE(codes.size(), 8u);
  std::vector<int> head(codes.begin(), codes.begin() + 7);
  EXPECT_EQ(head, (std::vector<int>{0xD8, 0xE0, 0xFE, 0xE1, 0xE2, 0xE2, 0xED}));
  EXPECT_EQ(std::memcmp(segments[1].data.data(), "JFIF", 5), 0);

  const Segment& comment = segments[2];
  ASSERT_EQ(comment.data.size(), std::strlen(makerUrl) + 1);  // length field = url + 3
  EXPECT_EQ(std::memcmp(comment.data.data(), makerUrl, std::strlen(makerUrl) + 1), 0);

  EXPECT_EQ(segments[3].data, Bytes(exif.buffer, exif.buffer + exif.size));
  EXPECT_EQ(segments[6].data, Bytes(iptc.buffer, iptc.buffer + iptc.size));

  // The profile in chunks of at most 65,519 bytes, numbered from 1 of 2.
  Bytes joined;
  for (int i = 0; i < 2; ++i) {
    const Bytes& chunk = segments[4 + i].data;
    ASSERT_GT(chunk.size(), 14u);
    EXPECT_EQ(std::memcmp(chunk.data(), "ICC_PROFILE\0", 12), 0);
    EXPECT_EQ(chunk[12], i + 1);
    EXPECT_EQ(chunk[13], 2);
    EXPECT_LE(chunk.size() - 14, 65519u);
    joined.insert(joined.end(), chunk.begin() + 14, chunk.end());
  }
  EXPECT_EQ(joined, icc);

  // Nothing of ours after the metadata: tables, frame, Huffman, scan.
  for (size_t i = 7; i < codes.size(); ++i) {
    EXPECT_TRUE(codes[i] == 0xDB || codes[i] == 0xC0 || codes[i] == 0xC4 || codes[i] == 0xDA) << codes[i];
  }
  freeMetadata(&iptc);
  freeMetadata(&exif);
}

TEST(JpegStream, ThumbnailStreamHasOnlyTheComment) {
  Raster raster(128, 128);
  paintGradient(&raster.map);
  Bytes stream = encode(&raster.map, raster.rect(), 80);
  std::vector<int> codes = markerCodes(markersOf(stream));
  ASSERT_GE(codes.size(), 3u);
  EXPECT_EQ(codes[0], 0xD8);
  EXPECT_EQ(codes[1], 0xE0);
  EXPECT_EQ(codes[2], 0xFE);
  for (size_t i = 3; i < codes.size(); ++i) EXPECT_FALSE(codes[i] >= 0xE1 && codes[i] <= 0xEF);
  EXPECT_LT(stream.size(), 49152u);  // the settings reader's limit
}

TEST(JpegStream, QuantisationTablesAsWritten) {
  Raster raster(32, 32);
  paintGradient(&raster.map);
  Bytes stream = encode(&raster.map, raster.rect(), 80);

  // By hand: two 8-bit tables, zigzag order in the stream.
  const int zigzag[64] = {0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,  12, 19, 26, 33, 40, 48,
                          41, 34, 27, 20, 13, 6,  7,  14, 21, 28, 35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23,
                          30, 37, 44, 51, 58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63};
  unsigned int tables[2][64] = {};
  int found = 0;
  for (const Segment& s : markersOf(stream)) {
    if (s.marker != 0xDB) continue;
    for (size_t at = 0; at + 65 <= s.data.size(); at += 65) {
      int precision = s.data[at] >> 4, id = s.data[at] & 15;
      ASSERT_EQ(precision, 0);
      ASSERT_LT(id, 2);
      for (int k = 0; k < 64; ++k) tables[id][zigzag[k]] = s.data[at + 1 + k];
      ++found;
    }
  }
  ASSERT_EQ(found, 2);
  EXPECT_EQ(std::memcmp(tables[0], LUMA_80, sizeof LUMA_80), 0);
  EXPECT_EQ(std::memcmp(tables[1], CHROMA_80, sizeof CHROMA_80), 0);

  // And as the library reads them, with nothing subsampled at quality 80.
  Decoded decoded = readWithLibjpeg(stream);
  ASSERT_TRUE(decoded.ok);
  EXPECT_EQ(std::memcmp(decoded.luma, LUMA_80, sizeof LUMA_80), 0);
  EXPECT_EQ(std::memcmp(decoded.chroma, CHROMA_80, sizeof CHROMA_80), 0);
  EXPECT_EQ(decoded.lumaSampling, 11);
}

TEST(JpegStream, QualityClampsToTheRows) {
  Raster raster(32, 32);
  paintGradient(&raster.map);
  Decoded high = readWithLibjpeg(encode(&raster.map, raster.rect(), 120));
  Decoded top = readWithLibjpeg(encode(&raster.map, raster.rect(), 99));
  Decoded low = readWithLibjpeg(encode(&raster.map, raster.rect(), -3));
  Decoded zero = readWithLibjpeg(encode(&raster.map, raster.rect(), 0));
  Decoded fortyNine = readWithLibjpeg(encode(&raster.map, raster.rect(), 49));
  Decoded fifty = readWithLibjpeg(encode(&raster.map, raster.rect(), 50));
  ASSERT_TRUE(high.ok && top.ok && low.ok && zero.ok && fortyNine.ok && fifty.ok);
  EXPECT_EQ(std::memcmp(high.luma, top.luma, sizeof high.luma), 0);
  EXPECT_EQ(std::memcmp(high.luma, jpegLuminanceRow(9), sizeof high.luma), 0);
  EXPECT_EQ(std::memcmp(low.luma, zero.luma, sizeof low.luma), 0);
  EXPECT_EQ(std::memcmp(low.chroma, jpegChrominanceRow(0), sizeof low.chroma), 0);
  // Luminance is sampled 2 x 2 for rows 0 to 4, 1 x 1 from row 5.
  EXPECT_EQ(low.lumaSampling, 22);
  EXPECT_EQ(fortyNine.lumaSampling, 22);
  EXPECT_EQ(fifty.lumaSampling, 11);
  EXPECT_EQ(high.lumaSampling, 11);
  // Rows differ, and lower rows quantise more coarsely.
  EXPECT_GT(low.luma[63], fifty.luma[63]);
  EXPECT_GT(fifty.luma[63], high.luma[63]);
}

TEST(JpegStream, SmallRegionGrowsTo16RepeatingItsEdges) {
  Raster small(10, 5);
  for (int32_t y = 0; y < 5; ++y)
    for (int32_t x = 0; x < 10; ++x) setBytes4(x, y, &small.map, 0, x * 25, y * 50, x == 9 ? 255 : 0, 255);
  Raster grown(16, 16);
  for (int32_t y = 0; y < 16; ++y)
    for (int32_t x = 0; x < 16; ++x) {
      int32_t c[4];
      getBytes4(x, y, &small.map, 0, c);  // clamped read
      setBytes4(x, y, &grown.map, 0, c[0], c[1], c[2], c[3]);
    }
  Bytes fromSmall = encode(&small.map, small.rect(), 80);
  Bytes fromGrown = encode(&grown.map, grown.rect(), 80);
  ASSERT_FALSE(fromSmall.empty());
  EXPECT_EQ(fromSmall, fromGrown);
  Decoded decoded = readWithLibjpeg(fromSmall);
  ASSERT_TRUE(decoded.ok);
  EXPECT_EQ(decoded.width, 16);
  EXPECT_EQ(decoded.height, 16);
}

TEST(JpegStream, FullDestinationIsAnErrorWithNoStream) {
  Raster raster(64, 64);
  paintGradient(&raster.map);
  Bytes whole = encode(&raster.map, raster.rect(), 80);
  ASSERT_GT(whole.size(), 300u);
  // Exactly the stream's length fits; a byte less is fatal, at any point.
  EXPECT_EQ(encode(&raster.map, raster.rect(), 80, nullptr, nullptr, nullptr, whole.size()), whole);
  EXPECT_TRUE(encode(&raster.map, raster.rect(), 80, nullptr, nullptr, nullptr, whole.size() - 1).empty());
  EXPECT_TRUE(encode(&raster.map, raster.rect(), 80, nullptr, nullptr, nullptr, 300).empty());

  EncodeRequest request;
  std::memset(&request, 0, sizeof request);
  size_t length = 99;
  EXPECT_EQ(encodeJpeg(&request, &length), JPEG_NO_RASTER);
  EXPECT_EQ(length, 0u);
}

// --- decoding --------------------------------------------------------------------

TEST(JpegDecode, RoundTripMatchesTheLibraryReader) {
  Raster source(64, 48);
  paintGradient(&source.map);
  Bytes stream = encode(&source.map, source.rect(), 80);
  Decoded reference = readWithLibjpeg(stream);
  ASSERT_TRUE(reference.ok);

  Raster target(64, 48);
  Rect16 rect = target.rect();
  ASSERT_EQ(decodeJpeg(&target.map, &rect, stream.data(), stream.size()), JPEG_OK);
  int64_t totalError = 0;
  for (int32_t y = 0; y < 48; ++y)
    for (int32_t x = 0; x < 64; ++x) {
      int32_t got[4], original[4];
      getBytes4(x, y, &target.map, 0, got);
      getBytes4(x, y, &source.map, 0, original);
      const uint8_t* ref = &reference.pixels[(static_cast<size_t>(y) * 64 + x) * 3];
      ASSERT_EQ(got[0], ref[0]);
      ASSERT_EQ(got[1], ref[1]);
      ASSERT_EQ(got[2], ref[2]);
      ASSERT_EQ(got[3], 255);
      for (int c = 0; c < 3; ++c) totalError += std::abs(got[c] - original[c]);
    }
  EXPECT_LE(totalError, 64 * 48 * 3 * 2);  // quality 80 stays close: under 2 levels on average
}

TEST(JpegDecode, GreyStreamsAndStreamsWiderThanTheRectangle) {
  // A grey stream made directly with libjpeg.
  const int w = 40, h = 24;
  Bytes stream(64 * 1024);
  {
    jpeg_compress_struct info;
    jpeg_error_mgr error;
    info.err = jpeg_std_error(&error);
    jpeg_create_compress(&info);
    unsigned char* out = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&info, &out, &size);
    info.image_width = w;
    info.image_height = h;
    info.input_components = 1;
    info.in_color_space = JCS_GRAYSCALE;
    jpeg_set_defaults(&info);
    jpeg_set_quality(&info, 95, TRUE);
    jpeg_start_compress(&info, TRUE);
    Bytes row(w);
    while (info.next_scanline < info.image_height) {
      for (int x = 0; x < w; ++x) row[x] = static_cast<uint8_t>(x * 6);
      JSAMPROW p = row.data();
      jpeg_write_scanlines(&info, &p, 1);
    }
    jpeg_finish_compress(&info);
    stream.assign(out, out + size);
    std::free(out);
    jpeg_destroy_compress(&info);
  }

  // Into a 16 x 8 raster at an offset: only what the rectangle covers, and
  // the rest of the raster untouched.
  Raster target(20, 12);
  for (int32_t y = 0; y < 12; ++y)
    for (int32_t x = 0; x < 20; ++x) setBytes4(x, y, &target.map, 0, 1, 2, 3, 4);
  Rect16 rect{2, 3, 10, 19};  // top, left, bottom, right
  ASSERT_EQ(decodeJpeg(&target.map, &rect, stream.data(), stream.size()), JPEG_OK);
  int32_t c[4];
  getBytes4(3 + 10, 2 + 5, &target.map, 0, c);
  EXPECT_EQ(c[0], c[1]);
  EXPECT_EQ(c[1], c[2]);
  EXPECT_NEAR(c[0], 60, 4);
  EXPECT_EQ(c[3], 255);
  getBytes4(2, 2, &target.map, 0, c);  // left of the rectangle
  EXPECT_EQ(c[3], 4);
  getBytes4(19, 5, &target.map, 0, c);  // right of it
  EXPECT_EQ(c[3], 4);
  getBytes4(5, 10, &target.map, 0, c);  // below it
  EXPECT_EQ(c[3], 4);
}

TEST(JpegDecode, CorruptStreamsFailAndLeaveTheRasterAlone) {
  Raster source(32, 32);
  paintGradient(&source.map);
  Bytes good = encode(&source.map, source.rect(), 80);

  std::vector<Bytes> bad;
  bad.push_back(Bytes(100, 0xAB));                           // not a JPEG
  bad.push_back(Bytes(good.begin(), good.begin() + 60));     // cut inside the headers
  bad.push_back(Bytes{0xFF, 0xD8, 0xFF, 0xD9});               // an empty image
  bad.push_back(Bytes{0xFF, 0xD8, 0xFF, 0xE1, 0xFF, 0xFF, 1, 2, 3});  // a marker longer than the stream
  Bytes longComment = good;  // the same in front of a whole image
  const uint8_t comment[] = {0xFF, 0xFE, 0xF0, 0x00};
  longComment.insert(longComment.begin() + 2, std::begin(comment), std::end(comment));
  bad.push_back(longComment);
  Bytes noWidth = good;                                       // a frame of width 0
  for (size_t i = 2; i + 9 < noWidth.size(); ++i)
    if (noWidth[i] == 0xFF && noWidth[i + 1] == 0xC0) {
      noWidth[i + 7] = 0;
      noWidth[i + 8] = 0;
      break;
    }
  bad.push_back(noWidth);
  Bytes huge = good;  // a frame claiming 65,535 x 65,535 pixels
  for (size_t i = 2; i + 9 < huge.size(); ++i)
    if (huge[i] == 0xFF && huge[i + 1] == 0xC0) {
      huge[i + 5] = huge[i + 6] = huge[i + 7] = huge[i + 8] = 0xFF;
      break;
    }
  bad.push_back(huge);

  Raster target(32, 32);
  Rect16 rect = target.rect();
  for (size_t i = 0; i < bad.size(); ++i) {
    for (int32_t y = 0; y < 32; ++y)
      for (int32_t x = 0; x < 32; ++x) setBytes4(x, y, &target.map, 0, 9, 8, 7, 6);
    EXPECT_EQ(decodeJpeg(&target.map, &rect, bad[i].data(), bad[i].size()), JPEG_LIBRARY_FAILED) << i;
    int32_t c[4];
    getBytes4(31, 31, &target.map, 0, c);
    EXPECT_EQ(c[0], 9) << i;
    getBytes4(0, 0, &target.map, 0, c);
    EXPECT_EQ(c[3], 6) << i;
  }

  // A stream cut inside its scan still ends: the library fills the rest.
  Bytes cut(good.begin(), good.end() - static_cast<long>(good.size() / 3));
  EXPECT_EQ(decodeJpeg(&target.map, &rect, cut.data(), cut.size()), JPEG_OK);

  EXPECT_EQ(decodeJpeg(nullptr, &rect, good.data(), good.size()), JPEG_NO_RASTER);
  PixelMap empty;
  pixelMapInit(&empty, nullptr, nullptr);
  EXPECT_EQ(decodeJpeg(&empty, &rect, good.data(), good.size()), JPEG_NO_RASTER);
  EXPECT_NE(decodeJpeg(&target.map, &rect, good.data(), 0), JPEG_OK);
}

// --- into files ---------------------------------------------------------------------

TEST(JpegFile, ThumbnailBlockHeaderAndStream) {
  Raster raster(128, 128);
  paintGradient(&raster.map);
  std::string path = scratchPath("block");
  std::remove(path.c_str());
  FileHandle file = INVALID_FILE_HANDLE;
  ASSERT_EQ(openFile(path.c_str(), &file, OpenWrite), FILE_OK);
  EXPECT_EQ(writeJpegBlock(&raster.map, file, true, 80, 0, nullptr, nullptr, nullptr), FILE_OK);
  closeFile(file);

  Bytes bytes = fileBytes(path);
  ASSERT_GT(bytes.size(), 16u);
  EXPECT_EQ(be32(&bytes[0]), 1u);
  EXPECT_EQ(be32(&bytes[4]), 128u);
  EXPECT_EQ(be32(&bytes[8]), 128u);
  uint32_t length = be32(&bytes[12]);
  ASSERT_EQ(bytes.size(), 16u + length);
  Bytes stream(bytes.begin() + 16, bytes.end());
  EXPECT_EQ(stream, encode(&raster.map, raster.rect(), 80));

  // A small raster is announced at the 16-pixel floor.
  Raster small(5, 9);
  ASSERT_EQ(openFile(path.c_str(), &file, OpenWrite), FILE_OK);
  writeJpegBlock(&small.map, file, true, 80, 0, nullptr, nullptr, nullptr);
  truncateFile(file);
  closeFile(file);
  bytes = fileBytes(path);
  EXPECT_EQ(be32(&bytes[4]), 16u);
  EXPECT_EQ(be32(&bytes[8]), 16u);

  // No work buffer: a single 0 in place of the block.
  platformFailAllocationsOfSize(128 * 128 * 6);
  ASSERT_EQ(openFile(path.c_str(), &file, OpenWrite), FILE_OK);
  EXPECT_EQ(writeJpegBlock(&raster.map, file, true, 80, 0, nullptr, nullptr, nullptr), FILE_OK);
  truncateFile(file);
  closeFile(file);
  platformFailAllocationsOfSize(0);
  EXPECT_EQ(fileBytes(path), (Bytes{0, 0, 0, 0}));
  std::remove(path.c_str());
}

TEST(JpegFile, RefusesMissingRasterPixelsOrBufferProcsInThatOrder) {
  Raster raster(16, 16);
  PixelMap empty;
  pixelMapInit(&empty, nullptr, nullptr);
  EXPECT_EQ(writeJpegBlock(nullptr, INVALID_FILE_HANDLE, true, 80, 0, nullptr, nullptr, nullptr), JPEG_NO_RASTER);
  EXPECT_EQ(writeJpegBlock(&empty, INVALID_FILE_HANDLE, true, 80, 0, nullptr, nullptr, nullptr), JPEG_NO_PIXELS);
  raster.map.bufferProcs = nullptr;
  EXPECT_EQ(writeJpegBlock(&raster.map, INVALID_FILE_HANDLE, true, 80, 0, nullptr, nullptr, nullptr),
            JPEG_NO_BUFFER_PROCS);
}

TEST(JpegFile, WholeFileWithMetadataReplacesALongerOne) {
  Raster raster(40, 30);
  paintGradient(&raster.map);
  std::string path = scratchPath("page.jpg");
  {
    std::ofstream old(path, std::ios::binary | std::ios::trunc);
    old << std::string(200000, 'x');
  }
  FileHandle file = INVALID_FILE_HANDLE;
  ASSERT_EQ(openFile(path.c_str(), &file, OpenWrite), FILE_OK);
  EXPECT_EQ(writeJpegFile(&raster.map, file, true), FILE_OK);

  Bytes bytes = fileBytes(path);
  ASSERT_GT(bytes.size(), 4u);
  EXPECT_LT(bytes.size(), 200000u);
  EXPECT_EQ(bytes[bytes.size() - 2], 0xFF);
  EXPECT_EQ(bytes[bytes.size() - 1], 0xD9);
  std::vector<Segment> segments = markersOf(bytes);
  std::vector<int> codes = markerCodes(segments);
  ASSERT_GE(codes.size(), 5u);
  EXPECT_EQ(std::vector<int>(codes.begin(), codes.begin() + 5), (std::vector<int>{0xD8, 0xE0, 0xFE, 0xE1, 0xED}));
  EXPECT_EQ(std::memcmp(segments[3].data.data(), "Exif\0\0MM", 8), 0);
  // IPTC without keywords: the five fixed records.
  const Bytes& iptc = segments[4].data;
  ASSERT_GT(iptc.size(), 26u);
  EXPECT_EQ(iptcRecordsOf(iptc.data() + 26, be32(iptc.data() + 22)).size(), 5u);
  Decoded decoded = readWithLibjpeg(bytes);
  ASSERT_TRUE(decoded.ok);
  EXPECT_EQ(decoded.width, 40);
  EXPECT_EQ(decoded.height, 30);
  std::remove(path.c_str());
}

namespace {
Bytes hostProfile;
int lockCount = 0, unlockCount = 0;
Handle PI_CALL stubNew(int32_t) { return nullptr; }
void PI_CALL stubDispose(Handle) {}
int32_t PI_CALL stubSize(Handle) { return static_cast<int32_t>(hostProfile.size()); }
OSErr PI_CALL stubSetSize(Handle, int32_t) { return 0; }
Ptr PI_CALL stubLock(Handle, Boolean) {
  ++lockCount;
  return reinterpret_cast<Ptr>(hostProfile.data());
}
void PI_CALL stubUnlock(Handle) { ++unlockCount; }
}  // namespace

TEST(JpegFile, CarriesTheHostsProfileOnlyWhenAllowed) {
  hostProfile.assign(3000, 0);
  for (size_t i = 0; i < hostProfile.size(); ++i) hostProfile[i] = static_cast<uint8_t>(i % 251);
  HandleProcs handles;
  std::memset(&handles, 0, sizeof handles);
  handles.handleProcsVersion = 1;
  handles.numHandleProcs = 8;
  handles.newProc = stubNew;
  handles.disposeProc = stubDispose;
  handles.getSizeProc = stubSize;
  handles.setSizeProc = stubSetSize;
  handles.lockProc = stubLock;
  handles.unlockProc = stubUnlock;
  std::vector<uint8_t> recordBytes(sizeof(FilterRecord), 0);
  std::vector<uint8_t> sessionBytes(sizeof(FilterSession), 0);
  FilterRecord* record = reinterpret_cast<FilterRecord*>(recordBytes.data());
  FilterSession* session = reinterpret_cast<FilterSession*>(sessionBytes.data());
  session->filterRecord = record;
  record->handleProcs = &handles;
  record->iCCprofileSize = static_cast<int32_t>(hostProfile.size());
  int marker = 0;
  record->iCCprofileData = reinterpret_cast<Handle>(&marker);

  Raster raster(20, 20);
  raster.map.session = session;
  paintGradient(&raster.map);
  std::string path = scratchPath("icc.jpg");
  for (int allowed = 0; allowed < 2; ++allowed) {
    record->canUseICCProfiles = allowed;
    std::remove(path.c_str());
    FileHandle file = INVALID_FILE_HANDLE;
    ASSERT_EQ(openFile(path.c_str(), &file, OpenWrite), FILE_OK);
    EXPECT_EQ(writeJpegFile(&raster.map, file, true), FILE_OK);
    std::vector<Segment> segments = markersOf(fileBytes(path));
    std::vector<int> codes = markerCodes(segments);
    ASSERT_GE(codes.size(), 6u);
    if (allowed) {
      EXPECT_EQ(std::vector<int>(codes.begin(), codes.begin() + 6),
                (std::vector<int>{0xD8, 0xE0, 0xFE, 0xE1, 0xE2, 0xED}));
      EXPECT_EQ(Bytes(segments[4].data.begin() + 14, segments[4].data.end()), hostProfile);
    } else {
      EXPECT_EQ(codes[4], 0xED);
    }
  }
  EXPECT_EQ(lockCount, 1);
  EXPECT_EQ(unlockCount, 1);
  std::remove(path.c_str());
}
