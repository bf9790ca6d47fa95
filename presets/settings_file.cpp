#include "presets/settings_file.h"

#include <cstdio>
#include <cstring>

#include "session/session.h"
#include "jpeg/jpeg_codec.h"
#include "numeric/portable_math.h"
#include "platform/memory.h"
#include "files/file_io.h"

namespace {

// Level 0 only: for rasters whose levels are built once they are complete.
void paintGreyRamp(PixelMap* map) {
  if (pixelMapEmpty(map) || map->format != PIXEL_RGBA8) return;
  for (int32_t y = 0; y < map->baseHeight; ++y) {
    int32_t grey = 255 - y;
    if (grey < 0) grey = 0;
    for (int32_t x = 0; x < map->baseWidth; ++x) setBytes4Fast(x, y, map, 0, grey, grey, grey, 255);
  }
}

// --- reading ------------------------------------------------------------------

// The reader's position in the file. The format has no lengths to check
// against, so the first read that comes up short ends the whole read: what
// was taken before it stays, the rest counts as absent.
struct SettingsCursor {
  FileHandle file;
  bool ended;
  int32_t bytesTaken;
};

bool takeWord(SettingsCursor* cursor, int32_t* value) {
  if (cursor->ended) return false;
  uint8_t bytes[4];
  int32_t count = 4;
  if (readBytes(cursor->file, &count, bytes) != FILE_OK || count != 4) {
    cursor->ended = true;
    return false;
  }
  cursor->bytesTaken += 4;
  uint32_t word = (uint32_t(bytes[0]) << 24) | (uint32_t(bytes[1]) << 16) | (uint32_t(bytes[2]) << 8) | bytes[3];
  *value = static_cast<int32_t>(word);
  return true;
}

bool takeBytes(SettingsCursor* cursor, uint8_t* data, int32_t count) {
  if (cursor->ended) return false;
  if (count <= 0) return true;
  int32_t moved = count;
  if (readBytes(cursor->file, &moved, data) != FILE_OK || moved != count) {
    cursor->ended = true;
    return false;
  }
  cursor->bytesTaken += count;
  return true;
}

bool skipFileBytes(SettingsCursor* cursor, int32_t count) {
  uint8_t scratch[256];
  while (count > 0) {
    int32_t piece = count < 256 ? count : 256;
    if (!takeBytes(cursor, scratch, piece)) return false;
    count -= piece;
  }
  return true;
}

int32_t clampSide(int32_t side) {
  if (side < 0) return 0;
  return side > THUMBNAIL_SIDE ? THUMBNAIL_SIDE : side;
}

// A raster for a thumbnail on its way in, sharing the session's kernel
// table so that the copy into presetThumbnail can scale.
bool makeThumbnailRaster(FilterSession* session, PixelMap* raster, int32_t width, int32_t height) {
  pixelMapInit(raster, session, session->presetThumbnail.kernelTable);
  return pixelMapCreate(raster, width, height, PIXEL_RGBA8, 0);
}

// The old raw block at offset 44: flag, size S, a dropped word, then S x S
// pixels of R, G, B.
void readLegacyBlock(FilterSession* session, SettingsCursor* cursor, bool* hasThumbnail) {
  int32_t flag = 0;
  if (!takeWord(cursor, &flag) || flag == 0) return;
  int32_t side = 0, dropped = 0;
  if (!takeWord(cursor, &side) || !takeWord(cursor, &dropped)) return;
  side = clampSide(side);
  session->thumbnailWidth = side;
  session->thumbnailHeight = side;

  PixelMap raster;
  bool haveRaster = makeThumbnailRaster(session, &raster, side, side);
  if (pixelMapEmpty(&session->presetThumbnail) || !haveRaster) {
    // Whatever the size word says, an old writer's block was 64 x 64.
    pixelMapFree(&raster);
    skipFileBytes(cursor, LEGACY_SKIP_BYTES);
    return;
  }
  fillGreyRamp(&session->presetThumbnail);
  const int32_t rowBytes = side * 3;
  uint8_t row[THUMBNAIL_SIDE * 3];
  bool complete = true;
  for (int32_t y = 0; y < side && complete; ++y) {
    complete = takeBytes(cursor, row, rowBytes);
    for (int32_t x = 0; x < side && complete; ++x)
      setBytes4(x, y, &raster, 0, row[3 * x], row[3 * x + 1], row[3 * x + 2], 255);
  }
  if (complete) {
    pixelMapBuildLevels(&raster);
    pixelMapCopy(&raster, &session->presetThumbnail);
    *hasThumbnail = true;
  }
  pixelMapFree(&raster);
}

// The JPEG block at offset 60 of version 190 and later.
void readThumbnailBlock(FilterSession* session, SettingsCursor* cursor, bool* hasThumbnail) {
  session->thumbnailWidth = 0;
  session->thumbnailHeight = 0;
  int32_t flag = 0;
  if (!takeWord(cursor, &flag) || flag == 0) return;
  int32_t width = 0, height = 0, length = 0;
  if (!takeWord(cursor, &width)) return;
  // Thumbnails are square: the width stands for both sides.
  width = clampSide(width);
  session->thumbnailWidth = width;
  session->thumbnailHeight = width;
  if (!takeWord(cursor, &height)) return;
  height = clampSide(height);
  if (!takeWord(cursor, &length)) return;
  // A block of another kind, or one too long for the buffer, is passed over;
  // nothing follows it that the reader wants, so passing over ends the read.
  if (flag > 1 || pixelMapEmpty(&session->presetThumbnail) || length < 0 || length > THUMBNAIL_STREAM_LIMIT) return;
  uint8_t* stream = static_cast<uint8_t*>(platformAllocate(THUMBNAIL_STREAM_LIMIT));
  if (stream == nullptr) return;
  if (!takeBytes(cursor, stream, length)) {
    platformFree(stream);
    return;
  }
  PixelMap raster;
  if (makeThumbnailRaster(session, &raster, width, height)) {
    // Parts of the raster that a smaller stream leaves uncovered look blank.
    paintGreyRamp(&raster);
    Rect16 whole;
    pixelMapRect(&raster, 0, &whole);
    // A stream that does not decode leaves the thumbnail as it was.
    if (decodeJpeg(&raster, &whole, stream, static_cast<size_t>(length)) == JPEG_OK) {
      pixelMapBuildLevels(&raster);
      pixelMapCopy(&raster, &session->presetThumbnail);
      *hasThumbnail = true;
    }
  }
  pixelMapFree(&raster);
  platformFree(stream);
}

// --- thumbnails ---------------------------------------------------------------

int32_t eightBitOf(const uint8_t* sample, ThumbnailSampleKind kind) {
  switch (kind) {
    case THUMB_SAMPLES_8: return sample[0];
    case THUMB_SAMPLES_16: {
      uint16_t v;
      std::memcpy(&v, sample, 2);
      int32_t scaled = (int32_t(v) + 1) >> 7;
      return scaled > 255 ? 255 : scaled;
    }
    case THUMB_SAMPLES_FLOAT: {
      float v;
      std::memcpy(&v, sample, 4);
      if (!(v > 0.0f)) v = 0.0f;  // NaN too
      if (v > 65535.0f) v = 65535.0f;
      int32_t scaled = static_cast<int32_t>(numeric::squareRootF(v) * 255.0f);
      return scaled > 255 ? 255 : scaled;
    }
  }
  return 0;
}

int32_t sampleBytesOf(ThumbnailSampleKind kind) {
  return kind == THUMB_SAMPLES_8 ? 1 : (kind == THUMB_SAMPLES_16 ? 2 : 4);
}

void dotFileName(char* out, size_t capacity, int32_t slot) {
  std::snprintf(out, capacity, "%s memory dot %d%s", "Marrowline", static_cast<int>(slot), SETTINGS_EXTENSION);
}

}  // namespace

