// The dialog's stages of a run: the memory dots' map, the undo snapshot, the
// main dialog and the about box. Start and Finish call them in their order.
#pragma once

struct FilterSession;

void loadDotMap(FilterSession* session);
void saveDotMap(FilterSession* session);
void storeUndoSnapshot(FilterSession* session);
// Runs the modal main dialog; the outcome goes to the result word (0, or
// -128 when cancelled). Without a dialog the parameters are taken unchanged.
void runMainDialog(FilterSession* session);
void runAboutBox(FilterSession* session);
