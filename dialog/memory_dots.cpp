#include "dialog/memory_dots.h"

#include <cstring>

#include "files/file_io.h"
#include "files/paths.h"
#include "presets/settings_file.h"
#include "session/session.h"

namespace {

static_assert(DOT_PLACE_COUNT == DOT_COUNT, "a place for every dot");

bool validSlot(int32_t slot) { return slot >= 0 && slot < DOT_COUNT; }

}  // namespace

const DotPlace& dotPlace(int32_t slot) { return dotPlaces()[validSlot(slot) ? slot : 0]; }

int32_t dotSlotOf(int32_t id) {
  const int32_t slot = id - FIRST_DOT_ID;
  return validSlot(slot) ? slot : -1;
}

int32_t dotSlotAt(int32_t x, int32_t y) {
  for (int32_t slot = 0; slot < DOT_COUNT; ++slot) {
    const DotPlace& p = dotPlaces()[slot];
    if (x >= p.left && x < p.left + DOT_SIDE && y >= p.top && y < p.top + DOT_SIDE) return slot;
  }
  return -1;
}

int32_t dotFaceBitmap(int16_t state, bool pinned, bool pressed) {
  DotLook look = LOOK_EMPTY;
  if (state == DOT_STORED) look = pinned ? LOOK_STORED_PINNED : LOOK_STORED;
  if (state == DOT_CURRENT) look = pinned ? LOOK_CURRENT_PINNED : LOOK_CURRENT;
  return dotFaceOfLook(look, pressed);
}

void loadDotMap(FilterSession* session) {
  FilterWorkArea* work = session->work;
  std::memset(work->dotMap, 0, sizeof(work->dotMap));
  PathSpec path;
  dotMapPath(&path);
  FileHandle file;
  if (openFile(path.text, &file, OpenRead) != FILE_OK) return;
  uint32_t word = 0;
  // The format word is read and dropped; the pins are taken as they stand.
  if (readU32(&word, file) == FILE_OK) {
    for (int32_t slot = 0; slot < DOT_COUNT; ++slot) {
      if (readU32(&word, file) != FILE_OK) break;
      work->dotMap[slot] = static_cast<int32_t>(word);
    }
  }
  closeFile(file);
}

void saveDotMap(FilterSession* session) {
  const FilterWorkArea* work = session->work;
  if (work == nullptr) return;
  PathSpec path;
  dotMapPath(&path);
  FileHandle file;
  if (openFile(path.text, &file, OpenWrite) != FILE_OK) return;
  writeU32(DOT_MAP_FORMAT, file);
  for (int32_t slot = 0; slot < DOT_COUNT; ++slot) writeU32(static_cast<uint32_t>(work->dotMap[slot]), file);
  truncateFile(file);
  closeFile(file);
}

void initDots(FilterSession* session) {
  FilterWorkArea* work = session->work;
  for (int32_t slot = 0; slot < DOT_COUNT; ++slot) {
    work->dotControlId[slot] = dotPlaces()[slot].id;
    work->dotState[slot] = DOT_EMPTY;
  }
  work->shownDot = -1;
  work->lastShownDot = -1;
  pixelMapFree(&work->exportImage);
}

void markPinnedDots(FilterSession* session) {
  FilterWorkArea* work = session->work;
  for (int32_t slot = 0; slot < DOT_COUNT; ++slot)
    if (work->dotMap[slot] == 1) work->dotState[slot] = DOT_STORED;
}

int32_t firstFreeDot(const FilterWorkArea* work) {
  for (int32_t slot = 0; slot < DOT_COUNT; ++slot)
    if (work->dotMap[slot] == 0) return slot;
  return -1;
}

void clearCurrentDot(FilterSession* session) {
  FilterWorkArea* work = session->work;
  for (int32_t slot = 0; slot < DOT_COUNT; ++slot)
    if (work->dotState[slot] == DOT_CURRENT) work->dotState[slot] = DOT_STORED;
}

void setCurrentDot(FilterSession* session, int32_t slot) {
  clearCurrentDot(session);
  if (validSlot(slot)) session->work->dotState[slot] = DOT_CURRENT;
}

bool showDot(FilterSession* session, int32_t slot) {
  if (!validSlot(slot)) return false;
  FilterWorkArea* work = session->work;
  PathSpec path;
  memoryDotPath(&path, slot);
  const bool shown = readDotThumbnail(session, path.text, &work->exportImage, DOT_THUMBNAIL_SIDE);
  work->lastShownDot = slot;
  work->shownDot = slot;
  return shown;
}

void hideDotThumbnail(FilterSession* session) {
  FilterWorkArea* work = session->work;
  pixelMapFree(&work->exportImage);
  work->lastShownDot = -1;
  work->shownDot = -1;
}

void storeDot(FilterSession* session, int32_t slot) {
  if (!validSlot(slot)) return;
  captureThumbnail(session);
  saveMemoryDotFile(session, slot);
  setCurrentDot(session, slot);
  session->work->shownDot = -1;
  showDot(session, slot);
}

bool recallDot(FilterSession* session, int32_t slot) {
  if (!validSlot(slot)) return false;
  loadMemoryDotFile(session, slot);
  setCurrentDot(session, slot);
  return true;
}

bool hoverDots(FilterSession* session, int32_t x, int32_t y) {
  FilterWorkArea* work = session->work;
  const int32_t slot = dotSlotAt(x, y);
  if (slot < 0) return false;  // leaving a dot changes nothing
  if (work->dotState[slot] == DOT_EMPTY) {
    const bool wasShown = work->shownDot >= 0 || !pixelMapEmpty(&work->exportImage);
    hideDotThumbnail(session);
    return wasShown;
  }
  if (slot == work->shownDot) return false;
  return showDot(session, slot);
}

DotCommandOutcome dotCommand(FilterSession* session, int32_t id, DotPress press) {
  DotCommandOutcome outcome{false, false, false};
  FilterWorkArea* work = session->work;
  if (id == DOT_THUMBNAIL_ID) {
    if (press == DOT_PRESS_CTRL) {
      outcome.wantsSettingsFolder = true;
    } else if (press == DOT_PRESS_RIGHT) {
      outcome.wantsHtmlPage = true;
    } else {
      outcome.settingsChanged = recallDot(session, work->lastShownDot);
    }
    return outcome;
  }
  const int32_t slot = dotSlotOf(id);
  if (slot < 0) return outcome;
  if (work->dotState[slot] == DOT_EMPTY) {
    // A plain or right click pins what it stores; a Ctrl click stores a
    // transient dot.
    work->dotMap[slot] = press == DOT_PRESS_CTRL ? 0 : 1;
    storeDot(session, slot);
  } else if (press == DOT_PRESS_PLAIN) {
    outcome.settingsChanged = recallDot(session, slot);
  } else if (press == DOT_PRESS_CTRL) {
    work->dotMap[slot] = 0;  // stays stored, but the next run forgets it
  } else {
    work->dotState[slot] = DOT_EMPTY;
    work->dotMap[slot] = 0;
    hideDotThumbnail(session);  // the file stays on disk
  }
  return outcome;
}
