#include "export/psd_file.h"

#include <cstring>
#include <vector>

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

// --- the file through one buffered writer -----------------------------------
inline void put8(BufferedWriter* w, uint32_t v) {
  w->buffer[w->count++] = static_cast<uint8_t>(v);
  if (w->count == WRITER_BUFFER_BYTES) flushWriter(w);
}
inline void put16(BufferedWriter* w, uint32_t v) { put8(w, v >> 8), put8(w, v); }
inline void put32(BufferedWriter* w, uint32_t v) { put16(w, v >> 16), put16(w, v); }
void putBytes(BufferedWriter* w, const uint8_t* data, size_t count) {
  for (size_t i = 0; i < count; ++i) put8(w, data[i]);
}
void putTag(BufferedWriter* w, const char* signature, const char* key, uint32_t length) {
  putBytes(w, reinterpret_cast<const uint8_t*>(signature), 4);
  putBytes(w, reinterpret_cast<const uint8_t*>(key), 4);
  put32(w, length);
}

void writeHeader(BufferedWriter* w, const PsdJob* job) {
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
void writeLayerSectionStart(BufferedWriter* w, const PsdJob* job) {
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

void writeLayerRecord(BufferedWriter* w, const PsdJob* job) {
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

void writeLayerSectionEnd(BufferedWriter* w, const PsdJob* job) {
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

// 16-bit samples run to 32768 in the filter and to 65535 in the file.
inline uint32_t widen16(int32_t v) {
  if (v >= 32768) return 65535;
  return v <= 0 ? 0 : static_cast<uint32_t>(2 * v);
}

// Channel k of the render's pixel: 0..2 red, green, blue, 3 alpha.
inline int32_t sample8(const PixelMap* image, int32_t x, int32_t y, int32_t k) {
  const uint32_t word = *reinterpret_cast<const uint32_t*>(pixelAddress(image, x, y, 0));
  return static_cast<int32_t>((word >> (24 - 8 * k)) & 255u);
}
inline int32_t sample16(const PixelMap* image, int32_t x, int32_t y, int32_t k) {
  return reinterpret_cast<const uint16_t*>(pixelAddress(image, x, y, 0))[k];
}
inline uint32_t sampleFloatBits(const PixelMap* image, int32_t x, int32_t y, int32_t k) {
  uint32_t bits;
  std::memcpy(&bits, pixelAddress(image, x, y, 0) + 4 * k, 4);
  return bits;
}

// One layer channel: its compression word and its plane, samples unchanged
// but for the widening of 16-bit values.
void writeLayerChannel(BufferedWriter* w, const PixelMap* image, int32_t k) {
  put16(w, 0);
  const int32_t width = image->baseWidth, height = image->baseHeight;
  for (int32_t y = 0; y < height; ++y) {
    for (int32_t x = 0; x < width; ++x) {
      if (image->format == PIXEL_RGBA8) put8(w, static_cast<uint32_t>(sample8(image, x, y, k)));
      else if (image->format == PIXEL_RGBA16) put16(w, widen16(sample16(image, x, y, k)));
      else put32(w, sampleFloatBits(image, x, y, k));
    }
  }
}

inline bool oddSquare(int32_t x, int32_t y) { return (((x ^ y) >> CHECKER_SHIFT) & 1) != 0; }

// One merged plane: the colour over the checkerboard (k 0..2), or the fourth
// plane (k 3): at 8 bits the alpha over the checks, at 16 all white, at 32
// the alpha itself.
void writeMergedPlane(BufferedWriter* w, const PixelMap* image, int32_t k) {
  const int32_t width = image->baseWidth, height = image->baseHeight;
  for (int32_t y = 0; y < height; ++y) {
    for (int32_t x = 0; x < width; ++x) {
      if (image->format == PIXEL_RGBA8) {
        const int32_t a = sample8(image, x, y, 3);
        const int32_t c = sample8(image, x, y, k);
        const int32_t checker = oddSquare(x, y) ? 204 : 255;
        put8(w, static_cast<uint32_t>((checker * (255 - a) + c * a) / 255));
      } else if (image->format == PIXEL_RGBA16) {
        if (k == 3) {
          put16(w, 65535);
          continue;
        }
        int64_t a = sample16(image, x, y, 3);
        if (a > 32768) a = 32768;
        const int64_t checker = oddSquare(x, y) ? 26112 : 32640;
        const int64_t mixed = (sample16(image, x, y, k) * a + checker * (32768 - a)) >> 15;
        put16(w, widen16(static_cast<int32_t>(mixed)));
      } else {
        put32(w, sampleFloatBits(image, x, y, k));
      }
    }
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

  BufferedWriter writer;
  initWriter(&writer, file);
  writeHeader(&writer, job);
  put32(&writer, static_cast<uint32_t>(resources.data.size()));
  putBytes(&writer, resources.data.data(), resources.data.size());
  writeLayerSectionStart(&writer, job);
  writeLayerRecord(&writer, job);
  flushWriter(&writer);

  render(session);
  ++session->exportPassesDone;
  const int16_t renderCode = resultOf(session);

  for (int32_t k : {3, 0, 1, 2}) writeLayerChannel(&writer, image, k);
  writeLayerSectionEnd(&writer, job);
  put16(&writer, 0);  // raw merged image
  for (int32_t k = 0; k < 4; ++k) writeMergedPlane(&writer, image, k);
  if (job->bytesPerSample == 2) {
    const int64_t samples = int64_t(job->width) * job->height;
    for (int64_t i = 0; i < samples; ++i) put16(&writer, 65535);
  }
  flushWriter(&writer);
  code = writer.failure;
  truncateFile(file);
  closeFile(file);
  if (code == FILE_OK && renderCode != 0) code = renderCode;
  if (code != FILE_OK) cutToNothing(path);

  pixelMapFree(image);
  freeMetadata(&iptc);
  freeMetadata(&exif);
  return code;
}

int16_t renderPsd(FilterSession* session, const char* path) {
  ViewSnapshot view;
  saveView(&view, session);
  EdgeParameters* p = sessionParameters(session);
  FilterWorkArea* work = session->work;
  p->renderTarget = 2;
  work->exportTarget = &work->offscreenImage;
  PsdJob job;
  makePsdJob(&job, session);
  session->exportPassesDone = 0;
  const int16_t code = writePsdFile(session, path, &job, renderToTarget);
  work->exportTarget = nullptr;
  restoreView(&view, session);
  return code;
}
