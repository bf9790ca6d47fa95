#include "pihost/host_services.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace {

HostServices* activeServices = nullptr;

// A handle is the address of this record's first field, so a plug-in that
// dereferences the handle directly finds the data block.
struct HandleRecord {
  char* data;
  int32_t size;
};

// A buffer id is the address of this record.
struct BufferRecord {
  char* data;
  int32_t size;
  int32_t locks;
};

// Fresh buffer memory is not cleared by hosts; filling it with a pattern
// shows a plug-in that relies on zeros.
constexpr unsigned char kFreshBufferPattern = 0xA5;
constexpr int32_t kBufferSpace = 512 * 1024 * 1024;

HandleRecord* findHandle(Handle handle) {
  if (!activeServices || !handle) return nullptr;
  auto it = activeServices->liveHandles.find(static_cast<void*>(handle));
  return it == activeServices->liveHandles.end() ? nullptr : reinterpret_cast<HandleRecord*>(handle);
}

// Counts one allocation through the suites; true when it is the one to fail.
bool allocationFails() {
  activeServices->suiteAllocations++;
  if (activeServices->suiteAllocations != activeServices->failAllocation) return false;
  activeServices->failedAllocations++;
  return true;
}

BufferRecord* findBuffer(BufferID id) {
  if (!activeServices || !id) return nullptr;
  auto it = activeServices->liveBuffers.find(id);
  return it == activeServices->liveBuffers.end() ? nullptr : static_cast<BufferRecord*>(id);
}

// ---- buffers

OSErr PI_CALL allocateBuffer(int32_t size, BufferID* bufferID) {
  if (!bufferID) return paramErr;
  *bufferID = nullptr;
  if (!activeServices) return memFullErr;
  activeServices->allocateCalls++;
  if (size < 0) return paramErr;
  if (activeServices->failAllocateSize >= 0 && size == activeServices->failAllocateSize) {
    activeServices->failedAllocations++;
    return memFullErr;
  }
  if (allocationFails()) return memFullErr;
  auto* record = static_cast<BufferRecord*>(std::malloc(sizeof(BufferRecord)));
  char* data = static_cast<char*>(std::malloc(size_t(std::max(size, 1))));
  if (!record || !data) {
    std::free(record);
    std::free(data);
    return memFullErr;
  }
  std::memset(data, kFreshBufferPattern, size_t(size));
  *record = BufferRecord{data, size, 0};
  activeServices->liveBuffers[record] = size;
  activeServices->liveBufferBytes += size;
  if (activeServices->liveBufferBytes > activeServices->peakBufferBytes)
    activeServices->peakBufferBytes = activeServices->liveBufferBytes;
  *bufferID = record;
  return noErr;
}

Ptr PI_CALL lockBuffer(BufferID bufferID, Boolean) {
  BufferRecord* record = findBuffer(bufferID);
  if (!record) return nullptr;
  record->locks++;
  return record->data;
}

void PI_CALL unlockBuffer(BufferID bufferID) {
  BufferRecord* record = findBuffer(bufferID);
  if (record && record->locks > 0) record->locks--;
}

void PI_CALL freeBuffer(BufferID bufferID) {
  BufferRecord* record = findBuffer(bufferID);
  if (!record) return;
  activeServices->liveBuffers.erase(record);
  activeServices->liveBufferBytes -= record->size;
  std::free(record->data);
  std::free(record);
}

int32_t PI_CALL bufferSpace(void) { return kBufferSpace; }

// ---- handles

Handle PI_CALL newHandleProc(int32_t size) {
  if (!activeServices || allocationFails()) return nullptr;
  return hostNewHandle(size);
}

void PI_CALL disposeHandleProc(Handle handle) { hostDisposeHandle(handle); }

int32_t PI_CALL getHandleSizeProc(Handle handle) { return hostHandleSize(handle); }

