// The dialog's stages of a run: the main dialog and the about box, which
// Start and the About selector call.
#pragma once

struct FilterSession;

// Runs the modal main dialog; the outcome goes to the result word (0, or
// -128 when cancelled). Without a dialog the parameters are taken unchanged.
void runMainDialog(FilterSession* session);
void runAboutBox(FilterSession* session);
