#include "export/psd_file.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "export/file_sink.h"
#include "files/file_io.h"
#include "glue/glue_modes.h"
#include "image/pixel_map.h"
#include "jpeg/jpeg_codec.h"
#include "jpeg/metadata.h"
#include "region/region.h"
#include "session/session.h"

namespace {

constexpr uint16_t PSD_VERSION = 1;
constexpr uint16_t PSD_MODE_RGB = 3;
constexpr int32_t LAYER_RECORD_BYTES = 114;
constexpr int32_t CHECKER_SHIFT = 3;  // squares of 8 pixels
constexpr uint8_t LAYER_FLAGS = 40;
constexpr uint8_t LAYER_FLAGS_FLOAT = 8;

// Resource 1001: the print record Photoshop keeps for a new document.
constexpr uint16_t PRINT_RECORD[60] = {
    0x0028, 0x0000, 0x0048, 0x0048, 0x0000, 0x0000, 0x02E7, 0x0252, 0xFFF7, 0xFFF7, 0x030F, 0x025B,
    0x2002, 0x0528, 0x03FC, 0x0000, 0x0000, 0x0168, 0x0168, 0x0000, 0x0000, 0x0E83, 0x0B9A, 0x0174,
    0x0032, 0x0B9A, 0x48A8, 0x004B, 0x0001, 0x0101, 0x0000, 0x0001, 0x270F, 0x0001, 0x0001, 0x0000,
    0x0000, 0x0000, 0x0000, 0x0000, 0x0000, 0x0000, 0x0000, 0x0000, 0x0000, 0x0001, 0x0064, 0x0300,
    0x0000, 0x0000, 0x0000, 0x0203, 0x20B1, 0x0400, 0x1200, 0x0300, 0x4500, 0x0000, 0x3644, 0x6120};

// The colour mode data of a float file: an HDR toning block.
constexpr uint8_t HDR_TONING[74] = {
    0x68, 0x64, 0x72, 0x74, 0x00, 0x00, 0x00, 0x03, 0x3F, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00,
    0x08, 0x00, 0x44, 0x00, 0x65, 0x00, 0x66, 0x00, 0x61, 0x00, 0x75, 0x00, 0x6C, 0x00, 0x74, 0x00, 0x00, 0x00, 0x02,
    0x00, 0x02, 0x00, 0x00, 0x00, 0x00, 0x00, 0xFF, 0x00, 0xFF, 0x01, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
    0x00, 0x41, 0x80, 0x00, 0x00, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x00, 0x3F, 0x80, 0x00, 0x00};

// A growing byte block for the image resources, which are small and go out
// in one piece behind their length.
struct Bytes {
  std::vector<uint8_t> data;
  void u8(uint32_t v) { data.push_back(static_cast<uint8_t>(v)); }
  void u16(uint32_t v) { u8(v >> 8), u8(v); }
  void u32(uint32_t v) { u16(v >> 16), u16(v); }
  void text(const char* t) { add(t, std::strlen(t)); }
  void add(const void* from, size_t count) {
    const auto* p = static_cast<const uint8_t*>(from);
    data.insert(data.end(), p, p + count);
  }
  void resourceHead(uint16_t id, uint32_t size) {
    text("8BIM");
    u16(id);
    u16(0);  // empty name, padded to even
    u32(size);
  }
  void resource(uint16_t id, const void* from, uint32_t size) {
    resourceHead(id, size);
    add(from, size);
    if (size % 2 != 0) u8(0);
  }
};

void buildResources(Bytes* out, const PsdJob* job, MetadataBlock* iptc, MetadataBlock* exif, const uint8_t* icc,
                    int32_t iccSize) {
  out->resourceHead(1001, sizeof PRINT_RECORD);
  for (uint16_t v : PRINT_RECORD) out->u16(v);

  out->resourceHead(1005, 16);  // 72 pixels per inch, shown in inches, both ways
  for (int i = 0; i < 2; ++i) out->u16(72), out->u16(0), out->u16(1), out->u16(1);

  const uint8_t printFlags[9] = {0, 0, 0, 0, 0, 0, 0, 0, 1};
  out->resource(1011, printFlags, sizeof printFlags);

  out->resourceHead(1016, 112);  // four identity transfer curves
  for (int curve = 0; curve < 4; ++curve) {
    out->u16(0);
    for (int i = 0; i < 11; ++i) out->u16(65535);
    out->u16(1000);
    out->u16(0);
  }

  out->resource(1035, makerUrl, static_cast<uint32_t>(std::strlen(makerUrl)));
  if (icc != nullptr && iccSize > 0) out->resource(1039, icc, static_cast<uint32_t>(iccSize));

  // The IPTC block is itself resource 1028 around the records, already even.
  if (makeIptcBlock(iptc, false, false) > 0) out->add(iptc->buffer, static_cast<size_t>(iptc->size));
  if (makeExifBlock(exif, false, false) > 0) out->resource(1058, exif->buffer, static_cast<uint32_t>(exif->size));

  if (job->bytesPerSample == 4) {
    const uint8_t floatInfo[6] = {0x00, 0x01, 0x00, 0x00, 0x00, 0x0C};
    out->resource(1069, floatInfo, sizeof floatInfo);
    out->resourceHead(1072, static_cast<uint32_t>(job->layerCount));
    for (int32_t i = 0; i < job->layerCount; ++i) out->u8(1);
    if (job->layerCount % 2 != 0) out->u8(0);
  }
  out->resourceHead(1024, 2);  // the target layer
  out->u16(static_cast<uint32_t>(job->layerCount));
  out->resourceHead(1026, static_cast<uint32_t>(2 * job->layerCount));  // layer groups: none
  for (int32_t i = 0; i < job->layerCount; ++i) out->u16(0);
}

// --- the file through one buffered sink --------------------------------------
inline void put8(FileSink* w, uint32_t v) { putByte(w, static_cast<uint8_t>(v)); }
inline void put16(FileSink* w, uint32_t v) { put8(w, v >> 8), put8(w, v); }
inline void put32(FileSink* w, uint32_t v) { put16(w, v >> 16), put16(w, v); }
void putTag(FileSink* w, const char* signature, const char* key, uint32_t length) {
  putBytes(w, reinterpret_cast<const uint8_t*>(signature), 4);
  putBytes(w, reinterpret_cast<const uint8_t*>(key), 4);
  put32(w, length);
}

void writeHeader(FileSink* w, const PsdJob* job) {
  putBytes(w, reinterpret_cast<const uint8_t*>("8BPS"), 4);
  put16(w, PSD_VERSION);
  for (int i = 0; i < 6; ++i) put8(w, 0);
  // A 16-bit file states its fourth merged plane; the others hide it.
  put16(w, job->bytesPerSample == 2 ? 4 : 3);
  put32(w, static_cast<uint32_t>(job->height));
  put32(w, static_cast<uint32_t>(job->width));
  put16(w, static_cast<uint32_t>(job->bytesPerSample * 8));
  put16(w, PSD_MODE_RGB);
  if (job->bytesPerSample == 4) {
    put32(w, sizeof HDR_TONING);
    putBytes(w, HDR_TONING, sizeof HDR_TONING);
  } else {
    put32(w, 0);
  }
}

uint32_t roundUpTo4(uint32_t v) { return (v + 3u) & ~3u; }

// The section's frame up to the layer info block.
void writeLayerSectionStart(FileSink* w, const PsdJob* job) {
  const uint32_t layerInfo = psdLayerInfoBytes(job);
  if (job->bytesPerSample == 1) {
    put32(w, layerInfo + 8);
    put32(w, layerInfo);
    return;
  }
  const uint32_t padded = roundUpTo4(layerInfo + 4);
  const bool wide = job->bytesPerSample == 4;
  put32(w, padded + (wide ? 68 : 28));
  put32(w, 0);  // no layer info of the 8-bit kind
  put32(w, 0);  // no global layer mask
  putTag(w, "8BIM", wide ? "Mt32" : "Mt16", 0);
  putTag(w, "8BIM", wide ? "Lr32" : "Lr16", layerInfo);
}

void writeLayerRecord(FileSink* w, const PsdJob* job) {
  const uint32_t channelBytes = psdChannelBytes(job);
  put16(w, static_cast<uint32_t>(job->layerCount));
  put32(w, 0), put32(w, 0);
  put32(w, static_cast<uint32_t>(job->height)), put32(w, static_cast<uint32_t>(job->width));
  put16(w, 4);
  for (int32_t id : {-1, 0, 1, 2}) {
    put16(w, static_cast<uint16_t>(id));
    put32(w, channelBytes);
  }
  putBytes(w, reinterpret_cast<const uint8_t*>("8BIMnorm"), 8);
  put8(w, 255);  // opacity
  put8(w, 0);    // clipping
  put8(w, job->bytesPerSample == 4 ? LAYER_FLAGS_FLOAT : LAYER_FLAGS);
  put8(w, 0);
  put32(w, 56);  // extra data: mask, blending ranges, name
  put32(w, 0);
  put32(w, 40);
  for (int i = 0; i < 5; ++i) put32(w, 0x0000FFFF), put32(w, 0x0000FFFF);
  put8(w, 7);
  putBytes(w, reinterpret_cast<const uint8_t*>("layer 1"), 7);
}

void writeLayerSectionEnd(FileSink* w, const PsdJob* job) {
  if (job->bytesPerSample == 1) {
    put32(w, 0);  // no global layer mask
    return;
  }
  const uint32_t layerInfo = psdLayerInfoBytes(job);
  for (uint32_t i = layerInfo + 4; i % 4 != 0; ++i) put8(w, 0);
  if (job->bytesPerSample == 4) {
    putTag(w, "8BIM", "LMsk", 14);
    for (uint32_t v : {0u, 65535u, 0u, 0u, 0u, 50u, 32768u, 0u}) put16(w, v);
    putTag(w, "8BIM", "Pat3", 0);
  }
}

inline bool oddSquare(int32_t x, int32_t y) { return (((x ^ y) >> CHECKER_SHIFT) & 1) != 0; }

// 16-bit samples run to 32768 in the filter and to 65535 in the file.
inline uint32_t widen16(int32_t v) {
  if (v >= 32768) return 65535;
  return v <= 0 ? 0 : static_cast<uint32_t>(2 * v);
}

inline void storeWord(uint8_t* at, uint32_t v) {
  at[0] = static_cast<uint8_t>(v >> 8);
  at[1] = static_cast<uint8_t>(v);
}

// Channel k of a row of the render: 0..2 red, green, blue, 3 alpha. Format 3
// holds red in the top byte of its word, formats 4 and 9 in their first
// sample.
void layerRow(const PixelMap* image, int32_t y, int32_t k, uint8_t* row) {
  const int32_t width = image->baseWidth;
  const uint8_t* pixel = pixelAddress(image, 0, y, 0);
  if (image->format == PIXEL_RGBA8) {
    const int32_t shift = 24 - 8 * k;
    const auto* words = reinterpret_cast<const uint32_t*>(pixel);
    for (int32_t x = 0; x < width; ++x) row[x] = static_cast<uint8_t>(words[x] >> shift);
  } else if (image->format == PIXEL_RGBA16) {
    const auto* samples = reinterpret_cast<const uint16_t*>(pixel);
    for (int32_t x = 0; x < width; ++x) storeWord(row + 2 * x, widen16(samples[4 * x + k]));
  } else {
    // Floats go as their bit pattern, high byte first.
    for (int32_t x = 0; x < width; ++x) {
      uint32_t bits;
      std::memcpy(&bits, pixel + 16 * x + 4 * k, 4);
      storeWord(row + 4 * x, bits >> 16);
      storeWord(row + 4 * x + 2, bits);
    }
  }
}

// A row of merged plane k: the colour over the checkerboard (k 0..2), or
// the fourth plane (k 3): at 8 bits the alpha over the checks, at 16 all
// white, at 32 the alpha itself.
void mergedRow(const PixelMap* image, int32_t y, int32_t k, uint8_t* row) {
  const int32_t width = image->baseWidth;
  const uint8_t* pixel = pixelAddress(image, 0, y, 0);
  if (image->format == PIXEL_RGBA8) {
    const int32_t shift = 24 - 8 * k;
    const auto* words = reinterpret_cast<const uint32_t*>(pixel);
    for (int32_t x = 0; x < width; ++x) {
      const uint16_t a = static_cast<uint16_t>(words[x] & 255u);
      const uint16_t c = static_cast<uint16_t>((words[x] >> shift) & 255u);
      const uint16_t checker = static_cast<uint16_t>(255 - 51 * (((x ^ y) >> CHECKER_SHIFT) & 1));  // 255 or 204
      // The mix is at most 255 x 255, and for every such v the shifts give
      // exactly v / 255; in 16-bit lanes the loop runs eight pixels a step.
      const uint16_t v = static_cast<uint16_t>(checker * (255 - a) + c * a);
      row[x] = static_cast<uint8_t>(static_cast<uint16_t>(v + (v >> 8) + 1) >> 8);
    }
  } else if (image->format == PIXEL_RGBA16) {
    const auto* samples = reinterpret_cast<const uint16_t*>(pixel);
    for (int32_t x = 0; x < width; ++x) {
      if (k == 3) {
        storeWord(row + 2 * x, 65535);
        continue;
      }
      int64_t a = samples[4 * x + 3];
      if (a > 32768) a = 32768;
      const int64_t checker = oddSquare(x, y) ? 26112 : 32640;
      const int64_t mixed = (samples[4 * x + k] * a + checker * (32768 - a)) >> 15;
      storeWord(row + 2 * x, widen16(static_cast<int32_t>(mixed)));
    }
  } else {
    layerRow(image, y, k, row);
  }
}

void writePlane(FileSink* w, const PixelMap* image, int32_t k, bool merged, std::vector<uint8_t>* row) {
  for (int32_t y = 0; y < image->baseHeight; ++y) {
    if (merged) mergedRow(image, y, k, row->data());
    else layerRow(image, y, k, row->data());
    putBytes(w, row->data(), row->size());
  }
}

// Ends a file whose writing failed at its first byte, so that nothing of it
// passes for a picture.
void cutToNothing(const char* path) {
  FileHandle file = INVALID_FILE_HANDLE;
  if (openFile(path, &file, OpenWrite) != FILE_OK) return;
  truncateFile(file);
  closeFile(file);
}

}  // namespace

