// One warning line for a parameter value outside its range. The value still
// goes to the plug-in as given (scripts rely on the filter's own handling);
// the line says what the filter will do with it.
#pragma once

#include <cstdint>
#include <string>

struct ScriptKey;

// Empty when `value` lies in the key's range. `option` is the text to name
// the value by, e.g. "--smoothing 500".
std::string parameterRangeWarning(const ScriptKey& key, int64_t value, const std::string& option);