// --- writing --------------------------------------------------------------------

int16_t writeSettingsFile(FilterSession* session, const char* path) {
  const EdgeParameters* p = session != nullptr ? sessionParameters(session) : nullptr;
  if (p == nullptr) return FILE_OPEN_FAILED;
  FileHandle file = INVALID_FILE_HANDLE;
  int16_t code = openFile(path, &file, OpenWrite);
  if (code != FILE_OK) return code;
  const int32_t head[] = {SETTINGS_FORMAT_VERSION, p->edgeStyle, p->smoothing, p->tweaker, p->edgeExtent,
                          p->source, p->colorize, p->edgeSpare, p->chromeStyle, p->angle, p->removeNoise,
                          0,  // legacy thumbnail flag
                          SETTINGS_SECOND_BLOCK_VERSION, p->glue, p->flip};
  // The filter drops the result; the first failure is kept for tools that don't.
  auto keep = [&code](int16_t result) {
    if (code == FILE_OK) code = result;
  };
  for (int32_t word : head) keep(writeU32(static_cast<uint32_t>(word), file));

  // The thumbnail goes through a copy of its own, as the encoder wants a
  // whole raster to itself.
  PixelMap copy;
  pixelMapInit(&copy, session, session->presetThumbnail.kernelTable);
  bool haveCopy = !pixelMapEmpty(&session->presetThumbnail) &&
                  pixelMapCreate(&copy, THUMBNAIL_SIDE, THUMBNAIL_SIDE, PIXEL_RGBA8, 0);
  if (!haveCopy) {
    keep(writeU32(0, file));
  } else {
    pixelMapCopy(&session->presetThumbnail, &copy);
    int16_t block = writeJpegBlock(&copy, file, true, THUMBNAIL_QUALITY, 0, nullptr, nullptr, nullptr);
    // The encoder writes nothing at all when it refuses the raster (no
    // buffer suite); the flag 0 keeps the file whole. A stream that failed
    // to encode has had its flag 0 written already.
    if (block == JPEG_NO_RASTER || block == JPEG_NO_PIXELS || block == JPEG_NO_BUFFER_PROCS) block = writeU32(0, file);
    else if (block == JPEG_LIBRARY_FAILED) block = FILE_OK;
    keep(block);
  }
  pixelMapFree(&copy);
  closeFile(file);
  return code;
}