OSErr PI_CALL setHandleSizeProc(Handle handle, int32_t newSize) {
  HandleRecord* record = findHandle(handle);
  if (!record || newSize < 0) return nilHandleErr;
  if (newSize > record->size && allocationFails()) return memFullErr;
  char* data = static_cast<char*>(std::realloc(record->data, size_t(std::max(newSize, 1))));
  if (!data) return memFullErr;
  if (newSize > record->size) std::memset(data + record->size, 0, size_t(newSize - record->size));
  record->data = data;
  record->size = newSize;
  activeServices->liveHandles[record] = newSize;
  return noErr;
}

Ptr PI_CALL lockHandleProc(Handle handle, Boolean) {
  HandleRecord* record = findHandle(handle);
  return record ? record->data : nullptr;
}

void PI_CALL unlockHandleProc(Handle) {}

void PI_CALL recoverSpaceProc(int32_t) {}

// ---- descriptors

// The host's descriptor inside a handle: a signature word, then 16 bytes per item.
constexpr uint32_t kDescriptorSignature = fourCharCode("MLds");
constexpr size_t kItemBytes = 16;

struct ReadToken {
  std::vector<DescriptorItem> items;
  size_t next = 0;
  const DescriptorItem* current = nullptr;
  DescriptorKeyID* keyList = nullptr;  // the plug-in's list; keys found become typeNull
  OSErr lastError = noErr;
};

struct WriteToken {
  std::vector<DescriptorItem> items;
};

ReadToken* findReadToken(PIReadDescriptor token) {
  if (!activeServices || !token || !activeServices->readTokens.count(token)) return nullptr;
  return static_cast<ReadToken*>(token);
}

WriteToken* findWriteToken(PIWriteDescriptor token) {
  if (!activeServices || !token || !activeServices->writeTokens.count(token)) return nullptr;
  return static_cast<WriteToken*>(token);
}

PIReadDescriptor PI_CALL openReadDescriptor(PIDescriptorHandle descriptor, DescriptorKeyIDArray keys) {
  if (!activeServices || !descriptor) return nullptr;
  auto* token = new ReadToken();
  if (!descriptorItemsFromHandle(descriptor, &token->items)) {
    delete token;
    return nullptr;
  }
  // The list is the plug-in's; hosts mark what they found in it.
  token->keyList = const_cast<DescriptorKeyID*>(keys);
  activeServices->readTokens[token] = 1;
  return token;
}

OSErr PI_CALL closeReadDescriptor(PIReadDescriptor descriptor) {
  ReadToken* token = findReadToken(descriptor);
  if (!token) return paramErr;
  OSErr result = token->lastError;
  if (result == noErr && token->keyList) {
    for (const DescriptorKeyID* key = token->keyList; *key != 0; ++key) {
      if (*key != typeNull) {
        result = errAEParamMissed;
        break;
      }
    }
  }
  activeServices->readTokens.erase(token);
  delete token;
  return result;
}

Boolean PI_CALL getKey(PIReadDescriptor descriptor, DescriptorKeyID* key, DescType* type, int32_t* flags) {
  ReadToken* token = findReadToken(descriptor);
  if (!token || token->next >= token->items.size()) return 0;
  token->current = &token->items[token->next++];
  if (key) *key = token->current->key;
  if (type) *type = token->current->type;
  if (flags) *flags = 0;
  if (token->keyList) {
    for (DescriptorKeyID* entry = token->keyList; *entry != 0; ++entry) {
      if (*entry == token->current->key) *entry = typeNull;
    }
  }
  return 1;
}

// The value under the present key when it has the wanted type; the token
// keeps the error otherwise.
const DescriptorItem* currentItem(PIReadDescriptor descriptor, DescType wanted, OSErr* error) {
  ReadToken* token = findReadToken(descriptor);
  if (!token) {
    *error = paramErr;
    return nullptr;
  }
  if (!token->current) {
    *error = errAEDescNotFound;
  } else if (token->current->type != wanted) {
    *error = errAEWrongDataType;
  } else {
    *error = noErr;
    return token->current;
  }
  token->lastError = *error;
  return nullptr;
}

