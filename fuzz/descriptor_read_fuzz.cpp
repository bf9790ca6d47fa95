// Fuzz entry for the script parameters: any bytes, as the host's recorded
// descriptor of an action played back, read by readScriptParameters through
// the substitute host's descriptor suite. The first four bytes choose how the
// host behaves (its signature, playInfo, whether the suite is offered); the
// rest is the descriptor handle's body, items of four words each: key, type,
// enumeration type, value. A body of odd length is a handle the suite
// refuses to open.
//
// Beyond "no crash": the two hosts that do not script and a host without
// the suite leave everything as it was; otherwise every enumeration field
// ends as 0 or as the number of the code the descriptor gave, booleans as 0
// or 1, the descriptor is gone after a read, what the filter writes back at
// Finish reads back to the same parameters, and no handle or token is left.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "entry/scripting.h"
#include "session/session.h"
#include "session/terminology.h"
#include "pi/plugin_interface.h"
#include "pihost/host_services.h"

namespace {

const OSType HOST_SIGNATURES[] = {hostSignaturePhotoshop, hostSignaturePSP8, hostSignaturePSP9,
                                  fourCharCode("GIMP")};

struct FuzzHost {
  HostServices services;
  PIDescriptorParameters descriptorParameters;
  FilterRecord record;
  EdgeParameters parameters;
  int16_t result;
  FilterSession session;
};

void openHost(FuzzHost* h, uint8_t control) {
  hostServicesInit(&h->services);
  h->descriptorParameters = PIDescriptorParameters{};
  h->descriptorParameters.playInfo = static_cast<int16_t>(control & 3);  // 3 is no published value
  h->descriptorParameters.readDescriptorProcs = &h->services.readDescriptorProcs;
  h->descriptorParameters.writeDescriptorProcs = &h->services.writeDescriptorProcs;
  h->record = FilterRecord{};
  h->record.hostSig = HOST_SIGNATURES[(control >> 2) & 3];
  h->record.handleProcs = &h->services.handleProcs;
  h->record.descriptorParameters = (control & 0x10) != 0 ? nullptr : &h->descriptorParameters;
  h->result = 0;
  h->session = FilterSession{};
  h->session.result = &h->result;
  h->session.filterRecord = &h->record;
  h->parameters = EdgeParameters{};
  for (int i = 0; i < SCRIPT_KEY_COUNT; ++i) *scriptField(&h->parameters, *scriptKeyAt(i)) = -77;
  h->parameters.queryDialog = 5;
  h->session.parameters = &h->parameters;
}

// The host's descriptor handle with the fuzzed body behind its signature.
Handle descriptorWithBody(const uint8_t* body, size_t size) {
  Handle empty = descriptorHandleFromItems({});
  if (empty == nullptr || size > 1u << 20) return empty;
  Handle handle = hostNewHandle(static_cast<int32_t>(4 + size));
  if (handle != nullptr) {
    std::memcpy(*handle, *empty, 4);
    if (size > 0) std::memcpy(*handle + 4, body, size);
  }
  hostDisposeHandle(empty);
  return handle;
}

// The code the descriptor's last readable item gave for an enumeration key,
// or 0 when it gave none.
bool lastCodeFor(const std::vector<DescriptorItem>& items, const ScriptKey& key, uint32_t* code) {
  bool found = false;
  for (const DescriptorItem& item : items)
    if (item.key == key.key && item.type == typeEnumerated) {
      *code = static_cast<uint32_t>(item.value);
      found = true;
    }
  return found;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 4) return 0;
  FuzzHost host;
  FuzzHost* h = &host;
  openHost(h, data[0]);
  hostServicesActivate(&h->services);
  const uint8_t* body = data + 4;
  const size_t bodySize = size - 4;
  Handle descriptor = descriptorWithBody(body, bodySize);
  h->descriptorParameters.descriptor = descriptor;
  std::vector<DescriptorItem> items;
  const bool readable = descriptorItemsFromHandle(descriptor, &items);

  readScriptParameters(&h->session);

  const bool ignored = h->record.hostSig == hostSignaturePSP8 || h->record.hostSig == hostSignaturePSP9 ||
                       h->record.descriptorParameters == nullptr;
  if (ignored) {
    // Nothing read, nothing disposed of, the dialog decision untouched.
    if (h->parameters.queryDialog != 5 || h->descriptorParameters.descriptor != descriptor) __builtin_trap();
    for (int i = 0; i < SCRIPT_KEY_COUNT; ++i)
      if (*scriptField(&h->parameters, *scriptKeyAt(i)) != -77) __builtin_trap();
  } else {
    if (h->parameters.queryDialog != (h->descriptorParameters.playInfo == plugInDialogDisplay ? 1 : 0))
      __builtin_trap();
    if (readable) {
      if (h->descriptorParameters.descriptor != nullptr) __builtin_trap();  // disposed of after the read
      for (int i = 0; i < SCRIPT_KEY_COUNT; ++i) {
        const ScriptKey& key = *scriptKeyAt(i);
        const int32_t value = *scriptField(&h->parameters, key);
        uint32_t code = 0;
        if (key.kind == SCRIPT_ENUMERATED && value != 0 && lastCodeFor(items, key, &code) &&
            mapNumberToCode(value, key.enumerationType) != code)
          __builtin_trap();
        if (key.kind == SCRIPT_BOOLEAN && value != 0 && value != 1) __builtin_trap();
        if (key.kind == SCRIPT_ENUMERATED && (value < 0 || value > 99)) __builtin_trap();
      }
    }
  }

  // Finish writes the parameters the read left; played back they come out
  // the same.
  if (!ignored && readable) {
    EdgeParameters kept = h->parameters;
    writeScriptParameters(&h->session);
    if (h->descriptorParameters.descriptor != nullptr) {
      for (int i = 0; i < SCRIPT_KEY_COUNT; ++i) *scriptField(&h->parameters, *scriptKeyAt(i)) = -77;
      h->result = 0;
      readScriptParameters(&h->session);
      for (int i = 0; i < SCRIPT_KEY_COUNT; ++i)
        if (*scriptField(&h->parameters, *scriptKeyAt(i)) != *scriptField(&kept, *scriptKeyAt(i))) __builtin_trap();
      if (h->result != 0) __builtin_trap();
    }
  }

  if (h->descriptorParameters.descriptor != nullptr) hostDisposeHandle(h->descriptorParameters.descriptor);
  // Every handle and token of the run is gone again.
  if (!h->services.liveHandles.empty() || !h->services.readTokens.empty() || !h->services.writeTokens.empty())
    __builtin_trap();
  hostServicesRelease(&h->services);
  hostServicesActivate(nullptr);
  return 0;
}
