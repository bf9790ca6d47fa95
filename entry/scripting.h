// Parameters through the host's scripting descriptors: read at Start when an
// action plays back, written at Finish so that the host can record them.
// The keys and codes come from session/terminology.h.
#pragma once

struct FilterRecord;
struct FilterSession;

// The host offers a descriptor suite we can use: descriptorParameters set,
// version 0, both procedure tables complete.
bool descriptorAvailable(const FilterRecord* record);

// True when the host scripts at all (not one of the two hosts whose
// descriptors are ignored), offers the suite, and a read token can be opened
// on the descriptor; the token is closed again at once. Start loads the
// cached settings only when this is false.
bool scriptDataPresent(FilterSession* session);

// Start: when a descriptor is there, sets the defaults and then every key it
// holds; disposes of the descriptor; decides queryDialog from playInfo. An
// error of the host other than "keys left unread" goes to the result word.
void readScriptParameters(FilterSession* session);

// Finish: writes the eleven scripted parameters into a new descriptor for
// the host, and tells it the dialog is optional on playback.
void writeScriptParameters(FilterSession* session);
