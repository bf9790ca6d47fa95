// A session for settings files outside a host's run: the presets tool and
// the substitute host's --preset read and write files through the filter's
// own reader and writer, which take a FilterSession. The workspace holds
// that session, its parameter record (at the defaults, as the filter's open
// action leaves it before a read), a kernel table and a 128 x 128
// presetThumbnail at the grey ramp.
#pragma once

#include "session/parameters.h"
#include "session/session.h"
#include "pi/plugin_interface.h"

struct SettingsWorkspace {
  FilterSession session;
  FilterRecord record;
  EdgeParameters parameters;
  int16_t result;
  uint32_t kernelTable[KERNEL_TABLE_WORDS];
};

// `bufferProcs` may be null: maps then live in plain memory, and the JPEG
// writer, which wants a buffer suite, stores no thumbnail. False when the
// thumbnail can't be made.
bool openSettingsWorkspace(SettingsWorkspace* workspace, BufferProcs* bufferProcs);
void closeSettingsWorkspace(SettingsWorkspace* workspace);
