#include "dialog/main_dialog.h"

#include <cstring>
#include <initializer_list>

#include "dialog/drawn_controls.h"
#include "dialog/memory_dots.h"
#include "dialog/preview_pane.h"
#include "dialog/psd_progress.h"
#include "dialog/randomize.h"
#include "dialog/settings_folder.h"
#include "dialog/undo.h"
#include "export/html_pages.h"
#include "export/psd_file.h"
#include "files/paths.h"
#include "glue/glue_modes.h"
#include "pi/plugin_interface.h"
#include "presets/preset_browser.h"
#include "presets/settings_file.h"
#include "presets/settings_workspace.h"
#include "region/preview_geometry.h"
#include "session/session.h"

namespace {

constexpr int32_t GLUE_COUNT = 62;
constexpr int32_t EDGE_STYLE_COUNT = 13;
constexpr int32_t STYLE_CHROME = 4;
constexpr int32_t STYLE_SCRIBBLE = 5;
constexpr int32_t NO_POINT = -999;

const char* const CHROME_NAMES[] = {"Phong", "sine", "puddles", "bumps", "spike", "raw"};
const char* const EXTENT_NAMES[] = {"top to bottom", "left to right", "both"};
const char* const SOURCE_NAMES[] = {"greyscale", "red", "green", "blue"};

constexpr const char* PSD_FILTER = "Photoshop files (*.psd)";
constexpr const char* PSD_PATTERN = "*.psd";
constexpr const char* PSD_PROPOSED_NAME = "Marrowline result.psd";
constexpr const char* PAGE_FILTER = "HTML pages (*.html)";
constexpr const char* PAGE_PATTERN = "*.html";
constexpr const char* DOTS_PAGE_NAME = "Marrowline memory dots.html";

EdgeParameters* paramsOf(DialogState& d) { return sessionParameters(d.session); }

bool tracksMouse(ControlKind kind) {
  return kind == kindSlider || kind == kindDial || kind == kindLogo || kind == kindDot || kind == kindDotThumbnail;
}

void repaintName(DialogState& d) { repaintControl(d, ID_SETTINGS_NAME); }

void repaintDots(DialogState& d) {
  for (int32_t slot = 0; slot < DOT_COUNT; ++slot) repaintControl(d, FIRST_DOT_ID + slot);
  repaintControl(d, DOT_THUMBNAIL_ID);
}

void drawEverything(DialogState& d, WindowCanvas* canvas) {
  if (paramsOf(d)->previewAvailable) displayPreview(d, canvas, true);
  for (int32_t id = 0; id < CONTROL_COUNT; ++id)
    if (controlExists(id)) drawControl(d, canvas, id);
}

// --- Start-up ----------------------------------------------------------------

void layOutDialog(DialogState& d) {
  windowPlaceDialog(d.window, DIALOG_CLIENT_WIDTH, DIALOG_CLIENT_HEIGHT);
  for (int32_t id = 1; id < CONTROL_COUNT; ++id) {
    if (!controlExists(id)) continue;
    WindowRect r = layoutRectOf(id);
    // A drop-down list needs room below for its list.
    if (controlKindOf(id) == kindPopup) r.bottom = r.top + DIALOG_CLIENT_HEIGHT;
    windowMoveChild(d.window, id, r);
  }
}

void fillPopups(DialogState& d) {
  for (int32_t n = 1; n <= GLUE_COUNT; ++n) windowAddListItem(d.window, ID_GLUE, glueModeName(n));
  for (const char* name : CHROME_NAMES) windowAddListItem(d.window, ID_CHROME_STYLE, name);
  for (int32_t n = 1; n <= EDGE_STYLE_COUNT; ++n) windowAddListItem(d.window, ID_EDGE_STYLE, edgeStyleName(n));
  for (const char* name : EXTENT_NAMES) windowAddListItem(d.window, ID_EDGE_EXTENT, name);
  for (const char* name : SOURCE_NAMES) windowAddListItem(d.window, ID_SOURCE, name);
}

void startDialog(DialogState& d, WindowHandle window) {
  FilterSession* s = d.session;
  EdgeParameters* p = paramsOf(d);
  d.window = window;
  s->dialogWindow = window;
  layOutDialog(d);
  d.fileDialogOwner = window;
  for (int32_t id = 0; id < CONTROL_COUNT; ++id) d.controlEnabled[id] = 1;
  p->renderTarget = 1;
  p->activeControl = -1;
  copyStyleFields(&d.entrySnapshot, p, COPY_TO_SNAPSHOT);
  for (int32_t id = 0; id < CONTROL_COUNT; ++id) {
    if (!controlExists(id) || controlKindOf(id) != kindIconButton) continue;
    windowSetIcon(window, id, controlDescriptorOf(id).iconId);
    windowSetText(window, id, "");
  }
  fillPopups(d);
  for (int32_t id : {ID_SMOOTHING, ID_TWEAKER}) {
    ControlDescriptor c = controlDescriptorOf(id);
    d.sliderMin[id] = c.minValue;
    d.sliderMax[id] = c.maxValue;
  }
  syncControlsFromParameters(d);
  syncParametersFromControls(d);
  initDots(s);
  applyHighDynamicRangeRule(d);
  if (p->previewAvailable) openDialogPreview(d);
  markPinnedDots(s);
  updateZoomControls(d);
  s->dialogOutcome = 0;
  if (int32_t slot = firstFreeDot(s->work); slot >= 0) storeDot(s, slot);
  WindowCanvas* canvas = windowBeginDrawing(window);
  if (canvas != nullptr) {
    drawEverything(d, canvas);
    windowEndDrawing(window, canvas);
  }
}

// --- Commands ----------------------------------------------------------------

// A name in the folder last used for its kind of file, when there is one.
void proposedPath(const char* folder, const char* name, char* path) {
  PathSpec joined;
  if (folder[0] != '\0' && joinPath(&joined, folder, name) == 0) {
    copyPathText(path, joined.text);
  } else {
    copyPathText(path, name);
  }
}

// The chosen file's name becomes the settings name; its folder is where
// the next dialog opens.
void rememberSettingsPath(EdgeParameters* p, const char* path) {
  PathSpec name;
  if (fileNameOf(&name, path) == 0) copyPathText(p->settingsName, name.text);
  rememberFolder(p->lastSettingsFolder, path);
}

// The save dialog of an export; true with the path when confirmed.
bool askExportPath(DialogState& d, const char* title, const char* filter, const char* pattern, const char* extension,
                   const char* name, char* path) {
  EdgeParameters* p = paramsOf(d);
  proposedPath(p->lastExportFolder, name, path);
  FileDialogRequest request{FILE_DIALOG_SAVE, title, filter, pattern, extension};
  if (!runFileDialog(d, request, path)) return false;
  rememberFolder(p->lastExportFolder, path);
  return true;
}

void exportPsdCommand(DialogState& d) {
  char path[PATH_TEXT_BYTES];
  if (askExportPath(d, "Save a PSD file", PSD_FILTER, PSD_PATTERN, "psd", PSD_PROPOSED_NAME, path)) {
    runPsdExport(d.session, d.window, path);
    d.cursorState = CURSOR_ARROW;  // the progress window put the arrow back
  }
}

void presetsPageCommand(DialogState& d) {
  EdgeParameters* p = paramsOf(d);
  char source[PATH_TEXT_BYTES];
  proposedPath(p->lastPresetFolder, "", source);
  if (!choosePresetFile(d, "Choose any file in the source folder", source)) return;
  rememberFolder(p->lastPresetFolder, source);
  char path[PATH_TEXT_BYTES];
  if (!askExportPath(d, "Save an HTML page", PAGE_FILTER, PAGE_PATTERN, "html", PRESETS_PAGE_NAME, path)) return;
  setCursorByState(d, CURSOR_WAIT);
  writePresetsPage(d.session, p->lastPresetFolder, path, false);
  openInBrowser(path);
  setCursorByState(d, CURSOR_ARROW);
}

void dotsPageCommand(DialogState& d) {
  char path[PATH_TEXT_BYTES];
  if (!askExportPath(d, "Save an HTML page", PAGE_FILTER, PAGE_PATTERN, "html", DOTS_PAGE_NAME, path)) return;
  bool filled[DOT_COUNT];
  filledDotsOfDialog(d.session->work, filled);
  setCursorByState(d, CURSOR_WAIT);
  if (writeDotsPage(d.session, path, filled) == 0) openInBrowser(path);
  setCursorByState(d, CURSOR_ARROW);
}

void saveSettingsCommand(DialogState& d) {
  EdgeParameters* p = paramsOf(d);
  captureThumbnail(d.session);
  if (p->settingsName[0] == '\0') copyPathText(p->settingsName, DEFAULT_SETTINGS_NAME);
  stripExtension(p->settingsName);
  if (std::strlen(p->settingsName) + std::strlen(SETTINGS_EXTENSION) < PATH_TEXT_BYTES)
    std::strcat(p->settingsName, SETTINGS_EXTENSION);
  char path[PATH_TEXT_BYTES];
  proposedPath(p->lastSettingsFolder, p->settingsName, path);
  FileDialogRequest request{FILE_DIALOG_SAVE, "Save a settings file", PRESET_FILTER, PRESET_PATTERN, "q4t"};
  if (runFileDialog(d, request, path)) {
    writeSettingsFile(d.session, path);
    rememberSettingsPath(p, path);
  }
  repaintName(d);
}

void loadSettingsCommand(DialogState& d) {
  EdgeParameters* p = paramsOf(d);
  char path[PATH_TEXT_BYTES];
  proposedPath(p->lastSettingsFolder, p->settingsName, path);
  if (!choosePresetFile(d, "Open a settings file", path)) return;
  setDefaultParameters(p);
  bool hasThumbnail = false;
  readSettingsFile(d.session, path, SettingsReadAll, &hasThumbnail);
  rememberSettingsPath(p, path);
  syncControlsFromParameters(d);
  d.refreshPending = true;
  repaintName(d);
}

bool ownerGone() { return dialogState().fileDialogOwner == nullptr; }

void dotAndFileCommands(DialogState& d, int32_t id) {
  FilterSession* s = d.session;
  if (id == ID_SAVE) saveSettingsCommand(d);
  if (id == ID_LOAD) loadSettingsCommand(d);
  if (id == DOT_THUMBNAIL_ID || dotSlotOf(id) >= 0) {
    DotPress press = s->mouseRightButton ? DOT_PRESS_RIGHT : (s->mouseCtrlKey ? DOT_PRESS_CTRL : DOT_PRESS_PLAIN);
    DotCommandOutcome outcome = dotCommand(s, id, press);
    if (outcome.settingsChanged) {
      syncControlsFromParameters(d);
      d.refreshPending = true;
      repaintName(d);
    }
    repaintDots(d);
    if (outcome.wantsHtmlPage) dotsPageCommand(d);
    if (outcome.wantsSettingsFolder) refreshSettingsFolder(d);
  }
  if (id == ID_EXPORT_PSD) exportPsdCommand(d);
  if (id == ID_PRESETS_PAGE) presetsPageCommand(d);
}

void boxCommands(DialogState& d, int32_t id) {
  if (id == ID_LOGO && !d.aboutBoxOpen) {
    d.aboutBoxOpen = true;
    windowRunAboutBox(MAKER_ADDRESS);
    d.aboutBoxOpen = false;
  }
  if (id == ID_INFO && !d.infoBoxOpen) {
    d.infoBoxOpen = true;
    windowRunInfoBox(ownerGone);
    d.infoBoxOpen = false;
  }
}

void settingsCommands(DialogState& d, int32_t id) {
  FilterSession* s = d.session;
  EdgeParameters* p = paramsOf(d);
  if (id == ID_UNDO) {
    if (undo(s)) {
      syncControlsFromParameters(d);
      d.refreshPending = true;
      repaintName(d);
    }
    return;
  }
  if (id == ID_NEXT_GLUE) {
    p->glue = p->glue >= GLUE_COUNT ? 1 : p->glue + 1;
  } else if (id == ID_RANDOMIZE) {
    randomizeParameters(p);
    copyPathText(p->settingsName, RANDOM_SETTINGS_NAME);
  } else if (id == ID_PLAIN) {
    setDefaultParameters(p);
    copyPathText(p->settingsName, PLAIN_SETTINGS_NAME);
  } else {
    return;
  }
  syncControlsFromParameters(d);
  d.refreshPending = true;
  if (id != ID_NEXT_GLUE) repaintName(d);
}

UndoPolicy undoPolicyFor(DialogState& d, int32_t id) {
  FilterSession* s = d.session;
  int32_t slot = dotSlotOf(id);
  UndoQuery q{};
  q.id = id;
  q.kind = controlKindOf(id);
  q.dotStored = slot >= 0 && s->work != nullptr && s->work->dotState[slot] != DOT_EMPTY;
  q.ctrlPressed = s->mouseCtrlKey != 0;
  q.lastShownDot = s->work != nullptr ? s->work->lastShownDot : -1;
  return undoPolicy(q);
}

void endDialog(DialogState& d, int32_t id) {
  FilterSession* s = d.session;
  windowKillTimer(d.window, APPLY_TIMER_ID);
  if (id == ID_OK) {
    syncParametersFromControls(d);
    windowCloseBoxes();
    setResult(s, RESULT_OK);
    s->dialogOutcome = 1;
  } else {
    copyStyleFields(&d.entrySnapshot, paramsOf(d), COPY_FROM_SNAPSHOT);
    setResult(s, RESULT_USER_CANCELED);
    windowCloseBoxes();
    s->dialogOutcome = 2;
  }
  windowEndDialog(d.window, id);
}

void commandEvent(DialogState& d, int32_t id, int32_t code) {
  ControlKind kind = controlKindOf(id);
  if (kind == kindCheckbox) {
    d.refreshPending = true;
    windowKillTimer(d.window, APPLY_TIMER_ID);
    refreshPreview(d);
    d.refreshPending = false;
  }
  if (kind == kindPopup && code == CODE_SELECTION_CHANGED) {
    d.controlValue[id] = windowGetSelection(d.window, id) + 1;
    if (id == ID_EDGE_STYLE) {
      syncParametersFromControls(d);
      updateControlEnabling(d);
      syncControlsFromParameters(d);
    }
    recordUndoFor(d, id);
    windowKillTimer(d.window, APPLY_TIMER_ID);
    refreshPreview(d);
    return;
  }
  if (code == CODE_TEXT_CHANGED) {
    if (kind == kindReadout) numberBoxChanged(d, id);
    return;
  }
  if (code != CODE_CLICKED) return;

  if (zoomCommand(d.session, id)) d.refreshPending = true;
  updateZoomControls(d);
  dotAndFileCommands(d, id);
  boxCommands(d, id);
  settingsCommands(d, id);
  // After the handlers, so that a recall through the thumbnail ends with no
  // dot current.
  if ((undoPolicyFor(d, id) != UNDO_NONE && dotSlotOf(id) < 0) || id == ID_UNDO) {
    clearCurrentDot(d.session);
    repaintDots(d);
  }

  recordUndoFor(d, id);
  windowKillTimer(d.window, APPLY_TIMER_ID);
  if (d.refreshPending) {
    refreshPreview(d);
    d.refreshPending = false;
  }
  if (id == ID_OK || id == ID_CANCEL) endDialog(d, id);
}

// --- Mouse -------------------------------------------------------------------

void mousePress(DialogState& d, const WindowEvent& e) {
  FilterSession* s = d.session;
  EdgeParameters* p = paramsOf(d);
  s->mouseRightButton = e.rightButton ? 1 : 0;
  s->mouseCtrlKey = (!e.rightButton && e.ctrl) ? 1 : 0;
  int32_t id = hitTest(d, e.x, e.y);
  if (id < 0) return;
  if (id == ID_PREVIEW && p->scaleDivisor != s->previewScale) {
    p->activeControl = ID_PREVIEW;
    windowCaptureMouse(d.window);
    p->lastMousePoint[0] = static_cast<int16_t>(e.y);
    p->lastMousePoint[1] = static_cast<int16_t>(e.x);
    setCursorByState(d, CURSOR_CLOSED_HAND);
    return;
  }
  if (!tracksMouse(controlKindOf(id))) return;
  windowCaptureMouse(d.window);
  p->activeControl = id;
  p->lastMousePoint[0] = static_cast<int16_t>(e.y);
  p->lastMousePoint[1] = static_cast<int16_t>(NO_POINT);
  // The press acts at once through the move handler: a thumb jumps to it.
  WindowEvent move = e;
  move.kind = EVENT_MOUSE_MOVE;
  windowPostEvent(d.window, move);
}

void trackDot(DialogState& d, int32_t id, int32_t x, int32_t y) {
  EdgeParameters* p = paramsOf(d);
  if (p->lastMousePoint[0] == y && p->lastMousePoint[1] == x) return;
  bool inside = windowRectContains(windowChildRect(d.window, id), x, y);
  int32_t flags = inside ? (d.controlValue[id] | DOT_PRESSED_FLAG) : (d.controlValue[id] & ~DOT_PRESSED_FLAG);
  if (flags != d.controlValue[id]) {
    d.controlValue[id] = flags;
    repaintControl(d, id);
  }
  p->lastMousePoint[0] = static_cast<int16_t>(y);
  p->lastMousePoint[1] = static_cast<int16_t>(x);
}

void mouseMove(DialogState& d, const WindowEvent& e) {
  FilterSession* s = d.session;
  EdgeParameters* p = paramsOf(d);
  p->mousePoint[0] = static_cast<int16_t>(e.y);
  p->mousePoint[1] = static_cast<int16_t>(e.x);
  int32_t active = p->activeControl;
  if (active == ID_PREVIEW) {
    setCursorByState(d, CURSOR_CLOSED_HAND);
  } else if (active == -1) {
    bool overPane = windowRectContains(windowChildRect(d.window, ID_PREVIEW), e.x, e.y);
    setCursorByState(d, overPane && p->scaleDivisor != s->maxScale ? CURSOR_OPEN_HAND : CURSOR_ARROW);
    if (hoverDots(s, e.x, e.y)) repaintControl(d, DOT_THUMBNAIL_ID);
    return;
  }
  ControlKind kind = controlKindOf(active);
  if (active == ID_PREVIEW) panPreview(d, e.x, e.y);
  if (kind == kindDial) dragDial(d, active, e.x, e.y);
  if (kind == kindSlider) dragSlider(d, active, e.x, e.y);
  if (kind == kindDot) trackDot(d, active, e.x, e.y);
}

void mouseRelease(DialogState& d) {
  EdgeParameters* p = paramsOf(d);
  windowReleaseMouse(d.window);
  int32_t active = p->activeControl;
  if (active < 0) return;
  ControlKind kind = controlKindOf(active);
  if (kind == kindDot && (d.controlValue[active] & DOT_PRESSED_FLAG) != 0) {
    d.controlValue[active] &= ~DOT_PRESSED_FLAG;
    repaintControl(d, active);
  }
  if (kind == kindLogo || kind == kindDot || kind == kindDotThumbnail) {
    // The release counts wherever the mouse now is.
    WindowEvent command{};
    command.kind = EVENT_COMMAND;
    command.id = active;
    command.code = CODE_CLICKED;
    windowPostEvent(d.window, command);
    p->activeControl = -1;
    return;
  }
  recordUndoFor(d, active);
  windowKillTimer(d.window, APPLY_TIMER_ID);
  refreshPreview(d);
  p->activeControl = -1;
}

}  // namespace

