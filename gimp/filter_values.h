// The eleven parameters of the GIMP procedure plug-in-marrowline, in the
// order of the script keys (edge style, smoothing, tweaker, edge extent,
// source, colorize, chrome style, angle, remove noise, glue, flip), as the
// plain integers a Script-Fu or Python-Fu caller passes. They reach the
// module as the descriptor a recorded action would play, so the filter reads
// them exactly as it reads a host's script.
//
// Nothing here needs libgimp: the tests check it without GIMP.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "pihost/host_services.h"
#include "session/terminology.h"

struct GimpFilterValues {
  int32_t value[SCRIPT_KEY_COUNT];
};

// The filter's own defaults.
GimpFilterValues defaultFilterValues();

// The procedure's name for value `index` ("edge-style"); empty outside 0..10.
std::string filterValueName(int index);
// Its help: the range and, for an enumeration, every number with its name
// ("1..3: 1 top to bottom, 2 left to right, 3 both").
std::string filterValueHelp(int index);

// Empty when every value lies in its range, else a message naming the first
// one outside it, e.g. "edge style 14 is outside 1..13".
std::string filterValuesError(const GimpFilterValues& values);

// The values as descriptor items in the order of the key table.
std::vector<DescriptorItem> descriptorItemsOfValues(const GimpFilterValues& values);

// Last values as GIMP keeps them (gimp_set_data): a tag, so that data of a
// different layout from another version is not taken for ours.
struct StoredFilterValues {
  uint32_t tag;
  GimpFilterValues values;
};
constexpr uint32_t STORED_VALUES_TAG = fourCharCode("MLg1");