// --- reading --------------------------------------------------------------------

int32_t remapOldTweaker(int32_t stored) {
  float a = static_cast<float>(stored) * 0.01f;
  float b = a + 0.25f;
  float c = b > 0.0f ? numeric::squareRootF(b) : 0.0f;  // a value far below 0 has no root
  float d = c - 0.5f;
  return static_cast<int32_t>(d * 100.0f);
}

int16_t readSettingsFile(FilterSession* session, const char* path, SettingsReadMode mode, bool* hasThumbnail) {
  SettingsReadReport report;
  int16_t code = readSettingsFileReported(session, path, mode, &report);
  if (hasThumbnail != nullptr) *hasThumbnail = report.hasThumbnail;
  return code;
}

int16_t readSettingsFileReported(FilterSession* session, const char* path, SettingsReadMode mode,
                                 SettingsReadReport* report) {
  SettingsReadReport local;
  if (report == nullptr) report = &local;
  std::memset(report, 0, sizeof(*report));
  SettingsCursor cursor{INVALID_FILE_HANDLE, false, 0};
  EdgeParameters* p = session != nullptr ? sessionParameters(session) : nullptr;
  if (p == nullptr || openFile(path, &cursor.file, OpenRead) != FILE_OK) return FILE_OPEN_FAILED;

  const bool all = mode == SettingsReadAll;
  int32_t version = 0;
  bool tweakerTaken = false;
  if (takeWord(&cursor, &version)) {
    report->versionRead = true;
    report->version = version;
    int32_t* const firstFields[] = {&p->edgeStyle, &p->smoothing,   &p->tweaker, &p->edgeExtent, &p->source,
                                    &p->colorize,  &p->edgeSpare,   &p->chromeStyle, &p->angle,  &p->removeNoise};
    for (int32_t* field : firstFields) {
      int32_t value = 0;
      if (!takeWord(&cursor, &value)) break;
      if (all) *field = value;
      if (field == &p->tweaker) tweakerTaken = true;
    }
    if (!cursor.ended) {
      session->thumbnailWidth = 0;
      session->thumbnailHeight = 0;
      readLegacyBlock(session, &cursor, &report->hasThumbnail);
    }
    int32_t secondBlockVersion = 0, glue = 0, flip = 0;
    if (takeWord(&cursor, &secondBlockVersion) && takeWord(&cursor, &glue) && all) p->glue = glue;
    if (takeWord(&cursor, &flip) && all) p->flip = flip;
    // An old file's tweaker is on the old scale even when the file ends early.
    if (all && tweakerTaken && version < SETTINGS_FIRST_NEW_TWEAKER_VERSION) p->tweaker = remapOldTweaker(p->tweaker);
    if (version >= SETTINGS_FIRST_THUMBNAIL_VERSION && !cursor.ended)
      readThumbnailBlock(session, &cursor, &report->hasThumbnail);
  }
  closeFile(cursor.file);
  report->endedEarly = cursor.ended;
  report->bytesTaken = cursor.bytesTaken;
  return FILE_OK;
}

// --- thumbnails -------------------------------------------------------------------

void fillGreyRamp(PixelMap* map) {
  if (pixelMapEmpty(map) || map->format != PIXEL_RGBA8) return;
  paintGreyRamp(map);
  pixelMapBuildLevels(map);
}

