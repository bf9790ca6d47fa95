#include "dialog/undo.h"

#include "dialog/memory_dots.h"
#include "files/paths.h"
#include "presets/settings_file.h"
#include "session/session.h"

namespace {

// Kinds of the dialog's controls that change settings (slider, check box,
// icon button, popup, dial).
bool changesSettings(int32_t kind) { return kind == 0 || kind == 3 || kind == 7 || kind == 13 || kind == 17; }

}  // namespace

void takeSnapshot(FilterSession* session, bool withFile) {
  session->undoPhase ^= 1;
  UndoSlot& slot = session->work->undoSlots[session->undoPhase];
  copyStyleFields(&slot.settings, sessionParameters(session), COPY_TO_SNAPSHOT);
  if (withFile) {
    PathSpec path;
    undoFilePath(&path, session->undoPhase);
    writeSettingsFile(session, path.text);  // a failed write is not reported
  }
  slot.hasFile = withFile ? 1 : 0;
  slot.valid = 1;
}

void storeUndoSnapshot(FilterSession* session) { takeSnapshot(session, true); }

bool undo(FilterSession* session) {
  const int32_t other = session->undoPhase ^ 1;
  UndoSlot& slot = session->work->undoSlots[other];
  if (slot.valid == 0) return false;
  copyStyleFields(&slot.settings, sessionParameters(session), COPY_FROM_SNAPSHOT);
  if (slot.hasFile != 0) {
    PathSpec path;
    undoFilePath(&path, other);
    bool hasThumbnail = false;
    readSettingsFile(session, path.text, SettingsReadAll, &hasThumbnail);  // a missing file keeps the snapshot
  }
  session->undoPhase = other;
  return true;
}

UndoPolicy undoPolicy(const UndoQuery& q) {
  switch (q.id) {
    case 2: case 3: case 9: case 12: case 13: case 14: case 25: case 150:
      return UNDO_NONE;
    case 15:
      return UNDO_WITH_FILE;
    case UNDO_PSEUDO_ID:
      return UNDO_PLAIN;
    default:
      break;
  }
  if (dotSlotOf(q.id) >= 0) {
    if (!q.dotStored) return UNDO_NONE;
    return q.ctrlPressed ? UNDO_NONE : UNDO_WITH_FILE;
  }
  if (q.id == DOT_THUMBNAIL_ID && q.lastShownDot != -1) return UNDO_WITH_FILE;
  return changesSettings(q.kind) ? UNDO_PLAIN : UNDO_NONE;
}