OSErr PI_CALL getInteger(PIReadDescriptor descriptor, int32_t* value) {
  OSErr error;
  const DescriptorItem* item = currentItem(descriptor, typeInteger, &error);
  if (item && value) *value = item->value;
  return error;
}

OSErr PI_CALL getPinnedInteger(PIReadDescriptor descriptor, int32_t minimum, int32_t maximum, int32_t* value) {
  OSErr error;
  const DescriptorItem* item = currentItem(descriptor, typeInteger, &error);
  if (item && value) *value = std::min(std::max(item->value, minimum), maximum);
  return error;
}

OSErr PI_CALL getBoolean(PIReadDescriptor descriptor, Boolean* value) {
  OSErr error;
  const DescriptorItem* item = currentItem(descriptor, typeBoolean, &error);
  if (item && value) *value = item->value ? 1 : 0;
  return error;
}

OSErr PI_CALL getEnumerated(PIReadDescriptor descriptor, DescriptorEnumID* value) {
  OSErr error;
  const DescriptorItem* item = currentItem(descriptor, typeEnumerated, &error);
  if (item && value) *value = uint32_t(item->value);
  return error;
}

// Value types this host never stores: reading one is a type error.
OSErr unsupportedRead(PIReadDescriptor descriptor) {
  OSErr error;
  currentItem(descriptor, 0, &error);
  return error;
}
OSErr PI_CALL getFloat(PIReadDescriptor d, double*) { return unsupportedRead(d); }
OSErr PI_CALL getUnitFloat(PIReadDescriptor d, DescriptorUnitID*, double*) { return unsupportedRead(d); }
OSErr PI_CALL getText(PIReadDescriptor d, Handle*) { return unsupportedRead(d); }
OSErr PI_CALL getAlias(PIReadDescriptor d, Handle*) { return unsupportedRead(d); }
OSErr PI_CALL getClass(PIReadDescriptor d, DescType*) { return unsupportedRead(d); }
OSErr PI_CALL getSimpleReference(PIReadDescriptor d, PIDescriptorSimpleReference*) { return unsupportedRead(d); }
OSErr PI_CALL getObject(PIReadDescriptor d, DescType*, PIDescriptorHandle*) { return unsupportedRead(d); }
OSErr PI_CALL getCount(PIReadDescriptor d, uint32_t*) { return unsupportedRead(d); }
OSErr PI_CALL getString(PIReadDescriptor d, Str255*) { return unsupportedRead(d); }
OSErr PI_CALL getPinnedFloat(PIReadDescriptor d, const double*, const double*, double*) { return unsupportedRead(d); }
OSErr PI_CALL getPinnedUnitFloat(PIReadDescriptor d, const double*, const double*, DescriptorUnitID*, double*) {
  return unsupportedRead(d);
}

PIWriteDescriptor PI_CALL openWriteDescriptor(void) {
  if (!activeServices) return nullptr;
  auto* token = new WriteToken();
  activeServices->writeTokens[token] = 1;
  return token;
}

OSErr PI_CALL closeWriteDescriptor(PIWriteDescriptor descriptor, PIDescriptorHandle* newDescriptor) {
  WriteToken* token = findWriteToken(descriptor);
  if (!token) return paramErr;
  Handle handle = descriptorHandleFromItems(token->items);
  activeServices->writeTokens.erase(token);
  delete token;
  if (newDescriptor) *newDescriptor = handle;
  else hostDisposeHandle(handle);
  return handle ? noErr : memFullErr;
}

OSErr putItem(PIWriteDescriptor descriptor, const DescriptorItem& item) {
  WriteToken* token = findWriteToken(descriptor);
  if (!token) return paramErr;
  for (DescriptorItem& existing : token->items) {
    if (existing.key == item.key) {  // a key written twice keeps its place and takes the new value
      existing = item;
      return noErr;
    }
  }
  token->items.push_back(item);
  return noErr;
}