void thumbnailFromSamples(FilterSession* session, const ThumbnailSource& source) {
  PixelMap* thumbnail = &session->presetThumbnail;
  if (pixelMapEmpty(thumbnail)) return;
  fillGreyRamp(thumbnail);
  if (source.data == nullptr || source.width <= 0 || source.height <= 0) return;
  const int32_t side = source.width < source.height ? source.width : source.height;
  const int32_t left = source.width / 2 - side / 2;
  const int32_t top = source.height / 2 - side / 2;
  const int32_t step = sampleBytesOf(source.kind);
  PixelMap square;
  if (makeThumbnailRaster(session, &square, side, side)) {
    for (int32_t y = 0; y < side; ++y) {
      const uint8_t* pixel = source.data + static_cast<intptr_t>(top + y) * source.rowBytes +
                             static_cast<intptr_t>(left) * source.columnBytes;
      for (int32_t x = 0; x < side; ++x, pixel += source.columnBytes) {
        int32_t r = eightBitOf(pixel, source.kind);
        int32_t g = source.grey ? r : eightBitOf(pixel + step, source.kind);
        int32_t b = source.grey ? r : eightBitOf(pixel + 2 * step, source.kind);
        setBytes4Fast(x, y, &square, 0, r, g, b, 255);
      }
    }
    pixelMapBuildLevels(&square);
    pixelMapCopy(&square, thumbnail);
  }
  pixelMapFree(&square);
}

void captureThumbnail(FilterSession* session) {
  const FilterRecord* record = session->filterRecord;
  if (pixelMapEmpty(&session->presetThumbnail) || record == nullptr || record->advanceState == nullptr) return;
  ThumbnailSource source;
  std::memset(&source, 0, sizeof source);
  source.data = static_cast<const uint8_t*>(record->outData);
  source.width = record->outRect.right - record->outRect.left;
  source.height = record->outRect.bottom - record->outRect.top;
  source.rowBytes = record->outRowBytes;
  if (record->depth == 32) source.kind = THUMB_SAMPLES_FLOAT;
  else if (record->depth == 16 || !isEightBitImage(record)) source.kind = THUMB_SAMPLES_16;
  else source.kind = THUMB_SAMPLES_8;
  const int32_t planes = record->outHiPlane - record->outLoPlane + 1;
  source.grey = planes < 3;
  // Hosts from before the column-bytes field leave it 0: pixels then lie
  // plane after plane with nothing between them.
  source.columnBytes = record->outColumnBytes > 0 ? record->outColumnBytes : planes * sampleBytesOf(source.kind);
  if (planes < 1) source.data = nullptr;
  thumbnailFromSamples(session, source);
}

// --- the files the system keeps itself ----------------------------------------------

void saveCachedSettings(FilterSession* session) {
  PathSpec path;
  if (tempFile(&path, CACHED_SETTINGS_FILE) != FILE_OK || path.text[0] == 0) return;
  writeSettingsFile(session, path.text);
}

void loadCachedSettings(FilterSession* session) {
  PathSpec path;
  if (tempFile(&path, CACHED_SETTINGS_FILE) != FILE_OK || path.text[0] == 0) return;
  bool hasThumbnail = false;
  readSettingsFile(session, path.text, SettingsReadAll, &hasThumbnail);
}

void memoryDotPath(PathSpec* out, int32_t slot) {
  clearPath(out);
  if (slot < 0 || slot > SCRATCH_DOT_SLOT) return;
  char name[64];
  dotFileName(name, sizeof name, slot);
  tempFile(out, name);
}

void undoFilePath(PathSpec* out, int32_t slot) {
  clearPath(out);
  if (slot != 0 && slot != 1) return;
  tempFile(out, slot == 0 ? "Marrowline undo 0" : "Marrowline undo 1");
}

void dotMapPath(PathSpec* out) { tempFile(out, DOT_MAP_FILE); }

void saveMemoryDotFile(FilterSession* session, int32_t slot) {
  PathSpec path;
  memoryDotPath(&path, slot);
  if (path.text[0] != 0) writeSettingsFile(session, path.text);
}

void loadMemoryDotFile(FilterSession* session, int32_t slot) {
  PathSpec path;
  memoryDotPath(&path, slot);
  bool hasThumbnail = false;
  if (path.text[0] != 0) readSettingsFile(session, path.text, SettingsReadAll, &hasThumbnail);
}

bool readDotThumbnail(FilterSession* session, const char* path, PixelMap* raster, int32_t size) {
  fillGreyRamp(&session->presetThumbnail);
  bool hasThumbnail = false;
  readSettingsFile(session, path, SettingsReadThumbnailOnly, &hasThumbnail);
  if (!hasThumbnail) return false;
  if (!pixelMapCreate(raster, size, size, PIXEL_RGBA8, 0)) return false;
  pixelMapCopy(&session->presetThumbnail, raster);
  return true;
}
