// The one exported entry of the module. The host calls it once per selector
// with its FilterRecord, the word in which the plug-in keeps its session, and
// the result word.
#include <cstring>

#include "entry/entry.h"
#include "session/session.h"
#include "host/host_services.h"
#include "pi/plugin_interface.h"
#include "platform/window.h"

namespace {

bool aboutBoxOpen = false;  // a second About while the box is open does nothing

HandleProcs* handleProcsOf(FilterRecord* record) { return record ? record->handleProcs : nullptr; }

// The session lives in a handle of the host; the data word keeps the handle.
FilterSession* lockOrCreateSession(FilterRecord* record, intptr_t* data, int16_t* result) {
  HandleProcs* procs = handleProcsOf(record);
  HostHandle handle = reinterpret_cast<HostHandle>(*data);
  bool created = false;
  if (handle == nullptr) {
    handle = newHandle(procs, static_cast<int32_t>(sizeof(FilterSession)));
    if (handle == nullptr) return nullptr;
    created = true;
  }
  auto* session = static_cast<FilterSession*>(lockHandle(procs, handle, true));
  if (session == nullptr) {
    if (created) disposeHandle(procs, handle);
    return nullptr;
  }
  if (created) {
    std::memset(session, 0, sizeof(FilterSession));
    *data = reinterpret_cast<intptr_t>(handle);
  }
  session->result = result;
  *result = 0;
  session->filterRecord = record;
  return session;
}

}  // namespace

extern "C" PI_EXPORT void PluginMain(int16_t selector, FilterRecord* record, intptr_t* data, int16_t* result) {
  platformRememberModule();
  if (selector == filterSelectorAbout) {
    if (!aboutBoxOpen) {
      aboutBoxOpen = true;
      doAbout(nullptr);
      aboutBoxOpen = false;
    }
    return;
  }
  if (result == nullptr || data == nullptr) return;
  FilterSession* session = lockOrCreateSession(record, data, result);
  if (session == nullptr) {
    *result = RESULT_MEM_FULL;
    return;
  }
  validateParameters(session);
  if (*result == 0) {
    switch (selector) {
      case filterSelectorParameters: doParameters(session); break;
      case filterSelectorPrepare: doPrepare(session); break;
      case filterSelectorStart: doStart(session); break;
      case filterSelectorContinue: doContinue(session); break;
      case filterSelectorFinish: doFinish(session); break;
      default: *result = RESULT_BAD_PARAMETERS; break;
    }
  }
  releaseParameters(session);
  if (*data != 0) unlockHandle(handleProcsOf(record), reinterpret_cast<HostHandle>(*data));
}
