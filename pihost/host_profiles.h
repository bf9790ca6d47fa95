// Named profiles of real hosts' quirks (--host-profile NAME). Each stands for
// a family of hosts that fill the FilterRecord or play the selectors a little
// differently from the published interface; running the plug-in under each
// shows that its fallbacks give the same picture.
#pragma once

#include <cstdint>

struct HostProfile {
  const char* name;
  const char* meaning;  // one line, for --help and the README
  // Suite pointers filled, but bufferProcsVersion and handleProcsVersion 0.
  bool zeroSuiteVersions;
  // The host never calls Finish.
  bool skipsFinish;
  // No descriptor suite at all, and filterCase 0 (not told).
  bool noDescriptorsCaseZero;
  // outLayerPlanes, outNonLayerPlanes and outTransparencyMask left 0.
  bool zeroOutLayerPlanes;
  // Bytes of padding at the end of every buffer row (0: none).
  int32_t rowPaddingBytes;
  // The host's signature (0: the default).
  uint32_t hostSig;
  // inData and outData always point at memory, even with empty rectangles,
  // and a plug-in that sets either to null ends the run as such hosts crash.
  bool cannotBearNullData;
};

// Profile 0 is "plain": the host as the interface describes it.
int hostProfileCount();
const HostProfile& hostProfileAt(int index);
// The index of a profile by name, or -1.
int findHostProfile(const char* name);
