#include "dialog/settings_folder.h"

#include <string>
#include <vector>

#include "dialog/drawn_controls.h"
#include "dialog/main_dialog.h"
#include "dialog/preview_pane.h"
#include "files/paths.h"
#include "platform/files.h"
#include "platform/shell.h"
#include "presets/settings_file.h"
#include "session/session.h"

namespace {

constexpr const char* REFRESHED_EXTENSION = ".q5q";

bool collectFile(const char* name, bool isFolder, void* context) {
  if (!isFolder && (findText("q9q", name, true) >= 0 || findText("q5q", name, true) >= 0))
    static_cast<std::vector<std::string>*>(context)->push_back(name);
  return true;
}

// A file the filter may not write over is left alone.
bool writable(const char* path) {
  FileHandle file;
  if (!platformOpenFile(path, true, &file)) return false;
  platformCloseFile(file);
  return true;
}

void refreshOne(DialogState& d, const char* folder, const std::string& name) {
  FilterSession* s = d.session;
  EdgeParameters* p = sessionParameters(s);
  PathSpec path;
  if (joinPath(&path, folder, name.c_str()) != 0 || !writable(path.text)) return;
  if (!pixelMapEmpty(&s->presetThumbnail)) fillGreyRamp(&s->presetThumbnail);
  setDefaultParameters(p);
  bool hasThumbnail = false;
  readSettingsFile(s, path.text, SettingsReadAll, &hasThumbnail);
  copyPathText(p->settingsName, name.c_str());
  syncControlsFromParameters(d);
  refreshPreview(d);  // renders to the end and redraws the pane
  setCursorByState(d, CURSOR_WAIT);
  captureThumbnail(s);
  writeSettingsFile(s, path.text);
  if (findText("q9q", name.c_str(), true) < 0) return;
  PathSpec renamed = path;
  stripExtension(renamed.text);
  if (appendExtension(&renamed, REFRESHED_EXTENSION)) platformRenameFile(path.text, renamed.text);
}

}  // namespace

void refreshSettingsFolder(DialogState& d) {
  if (d.settingsFolderBusy) return;
  FilterSession* s = d.session;
  EdgeParameters* p = sessionParameters(s);
  char chosen[PATH_TEXT_BYTES] = "";
  if (!choosePresetFile(d, "Choose any file in the source folder", chosen)) return;
  rememberFolder(p->lastPresetFolder, chosen);
  d.settingsFolderBusy = true;
  saveMemoryDotFile(s, SCRATCH_DOT_SLOT);
  // The name is not in the file; it comes back with the settings.
  std::string userName = p->settingsName;
  std::vector<std::string> names;
  setCursorByState(d, CURSOR_WAIT);
  platformWalkFolder(p->lastPresetFolder, collectFile, &names);
  for (const std::string& name : names) refreshOne(d, p->lastPresetFolder, name);
  loadMemoryDotFile(s, SCRATCH_DOT_SLOT);
  copyPathText(p->settingsName, userName.c_str());
  syncControlsFromParameters(d);
  d.refreshPending = true;
  repaintControl(d, ID_SETTINGS_NAME);
  d.settingsFolderBusy = false;
  setCursorByState(d, CURSOR_ARROW);
}
