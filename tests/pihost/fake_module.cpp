// The stand-in filter as a loadable module, for end-to-end runs of the
// marrowline-host program.
#include "tests/pihost/fake_plugin.h"

extern "C" PI_EXPORT void PI_CALL PluginMain(int16_t selector, FilterRecord* record, intptr_t* data,
                                             int16_t* result) {
  fakeInvertPlugin(selector, record, data, result);
}
