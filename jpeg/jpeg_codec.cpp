// The one file that includes jpeglib.h (see jpeg_codec.h).
#include "jpeg/jpeg_codec.h"

#include <csetjmp>
#include <cstdio>  // jpeglib.h needs FILE
#include <cstring>

#include <jpeglib.h>
#include <jerror.h>

#include "jpeg/metadata.h"

namespace {

// --- quantisation rows --------------------------------------------------------
// Row 8 is what every command uses (quality 80). The other rows follow the
// same shape, scaled by a percentage of row 8 and kept within 1..255, so that
// the quality rule stays meaningful from 0 to 99.
constexpr int32_t QUALITY_ROWS = 10;
constexpr int32_t BLOCK = 64;

constexpr unsigned int LUMINANCE_ROW_8[BLOCK] = {
    2, 2, 2, 2, 3,  4,  5,  6,   //
    2, 2, 2, 2, 3,  4,  5,  6,   //
    2, 2, 2, 2, 4,  5,  7,  9,   //
    2, 2, 2, 4, 5,  7,  9,  12,  //
    3, 3, 4, 5, 8,  13, 12, 12,  //
    4, 4, 5, 7, 13, 12, 12, 12,  //
    5, 5, 7, 9, 12, 12, 12, 12,  //
    6, 6, 9, 12, 12, 12, 12, 12,
};

constexpr unsigned int CHROMINANCE_ROW_8[BLOCK] = {
    3,  3,  5,  9,  10, 15, 15, 15,  //
    3,  4,  6,  13, 14, 12, 12, 12,  //
    5,  6,  9,  14, 12, 12, 12, 12,  //
    9,  13, 14, 12, 12, 12, 12, 12,  //
    10, 14, 12, 12, 12, 12, 12, 12,  //
    15, 12, 12, 12, 12, 12, 12, 12,  //
    15, 12, 12, 12, 12, 12, 12, 12,  //
    15, 12, 12, 12, 12, 12, 12, 12,
};

constexpr unsigned int ROW_PERCENT[QUALITY_ROWS] = {1000, 800, 640, 500, 400, 300, 220, 160, 100, 50};

struct QuantRows {
  unsigned int entry[QUALITY_ROWS][BLOCK];
};

constexpr QuantRows scaledRows(const unsigned int (&base)[BLOCK]) {
  QuantRows rows{};
  for (int32_t r = 0; r < QUALITY_ROWS; ++r) {
    for (int32_t i = 0; i < BLOCK; ++i) {
      unsigned int value = base[i] * ROW_PERCENT[r] / 100;
      rows.entry[r][i] = value < 1 ? 1 : (value > 255 ? 255 : value);
    }
  }
  return rows;
}

constexpr QuantRows LUMINANCE_ROWS = scaledRows(LUMINANCE_ROW_8);
constexpr QuantRows CHROMINANCE_ROWS = scaledRows(CHROMINANCE_ROW_8);

// --- error manager ------------------------------------------------------------
// Fatal errors destroy the library's object and jump back to the caller;
// warnings and messages go nowhere (a plug-in in a host has no console).
struct ErrorTrap {
  jpeg_error_mgr manager;  // first, so the library's pointer is ours
  std::jmp_buf jump;
};

void trapErrorExit(j_common_ptr info) {
  ErrorTrap* trap = reinterpret_cast<ErrorTrap*>(info->err);
  jpeg_destroy(info);
  std::longjmp(trap->jump, 1);
}

void trapEmitMessage(j_common_ptr, int) {}
void trapOutputMessage(j_common_ptr) {}
void trapFormatMessage(j_common_ptr, char* buffer) { buffer[0] = '\0'; }
void trapReset(j_common_ptr info) {
  info->err->num_warnings = 0;
  info->err->msg_code = 0;
}

jpeg_error_mgr* installTrap(ErrorTrap* trap) {
  jpeg_std_error(&trap->manager);
  trap->manager.error_exit = trapErrorExit;
  trap->manager.emit_message = trapEmitMessage;
  trap->manager.output_message = trapOutputMessage;
  trap->manager.format_message = trapFormatMessage;
  trap->manager.reset_error_mgr = trapReset;
  return &trap->manager;
}

// --- memory destination ----------------------------------------------------------
// The library fills a 4,096-byte staging buffer, which is copied to the
// caller's block as it fills. Running past the block's capacity is fatal.
struct MemoryDestination {
  jpeg_destination_mgr pub;  // first
  JOCTET staging[JPEG_STAGING_BYTES];
  uint8_t* out;
  size_t capacity;
  size_t length;
};

void copyStaged(j_compress_ptr info, MemoryDestination* dest, size_t bytes) {
  if (bytes > dest->capacity - dest->length) ERREXIT(info, JERR_BUFFER_SIZE);
  std::memcpy(dest->out + dest->length, dest->staging, bytes);
  dest->length += bytes;
}

void destinationInit(j_compress_ptr info) {
  MemoryDestination* dest = reinterpret_cast<MemoryDestination*>(info->dest);
  dest->pub.next_output_byte = dest->staging;
  dest->pub.free_in_buffer = JPEG_STAGING_BYTES;
}

boolean destinationEmpty(j_compress_ptr info) {
  MemoryDestination* dest = reinterpret_cast<MemoryDestination*>(info->dest);
  copyStaged(info, dest, JPEG_STAGING_BYTES);  // the whole buffer, by the interface's rule
  dest->pub.next_output_byte = dest->staging;
  dest->pub.free_in_buffer = JPEG_STAGING_BYTES;
  return TRUE;
}

void destinationTerm(j_compress_ptr info) {
  MemoryDestination* dest = reinterpret_cast<MemoryDestination*>(info->dest);
  copyStaged(info, dest, JPEG_STAGING_BYTES - dest->pub.free_in_buffer);
}

// --- memory source -----------------------------------------------------------------
// The whole stream is one buffer. Running off its end hands the library an
// end-of-image marker, so a truncated stream ends instead of looping.
const JOCTET END_OF_IMAGE[2] = {0xFF, JPEG_EOI};

void sourceInit(j_decompress_ptr) {}

boolean sourceFill(j_decompress_ptr info) {
  WARNMS(info, JWRN_JPEG_EOF);
  info->src->next_input_byte = END_OF_IMAGE;
  info->src->bytes_in_buffer = 2;
  return TRUE;
}

void sourceSkip(j_decompress_ptr info, long count) {
  if (count <= 0) return;
  jpeg_source_mgr* src = info->src;
  // A marker that claims more than is left: the stream is over, and the
  // decoder meets the end marker next (once, not two bytes at a time).
  if (count > static_cast<long>(src->bytes_in_buffer)) {
    sourceFill(info);
    return;
  }
  src->next_input_byte += count;
  src->bytes_in_buffer -= static_cast<size_t>(count);
}

void sourceTerm(j_decompress_ptr) {}

// --- markers -----------------------------------------------------------------------
constexpr int32_t ICC_CHUNK_BYTES = 65519;  // a marker's 65,533 less the 14-byte chunk header
constexpr int JPEG_APP1 = JPEG_APP0 + 1;
constexpr int JPEG_APP2 = JPEG_APP0 + 2;
constexpr int JPEG_APP13 = JPEG_APP0 + 13;

void writeMetadataMarker(j_compress_ptr info, int marker, const MetadataBlock* block) {
  if (block == nullptr || block->buffer == nullptr) return;
  if (block->size <= 0 || block->size > JPEG_MARKER_DATA_LIMIT) return;
  jpeg_write_marker(info, marker, block->buffer, static_cast<unsigned int>(block->size));
}

// A colour profile in the published ICC form: chunks headed "ICC_PROFILE",
// 0, the chunk's number from 1 and the number of chunks.
void writeIccMarkers(j_compress_ptr info, int32_t iccSize, const uint8_t* iccData) {
  if (iccSize <= 0 || iccData == nullptr) return;
  int32_t chunks = (iccSize + ICC_CHUNK_BYTES - 1) / ICC_CHUNK_BYTES;
  if (chunks > 255) return;  // more than the form can number
  for (int32_t i = 0; i < chunks; ++i) {
    int32_t offset = i * ICC_CHUNK_BYTES;
    int32_t length = iccSize - offset < ICC_CHUNK_BYTES ? iccSize - offset : ICC_CHUNK_BYTES;
    jpeg_write_m_header(info, JPEG_APP2, static_cast<unsigned int>(14 + length));
    const char* tag = "ICC_PROFILE";
    for (int32_t k = 0; k < 12; ++k) jpeg_write_m_byte(info, static_cast<unsigned char>(tag[k]));  // with its 0
    jpeg_write_m_byte(info, i + 1);
    jpeg_write_m_byte(info, chunks);
    for (int32_t k = 0; k < length; ++k) jpeg_write_m_byte(info, iccData[offset + k]);
  }
}

JSAMPLE toSample(float value) {
  // Clamp (NaN counts as 0), scale to 255 and cut toward zero.
  if (!(value > 0.0f)) return 0;
  if (value > 1.0f) value = 1.0f;
  return static_cast<JSAMPLE>(static_cast<int32_t>(static_cast<double>(value) * 255.0));
}

int32_t sideOf(int32_t low, int32_t high) {
  int32_t side = high - low;
  return side > JPEG_MIN_SIDE ? side : JPEG_MIN_SIDE;
}

}  // namespace

