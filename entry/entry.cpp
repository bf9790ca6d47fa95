#include "entry/entry.h"

#include <cstring>
#include <ctime>
#include <cstdlib>

#include "dialog/dialog_stages.h"
#include "dialog/memory_dots.h"
#include "dialog/randomize.h"
#include "dialog/undo.h"
#include "entry/scripting.h"
#include "session/session.h"
#include "presets/settings_file.h"
#include "engine/render.h"
#include "host/host_services.h"
#include "image/sampling.h"
#include "region/tile_walk.h"
#include "pi/plugin_interface.h"
#include "platform/window.h"

namespace {

constexpr int32_t MIN_BUFFER_SPACE = 200000;
constexpr int16_t IMAGE_MODE_MULTICHANNEL = 7;
constexpr const char* REFUSAL_TITLE = "Plug-in error";
constexpr const char* REFUSAL_TEXT =
    "The filter cannot run because your paint program does not support enough of the Photoshop 3.0 plug-in "
    "standard.";

HandleProcs* handleProcsOf(FilterSession* session) { return session->filterRecord->handleProcs; }
BufferProcs* bufferProcsOf(FilterSession* session) { return session->filterRecord->bufferProcs; }

void clearRunBufferFields(FilterSession* session) {
  session->work = nullptr;
  session->workBufferId = 0;
}

}  // namespace

void releaseParameters(FilterSession* session) {
  if (session->parameters == nullptr) return;
  FilterRecord* record = session->filterRecord;
  if (record != nullptr && record->parameters != nullptr)
    unlockHandle(handleProcsOf(session), reinterpret_cast<HostHandle>(record->parameters));
  session->parameters = nullptr;
}

void validateParameters(FilterSession* session) {
  FilterRecord* record = session->filterRecord;
  if (record == nullptr) {
    setResult(session, RESULT_BAD_PARAMETERS);
    return;
  }
  bool created = false;
  if (record->parameters == nullptr) {
    HostHandle handle = newHandle(handleProcsOf(session), static_cast<int32_t>(sizeof(EdgeParameters)));
    if (handle == nullptr) {
      setResult(session, RESULT_MEM_FULL);
      return;
    }
    record->parameters = static_cast<Handle>(handle);
    created = true;
  }
  if (session->parameters == nullptr) {
    session->parameters = static_cast<EdgeParameters*>(
        lockHandle(handleProcsOf(session), reinterpret_cast<HostHandle>(record->parameters), false));
    if (session->parameters == nullptr) {
      setResult(session, RESULT_MEM_FULL);
      return;
    }
  }
  if (!created) return;
  EdgeParameters* p = session->parameters;
  std::memset(p, 0, sizeof(EdgeParameters));
  clearRunBufferFields(session);
  p->previewAvailable = 0;
  p->scaleDivisor = 1;
  p->renderTarget = 0;
  p->activeControl = -1;
  p->glue = DEFAULT_GLUE;
  copyPathText(p->settingsName, DEFAULT_SETTINGS_NAME);
  setDefaultParameters(p);
}

void doAbout(FilterSession* session) { runAboutBox(session); }

void doParameters(FilterSession* session) {
  validateParameters(session);
  if (resultOf(session) == 0) sessionParameters(session)->queryDialog = 1;
}

int32_t preparedBufferSpace(int32_t width, int32_t height) {
  int32_t longer = (width > height ? width : height) + 4;
  int32_t a = 2 * longer;
  int32_t b = 3 * width + 2184;
  int32_t space = (a > b ? a : b) + 1112;
  return space < MIN_BUFFER_SPACE ? MIN_BUFFER_SPACE : space;
}

void doPrepare(FilterSession* session) {
  FilterRecord* record = session->filterRecord;
  record->bufferSpace = 0;
  validateParameters(session);
  if (resultOf(session) != 0) return;
  record->bufferSpace = 0;
  session->fullFilterRect = toRect16(record->filterRect);
  setRegion(session, record->filterRect, 1);
  int32_t w = record->filterRect.right - record->filterRect.left;
  int32_t h = record->filterRect.bottom - record->filterRect.top;
  record->bufferSpace = preparedBufferSpace(w, h);
  std::memset(&session->edgeScratchA, 0, sizeof(ScratchPair));
  std::memset(&session->edgeScratchB, 0, sizeof(ScratchPair));
  EdgeParameters* p = sessionParameters(session);
  p->activeControl = -1;
  p->zoomChanged = 0;
  session->dialogWindow = nullptr;
  seedRandom();
  session->dialogOutcome = 0;
}

bool allocateRunBuffers(FilterSession* session) {
  clearRunBufferFields(session);
  void* block = allocateBuffer(sizeof(FilterWorkArea), &session->workBufferId, bufferProcsOf(session));
  if (block == nullptr) {
    freeRunBuffers(session);
    clearHostRects(session);
    return false;
  }
  session->work = static_cast<FilterWorkArea*>(block);
  std::memset(session->work, 0, sizeof(FilterWorkArea));
  session->work->progressTick = 0;
  session->work->progressLast = 0;
  return true;
}

