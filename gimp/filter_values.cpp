#include "gimp/filter_values.h"

#include "pihost/host_program.h"
#include "pihost/parameter_warnings.h"
#include "session/parameters.h"

GimpFilterValues defaultFilterValues() {
  EdgeParameters parameters{};
  setDefaultParameters(&parameters);
  GimpFilterValues values{};
  for (int i = 0; i < SCRIPT_KEY_COUNT; ++i) values.value[i] = *scriptField(&parameters, *scriptKeyAt(i));
  return values;
}

std::string filterValueName(int index) {
  const ScriptKey* key = scriptKeyAt(index);
  if (key == nullptr) return std::string();
  std::string name = key->name;
  for (char& c : name)
    if (c == ' ') c = '-';
  return name;
}

std::string filterValueHelp(int index) {
  const ScriptKey* key = scriptKeyAt(index);
  if (key == nullptr) return std::string();
  int64_t low = 0, high = 0;
  scriptKeyRange(*key, &low, &high);
  std::string text = std::string(key->name) + ", " + std::to_string(low) + ".." + std::to_string(high);
  if (key->kind == SCRIPT_ENUMERATED) {
    text += ":";
    for (int64_t n = low; n <= high; ++n) {
      const char* name = enumerationName(key->enumerationType, int32_t(n));
      // Two glue modes have no name in the terminology; they are numbers only.
      text += " " + std::to_string(n) + " " + (name ? name : "(unnamed)") + (n < high ? "," : "");
    }
  } else if (key->kind == SCRIPT_BOOLEAN) {
    text += " (0 off, 1 on)";
  } else if (key->key == KEY_ANGLE) {
    text += " degrees";
  }
  return text;
}

std::string filterValuesError(const GimpFilterValues& values) {
  for (int i = 0; i < SCRIPT_KEY_COUNT; ++i) {
    const ScriptKey* key = scriptKeyAt(i);
    int64_t low = 0, high = 0;
    scriptKeyRange(*key, &low, &high);
    const int32_t v = values.value[i];
    if (v < low || v > high)
      return std::string(key->name) + " " + std::to_string(v) + " is outside " + std::to_string(low) + ".." +
             std::to_string(high);
  }
  return std::string();
}

std::vector<DescriptorItem> descriptorItemsOfValues(const GimpFilterValues& values) {
  std::vector<DescriptorItem> items;
  for (int i = 0; i < SCRIPT_KEY_COUNT; ++i) items.push_back(descriptorItemOfValue(*scriptKeyAt(i), values.value[i]));
  return items;
}
