// One use of the filter on a picture the GIMP plug-in has read from a
// drawable, through the substitute host's session: the same FilterRecord,
// selectors and sample conversions as marrowline-host, so both hosts give
// the same bytes for the same picture, rectangle and values.
//
// Nothing here needs libgimp.
#pragma once

#include <cstdint>
#include <string>

#include "gimp/filter_values.h"
#include "gimp/strip_transfer.h"
#include "pi/plugin_interface.h"
#include "pihost/host_image.h"

struct FilterRunHooks {
  // The host's progress, done of total; may be null.
  void (*progress)(void* context, int32_t done, int32_t total) = nullptr;
  // True when the user has cancelled; may be null.
  bool (*cancelled)(void* context) = nullptr;
  void* context = nullptr;
  // When set, the picture comes in and goes out through this transfer while
  // the filter runs (the picture passed in is only sized); it then answers
  // progress and cancelling instead of the two hooks above.
  StripTransfer* transfer = nullptr;
  uint8_t foreground[3] = {0, 0, 0};
  uint8_t background[3] = {255, 255, 255};
};

// Runs the module's entry over `picture` with the filter rectangle `bounds`
// (left, top, right, bottom in the picture; right and bottom one past) and
// the values played as a script without dialog. On success the picture holds
// the filtered result, unchanged outside `bounds`, and 0 comes back. Else the
// result word (userCanceledErr when cancelled) with a one-line message, and
// the picture is left as it was.
int16_t runFilterOverPicture(PluginEntryProc entry, HostImage* picture, int32_t left, int32_t top, int32_t right,
                             int32_t bottom, const GimpFilterValues& values, const FilterRunHooks& hooks,
                             std::string* message);
