// One warning line for a parameter value outside its range. The value still
// goes to the plug-in as given (scripts rely on the filter's own handling);
// the line says what the filter will do with it.
#pragma once

#include <cstdint>
#include <string>

struct ScriptKey;

// The range a key's values keep to: 1..count for an enumeration, 0..100
// for smoothing and tweaker, 0..359 for the angle, 0..1 for a boolean.
void scriptKeyRange(const ScriptKey& key, int64_t* low, int64_t* high);

// Empty when `value` lies in the key's range. `option` is the text to name
// the value by, e.g. "--smoothing 500".
std::string parameterRangeWarning(const ScriptKey& key, int64_t value, const std::string& option);
