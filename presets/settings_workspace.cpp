#include "presets/settings_workspace.h"

#include <cstring>

#include "image/sampling.h"
#include "presets/settings_file.h"

bool openSettingsWorkspace(SettingsWorkspace* workspace, BufferProcs* bufferProcs) {
  std::memset(workspace, 0, sizeof(*workspace));
  workspace->record.bufferProcs = bufferProcs;
  FilterSession* session = &workspace->session;
  session->result = &workspace->result;
  session->filterRecord = &workspace->record;
  session->parameters = &workspace->parameters;
  EdgeParameters* p = &workspace->parameters;
  p->scaleDivisor = 1;
  p->activeControl = -1;
  copyPathText(p->settingsName, DEFAULT_SETTINGS_NAME);
  setDefaultParameters(p);
  buildKernelTable(workspace->kernelTable);
  pixelMapInit(&session->presetThumbnail, session, workspace->kernelTable);
  if (!pixelMapCreate(&session->presetThumbnail, THUMBNAIL_SIDE, THUMBNAIL_SIDE, PIXEL_RGBA8, 0)) return false;
  fillGreyRamp(&session->presetThumbnail);
  return true;
}

void closeSettingsWorkspace(SettingsWorkspace* workspace) { pixelMapFree(&workspace->session.presetThumbnail); }
