// Thin wrappers round the host's procedures. Each checks that the host really
// offers the service and otherwise falls back to plain platform memory, so
// the rest of the plug-in never asks whether a host can do something.
#pragma once

#include <cstddef>
#include <cstdint>

struct FilterRecord;
struct BufferProcs;
struct HandleProcs;
struct PIDescriptorParameters;
struct FilterSession;

// Presence checks.
bool bufferProcsUsable(const BufferProcs* procs);
bool handleProcsUsable(const HandleProcs* procs);
bool descriptorProcsUsable(const PIDescriptorParameters* parameters);

// Buffers: host buffer suite when usable, else zero-filled platform memory
// (identifier 0). allocateBuffer returns the locked address or null.
void* allocateBuffer(size_t bytes, intptr_t* identifier, BufferProcs* procs);
// Frees either kind and clears the caller's address and identifier.
void freeBuffer(void** address, intptr_t* identifier, BufferProcs* procs);

// Handles: the host's handle suite when usable, else an emulated handle (a
// record of the data pointer and the signature "OTOF").
using HostHandle = void*;
HostHandle newHandle(HandleProcs* procs, int32_t size);
void disposeHandle(HandleProcs* procs, HostHandle handle);
void* lockHandle(HandleProcs* procs, HostHandle handle, bool moveHigh);
void unlockHandle(HandleProcs* procs, HostHandle handle);
