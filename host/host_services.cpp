#include "host/host_services.h"

#include <cstring>

#include "pi/plugin_interface.h"
#include "platform/memory.h"

// The wrappers insist on the published versions exactly. A version above
// the one named is refused like one below it: a suite of another version may
// have another layout. Some hosts fill the pointers but leave the version at
// 0; they are served from plain memory.

bool bufferProcsUsable(const BufferProcs* procs) {
  return procs != nullptr && procs->bufferProcsVersion == kCurrentBufferProcsVersion &&
         procs->numBufferProcs >= kCurrentBufferProcsCount && procs->allocateProc != nullptr &&
         procs->lockProc != nullptr && procs->unlockProc != nullptr && procs->freeProc != nullptr &&
         procs->spaceProc != nullptr;
}

bool handleProcsUsable(const HandleProcs* procs) {
  return procs != nullptr && procs->handleProcsVersion == kCurrentHandleProcsVersion &&
         procs->numHandleProcs >= kCurrentHandleProcsCount && procs->newProc != nullptr &&
         procs->disposeProc != nullptr && procs->getSizeProc != nullptr && procs->setSizeProc != nullptr;
}

namespace {

// Every entry of a read suite must be set; the published suite has 18.
bool allReadProcsSet(const ReadDescriptorProcs* r) {
  const void* entries[] = {
      reinterpret_cast<const void*>(r->openReadDescriptorProc),
      reinterpret_cast<const void*>(r->closeReadDescriptorProc),
      reinterpret_cast<const void*>(r->getKeyProc),
      reinterpret_cast<const void*>(r->getIntegerProc),
      reinterpret_cast<const void*>(r->getFloatProc),
      reinterpret_cast<const void*>(r->getUnitFloatProc),
      reinterpret_cast<const void*>(r->getBooleanProc),
      reinterpret_cast<const void*>(r->getTextProc),
      reinterpret_cast<const void*>(r->getAliasProc),
      reinterpret_cast<const void*>(r->getEnumeratedProc),
      reinterpret_cast<const void*>(r->getClassProc),
      reinterpret_cast<const void*>(r->getSimpleReferenceProc),
      reinterpret_cast<const void*>(r->getObjectProc),
      reinterpret_cast<const void*>(r->getCountProc),
      reinterpret_cast<const void*>(r->getStringProc),
      reinterpret_cast<const void*>(r->getPinnedIntegerProc),
      reinterpret_cast<const void*>(r->getPinnedFloatProc),
      reinterpret_cast<const void*>(r->getPinnedUnitFloatProc),
  };
  for (const void* entry : entries)
    if (entry == nullptr) return false;
  return true;
}

}  // namespace

bool descriptorProcsUsable(const PIDescriptorParameters* p) {
  if (p == nullptr || p->descriptorParametersVersion != kCurrentDescriptorParametersVersion) return false;
  const ReadDescriptorProcs* r = p->readDescriptorProcs;
  const WriteDescriptorProcs* w = p->writeDescriptorProcs;
  if (r == nullptr || w == nullptr) return false;
  if (r->readDescriptorProcsVersion != kCurrentReadDescriptorProcsVersion ||
      w->writeDescriptorProcsVersion != kCurrentWriteDescriptorProcsVersion)
    return false;
  return r->numReadDescriptorProcs >= kCurrentReadDescriptorProcsCount && allReadProcsSet(r) &&
         w->numWriteDescriptorProcs >= kCurrentWriteDescriptorProcsCount;
}

void* allocateBuffer(size_t bytes, intptr_t* identifier, BufferProcs* procs) {
  *identifier = 0;
  if (bytes == 0) return nullptr;
  if (bufferProcsUsable(procs) && bytes <= 0x7fffffff) {
    BufferID id = nullptr;
    if (procs->allocateProc(static_cast<int32_t>(bytes), &id) == 0 && id != nullptr) {
      void* address = procs->lockProc(id, true);
      if (address != nullptr) {
        *identifier = reinterpret_cast<intptr_t>(id);
        return address;
      }
      procs->freeProc(id);
    }
  }
  // A host that refuses one size may still serve the next; this request
  // comes from platform memory.
  return platformAllocate(bytes);
}

void freeBuffer(void** address, intptr_t* identifier, BufferProcs* procs) {
  if (*identifier != 0) {
    BufferID id = reinterpret_cast<BufferID>(*identifier);
    if (bufferProcsUsable(procs)) {
      procs->unlockProc(id);
      procs->freeProc(id);
    }
  } else if (*address != nullptr) {
    platformFree(*address);
  }
  *address = nullptr;
  *identifier = 0;
}

namespace {

// An emulated handle: the data pointer, then the signature "OTOF".
struct EmulatedHandle {
  void* data;
  char signature[4];
};

}  // namespace

HostHandle newHandle(HandleProcs* procs, int32_t size) {
  if (handleProcsUsable(procs)) return procs->newProc(size);
  if (size < 0) return nullptr;
  auto* record = static_cast<EmulatedHandle*>(platformAllocate(sizeof(EmulatedHandle)));
  if (record == nullptr) return nullptr;
  record->data = platformAllocate(size > 0 ? static_cast<size_t>(size) : 1);
  if (record->data == nullptr) {
    platformFree(record);
    return nullptr;
  }
  std::memcpy(record->signature, "OTOF", 4);
  return record;
}

void disposeHandle(HandleProcs* procs, HostHandle handle) {
  if (handle == nullptr) return;
  if (handleProcsUsable(procs)) {
    procs->disposeProc(static_cast<Handle>(handle));
    return;
  }
  auto* record = static_cast<EmulatedHandle*>(handle);
  platformFree(record->data);
  platformFree(record);
}

void* lockHandle(HandleProcs* procs, HostHandle handle, bool moveHigh) {
  if (handle == nullptr) return nullptr;
  if (handleProcsUsable(procs) && procs->lockProc != nullptr)
    return procs->lockProc(static_cast<Handle>(handle), moveHigh);
  if (handleProcsUsable(procs)) return nullptr;
  return static_cast<EmulatedHandle*>(handle)->data;
}

void unlockHandle(HandleProcs* procs, HostHandle handle) {
  if (handle == nullptr) return;
  if (handleProcsUsable(procs) && procs->unlockProc != nullptr) procs->unlockProc(static_cast<Handle>(handle));
}