OSErr PI_CALL putInteger(PIWriteDescriptor d, DescriptorKeyID key, int32_t value) {
  return putItem(d, DescriptorItem{key, typeInteger, 0, value});
}
OSErr PI_CALL putBoolean(PIWriteDescriptor d, DescriptorKeyID key, Boolean value) {
  return putItem(d, DescriptorItem{key, typeBoolean, 0, value ? 1 : 0});
}
OSErr PI_CALL putEnumerated(PIWriteDescriptor d, DescriptorKeyID key, DescriptorEnumTypeID type,
                            DescriptorEnumID value) {
  return putItem(d, DescriptorItem{key, typeEnumerated, type, int32_t(value)});
}

// Value types this host does not keep.
OSErr unsupportedWrite(PIWriteDescriptor d) { return findWriteToken(d) ? errPlugInHostInsufficient : paramErr; }
OSErr PI_CALL putFloat(PIWriteDescriptor d, DescriptorKeyID, const double*) { return unsupportedWrite(d); }
OSErr PI_CALL putUnitFloat(PIWriteDescriptor d, DescriptorKeyID, DescriptorUnitID, const double*) {
  return unsupportedWrite(d);
}
OSErr PI_CALL putText(PIWriteDescriptor d, DescriptorKeyID, Handle) { return unsupportedWrite(d); }
OSErr PI_CALL putAlias(PIWriteDescriptor d, DescriptorKeyID, Handle) { return unsupportedWrite(d); }
OSErr PI_CALL putClass(PIWriteDescriptor d, DescriptorKeyID, DescType) { return unsupportedWrite(d); }
OSErr PI_CALL putSimpleReference(PIWriteDescriptor d, DescriptorKeyID, const PIDescriptorSimpleReference*) {
  return unsupportedWrite(d);
}
OSErr PI_CALL putObject(PIWriteDescriptor d, DescriptorKeyID, DescType, PIDescriptorHandle) {
  return unsupportedWrite(d);
}
OSErr PI_CALL putCount(PIWriteDescriptor d, DescriptorKeyID, uint32_t) { return unsupportedWrite(d); }
OSErr PI_CALL putString(PIWriteDescriptor d, DescriptorKeyID, const unsigned char*) { return unsupportedWrite(d); }
OSErr PI_CALL putScopedClass(PIWriteDescriptor d, DescriptorKeyID, DescType) { return unsupportedWrite(d); }
OSErr PI_CALL putScopedObject(PIWriteDescriptor d, DescriptorKeyID, DescType, PIDescriptorHandle) {
  return unsupportedWrite(d);
}

void drawProgressBar(HostServices* services, int32_t done, int32_t total) {
  if (total <= 0) return;
  const int64_t clamped = std::min<int64_t>(std::max<int64_t>(done, 0), total);
  const int percent = int(clamped * 100 / total);
  if (percent == services->lastBarPercent) return;
  services->lastBarPercent = percent;
  constexpr int kWidth = 40;
  char bar[kWidth + 1];
  const int filled = percent * kWidth / 100;
  for (int i = 0; i < kWidth; ++i) bar[i] = i < filled ? '#' : '.';
  bar[kWidth] = 0;
  std::fprintf(stderr, "\rrendering [%s] %3d%%", bar, percent);
  std::fflush(stderr);
}

}  // namespace

