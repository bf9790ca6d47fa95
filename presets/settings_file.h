// Settings files: the one small binary format behind presets, memory dots,
// undo snapshots and the cached last-used settings. A file holds the twelve
// style parameters and, from version 190 on, a JPEG thumbnail of what they
// looked like. Every integer is 32-bit big-endian; there is no signature and
// no length field, so the reader goes by position alone:
//
//   0  version (190)           32  chrome style       52  glue
//   4  edge style              36  angle              56  flip
//   8  smoothing               40  remove noise       60  thumbnail flag (0: ends here)
//  12  tweaker                 44  legacy flag (0)    64  width, 68 height
//  16  edge extent             48  second-block       72  JPEG length N
//  20  source                      version (1)        76  N bytes of JPEG
//  24  colorize
//  28  edgeSpare
//
// A non-zero legacy flag at 44 is followed by a size S, one dropped word and
// S x S raw R, G, B pixels, and pushes every later field back by that much.
// Nothing here shows a message: callers may drop the result codes, and a
// file that can't be read leaves things as they were.
#pragma once

#include <cstdint>

#include "image/pixel_map.h"
#include "files/paths.h"

struct FilterSession;

constexpr int32_t SETTINGS_FORMAT_VERSION = 190;
constexpr int32_t SETTINGS_FIRST_THUMBNAIL_VERSION = 190;  // thumbnail block from here on
constexpr int32_t SETTINGS_FIRST_NEW_TWEAKER_VERSION = 189;  // older files get the tweaker remap
constexpr int32_t SETTINGS_SECOND_BLOCK_VERSION = 1;
constexpr int32_t THUMBNAIL_SIDE = 128;
constexpr int32_t THUMBNAIL_STREAM_LIMIT = 49152;  // the reader's buffer: a raw 128 x 128 block
constexpr int32_t LEGACY_SKIP_BYTES = 12288;       // a 64 x 64 raw block, skipped when it can't be held
constexpr int16_t THUMBNAIL_QUALITY = 80;
constexpr int32_t DOT_THUMBNAIL_SIDE = 88;
constexpr int32_t SCRATCH_DOT_SLOT = 25;  // the current settings kept aside for batch work

// Names the system gives to settings and to the files it keeps by itself in
// the temporary folder.
constexpr const char* RANDOM_SETTINGS_NAME = "random settings.q4t";
constexpr const char* PLAIN_SETTINGS_NAME = "plain settings.q4t";
constexpr const char* SETTINGS_EXTENSION = ".q4t";
constexpr const char* CACHED_SETTINGS_FILE = "Marrowline cached settings C";
constexpr const char* DOT_MAP_FILE = "Marrowline memdot map 3";

enum SettingsReadMode : int32_t {
  SettingsReadAll = 0,
  SettingsReadThumbnailOnly = 1,  // parameters read and dropped; only the thumbnail changes
};

// What a read got through, for tools that show a file as the filter sees it.
struct SettingsReadReport {
  bool versionRead;
  int32_t version;
  bool endedEarly;      // a read came up short: the rest counts as absent
  int32_t bytesTaken;   // bytes consumed before it stopped
  bool hasThumbnail;
};

// Writes version 190 with the thumbnail of presetThumbnail (none when that
// map is missing). The file is not truncated: an older, longer file of the
// same name keeps its tail, which no reader reaches.
int16_t writeSettingsFile(FilterSession* session, const char* path);

// Reads a file of any version into the session's parameters (or, in
// SettingsReadThumbnailOnly, only into presetThumbnail, thumbnailWidth and
// thumbnailHeight). hasThumbnail becomes true only when a thumbnail was
// taken in. A short read stops the reader with what it had; an oversize or
// undecodable thumbnail leaves presetThumbnail as it was. FILE_OPEN_FAILED
// when the file can't be opened, with nothing changed.
int16_t readSettingsFile(FilterSession* session, const char* path, SettingsReadMode mode, bool* hasThumbnail);
// The same, telling how far it got; `report` may be null.
int16_t readSettingsFileReported(FilterSession* session, const char* path, SettingsReadMode mode,
                                 SettingsReadReport* report);

// Tweaker values of files before version 189 on today's scale, in single
// precision: trunc((sqrt(t / 100 + 0.25) - 0.5) * 100). 100 gives 61.
int32_t remapOldTweaker(int32_t stored);

// The blank thumbnail: row y has R = G = B = 255 - y, alpha 255.
void fillGreyRamp(PixelMap* map);

// Interleaved samples to make a thumbnail from: the host's output buffer, or
// a picture. 16-bit samples are on the host's 0..32768 scale; floats are
// taken as linear and brought to 8 bits through a square root.
enum ThumbnailSampleKind : int32_t { THUMB_SAMPLES_8 = 8, THUMB_SAMPLES_16 = 16, THUMB_SAMPLES_FLOAT = 32 };
struct ThumbnailSource {
  const uint8_t* data;  // the first pixel of the area
  int32_t width, height;
  int32_t rowBytes;
  int32_t columnBytes;  // bytes from one pixel to the next
  ThumbnailSampleKind kind;
  bool grey;            // one colour plane: R = G = B
};

// Resets presetThumbnail to the grey ramp, then copies the largest square
// centred in the source into it, scaled to 128 x 128. Nothing happens while
// presetThumbnail is missing.
void thumbnailFromSamples(FilterSession* session, const ThumbnailSource& source);
// The same from the host's current output rectangle and buffer; nothing
// happens unless the host offers advanceState.
void captureThumbnail(FilterSession* session);

// The cached settings of the last confirmed dialog, in the temporary folder.
void saveCachedSettings(FilterSession* session);
void loadCachedSettings(FilterSession* session);

// Files of the memory dots (slots 0 to 25) and the two undo snapshots, in
// the temporary folder. The path is empty for a slot out of range.
void memoryDotPath(PathSpec* out, int32_t slot);
void undoFilePath(PathSpec* out, int32_t slot);
void dotMapPath(PathSpec* out);
void saveMemoryDotFile(FilterSession* session, int32_t slot);
void loadMemoryDotFile(FilterSession* session, int32_t slot);

// A stored thumbnail at size x size into `raster` (initialised by the
// caller), for the dot preview; false when the file holds none. Goes through
// presetThumbnail, which it resets to the grey ramp first.
bool readDotThumbnail(FilterSession* session, const char* path, PixelMap* raster, int32_t size);
