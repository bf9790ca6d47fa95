#include "pihost/parameter_warnings.h"

#include <cstdio>

#include "session/terminology.h"
#include "engine/render.h"

namespace {

std::string formatted(const char* format, double value) {
  char text[64];
  std::snprintf(text, sizeof text, format, value);
  return text;
}

// What the filter does with an integer parameter's value: the renderer
// reads the low 16 bits of smoothing and tweaker, and turns the angle round
// the circle.
std::string integerEffect(uint32_t key, int64_t value) {
  if (key == KEY_SMOOTHING) {
    const int32_t low = uint16_t(value);
    return "the filter takes its low 16 bits, a field width (sigma) of " +
           formatted("%.1f", (low < 2 ? 2 : low) / 10.0) + " pixels";
  }
  if (key == KEY_TWEAKER) {
    return "the filter takes its low 16 bits, a strength (gain) of " +
           formatted("%.2f", tweakerWeight(int32_t(value)) / 100.0);
  }
  int64_t turn = value % 360;
  if (turn < 0) turn += 360;
  return "the filter turns it round the circle, the same as " + std::to_string(turn);
}

// What the filter does with an enumeration number it does not know: the
// descriptor carries the code <NO>, which the plug-in reads as 0.
const char* enumerationEffect(uint32_t type) {
  switch (type) {
    case ENUM_EDGE_STYLE: return "the filter renders nothing and the picture comes back unchanged";
    case ENUM_EDGE_EXTENT: return "the filter takes neither direction and the edge picture is flat";
    case ENUM_SOURCE: return "the filter reads the luminance";
    case ENUM_CHROME_STYLE: return "the chrome curve is flat (it matters only with the chrome style)";
    case ENUM_GLUE: return "the filter lays the edge picture in as glue normal";
    default: return "the filter reads it as 0";
  }
}

}  // namespace

void scriptKeyRange(const ScriptKey& key, int64_t* low, int64_t* high) {
  *low = 0;
  *high = 1;
  if (key.kind == SCRIPT_ENUMERATED) {
    const Enumeration* e = findEnumeration(key.enumerationType);
    *low = 1;
    *high = e ? e->count : 0;
  } else if (key.kind == SCRIPT_INTEGER) {
    *high = key.key == KEY_ANGLE ? 359 : 100;
  }
}

std::string parameterRangeWarning(const ScriptKey& key, int64_t value, const std::string& option) {
  int64_t low = 0, high = 1;
  scriptKeyRange(key, &low, &high);
  if (value >= low && value <= high) return std::string();
  std::string line = option + " is outside " + std::to_string(low) + ".." + std::to_string(high) + ": ";
  if (key.kind == SCRIPT_ENUMERATED) line += enumerationEffect(key.enumerationType);
  else if (key.kind == SCRIPT_INTEGER) line += integerEffect(key.key, value);
  else line += std::string("the filter takes its low byte, ") + ((value & 0xFF) != 0 ? "on" : "off");
  return line;
}
