#include "platform/memory.h"

#include <windows.h>

namespace {
size_t failingSize = 0;
}

void platformFailAllocationsOfSize(size_t bytes) { failingSize = bytes; }

// GMEM_MOVEABLE | GMEM_ZEROINIT (66), locked at once; the block is found
// again from its address through GlobalHandle when it is freed.
void* platformAllocate(size_t bytes) {
  if (bytes == 0 || (failingSize != 0 && bytes == failingSize)) return nullptr;
  HGLOBAL handle = GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, bytes);
  if (handle == nullptr) return nullptr;
  void* block = GlobalLock(handle);
  if (block == nullptr) GlobalFree(handle);
  return block;
}

void platformFree(void* block) {
  if (block == nullptr) return;
  HGLOBAL handle = GlobalHandle(block);
  if (handle == nullptr) return;
  GlobalUnlock(handle);
  GlobalFree(handle);
}