int32_t psdBytesPerSample(int32_t imageMode, int32_t depth) {
  if ((imageMode == plugInModeGrayScale || imageMode == plugInModeRGBColor) && depth < 9) return 1;
  if ((imageMode == plugInModeGray16 || imageMode == plugInModeRGB48) && depth == 16) return 2;
  if (imageMode == plugInModeRGB96 || imageMode == plugInModeGray32 || depth == 32) return 4;
  return 1;
}

int32_t psdPixelFormat(int32_t bytesPerSample) {
  return bytesPerSample == 2 ? PIXEL_RGBA16 : bytesPerSample == 4 ? PIXEL_RGBAF : PIXEL_RGBA8;
}

void makePsdJob(PsdJob* job, const FilterSession* session) {
  const FilterRecord* record = session->filterRecord;
  const Rect& r = session->fullFilterRect;
  job->channels = 4;
  job->layerCount = 1;
  job->width = r.right - r.left;
  job->height = r.bottom - r.top;
  job->bytesPerSample = psdBytesPerSample(record->imageMode, record->depth);
}

uint32_t psdChannelBytes(const PsdJob* job) {
  if (job->width < 1 || job->height < 1) return 0;
  const uint64_t bytes = uint64_t(job->width) * uint64_t(job->height) * uint64_t(job->bytesPerSample) + 2;
  // The whole layer section must fit a 32-bit length too.
  return 4 * bytes + LAYER_RECORD_BYTES + 2 + 68 + 4 > UINT32_MAX ? 0 : static_cast<uint32_t>(bytes);
}

