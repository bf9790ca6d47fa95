#include "pihost/host_profiles.h"

#include <cstring>

#include "pi/plugin_interface.h"

namespace {

// Rows padded by three 16-bit words: an odd number of words, as some hosts
// align rows to their own liking rather than to the pixel.
constexpr int32_t kPaddedRowBytes = 6;

const HostProfile kProfiles[] = {
    {"plain", "the host as the published interface describes it", false, false, false, false, 0, 0, false},
    {"zero-versions", "buffer and handle suites filled in, their versions left at 0", true, false, false, false, 0,
     0, false},
    {"no-finish", "the Finish selector is never called", false, true, false, false, 0, 0, false},
    {"no-descriptors", "no descriptor suite, and filterCase 0", false, false, true, false, 0, 0, false},
    {"no-out-layer-planes", "outLayerPlanes, outNonLayerPlanes and outTransparencyMask left 0", false, false, false,
     true, 0, 0, false},
    {"padded-rows", "buffer rows padded by 6 bytes beyond width times planes", false, false, false, false,
     kPaddedRowBytes, 0, false},
    {"psp8", "the host signature PSP8", false, false, false, false, 0, fourCharCode("PSP8"), false},
    {"psp9", "the host signature PSP9", false, false, false, false, 0, fourCharCode("PSP9"), false},
    {"keeps-data", "inData and outData never null; a plug-in that nulls them crashes such a host", false, false,
     false, false, 0, 0, true},
};

}  // namespace

int hostProfileCount() { return int(sizeof kProfiles / sizeof kProfiles[0]); }

const HostProfile& hostProfileAt(int index) {
  return (index >= 0 && index < hostProfileCount()) ? kProfiles[index] : kProfiles[0];
}

int findHostProfile(const char* name) {
  for (int i = 0; i < hostProfileCount(); ++i)
    if (std::strcmp(kProfiles[i].name, name) == 0) return i;
  return -1;
}