bool runFileDialog(DialogState& d, const FileDialogRequest& request, char* path) {
  if (d.fileDialogOpen) return false;
  d.fileDialogOpen = true;
  bool chosen = windowFileDialog(d.fileDialogOwner, request, path, PATH_TEXT_BYTES);
  d.fileDialogOpen = false;
  return chosen;
}

bool choosePresetFile(DialogState& d, const char* title, char* path) {
  const FilePreviewPane pane = openPresetBrowser(d.session);
  FileDialogRequest request{FILE_DIALOG_OPEN, title, PRESET_FILTER, PRESET_PATTERN, "q4t", &pane};
  return runFileDialog(d, request, path);
}

void rememberFolder(char* field, const char* path) {
  PathSpec folder;
  if (folderOf(&folder, path) == 0) copyPathText(field, folder.text);
}

DialogState& dialogState() {
  static DialogState state{};
  return state;
}

void syncParametersFromControls(DialogState& d) {
  EdgeParameters* p = paramsOf(d);
  p->edgeStyle = static_cast<int32_t>(getControlValue(d, ID_EDGE_STYLE));
  p->smoothing = static_cast<int32_t>(getControlValue(d, ID_SMOOTHING));
  p->tweaker = static_cast<int32_t>(getControlValue(d, ID_TWEAKER));
  p->edgeExtent = static_cast<int32_t>(getControlValue(d, ID_EDGE_EXTENT));
  p->source = static_cast<int32_t>(getControlValue(d, ID_SOURCE));
  p->colorize = static_cast<int32_t>(getControlValue(d, ID_COLORIZE));
  p->chromeStyle = static_cast<int32_t>(getControlValue(d, ID_CHROME_STYLE));
  p->angle = static_cast<int32_t>(getControlValue(d, ID_ANGLE));
  p->removeNoise = static_cast<int32_t>(getControlValue(d, ID_REMOVE_NOISE));
  p->glue = static_cast<int32_t>(getControlValue(d, ID_GLUE));
  p->flip = static_cast<int32_t>(getControlValue(d, ID_FLIP));
}