void freeRunBuffers(FilterSession* session) {
  if (session->work != nullptr) pixelMapFree(&session->work->exportImage);
  pixelMapFree(&session->presetThumbnail);
  if (session->work != nullptr) {
    pixelMapFree(&session->work->offscreenImage);
    void* address = session->work;
    freeBuffer(&address, &session->workBufferId, bufferProcsOf(session));
    session->work = nullptr;
  }
  pixelMapFree(&session->strokePlane);
  releaseFieldBuffers(session, &session->edgeScratchA);
  releaseFieldBuffers(session, &session->edgeScratchB);
  releaseFieldBuffers(session, &session->edgeSource);
}

void endRun(FilterSession* session) {
  saveDotMap(session);
  freeRunBuffers(session);
}

void initRunState(FilterSession* session) {
  FilterWorkArea* work = session->work;
  // Every copy between sizes samples through this table; it is built once
  // here rather than by the first thumbnail capture.
  buildKernelTable(work->kernelTable);
  pixelMapInit(&session->strokePlane, session, work->kernelTable);
  pixelMapInit(&session->presetThumbnail, session, work->kernelTable);
  pixelMapInit(&work->exportImage, session, work->kernelTable);
  pixelMapInit(&work->offscreenImage, session, work->kernelTable);
  // A blank thumbnail shows a grey ramp until settings bring their own.
  if (pixelMapCreate(&session->presetThumbnail, 128, 128, PIXEL_RGBA8, 0)) fillGreyRamp(&session->presetThumbnail);
  session->mouseRightButton = 0;
  session->mouseCtrlKey = 0;
  if (!scriptDataPresent(session)) loadCachedSettings(session);
  EdgeParameters* p = sessionParameters(session);
  p->lastSettingsFolder[0] = 0;
  p->lastExportFolder[0] = 0;
  p->lastPresetFolder[0] = 0;
  session->thumbnailWidth = 0;
  session->thumbnailHeight = 0;
  std::memset(work->dotMap, 0, sizeof(work->dotMap));
  work->undoSlots[0].valid = 0;
  work->undoSlots[1].valid = 0;
  session->undoPhase = 0;
  session->dialogWindow = nullptr;
  loadDotMap(session);
}

void clearHostRects(FilterSession* session) {
  FilterRecord* record = session->filterRecord;
  std::memset(&record->inRect, 0, sizeof(record->inRect));
  std::memset(&record->outRect, 0, sizeof(record->outRect));
  std::memset(&record->maskRect, 0, sizeof(record->maskRect));
}

void doStart(FilterSession* session) {
  FilterRecord* record = session->filterRecord;
  validateParameters(session);
  if (resultOf(session) != 0) return;
  EdgeParameters* p = sessionParameters(session);
  p->previewAvailable = (record->advanceState != nullptr && record->displayPixels != nullptr) ? 1 : 0;
  if (!allocateRunBuffers(session) || resultOf(session) != 0) {
    setResult(session, RESULT_STOPPED);
    return;
  }
  initRunState(session);
  session->filterWidth = record->filterRect.right - record->filterRect.left;
  session->filterHeight = record->filterRect.bottom - record->filterRect.top;
  if (record->advanceState == nullptr) {
    platformShowRefusal(REFUSAL_TITLE, REFUSAL_TEXT);
    setResult(session, RESULT_STOPPED);
  }
  if (record->imageMode == IMAGE_MODE_MULTICHANNEL) setResult(session, RESULT_STOPPED);
  if (resultOf(session) != 0) {
    endRun(session);
    clearHostRects(session);
    return;
  }
  readScriptParameters(session);
  p = sessionParameters(session);
  if (p->queryDialog != 0) {
    storeUndoSnapshot(session);
    runMainDialog(session);
    p->queryDialog = 0;
    if (resultOf(session) != 0) {
      endRun(session);
      clearHostRects(session);
      return;
    }
    saveCachedSettings(session);
  }
  p->renderTarget = 0;
  runFilter(session);
}

void runFilter(FilterSession* session) {
  FilterRecord* record = session->filterRecord;
  EdgeParameters* p = sessionParameters(session);
  p->panX = 0;
  p->panY = 0;
  bool canRun = record->advanceState != nullptr && record->displayPixels != nullptr;
  setRegion(session, record->filterRect, 1);
  setWholeRegion(session);
  if (!pixelMapCreate(&session->strokePlane, session->filterWidth, session->filterHeight, PIXEL_BYTE, 0))
    setResult(session, RESULT_NO_STROKE_PLANE);
  session->maskTop = session->outTop = session->imageTop;
  session->maskBottom = session->outBottom = session->imageBottom;
  buildRunTables(session);
  beginRun(session);
  if (resultOf(session) == 0 && canRun) runFilterTiles(session);
  // A host without displayPixels gets no tile run; the run still ends here,
  // so the host finds the rectangles empty and goes on to Finish rather than
  // stepping Continue for ever.
  endRun(session);
  clearHostRects(session);
}

void doContinue(FilterSession* session) { clearHostRects(session); }

void doFinish(FilterSession* session) { writeScriptParameters(session); }