void hostServicesInit(HostServices* services) {
  BufferProcs& b = services->bufferProcs;
  b.bufferProcsVersion = kCurrentBufferProcsVersion;
  b.numBufferProcs = kCurrentBufferProcsCount;
  b.allocateProc = allocateBuffer;
  b.lockProc = lockBuffer;
  b.unlockProc = unlockBuffer;
  b.freeProc = freeBuffer;
  b.spaceProc = bufferSpace;

  HandleProcs& h = services->handleProcs;
  h.handleProcsVersion = kCurrentHandleProcsVersion;
  h.numHandleProcs = kCurrentHandleProcsCount;
  h.newProc = newHandleProc;
  h.disposeProc = disposeHandleProc;
  h.getSizeProc = getHandleSizeProc;
  h.setSizeProc = setHandleSizeProc;
  h.lockProc = lockHandleProc;
  h.unlockProc = unlockHandleProc;
  h.recoverSpaceProc = recoverSpaceProc;
  h.disposeRegularHandleProc = disposeHandleProc;

  ReadDescriptorProcs& r = services->readDescriptorProcs;
  r.readDescriptorProcsVersion = kCurrentReadDescriptorProcsVersion;
  r.numReadDescriptorProcs = kCurrentReadDescriptorProcsCount;
  r.openReadDescriptorProc = openReadDescriptor;
  r.closeReadDescriptorProc = closeReadDescriptor;
  r.getKeyProc = getKey;
  r.getIntegerProc = getInteger;
  r.getFloatProc = getFloat;
  r.getUnitFloatProc = getUnitFloat;
  r.getBooleanProc = getBoolean;
  r.getTextProc = getText;
  r.getAliasProc = getAlias;
  r.getEnumeratedProc = getEnumerated;
  r.getClassProc = getClass;
  r.getSimpleReferenceProc = getSimpleReference;
  r.getObjectProc = getObject;
  r.getCountProc = getCount;
  r.getStringProc = getString;
  r.getPinnedIntegerProc = getPinnedInteger;
  r.getPinnedFloatProc = getPinnedFloat;
  r.getPinnedUnitFloatProc = getPinnedUnitFloat;

  WriteDescriptorProcs& w = services->writeDescriptorProcs;
  w.writeDescriptorProcsVersion = kCurrentWriteDescriptorProcsVersion;
  w.numWriteDescriptorProcs = kCurrentWriteDescriptorProcsCount;
  w.openWriteDescriptorProc = openWriteDescriptor;
  w.closeWriteDescriptorProc = closeWriteDescriptor;
  w.putIntegerProc = putInteger;
  w.putFloatProc = putFloat;
  w.putUnitFloatProc = putUnitFloat;
  w.putBooleanProc = putBoolean;
  w.putTextProc = putText;
  w.putAliasProc = putAlias;
  w.putEnumeratedProc = putEnumerated;
  w.putClassProc = putClass;
  w.putSimpleReferenceProc = putSimpleReference;
  w.putObjectProc = putObject;
  w.putCountProc = putCount;
  w.putStringProc = putString;
  w.putScopedClassProc = putScopedClass;
  w.putScopedObjectProc = putScopedObject;

  activeServices = services;
}

void hostServicesActivate(HostServices* services) { activeServices = services; }

void hostServicesRelease(HostServices* services) {
  for (auto& entry : services->liveHandles) {
    auto* record = static_cast<HandleRecord*>(entry.first);
    std::free(record->data);
    std::free(record);
  }
  services->liveHandles.clear();
  for (auto& entry : services->liveBuffers) {
    auto* record = static_cast<BufferRecord*>(entry.first);
    std::free(record->data);
    std::free(record);
  }
  services->liveBuffers.clear();
  for (auto& entry : services->readTokens) delete static_cast<ReadToken*>(entry.first);
  services->readTokens.clear();
  for (auto& entry : services->writeTokens) delete static_cast<WriteToken*>(entry.first);
  services->writeTokens.clear();
  if (activeServices == services) activeServices = nullptr;
}

Handle hostNewHandle(int32_t size) {
  if (!activeServices || size < 0) return nullptr;
  auto* record = static_cast<HandleRecord*>(std::malloc(sizeof(HandleRecord)));
  char* data = static_cast<char*>(std::calloc(size_t(std::max(size, 1)), 1));
  if (!record || !data) {
    std::free(record);
    std::free(data);
    return nullptr;
  }
  *record = HandleRecord{data, size};
  activeServices->liveHandles[record] = size;
  return reinterpret_cast<Handle>(record);
}

void hostDisposeHandle(Handle handle) {
  HandleRecord* record = findHandle(handle);
  if (!record) return;  // not one of ours: leave it alone
  activeServices->liveHandles.erase(record);
  std::free(record->data);
  std::free(record);
}

