// Refreshing a folder of settings: every file whose name holds "q9q" or
// "q5q" is opened, rendered in the preview and written back with a fresh
// thumbnail; a "q9q" file is renamed to ".q5q" once done, so ".q9q" marks a
// file not yet refreshed. The user's own settings are kept aside in the
// scratch dot file and come back at the end.
#pragma once

#include "dialog/dialog_state.h"

// Asks for any file of the folder (the preset browser); Cancel does nothing.
// Runs once at a time.
void refreshSettingsFolder(DialogState& d);
