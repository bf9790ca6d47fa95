// Stages of a run that belong to other subsystems: the cached settings, the
// memory dots' map and the main dialog. Each has a plain default here until
// its subsystem provides it, so a run without them goes straight through.
#pragma once

struct FilterSession;

void loadCachedSettings(FilterSession* session);
void saveCachedSettings(FilterSession* session);
void loadDotMap(FilterSession* session);
void saveDotMap(FilterSession* session);
void storeUndoSnapshot(FilterSession* session);
// Runs the modal main dialog; the outcome goes to the result word (0, or
// -128 when cancelled). Without a dialog the parameters are taken unchanged.
void runMainDialog(FilterSession* session);
void runAboutBox(FilterSession* session);
