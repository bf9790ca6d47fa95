// Web pages that lay a set of looks side by side: the presets page (the
// stored thumbnail of every settings file of a folder) and the memory-dots
// page (one rendered picture for each filled dot). Each picture sits in a
// little table of four GIF pieces that draw a soft drop shadow. The pictures
// and the pieces go into a folder "web_images" beside the page, which is
// HTML 4.01 in ISO-8859-1.
//
// Use: writePresetsPage or writeDotsPage with the page's path, then
// openInBrowser. The lower calls (openPage, writeCell, advanceColumn,
// closePage) are the page's grammar, public for the tests.
#pragma once

#include <cstdint>

#include "export/file_sink.h"
#include "files/file_io.h"
#include "files/paths.h"

struct FilterSession;
struct FilterWorkArea;

enum PageKind : int32_t { PagePresets = 0, PageMemoryDots = 3 };

constexpr int32_t PAGE_MAX_COLUMNS = 10;
constexpr int32_t PRESET_PAGE_COLUMNS = 5;
constexpr int32_t DOTS_PAGE_COLUMNS = 4;
constexpr int32_t PRESET_CELL_SIDE = 88;   // the browser scales each thumbnail to this
constexpr int32_t DOT_PICTURE_SIDE = 300;  // longest side of a dot's picture
constexpr const char* PAGE_IMAGE_FOLDER = "web_images";
constexpr const char* PRESETS_PAGE_NAME = "Marrowline presets.html";
constexpr const char* DOTS_PAGE_NAME = "Marrowline memory dots.html";

struct PageWriter {
  FileSink out;          // the HTML file
  PathSpec imageFolder;  // "web_images" beside the page, with its separator
  int32_t kind;          // PageKind
  int32_t columns;       // cells in a row, at most 10
  int32_t column;        // the next cell's column, from 1
  uint8_t boldCaption;   // the caption under a cell in <b>
};

// --- the fixed pieces ----------------------------------------------------------
constexpr int32_t FRAME_PIECE_COUNT = 4;
struct FramePiece {
  const char* name;  // "top.gif", "left.gif", "right.gif", "bottom.gif"
  const uint8_t* bytes;
  int32_t size;
};
const FramePiece& framePiece(int32_t index);

// --- text encodings ---------------------------------------------------------------
// One byte of a name as page text: the four markup characters and the bytes
// from 123 up as entities (numeric to 159, HTML 4's names from 160); any
// other byte as itself. `out` gets NUL-terminated text of at most 9 bytes.
void encodeEntities(uint8_t byte, char out[10]);
// One byte of a name in an address: letters and digits as they are, any
// other byte as "%" and two lower-case hex digits.
void encodeUrlByte(uint8_t byte, char out[4]);

// --- the page -----------------------------------------------------------------------
// Makes "web_images" beside `path` and writes the pieces into it, opens the
// page and writes its head. `sourceFolder` is named in a presets page's
// heading. 0, or the file side's code with nothing more written.
int16_t openPage(PageWriter* writer, const char* path, const char* sourceFolder, int32_t kind, int32_t columns);
// Fills the last row with empty cells, writes the tail, ends and closes the
// file. The code of the first failed write, or 0.
int16_t closePage(PageWriter* writer);
// The cell of a picture named by the file name of `imagePath` (its ".jpg"
// in web_images), at w x h, with its frame and caption.
void writeCell(PageWriter* writer, const char* imagePath, int32_t width, int32_t height);
void writeImageTag(PageWriter* writer, int32_t width, int32_t height, const char* name, const char* extension,
                   bool withAlt);
// The next column; past the last one the row ends with a spacer row.
void advanceColumn(PageWriter* writer);
// "<tr>" when the next cell opens a row.
void beginCellRow(PageWriter* writer);

// --- the two pages ------------------------------------------------------------------
// Every settings file of `folder` (a name holding ".q4t", case ignored, in
// the directory's order) as a cell with its stored thumbnail; a file
// without one shows the blank thumbnail. The session's own thumbnail is as
// it was afterwards. The page is closed properly even when the folder can't
// be listed (FILE_OPEN_FAILED then).
int16_t writePresetsPage(FilterSession* session, const char* folder, const char* path, bool boldCaptions);

// The pictures of the filled dots: `filled` by slot 0 to 24. Each is the
// dot's settings rendered at full size into a picture whose longest side is
// 300, and the current settings are back afterwards.
int16_t writeDotsPage(FilterSession* session, const char* path, const bool filled[]);
// Dots with settings in the dialog, or with a file in the temporary folder.
void filledDotsOfDialog(const FilterWorkArea* work, bool filled[]);
void filledDotsOfFiles(bool filled[]);

// The size of a dot's picture for a filter rectangle of w x h: the longer
// side scaled to 300 (a smaller picture grows), each side at least 1.
void dotPictureSize(int32_t width, int32_t height, int32_t* outWidth, int32_t* outHeight);
// Renders dot `slot`'s settings into a JPEG at `path`; its size goes to
// width and height. False when the picture or the file could not be made.
bool renderDotImage(FilterSession* session, int32_t slot, const char* path, int32_t* width, int32_t* height);

// Hands a finished page to the user's browser.
void openInBrowser(const char* path);
