// A small stand-in filter for testing the substitute host without the real
// module: it inverts the colour planes (not transparency) of the filter
// rectangle, tile by tile through advanceState, or in one piece through
// Continue when the host has no advanceState. It reads the script
// descriptor at Start and writes the same keys back at Finish.
#pragma once

#include <cstdint>

#include "pi/plugin_interface.h"

constexpr int16_t kFakeTileSize = 32;

void PI_CALL fakeInvertPlugin(int16_t selector, FilterRecord* record, intptr_t* data, int16_t* result);

// What the fake plug-in saw, for the tests.
struct FakePluginLog {
  int selectorCalls[6];
  int tiles;
  int keysRead;
  int16_t closeReadResult;
  int32_t smoothingRead;  // the value of key '0002', -1 when absent
};
FakePluginLog* fakePluginLog();
void fakePluginReset();
