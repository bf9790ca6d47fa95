#include "export/html_pages.h"

#include <cstdio>
#include <cstring>

#include "export/psd_file.h"
#include "image/pixel_map.h"
#include "jpeg/jpeg_codec.h"
#include "platform/shell.h"
#include "presets/settings_file.h"
#include "region/region.h"
#include "session/session.h"

namespace {

// HTML 4's names of the Latin-1 codes 160 to 255.
const char* const LATIN1_NAMES[96] = {
    "nbsp",   "iexcl",  "cent",   "pound",  "curren", "yen",    "brvbar", "sect",   "uml",    "copy",   "ordf",
    "laquo",  "not",    "shy",    "reg",    "macr",   "deg",    "plusmn", "sup2",   "sup3",   "acute",  "micro",
    "para",   "middot", "cedil",  "sup1",   "ordm",   "raquo",  "frac14", "frac12", "frac34", "iquest", "Agrave",
    "Aacute", "Acirc",  "Atilde", "Auml",   "Aring",  "AElig",  "Ccedil", "Egrave", "Eacute", "Ecirc",  "Euml",
    "Igrave", "Iacute", "Icirc",  "Iuml",   "ETH",    "Ntilde", "Ograve", "Oacute", "Ocirc",  "Otilde", "Ouml",
    "times",  "Oslash", "Ugrave", "Uacute", "Ucirc",  "Uuml",   "Yacute", "THORN",  "szlig",  "agrave", "aacute",
    "acirc",  "atilde", "auml",   "aring",  "aelig",  "ccedil", "egrave", "eacute", "ecirc",  "euml",   "igrave",
    "iacute", "icirc",  "iuml",   "eth",    "ntilde", "ograve", "oacute", "ocirc",  "otilde", "ouml",   "divide",
    "oslash", "ugrave", "uacute", "ucirc",  "uuml",   "yacute", "thorn",  "yuml"};

constexpr const char* CRLF = "\r\n";
constexpr const char* CELL_OPEN = "<td align=\"center\" valign=\"top\" width=\"20%\">";
constexpr const char* FONT_FACES = "Gill Sans,Verdana,Helvetica,Arial";

void text(PageWriter* w, const char* t) { putText(&w->out, t); }
void line(PageWriter* w, const char* t) {
  text(w, t);
  text(w, CRLF);
}
void number(PageWriter* w, int32_t value) {
  char digits[16];
  std::snprintf(digits, sizeof digits, "%d", static_cast<int>(value));
  text(w, digits);
}
void entities(PageWriter* w, const char* t) {
  char piece[10];
  for (; *t != '\0'; ++t) {
    encodeEntities(static_cast<uint8_t>(*t), piece);
    text(w, piece);
  }
}

void writeFramePieces(const char* folder) {
  for (int32_t i = 0; i < FRAME_PIECE_COUNT; ++i) {
    const FramePiece& piece = framePiece(i);
    PathSpec path;
    FileHandle file = INVALID_FILE_HANDLE;
    if (joinPath(&path, folder, piece.name) != 0 || openFile(path.text, &file, OpenWrite) != FILE_OK) continue;
    int32_t count = piece.size;
    writeBytes(file, &count, piece.bytes);
    truncateFile(file);
    closeFile(file);
  }
}

void writeEmptyCell(PageWriter* w) {
  text(w, CELL_OPEN);
  line(w, "<p></p>");
  line(w, "<div align=\"center\">");
  line(w, "<p><font face=\"Hoefler Text,Times New Roman,Georgia,Times\"><b></b></font></p>");
  line(w, "</div>");
  text(w, "</td>");
  text(w, CRLF), text(w, CRLF);
}

// The pieces' own cell rows take their tag without alt text.
void pieceTag(PageWriter* w, const char* name, int32_t width, int32_t height) {
  writeImageTag(w, width, height, name, ".gif", false);
}

}  // namespace

void encodeEntities(uint8_t byte, char out[10]) {
  switch (byte) {
    case '"': std::strcpy(out, "&quot;"); return;
    case '&': std::strcpy(out, "&amp;"); return;
    case '<': std::strcpy(out, "&lt;"); return;
    case '>': std::strcpy(out, "&gt;"); return;
    default: break;
  }
  if (byte >= 160) std::snprintf(out, 10, "&%s;", LATIN1_NAMES[byte - 160]);
  else if (byte >= 123) std::snprintf(out, 10, "&#%03d;", byte);
  else out[0] = static_cast<char>(byte), out[1] = '\0';
}

