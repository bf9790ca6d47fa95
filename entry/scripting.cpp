#include "entry/scripting.h"

#include "session/session.h"
#include "session/terminology.h"
#include "host/host_services.h"
#include "pi/plugin_interface.h"

namespace {

// The hosts signed "PSP8" and "PSP9" count as having no scripting on the
// reading side: their descriptors are never opened at Start, and the cached
// settings are loaded instead. Writing at Finish is not affected.
bool hostIgnoresScripts(const FilterRecord* record) {
  return record->hostSig == hostSignaturePSP8 || record->hostSig == hostSignaturePSP9;
}

// The host made the descriptor handle, so only its own dispose procedure may
// free it. Without usable handle procedures the handle is left to the host:
// the emulated-handle fallback would free memory it never allocated.
void disposeDescriptor(FilterRecord* record) {
  PIDescriptorParameters* dp = record->descriptorParameters;
  if (dp->descriptor == nullptr) return;
  if (handleProcsUsable(record->handleProcs)) disposeHandle(record->handleProcs, dp->descriptor);
  dp->descriptor = nullptr;
}

// One value of the descriptor into its field. A value the host can't give
// leaves the field as it was; the host reports that at close.
void readValue(const ReadDescriptorProcs* procs, PIReadDescriptor token, const ScriptKey& entry,
               EdgeParameters* p) {
  int32_t* field = scriptField(p, entry);
  switch (entry.kind) {
    case SCRIPT_INTEGER: {
      int32_t value = 0;
      if (procs->getIntegerProc(token, &value) == noErr) *field = value;
      break;
    }
    case SCRIPT_BOOLEAN: {
      Boolean value = 0;
      if (procs->getBooleanProc(token, &value) == noErr) *field = value != 0 ? 1 : 0;
      break;
    }
    case SCRIPT_ENUMERATED: {
      DescriptorEnumID code = 0;
      // An unknown code leaves 0, out of range for every enumeration.
      if (procs->getEnumeratedProc(token, &code) == noErr) mapCodeToNumber(entry.enumerationType, code, field);
      break;
    }
  }
}

void writeValue(const WriteDescriptorProcs* procs, PIWriteDescriptor token, const ScriptKey& entry,
                EdgeParameters* p) {
  const int32_t value = *scriptField(p, entry);
  switch (entry.kind) {
    case SCRIPT_INTEGER: procs->putIntegerProc(token, entry.key, value); break;
    case SCRIPT_BOOLEAN: procs->putBooleanProc(token, entry.key, Boolean(value & 0xFF)); break;
    case SCRIPT_ENUMERATED:
      procs->putEnumeratedProc(token, entry.key, entry.enumerationType,
                               mapNumberToCode(value, entry.enumerationType));
      break;
  }
}

// Hosts mark each key they find in the list they are given, so the list
// handed over is a writable copy of the table's.
struct WritableKeyList {
  DescriptorKeyID keys[SCRIPT_KEY_COUNT + 1];
  WritableKeyList() {
    const uint32_t* table = scriptKeyList();
    for (int i = 0; i <= SCRIPT_KEY_COUNT; ++i) keys[i] = table[i];
  }
};

}  // namespace

bool descriptorAvailable(const FilterRecord* record) {
  return record != nullptr && descriptorProcsUsable(record->descriptorParameters);
}

bool scriptDataPresent(FilterSession* session) {
  FilterRecord* record = session->filterRecord;
  if (record == nullptr || hostIgnoresScripts(record) || !descriptorAvailable(record)) return false;
  PIDescriptorParameters* dp = record->descriptorParameters;
  const ReadDescriptorProcs* procs = dp->readDescriptorProcs;
  WritableKeyList list;
  PIReadDescriptor token = procs->openReadDescriptorProc(dp->descriptor, list.keys);
  if (token == nullptr) return false;
  procs->closeReadDescriptorProc(token);  // "keys left unread" is expected here
  return true;
}

void readScriptParameters(FilterSession* session) {
  FilterRecord* record = session->filterRecord;
  EdgeParameters* p = sessionParameters(session);
  if (record == nullptr || p == nullptr) return;
  if (hostIgnoresScripts(record) || !descriptorAvailable(record)) return;  // queryDialog unchanged

  PIDescriptorParameters* dp = record->descriptorParameters;
  const ReadDescriptorProcs* procs = dp->readDescriptorProcs;
  WritableKeyList list;
  PIReadDescriptor token = procs->openReadDescriptorProc(dp->descriptor, list.keys);
  if (token != nullptr) {
    // A key the descriptor leaves out takes its default, not the last value.
    setDefaultParameters(p);
    DescriptorKeyID key = 0;
    DescType type = 0;
    int32_t flags = 0;
    while (procs->getKeyProc(token, &key, &type, &flags)) {
      const ScriptKey* entry = findScriptKey(key);
      if (entry != nullptr) readValue(procs, token, *entry, p);
    }
    const OSErr closeError = procs->closeReadDescriptorProc(token);
    disposeDescriptor(record);
    // errAEParamMissed only says that keys of the list stayed unread.
    if (closeError != noErr && closeError != errAEParamMissed) setResult(session, closeError);
  }
  // The host decides whether playback shows the dialog.
  p->queryDialog = dp->playInfo == plugInDialogDisplay ? 1 : 0;
}

void writeScriptParameters(FilterSession* session) {
  FilterRecord* record = session->filterRecord;
  EdgeParameters* p = sessionParameters(session);
  if (record == nullptr || p == nullptr || !descriptorAvailable(record)) return;

  PIDescriptorParameters* dp = record->descriptorParameters;
  const WriteDescriptorProcs* procs = dp->writeDescriptorProcs;
  PIWriteDescriptor token = procs->openWriteDescriptorProc();
  if (token == nullptr) return;
  for (int i = 0; i < SCRIPT_KEY_COUNT; ++i) writeValue(procs, token, *scriptKeyAt(i), p);
  disposeDescriptor(record);
  procs->closeWriteDescriptorProc(token, &dp->descriptor);  // the host owns the new handle
  dp->recordInfo = plugInDialogOptional;
}
