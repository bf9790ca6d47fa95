// The two-slot undo: every change of the settings is recorded into the slot
// after the newest, so Undo swaps the newest state with the one before it
// and a second Undo swaps back.
#pragma once

#include <cstdint>

struct FilterSession;

enum UndoPolicy : int32_t { UNDO_NONE = 0, UNDO_PLAIN = 1, UNDO_WITH_FILE = 2 };

// The pseudo-id of a change that is not a control's (randomize).
constexpr int32_t UNDO_PSEUDO_ID = 777;

// Records the current settings into the other slot and makes it the newest.
// With a file, the settings also go to that slot's undo file, so settings
// held only in a file (a loaded thumbnail) come back too.
void takeSnapshot(FilterSession* session, bool withFile);
// Before the dialog opens: the opening state, so the first change can be
// undone.
void storeUndoSnapshot(FilterSession* session);
// Swaps to the other slot; false (nothing changes) when it holds no state.
bool undo(FilterSession* session);

// What the dialog knows of a control when it asks for its policy: its kind
// (the dialog's kind numbers) and, for a dot, the state after its command.
struct UndoQuery {
  int32_t id;
  int32_t kind;
  bool dotStored;     // a dot (121..145) holds settings
  bool ctrlPressed;   // the press was made with Ctrl
  int32_t lastShownDot;
};
UndoPolicy undoPolicy(const UndoQuery& query);