uint32_t psdLayerInfoBytes(const PsdJob* job) {
  const uint32_t channel = psdChannelBytes(job);
  return channel == 0 ? 0 : 4 * channel + 2 + LAYER_RECORD_BYTES;
}

void addPsdKeywords(MetadataBlock* iptc, int32_t edgeStyle, int32_t glue, int32_t bytesPerSample) {
  if (bytesPerSample == 4) {
    addKeyword(iptc, "HDR");
    addKeyword(iptc, "high dynamic range");
  }
  addKeyword(iptc, edgeStyleName(edgeStyle));  // "" outside 1..13 adds nothing
  if (glue != 1) addKeyword(iptc, glueModeName(glue));
}

int16_t writePsdFile(FilterSession* session, const char* path, const PsdJob* job, PsdRender render) {
  const EdgeParameters* p = sessionParameters(session);
  MetadataBlock iptc, exif;
  initMetadata(&iptc);
  initMetadata(&exif);
  addPsdKeywords(&iptc, p->edgeStyle, p->glue, job->bytesPerSample);

  PixelMap* image = &session->work->offscreenImage;
  if (psdLayerInfoBytes(job) == 0 ||
      !pixelMapCreate(image, job->width, job->height, psdPixelFormat(job->bytesPerSample), -1))
    return PSD_NO_IMAGE;
  // Whatever the render does not reach stays clear rather than old memory.
  pixelMapFillBytes(image, 0, 0);

  FileHandle file = INVALID_FILE_HANDLE;
  int16_t code = openFile(path, &file, OpenWrite);
  if (code != FILE_OK) {
    pixelMapFree(image);
    return code;
  }

  int32_t iccSize = 0;
  const uint8_t* icc = lockHostProfile(session, &iccSize);
  Bytes resources;
  buildResources(&resources, job, &iptc, &exif, icc, iccSize);
  if (icc != nullptr) unlockHostProfile(session);

  FileSink writer;
  initFileSink(&writer, file);
  writeHeader(&writer, job);
  put32(&writer, static_cast<uint32_t>(resources.data.size()));
  putBytes(&writer, resources.data.data(), resources.data.size());
  writeLayerSectionStart(&writer, job);
  writeLayerRecord(&writer, job);
  flushFileSink(&writer);

  render(session);
  ++session->exportPassesDone;
  const int16_t renderCode = resultOf(session);

  std::vector<uint8_t> row(static_cast<size_t>(job->width) * static_cast<size_t>(job->bytesPerSample));
  for (int32_t k : {3, 0, 1, 2}) {
    put16(&writer, 0);  // raw
    writePlane(&writer, image, k, false, &row);
  }
  writeLayerSectionEnd(&writer, job);
  put16(&writer, 0);  // raw merged image
  for (int32_t k = 0; k < 4; ++k) writePlane(&writer, image, k, true, &row);
  if (job->bytesPerSample == 2) {
    // The fifth plane, all white, which no reader reaches.
    std::fill(row.begin(), row.end(), uint8_t(255));
    for (int32_t y = 0; y < job->height; ++y) putBytes(&writer, row.data(), row.size());
  }
  flushFileSink(&writer);
  code = writer.failure;
  releaseFileSink(&writer);
  truncateFile(file);
  closeFile(file);
  if (code == FILE_OK && renderCode != 0) code = renderCode;
  if (code != FILE_OK) cutToNothing(path);

  pixelMapFree(image);
  freeMetadata(&iptc);
  freeMetadata(&exif);
  return code;
}

void beginOffscreenRender(FilterSession* session, ViewSnapshot* view) {
  saveView(view, session);
  sessionParameters(session)->renderTarget = 2;
  session->work->exportTarget = &session->work->offscreenImage;
}

void endOffscreenRender(FilterSession* session, const ViewSnapshot* view) {
  session->work->exportTarget = nullptr;
  restoreView(view, session);
}

int16_t renderPsd(FilterSession* session, const char* path) {
  ViewSnapshot view;
  beginOffscreenRender(session, &view);
  PsdJob job;
  makePsdJob(&job, session);
  session->exportPassesDone = 0;
  const int16_t code = writePsdFile(session, path, &job, renderToTarget);
  endOffscreenRender(session, &view);
  return code;
}
