// One use of a filter by the substitute host: the FilterRecord filled for a
// picture, `advanceState` serving the rectangles the plug-in asks for, and
// the selectors played in the order a real host plays them:
//
//   [Parameters]  Prepare  Start  (fill buffers, Continue)*  Finish
//
// Continue is played while any of inRect, outRect, maskRect is set after
// Start; a plug-in that never empties them is stopped. An error in any
// selector ends the run there, and Finish is not called.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "pi/plugin_interface.h"
#include "pihost/host_image.h"
#include "pihost/host_options.h"
#include "pihost/host_services.h"

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kHostAddressChecks = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(memory_sanitizer)
constexpr bool kHostAddressChecks = true;
#else
constexpr bool kHostAddressChecks = false;
#endif
#else
constexpr bool kHostAddressChecks = false;
#endif

struct HostSession {
  HostSession() = default;
  // The record points into the session: it never moves.
  HostSession(const HostSession&) = delete;
  HostSession& operator=(const HostSession&) = delete;

  HostOptions options;
  HostImage source;    // the picture as read; inData comes from here
  HostImage filtered;  // the plug-in's output, committed rectangle by rectangle
  HostMask mask;
  bool haveMask = false;

  FilterRecord record{};
  HostServices services;
  PlatformData platform{};
  PIDescriptorParameters descriptorParameters{};
  Str255 errorString{};

  // Buffers of the last advanceState, and the output rectangle they serve.
  HostBuffer inBuffer, outBuffer, maskBuffer;
  // What inData and outData point at between calls for a host that never
  // leaves them null (the keeps-data profile).
  uint8_t idleData[16] = {};
  bool outputPending = false;
  Rect pendingOutRect{};
  int32_t pendingOutLoPlane = 0, pendingOutHiPlane = 0;
  bool commitOutput = true;  // false for renders whose output is not the picture (preview)

  // Whether advanceState may hand out rows of `source`, `filtered` and the
  // mask themselves where no conversion is needed, instead of copies. Off in
  // builds with address checks, where separate buffers catch a plug-in
  // reading or writing past its rectangle.
  bool lendPictureRows = !kHostAddressChecks;

  intptr_t data = 0;
  int16_t result = 0;
  int16_t lastSelector = -1;
  int64_t advanceCalls = 0;
  int64_t continueCalls = 0;

  // A protocol failure of the plug-in (not a result code), e.g. rectangles
  // never emptied; empty when none.
  std::string protocolError;

  // The descriptor the host played to the plug-in; the host's own, even
  // when a plug-in without a usable handle suite cannot dispose of it.
  Handle playedDescriptor = nullptr;

  // For a host that brings the picture in while the filter runs: called
  // before each request's buffers are cut, with the rows the request reads
  // or writes (top, bottom one past; empty when none) and the top row of its
  // output (-1 when it has none); returns once those rows are present in
  // `source` and `filtered`. Null for a picture that is all there at the start.
  void (*rowsHook)(void* context, int32_t top, int32_t bottom, int32_t outputTop) = nullptr;
  void* rowsHookContext = nullptr;

  // The descriptor in `descriptor` after Finish.
  bool haveReturnedDescriptor = false;
  std::vector<DescriptorItem> returnedDescriptor;
};

// Continue calls after which the host gives up on a plug-in, and how often
// the same rectangles may be asked for in a row.
constexpr int64_t kMaxContinueCalls = int64_t(1) << 20;
constexpr int kMaxRepeatedRequests = 64;

// Fills the record for `source` (and the mask, when given) as the options
// and their host profile say. The session keeps the picture twice, as read
// and as filtered; pass it with std::move to spare a third copy. False with
// a one-line message for a selection outside the picture or a mask of the
// wrong size.
bool hostSessionSetup(HostSession* session, const HostOptions& options, HostImage source, const HostMask* mask,
                      std::string* error);

// Plays the selectors; gives the last result word (0 on success). A
// protocol failure gives errPlugInHostInsufficient with `protocolError` set.
int16_t hostSessionRun(HostSession* session, PluginEntryProc entry);

// For runs that play the selectors themselves (the preview mode): make the
// session the one advanceState and the suites serve, call one selector, and
// let go of the session again.
void hostSessionActivate(HostSession* session);
void hostSessionCallSelector(HostSession* session, PluginEntryProc entry, int16_t selector);
void hostSessionDeactivate(HostSession* session);

// The picture as the host leaves it: the filtered rectangle laid into the
// original, by the mask when there is one and the plug-in left autoMask set.
void hostSessionComposeResult(const HostSession& session, HostImage* result);
// The same into `filtered` itself, without a third copy of the picture.
void hostSessionComposeInPlace(HostSession* session);

// Buffers and handles still alive that the plug-in should have given back:
// every buffer, and every handle but the session's data handle, the
// parameters handle and the descriptors the host holds.
int64_t hostSessionLeakedBlocks(const HostSession& session);

// Frees everything the plug-in left behind.
void hostSessionRelease(HostSession* session);

// The host's advanceState; public so that tests can serve a fake plug-in.
OSErr PI_CALL hostAdvanceState(void);

// A short meaning of a result word, e.g. "userCanceledErr: cancelled".
std::string resultCodeMeaning(int16_t result);
