// The procedure suites the substitute host serves: buffers, handles, the
// scripting descriptors, and the record's own callbacks (abortProc,
// progressProc, displayPixels).
//
// The interface's procedures carry no context argument, so the suites reach
// their state through one active `HostServices`, set by
// `hostServicesActivate`. The host is single-threaded like the interface.
#pragma once

#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "pi/plugin_interface.h"
#include "pihost/host_image.h"

// One value of a descriptor as the host keeps it.
struct DescriptorItem {
  DescriptorKeyID key = 0;
  DescType type = 0;           // typeInteger, typeBoolean or typeEnumerated
  DescriptorEnumTypeID enumType = 0;  // for typeEnumerated
  int32_t value = 0;           // the integer, 0/1, or the enumeration code
};

struct HostServices {
  // Procedure tables as handed out; version and count can be changed to
  // play hosts with odd suites.
  BufferProcs bufferProcs{};
  HandleProcs handleProcs{};
  ReadDescriptorProcs readDescriptorProcs{};
  WriteDescriptorProcs writeDescriptorProcs{};

  // allocateProc fails with memFullErr for exactly this size (-1: never).
  int64_t failAllocateSize = -1;
  // The allocation through the buffer and handle suites (allocateProc,
  // newProc, a growing setSizeProc) with this number, counted from 1, fails
  // with memFullErr (-1: none). `suiteAllocations` counts them all.
  int64_t failAllocation = -1;
  int64_t suiteAllocations = 0;
  // abortProc answers true from call cancelAfter + 1 on (-1: never).
  int64_t cancelAfter = -1;
  int64_t abortCalls = 0;

  // progressProc: one "DONE TOTAL" line per call into this file, and a bar
  // on stderr when `progressBar` is set.
  FILE* progressLog = nullptr;
  bool progressBar = false;
  int64_t progressCalls = 0;
  int32_t lastProgressDone = 0;
  int32_t lastProgressTotal = 0;
  int lastBarPercent = -1;

  // A host program of its own (the GIMP plug-in) follows the progress and
  // answers abortProc through these, with `hookContext` as their argument.
  void (*progressHook)(void* context, int32_t done, int32_t total) = nullptr;
  bool (*abortHook)(void* context) = nullptr;
  void* hookContext = nullptr;

  // displayPixels: how often it was called and the last picture shown, as
  // 8-bit samples (for a later preview mode).
  int64_t displayCalls = 0;
  HostImage lastDisplayed;

  // Live memory, for leak checks: handle records and buffer records by address.
  std::map<void*, int32_t> liveHandles;   // record -> size
  std::map<void*, int32_t> liveBuffers;   // record -> size
  int64_t liveBufferBytes = 0;  // bytes in live buffers, and the most at once
  int64_t peakBufferBytes = 0;
  int64_t allocateCalls = 0;
  int64_t failedAllocations = 0;

  // Open descriptor tokens.
  std::map<void*, int> readTokens;
  std::map<void*, int> writeTokens;
};

// Fills the procedure tables with the host's procedures at their published
// versions and counts, and makes `services` the active one. Null clears it.
void hostServicesInit(HostServices* services);
void hostServicesActivate(HostServices* services);
// Frees every handle and buffer still alive and every open token.
void hostServicesRelease(HostServices* services);

// The record's callbacks.
Boolean PI_CALL hostAbortProc(void);
void PI_CALL hostProgressProc(int32_t done, int32_t total);
OSErr PI_CALL hostDisplayPixels(const PSPixelMap* source, const VRect* sourceRect, int32_t destinationRow,
                                int32_t destinationColumn, void* platformContext);
// Ends the progress bar's line on stderr, if one was drawn.
void hostProgressFinish(HostServices* services);

// Handles of the active services, for the host's own use too.
Handle hostNewHandle(int32_t size);
void hostDisposeHandle(Handle handle);
int32_t hostHandleSize(Handle handle);

// The host's descriptor format inside a handle: the items one behind the other.
Handle descriptorHandleFromItems(const std::vector<DescriptorItem>& items);
// false when the handle is not a descriptor of this host.
bool descriptorItemsFromHandle(Handle handle, std::vector<DescriptorItem>* items);
