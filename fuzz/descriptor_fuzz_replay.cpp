// The script parameters' replay series (main is replay_driver.cpp). Seeds
// are descriptors as a recording host keeps them: all eleven keys, one key,
// values of the wrong type, codes out of range or of another enumeration,
// keys that are not ours, a key given twice, under each host behaviour.
#include <initializer_list>

#include "session/terminology.h"
#include "pi/plugin_interface.h"
#include "replay_driver.h"

namespace {

// Items in the host's order of words, in the machine's byte order as the
// host's handle holds them.
void appendItem(FuzzBytes* bytes, uint32_t key, uint32_t type, uint32_t enumType, int32_t value) {
  for (uint32_t word : {key, type, enumType, uint32_t(value)})
    for (int shift = 0; shift < 32; shift += 8) bytes->push_back(static_cast<uint8_t>(word >> shift));
}

// control: bits 0-1 playInfo, 2-3 the host's signature, 4 no descriptor suite.
FuzzBytes descriptor(uint8_t control) { return FuzzBytes{control, 0, 0, 0}; }

FuzzBytes everyKey(uint8_t control) {
  FuzzBytes d = descriptor(control);
  const int32_t numbers[] = {7, 25, 60, 2, 3, 1, 4, 90, 0, 62, 1};
  for (int i = 0; i < SCRIPT_KEY_COUNT; ++i) {
    const ScriptKey& key = *scriptKeyAt(i);
    if (key.kind == SCRIPT_ENUMERATED)
      appendItem(&d, key.key, typeEnumerated, key.enumerationType, int32_t(mapNumberToCode(numbers[i], key.enumerationType)));
    else
      appendItem(&d, key.key, key.kind == SCRIPT_INTEGER ? typeInteger : typeBoolean, 0, numbers[i]);
  }
  return d;
}

}  // namespace

bool makeReplayPlan(ReplayPlan* plan) {
  plan->inputNoun = "descriptors";
  FuzzBytes oneKey = descriptor(1);
  appendItem(&oneKey, KEY_EDGE_STYLE, typeEnumerated, ENUM_EDGE_STYLE, int32_t(fourCharCode("ED05")));
  FuzzBytes oddTypes = descriptor(0);
  appendItem(&oddTypes, KEY_SMOOTHING, typeBoolean, 0, 1);            // an integer key as a boolean
  appendItem(&oddTypes, KEY_GLUE, typeInteger, 0, 30);                // an enumeration as an integer
  appendItem(&oddTypes, KEY_FLIP, typeEnumerated, ENUM_GLUE, 5);      // a boolean as an enumeration
  appendItem(&oddTypes, KEY_EDGE_STYLE, typeEnumerated, ENUM_GLUE, int32_t(fourCharCode("GL03")));
  appendItem(&oddTypes, KEY_CHROME_STYLE, typeEnumerated, ENUM_CHROME_STYLE, int32_t(fourCharCode("EC07")));
  appendItem(&oddTypes, KEY_SOURCE, typeEnumerated, ENUM_SOURCE, int32_t(CODE_NONE));
  FuzzBytes strangers = descriptor(2);
  appendItem(&strangers, fourCharCode("Xtra"), typeInteger, 0, -1);
  appendItem(&strangers, KEY_ANGLE, typeInteger, 0, int32_t(0x80000000));
  appendItem(&strangers, KEY_ANGLE, typeInteger, 0, 720);             // given twice: the last one counts
  appendItem(&strangers, KEY_TWEAKER, typeInteger, 0, 0x7FFFFFFF);
  appendItem(&strangers, KEY_REMOVE_NOISE, typeBoolean, 0, 256);
  FuzzBytes ragged = everyKey(0);
  ragged.resize(ragged.size() - 5);  // not a whole number of items: the host refuses to open it
  plan->seeds = {everyKey(0), everyKey(1), everyKey(4), everyKey(8), everyKey(16), descriptor(0),
                 oneKey, oddTypes, strangers, ragged};
  plan->mutations = {MUTATE_FLIP_BIT, MUTATE_SET_BYTE, MUTATE_CUT, MUTATE_SPLICE, MUTATE_SPLICE};
  plan->randomStart = 20261125u;
  plan->mutantsPerSeed = 300;
  plan->maxEdits = 4;
  return true;
}