int32_t jpegQualityRow(int32_t quality) {
  if (quality < 0) quality = 0;
  if (quality > 99) quality = 99;
  return quality / 10;
}

const unsigned int* jpegLuminanceRow(int32_t row) { return LUMINANCE_ROWS.entry[row < 0 ? 0 : row > 9 ? 9 : row]; }
const unsigned int* jpegChrominanceRow(int32_t row) {
  return CHROMINANCE_ROWS.entry[row < 0 ? 0 : row > 9 ? 9 : row];
}
int32_t jpegLuminanceSampling(int32_t row) { return row <= 4 ? 2 : 1; }

namespace {

// Everything a library run keeps, in one record, so that the function that
// calls setjmp holds no local that a long jump could leave stale.
struct Encoder {
  jpeg_compress_struct info;
  ErrorTrap trap;
  MemoryDestination dest;
};

struct Decoder {
  jpeg_decompress_struct info;
  ErrorTrap trap;
  jpeg_source_mgr source;
};

void runEncoder(Encoder* encoder, const EncodeRequest* request) {
  jpeg_compress_struct* info = &encoder->info;
  const PixelMap* raster = request->raster;
  const Rect16 rect = request->rect;
  const int32_t width = sideOf(rect.left, rect.right);
  const int32_t height = sideOf(rect.top, rect.bottom);
  const int32_t row = jpegQualityRow(request->quality);

  jpeg_create_compress(info);
  encoder->dest.pub.init_destination = destinationInit;
  encoder->dest.pub.empty_output_buffer = destinationEmpty;
  encoder->dest.pub.term_destination = destinationTerm;
  info->dest = &encoder->dest.pub;

  info->image_width = static_cast<JDIMENSION>(width);
  info->image_height = static_cast<JDIMENSION>(height);
  info->input_components = 3;
  info->in_color_space = JCS_RGB;
  jpeg_set_defaults(info);
  info->optimize_coding = TRUE;
  for (int c = 0; c < info->num_components; ++c) {
    int sampling = c == 0 ? jpegLuminanceSampling(row) : 1;
    info->comp_info[c].h_samp_factor = sampling;
    info->comp_info[c].v_samp_factor = sampling;
  }
  jpeg_add_quant_table(info, 0, jpegLuminanceRow(row), 100, FALSE);
  jpeg_add_quant_table(info, 1, jpegChrominanceRow(row), 100, FALSE);
  jpeg_start_compress(info, TRUE);

  // In front of the tables and the frame, after the JFIF header.
  const size_t urlLength = std::strlen(makerUrl);
  jpeg_write_marker(info, JPEG_COM, reinterpret_cast<const JOCTET*>(makerUrl),
                    static_cast<unsigned int>(urlLength + 1));
  writeMetadataMarker(info, JPEG_APP1, request->exif);
  writeIccMarkers(info, request->iccSize, request->iccData);
  writeMetadataMarker(info, JPEG_APP13, request->iptc);

  JSAMPARRAY line = (*info->mem->alloc_sarray)(reinterpret_cast<j_common_ptr>(info), JPOOL_IMAGE,
                                               static_cast<JDIMENSION>(width * 3), 1);
  for (int32_t y = 0; y < height; ++y) {
    JSAMPROW samples = line[0];
    for (int32_t x = 0; x < width; ++x) {
      float pixel[4];
      getNormalized(rect.left + x, rect.top + y, raster, 0, pixel);  // clamped to the raster
      samples[x * 3] = toSample(pixel[0]);
      samples[x * 3 + 1] = toSample(pixel[1]);
      samples[x * 3 + 2] = toSample(pixel[2]);
    }
    jpeg_write_scanlines(info, line, 1);
  }
  jpeg_finish_compress(info);
  jpeg_destroy_compress(info);
}

void runDecoder(Decoder* decoder, PixelMap* raster, const Rect16* rect, const uint8_t* data, size_t size) {
  jpeg_decompress_struct* info = &decoder->info;
  jpeg_create_decompress(info);
  // Progressive streams keep whole-image coefficient arrays; no backing store
  // exists, so this bound turns an absurd header into an error.
  info->mem->max_memory_to_use = 64L * 1024 * 1024;
  jpeg_source_mgr* source = &decoder->source;
  source->init_source = sourceInit;
  source->fill_input_buffer = sourceFill;
  source->skip_input_data = sourceSkip;
  source->resync_to_restart = jpeg_resync_to_restart;
  source->term_source = sourceTerm;
  source->next_input_byte = data;
  source->bytes_in_buffer = size;
  info->src = source;

  jpeg_read_header(info, TRUE);
  if (info->num_components != 1 && info->num_components != 3) ERREXIT(info, JERR_CONVERSION_NOTIMPL);
  if (static_cast<int64_t>(info->image_width) * info->image_height > JPEG_DECODE_PIXEL_LIMIT)
    ERREXIT(info, JERR_IMAGE_TOO_BIG);
  info->out_color_space = info->num_components == 1 ? JCS_GRAYSCALE : JCS_RGB;
  jpeg_start_decompress(info);
  const int32_t components = info->output_components;
  if (components != 1 && components != 3) ERREXIT(info, JERR_CONVERSION_NOTIMPL);

  // The part of the stream that the rectangle covers is kept in the library's
  // pools (freed with the object, also on the error path) and only reaches
  // the raster after the stream has decoded to its end.
  const int32_t streamWidth = static_cast<int32_t>(info->output_width);
  const int32_t streamHeight = static_cast<int32_t>(info->output_height);
  const int32_t rectWidth = rect->right - rect->left;
  const int32_t rectHeight = rect->bottom - rect->top;
  const int32_t keepWidth = rectWidth < streamWidth ? (rectWidth > 0 ? rectWidth : 0) : streamWidth;
  const int32_t keepHeight = rectHeight < streamHeight ? (rectHeight > 0 ? rectHeight : 0) : streamHeight;
  j_common_ptr common = reinterpret_cast<j_common_ptr>(info);
  // The row fits the stream's real width, whatever the rectangle says.
  JSAMPARRAY line =
      (*info->mem->alloc_sarray)(common, JPOOL_PERMANENT, static_cast<JDIMENSION>(streamWidth * components), 1);
  JSAMPARRAY kept = nullptr;
  if (keepWidth > 0 && keepHeight > 0)
    kept = (*info->mem->alloc_sarray)(common, JPOOL_PERMANENT, static_cast<JDIMENSION>(keepWidth * 3),
                                      static_cast<JDIMENSION>(keepHeight));
  while (info->output_scanline < info->output_height) {
    const int32_t y = static_cast<int32_t>(info->output_scanline);
    jpeg_read_scanlines(info, line, 1);
    if (y >= keepHeight) continue;
    for (int32_t x = 0; x < keepWidth; ++x) {
      const JSAMPLE* in = line[0] + x * components;
      JSAMPLE* to = kept[y] + x * 3;
      to[0] = in[0];
      to[1] = components == 3 ? in[1] : in[0];
      to[2] = components == 3 ? in[2] : in[0];
    }
  }
  jpeg_finish_decompress(info);

  const bool packed = raster->format == PIXEL_RGBA8;
  for (int32_t y = 0; y < keepHeight; ++y) {
    for (int32_t x = 0; x < keepWidth; ++x) {
      const JSAMPLE* p = kept[y] + x * 3;
      const int32_t px = rect->left + x;
      const int32_t py = rect->top + y;
      if (packed) {
        setBytes4(px, py, raster, 0, p[0], p[1], p[2], 255);
      } else {
        const float values[4] = {p[0] / 255.0f, p[1] / 255.0f, p[2] / 255.0f, 1.0f};
        setNormalized(px, py, raster, 0, values);
      }
    }
  }
  jpeg_destroy_decompress(info);
}

}  // namespace