int32_t hostHandleSize(Handle handle) {
  HandleRecord* record = findHandle(handle);
  return record ? record->size : 0;
}

Handle descriptorHandleFromItems(const std::vector<DescriptorItem>& items) {
  Handle handle = hostNewHandle(int32_t(4 + items.size() * kItemBytes));
  if (!handle) return nullptr;
  char* p = *handle;
  std::memcpy(p, &kDescriptorSignature, 4);
  p += 4;
  for (const DescriptorItem& item : items) {
    const uint32_t words[4] = {item.key, item.type, item.enumType, uint32_t(item.value)};
    std::memcpy(p, words, kItemBytes);
    p += kItemBytes;
  }
  return handle;
}

bool descriptorItemsFromHandle(Handle handle, std::vector<DescriptorItem>* items) {
  HandleRecord* record = findHandle(handle);
  if (!record || record->size < 4 || (record->size - 4) % int32_t(kItemBytes) != 0) return false;
  uint32_t signature;
  std::memcpy(&signature, record->data, 4);
  if (signature != kDescriptorSignature) return false;
  items->clear();
  for (int32_t at = 4; at < record->size; at += int32_t(kItemBytes)) {
    uint32_t words[4];
    std::memcpy(words, record->data + at, kItemBytes);
    items->push_back(DescriptorItem{words[0], words[1], words[2], int32_t(words[3])});
  }
  return true;
}

Boolean PI_CALL hostAbortProc(void) {
  if (!activeServices) return 0;
  activeServices->abortCalls++;
  if (activeServices->abortHook && activeServices->abortHook(activeServices->hookContext)) return 1;
  return activeServices->cancelAfter >= 0 && activeServices->abortCalls > activeServices->cancelAfter;
}

void PI_CALL hostProgressProc(int32_t done, int32_t total) {
  if (!activeServices) return;
  activeServices->progressCalls++;
  activeServices->lastProgressDone = done;
  activeServices->lastProgressTotal = total;
  if (activeServices->progressLog) std::fprintf(activeServices->progressLog, "%d %d\n", int(done), int(total));
  if (activeServices->progressBar) drawProgressBar(activeServices, done, total);
  if (activeServices->progressHook) activeServices->progressHook(activeServices->hookContext, done, total);
}

void hostProgressFinish(HostServices* services) {
  if (services->progressBar && services->lastBarPercent >= 0) {
    std::fprintf(stderr, "\n");
    services->lastBarPercent = -1;
  }
}

OSErr PI_CALL hostDisplayPixels(const PSPixelMap* source, const VRect* sourceRect, int32_t, int32_t, void*) {
  if (!activeServices) return paramErr;
  activeServices->displayCalls++;
  if (!source || !sourceRect || source->version < 1 || !source->baseAddr) return paramErr;
  const VRect& r = *sourceRect;
  const VRect& b = source->bounds;
  if (r.right <= r.left || r.bottom <= r.top) return noErr;
  if (r.left < b.left || r.top < b.top || r.right > b.right || r.bottom > b.bottom) return paramErr;
  const int32_t planes = source->imageMode == plugInModeRGBColor ? 3 : 1;
  if (source->imageMode != plugInModeRGBColor && source->imageMode != plugInModeGrayScale) return paramErr;
  HostImage& shown = activeServices->lastDisplayed;
  hostImageAllocate(&shown, r.right - r.left, r.bottom - r.top, planes, false, 8, 0);
  const auto* base = static_cast<const uint8_t*>(source->baseAddr);
  for (int32_t y = r.top; y < r.bottom; ++y) {
    for (int32_t x = r.left; x < r.right; ++x) {
      const uint8_t* pixel = base + int64_t(y - b.top) * source->rowBytes + int64_t(x - b.left) * source->colBytes;
      uint8_t* out = &shown.bytes[hostSampleIndex(shown, x - r.left, y - r.top, 0)];
      for (int32_t p = 0; p < planes; ++p) out[p] = pixel[int64_t(p) * source->planeBytes];
    }
  }
  return noErr;
}