void syncControlsFromParameters(DialogState& d) {
  EdgeParameters* p = paramsOf(d);
  setControlValue(d, ID_EDGE_STYLE, static_cast<float>(p->edgeStyle));
  setControlValue(d, ID_SMOOTHING, static_cast<float>(p->smoothing));
  setControlValue(d, ID_TWEAKER, static_cast<float>(p->tweaker));
  setControlValue(d, ID_EDGE_EXTENT, static_cast<float>(p->edgeExtent));
  setControlValue(d, ID_SOURCE, static_cast<float>(p->source));
  setControlValue(d, ID_COLORIZE, static_cast<float>(p->colorize));
  setControlValue(d, ID_CHROME_STYLE, static_cast<float>(p->chromeStyle));
  setControlValue(d, ID_ANGLE, static_cast<float>(p->angle));
  setControlValue(d, ID_REMOVE_NOISE, static_cast<float>(p->removeNoise));
  setControlValue(d, ID_GLUE, static_cast<float>(p->glue));
  setControlValue(d, ID_FLIP, static_cast<float>(p->flip));
  updateControlEnabling(d);
}

bool edgeStyleUsesAngle(int32_t edgeStyle) { return edgeStyle == STYLE_CHROME || edgeStyle == STYLE_SCRIBBLE; }
bool edgeStyleUsesChromeStyle(int32_t edgeStyle) { return edgeStyle == STYLE_CHROME; }

