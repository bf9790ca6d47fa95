#include "pihost/preview_mode.h"

#include <cerrno>
#include <cstdlib>

#include "entry/entry.h"
#include "entry/scripting.h"
#include "session/session.h"
#include "host/host_services.h"
#include "pihost/host_session.h"

extern "C" void PluginMain(int16_t selector, FilterRecord* record, intptr_t* data, int16_t* result);

namespace {

bool parseWhole(const std::string& text, int32_t minimum, int32_t* value) {
  if (text.empty() || text.size() > 9) return false;
  for (char c : text)
    if (c < '0' || c > '9') return false;
  long v = std::strtol(text.c_str(), nullptr, 10);
  if (v < minimum) return false;
  *value = static_cast<int32_t>(v);
  return true;
}

}  // namespace

bool parsePreviewOption(const std::string& text, PreviewRequest* request, std::string* error) {
  *request = PreviewRequest{false, 1, 0, 0};
  if (text == "fit") {
    request->fit = true;
    return true;
  }
  std::string parts[3];
  size_t count = 0, start = 0;
  while (count < 3) {
    size_t comma = text.find(',', start);
    parts[count++] = text.substr(start, comma == std::string::npos ? std::string::npos : comma - start);
    if (comma == std::string::npos) break;
    start = comma + 1;
    if (count == 3) {
      *error = "--preview takes fit, SCALE or SCALE,PANX,PANY";
      return false;
    }
  }
  if (count == 2) {
    *error = "--preview takes fit, SCALE or SCALE,PANX,PANY";
    return false;
  }
  if (!parseWhole(parts[0], 1, &request->scale)) {
    *error = "--preview: the scale must be fit or a whole number of at least 1, not \"" + parts[0] + "\"";
    return false;
  }
  if (count == 3 && (!parseWhole(parts[1], 0, &request->panX) || !parseWhole(parts[2], 0, &request->panY))) {
    *error = "--preview: the pan must be two whole numbers of at least 0";
    return false;
  }
  return true;
}

FilterSession* beginPreviewStart(FilterRecord* record, intptr_t* data, int16_t* result) {
  *result = 0;
  HostHandle handle = reinterpret_cast<HostHandle>(*data);
  if (record == nullptr || handle == nullptr) {
    *result = RESULT_BAD_PARAMETERS;
    return nullptr;
  }
  auto* session = static_cast<FilterSession*>(lockHandle(record->handleProcs, handle, true));
  if (session == nullptr) {
    *result = RESULT_MEM_FULL;
    return nullptr;
  }
  session->result = result;
  session->filterRecord = record;
  validateParameters(session);
  if (*result == 0) {
    sessionParameters(session)->previewAvailable =
        (record->advanceState != nullptr && record->displayPixels != nullptr) ? 1 : 0;
    if (!allocateRunBuffers(session)) *result = RESULT_STOPPED;
  }
  if (*result != 0) {
    releaseParameters(session);
    unlockHandle(record->handleProcs, handle);
    return nullptr;
  }
  initRunState(session);
  session->filterWidth = record->filterRect.right - record->filterRect.left;
  session->filterHeight = record->filterRect.bottom - record->filterRect.top;
  readScriptParameters(session);
  return session;
}

void endPreviewStart(FilterSession* session, intptr_t* data) {
  FilterRecord* record = session->filterRecord;
  sessionParameters(session)->renderTarget = 0;
  endRun(session);
  clearHostRects(session);
  releaseParameters(session);
  unlockHandle(record->handleProcs, reinterpret_cast<HostHandle>(*data));
}

PreviewOutcome runPreviewMode(FilterRecord* record, intptr_t* data, int16_t* result, const PreviewRequest& request,
                              int32_t* maxScale) {
  FilterSession* session = beginPreviewStart(record, data, result);
  if (session == nullptr) return PREVIEW_RENDER_FAILED;
  PreviewOutcome outcome = playPreview(session, request);
  if (maxScale != nullptr) *maxScale = session->maxScale;
  endPreviewStart(session, data);
  return outcome;
}

int16_t hostSessionRunPreview(HostSession* s, const PreviewRequest& request, int32_t* maxScale,
                              PreviewOutcome* outcome) {
  *outcome = PREVIEW_RENDER_FAILED;
  hostSessionActivate(s);
  hostSessionCallSelector(s, PluginMain, filterSelectorPrepare);
  if (s->result == 0) *outcome = runPreviewMode(&s->record, &s->data, &s->result, request, maxScale);
  hostSessionDeactivate(s);
  return s->result;
}
