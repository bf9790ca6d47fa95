#include "platform/memory.h"

#include <cstdlib>

namespace {
size_t failingSize = 0;
}

void platformFailAllocationsOfSize(size_t bytes) { failingSize = bytes; }

void* platformAllocate(size_t bytes) {
  if (bytes == 0 || (failingSize != 0 && bytes == failingSize)) return nullptr;
  return std::calloc(1, bytes);
}

void platformFree(void* block) { std::free(block); }