void updateControlEnabling(DialogState& d) {
  EdgeParameters* p = paramsOf(d);
  p->edgeStyle = static_cast<int32_t>(getControlValue(d, ID_EDGE_STYLE));
  int32_t angled = edgeStyleUsesAngle(p->edgeStyle) ? 1 : 0;
  int32_t chrome = edgeStyleUsesChromeStyle(p->edgeStyle) ? 1 : 0;
  d.controlEnabled[ID_ANGLE] = d.controlEnabled[ID_ANGLE_LABEL] = angled;
  d.controlEnabled[ID_CHROME_STYLE] = d.controlEnabled[ID_CHROME_LABEL] = chrome;
  // The chrome popup stays operable: only its label tells the state.
  for (int32_t id : {ID_ANGLE, ID_ANGLE_LABEL, ID_CHROME_LABEL}) repaintControl(d, id);
  windowRepaintChild(d.window, ID_CHROME_STYLE);
}

void applyHighDynamicRangeRule(DialogState& d) {
  const FilterRecord* record = d.session->filterRecord;
  bool wide = record->imageMode == plugInModeRGB96 || record->imageMode == plugInModeGray32 || record->depth == 32;
  if (!wide) return;
  for (int32_t id : {ID_GLUE, ID_GLUE_LABEL, ID_NEXT_GLUE}) d.controlEnabled[id] = 0;
  repaintControl(d, ID_GLUE_LABEL);
  windowRepaintChild(d.window, ID_GLUE);
  windowRepaintChild(d.window, ID_NEXT_GLUE);
}