void encodeUrlByte(uint8_t byte, char out[4]) {
  const bool plain = (byte >= '0' && byte <= '9') || (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z');
  if (plain) out[0] = static_cast<char>(byte), out[1] = '\0';
  else std::snprintf(out, 4, "%%%02x", byte);
}

int16_t openPage(PageWriter* writer, const char* path, const char* sourceFolder, int32_t kind, int32_t columns) {
  writer->columns = columns < PAGE_MAX_COLUMNS ? columns : PAGE_MAX_COLUMNS;
  writer->kind = kind;
  writer->boldCaption = 0;
  // The page's folder, or none for a bare name; the pictures go beside it.
  PathSpec base, name;
  folderOf(&base, path);
  fileNameOf(&name, path);
  if (std::strcmp(name.text, path) == 0) clearPath(&base);
  makeSubfolder(&writer->imageFolder, base.text, PAGE_IMAGE_FOLDER);
  writeFramePieces(writer->imageFolder.text);

  FileHandle file = INVALID_FILE_HANDLE;
  const int16_t code = openFile(path, &file, OpenWrite);
  if (code != FILE_OK) return code;
  initFileSink(&writer->out, file);
  writer->column = 1;

  text(writer, "<!DOCTYPE html PUBLIC \"-//W3C//DTD HTML 4.01 Transitional//EN\">");
  text(writer, CRLF), line(writer, "");
  line(writer, "<html>");
  line(writer, "<head>");
  line(writer, "<meta http-equiv=\"content-type\" content=\"text/html;charset=ISO-8859-1\">");
  text(writer, "<meta name=\"generator\" content=\"Quellfire Marrowline\">");
  line(writer, kind == PagePresets ? "<title>Marrowline presets</title>" : "<title>Marrowline memory dots</title>");
  line(writer, "</head>"), line(writer, "");
  line(writer, "<body bgcolor=\"#ffffff\">");
  line(writer, "<p><br>"), line(writer, "");
  text(writer, "<font size=\"4\" face=\"Gill Sans,Verdana,Helvetica,Arial,Geneva\"><b>Marrowline");
  if (kind == PagePresets) {
    text(writer, " presets from ");
    entities(writer, sourceFolder != nullptr ? sourceFolder : "");
  } else {
    text(writer, " memory dots ");
  }
  line(writer, "<br>");
  text(writer,
       "</b></font></p><table width=\"100%\" border=\"0\" cellspacing=\"12\" cellpadding=\"0\" align=\"center\">");
  return FILE_OK;
}

void writeImageTag(PageWriter* writer, int32_t width, int32_t height, const char* name, const char* extension,
                   bool withAlt) {
  PathSpec safe;
  setPath(&safe, name);
  sanitizeName(safe.text);
  stripExtension(safe.text);
  text(writer, "<img src=\"");
  text(writer, PAGE_IMAGE_FOLDER);
  text(writer, "/");
  char piece[4];
  for (const char* c = safe.text; *c != '\0'; ++c) {
    encodeUrlByte(static_cast<uint8_t>(*c), piece);
    text(writer, piece);
  }
  text(writer, extension);
  text(writer, "\"");
  if (withAlt) {
    text(writer, " alt=\"");
    entities(writer, safe.text);
    text(writer, extension);
    text(writer, "\"");
  }
  text(writer, " width=\""), number(writer, width);
  text(writer, "\" height=\""), number(writer, height);
  text(writer, "\" border=\"0\">");
}

void writeCell(PageWriter* writer, const char* imagePath, int32_t width, int32_t height) {
  PathSpec name;
  fileNameOf(&name, imagePath);
  const int32_t tableWidth = width + 6, tableHeight = height + 7;
  line(writer, CELL_OPEN);
  text(writer, "<table id=\"Table_01\" width=\""), number(writer, tableWidth);
  text(writer, "\" border=\"0\" cellspacing=\"0\" cellpadding=\"0\" height=\""), number(writer, tableHeight);
  line(writer, "\">");
  line(writer, "<tr>");
  text(writer, "<td colspan=\"3\">"), pieceTag(writer, "top.gif", tableWidth, 2), line(writer, "</td>");
  line(writer, "</tr>");
  line(writer, "<tr>");
  text(writer, "<td>"), pieceTag(writer, "left.gif", 3, height), line(writer, "</td>");
  text(writer, "<td>"), writeImageTag(writer, width, height, name.text, ".jpg", true);
  line(writer, "</td>");
  text(writer, "<td>"), pieceTag(writer, "right.gif", 3, height), line(writer, "</td>");
  line(writer, "</tr>");
  line(writer, "<tr>");
  text(writer, "<td colspan=\"3\">"), pieceTag(writer, "bottom.gif", tableWidth, 5), line(writer, "</td>");
  line(writer, "</tr>");
  line(writer, "</table>");
  line(writer, "<div align=\"center\">");
  text(writer, "<br><font  size=\"3\" face=\"");
  text(writer, FONT_FACES);
  text(writer, "\">");
  if (writer->boldCaption) text(writer, "<b>");
  stripExtension(name.text);
  entities(writer, name.text);
  if (writer->boldCaption) text(writer, "</b>");
  text(writer, "</font></div></td>");
  text(writer, CRLF), text(writer, CRLF);
}

void advanceColumn(PageWriter* writer) {
  if (++writer->column <= writer->columns) return;
  text(writer, "</tr>");
  text(writer, CRLF);
  text(writer, "<tr>");
  for (int32_t i = 0; i < writer->columns; ++i) {
    text(writer, CELL_OPEN);
    text(writer, "<p>&nbsp;</p></td>");
  }
  text(writer, "</tr>");
  writer->column = 1;
}

void beginCellRow(PageWriter* writer) {
  if (writer->column == 1) text(writer, "<tr>");
}

int16_t closePage(PageWriter* writer) {
  while (writer->column >= 2) {
    writeEmptyCell(writer);
    advanceColumn(writer);
  }
  text(writer, "</table><br>");
  text(writer, CRLF);
  text(writer, "</body></html>");
  releaseFileSink(&writer->out);
  truncateFile(writer->out.file);
  closeFile(writer->out.file);
  return writer->out.failure;
}

// --- the presets page ---------------------------------------------------------------
namespace {

struct PresetWalk {
  FilterSession* session;
  PageWriter* page;
  const char* folder;
};

// The thumbnail as it stands, at its stored size, as a JPEG file.
void writeThumbnailJpeg(FilterSession* session, FileHandle file) {
  PixelMap raster;
  pixelMapInit(&raster, session, session->presetThumbnail.kernelTable);
  if (pixelMapCreate(&raster, session->thumbnailWidth, session->thumbnailHeight, PIXEL_RGBA8, 0)) {
    pixelMapCopy(&session->presetThumbnail, &raster);
    writeJpegFile(&raster, file, true);
  } else {
    truncateFile(file);
    closeFile(file);
  }
  pixelMapFree(&raster);
}

bool visitPreset(const char* name, bool isFolder, void* context) {
  auto* walk = static_cast<PresetWalk*>(context);
  if (isFolder || findText(SETTINGS_EXTENSION, name, true) < 0) return true;
  FilterSession* session = walk->session;
  PageWriter* page = walk->page;
  PathSpec presetPath;
  if (joinPath(&presetPath, walk->folder, name) != 0) return true;

  // A file without a thumbnail shows the blank one, never its neighbour's.
  fillGreyRamp(&session->presetThumbnail);
  session->thumbnailWidth = THUMBNAIL_SIDE;
  session->thumbnailHeight = THUMBNAIL_SIDE;
  bool hasThumbnail = false;
  readSettingsFile(session, presetPath.text, SettingsReadThumbnailOnly, &hasThumbnail);
  if (!hasThumbnail || session->thumbnailWidth < 1 || session->thumbnailHeight < 1) {
    fillGreyRamp(&session->presetThumbnail);
    session->thumbnailWidth = THUMBNAIL_SIDE;
    session->thumbnailHeight = THUMBNAIL_SIDE;
  }

  beginCellRow(page);
  writeCell(page, presetPath.text, PRESET_CELL_SIDE, PRESET_CELL_SIDE);

  PathSpec jpegName, jpegPath;
  setPath(&jpegName, name);
  stripExtension(jpegName.text);
  if (appendExtension(&jpegName, ".jpg")) {
    sanitizeName(jpegName.text);
    FileHandle file = INVALID_FILE_HANDLE;
    if (joinPath(&jpegPath, page->imageFolder.text, jpegName.text) == 0 &&
        openFile(jpegPath.text, &file, OpenWrite) == FILE_OK)
      writeThumbnailJpeg(session, file);
  }
  advanceColumn(page);
  return true;
}

}  // namespace

int16_t writePresetsPage(FilterSession* session, const char* folder, const char* path, bool boldCaptions) {
  PageWriter page;
  int16_t code = openPage(&page, path, folder, PagePresets, PRESET_PAGE_COLUMNS);
  if (code != FILE_OK) return code;
  page.boldCaption = boldCaptions ? 1 : 0;

  // The session's thumbnail is the current settings' own: kept aside.
  PixelMap kept;
  pixelMapInit(&kept, session, session->presetThumbnail.kernelTable);
  const bool haveKept = !pixelMapEmpty(&session->presetThumbnail) &&
                        pixelMapCreate(&kept, session->presetThumbnail.baseWidth,
                                       session->presetThumbnail.baseHeight, session->presetThumbnail.format, 0);
  if (haveKept) pixelMapCopy(&session->presetThumbnail, &kept);
  const int32_t keptWidth = session->thumbnailWidth, keptHeight = session->thumbnailHeight;

  PresetWalk walk{session, &page, folder};
  const bool listed = platformWalkFolder(folder, visitPreset, &walk);

  if (haveKept) pixelMapCopy(&kept, &session->presetThumbnail);
  pixelMapFree(&kept);
  session->thumbnailWidth = keptWidth;
  session->thumbnailHeight = keptHeight;

  code = closePage(&page);
  return listed ? code : FILE_OPEN_FAILED;
}

// --- the memory-dots page ------------------------------------------------------------
void dotPictureSize(int32_t width, int32_t height, int32_t* outWidth, int32_t* outHeight) {
  const int32_t longer = width > height ? width : height;
  if (longer < 1) {
    *outWidth = *outHeight = 1;
    return;
  }
  const int32_t w = static_cast<int32_t>(int64_t(width) * DOT_PICTURE_SIDE / longer);
  const int32_t h = static_cast<int32_t>(int64_t(height) * DOT_PICTURE_SIDE / longer);
  *outWidth = w < 1 ? 1 : w;
  *outHeight = h < 1 ? 1 : h;
}

bool renderDotImage(FilterSession* session, int32_t slot, const char* path, int32_t* width, int32_t* height) {
  const Rect& filter = session->fullFilterRect;
  dotPictureSize(filter.right - filter.left, filter.bottom - filter.top, width, height);
  ViewSnapshot view;
  beginOffscreenRender(session, &view);
  PixelMap* image = &session->work->offscreenImage;
  const FilterRecord* record = session->filterRecord;
  const int32_t format = psdPixelFormat(psdBytesPerSample(record->imageMode, record->depth));
  bool done = false;
  if (pixelMapCreate(image, *width, *height, format, -1)) {
    // A small rectangle does not reach the whole picture: the rest is clear.
    pixelMapFillBytes(image, 0, 0);
    saveMemoryDotFile(session, SCRATCH_DOT_SLOT);
    loadMemoryDotFile(session, slot);
    renderToTarget(session);
    FileHandle file = INVALID_FILE_HANDLE;
    if (resultOf(session) == 0 && openFile(path, &file, OpenWrite) == FILE_OK)
      done = writeJpegFile(image, file, true) == JPEG_OK;
    loadMemoryDotFile(session, SCRATCH_DOT_SLOT);
    pixelMapFree(image);
  }
  endOffscreenRender(session, &view);
  return done;
}

int16_t writeDotsPage(FilterSession* session, const char* path, const bool filled[]) {
  PageWriter page;
  const int16_t code = openPage(&page, path, nullptr, PageMemoryDots, DOTS_PAGE_COLUMNS);
  if (code != FILE_OK) return code;
  for (int32_t slot = 0; slot < DOT_COUNT; ++slot) {
    if (!filled[slot]) continue;
    char name[32];
    std::snprintf(name, sizeof name, "dot %d.jpg", static_cast<int>(slot + 1));
    PathSpec picture;
    joinPath(&picture, page.imageFolder.text, name);
    int32_t width = 0, height = 0;
    renderDotImage(session, slot, picture.text, &width, &height);
    beginCellRow(&page);
    writeCell(&page, picture.text, width, height);
    advanceColumn(&page);
  }
  return closePage(&page);
}

void filledDotsOfDialog(const FilterWorkArea* work, bool filled[]) {
  for (int32_t slot = 0; slot < DOT_COUNT; ++slot) filled[slot] = work->dotState[slot] != 0;
}

void filledDotsOfFiles(bool filled[]) {
  for (int32_t slot = 0; slot < DOT_COUNT; ++slot) {
    PathSpec path;
    memoryDotPath(&path, slot);
    FileHandle file = INVALID_FILE_HANDLE;
    filled[slot] = path.text[0] != '\0' && openFile(path.text, &file, OpenRead) == FILE_OK;
    if (filled[slot]) closeFile(file);
  }
}

void openInBrowser(const char* path) { platformOpenDocument(path); }