int16_t encodeJpeg(const EncodeRequest* request, size_t* length) {
  if (length != nullptr) *length = 0;
  if (request == nullptr || pixelMapEmpty(request->raster)) return JPEG_NO_RASTER;
  if (request->out == nullptr || length == nullptr) return JPEG_LIBRARY_FAILED;
  Encoder encoder;
  std::memset(&encoder, 0, sizeof encoder);
  encoder.info.err = installTrap(&encoder.trap);
  encoder.dest.out = request->out;
  encoder.dest.capacity = request->capacity;
  if (setjmp(encoder.trap.jump) != 0) return JPEG_LIBRARY_FAILED;  // the object is gone already
  runEncoder(&encoder, request);
  *length = encoder.dest.length;
  return JPEG_OK;
}

int16_t decodeJpeg(PixelMap* raster, const Rect16* rect, const uint8_t* data, size_t size) {
  if (pixelMapEmpty(raster)) return JPEG_NO_RASTER;
  if (rect == nullptr || data == nullptr || size == 0) return JPEG_LIBRARY_FAILED;
  Decoder decoder;
  std::memset(&decoder, 0, sizeof decoder);
  decoder.info.err = installTrap(&decoder.trap);
  if (setjmp(decoder.trap.jump) != 0) return JPEG_LIBRARY_FAILED;  // the object is gone already
  runDecoder(&decoder, raster, rect, data, size);
  return JPEG_OK;
}