void recordUndoFor(DialogState& d, int32_t id) {
  syncParametersFromControls(d);
  UndoPolicy policy = undoPolicyFor(d, id);
  if (policy != UNDO_NONE) takeSnapshot(d.session, policy == UNDO_WITH_FILE);
}

void mainDialogEvent(WindowHandle window, const WindowEvent& event, void* context) {
  DialogState& d = dialogState();
  if (event.kind == EVENT_CREATE) {
    d.session = static_cast<FilterSession*>(context);
    startDialog(d, window);
    return;
  }
  if (d.window != window) return;
  switch (event.kind) {
    case EVENT_PAINT: drawEverything(d, event.canvas); break;
    case EVENT_ERASE:
      canvasFillWhite(event.canvas, WindowRect{0, 0, DIALOG_CLIENT_WIDTH, DIALOG_CLIENT_HEIGHT});
      canvasBitmap(event.canvas, BITMAP_SKIN, 0, 0);
      break;
    case EVENT_COMMAND: commandEvent(d, event.id, event.code); break;
    case EVENT_TIMER:
      if (event.id != APPLY_TIMER_ID) break;
      recordUndoFor(d, UNDO_PSEUDO_ID);
      windowKillTimer(d.window, APPLY_TIMER_ID);
      refreshPreview(d);
      break;
    case EVENT_MOUSE_DOWN: mousePress(d, event); break;
    case EVENT_MOUSE_MOVE: mouseMove(d, event); break;
    case EVENT_MOUSE_UP: mouseRelease(d); break;
    default: break;
  }
}
