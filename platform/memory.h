// Plain memory of the platform, for hosts that offer none: zero-filled and
// moveable on Windows (GlobalAlloc), plain calloc elsewhere.
#pragma once

#include <cstddef>

void* platformAllocate(size_t bytes);  // zero-filled; null on failure
void platformFree(void* block);        // harmless on null

// A test hook: when set, the next allocations of exactly this size fail, so
// the fallbacks can be exercised. 0 turns it off.
void platformFailAllocationsOfSize(size_t bytes);
