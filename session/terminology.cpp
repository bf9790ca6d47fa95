#include "session/terminology.h"

#include <cstddef>

#include "glue/glue_modes.h"

namespace {

const ScriptKey SCRIPT_KEYS[SCRIPT_KEY_COUNT] = {
    {KEY_EDGE_STYLE, "edge style", SCRIPT_ENUMERATED, ENUM_EDGE_STYLE, &EdgeParameters::edgeStyle},
    {KEY_SMOOTHING, "smoothing", SCRIPT_INTEGER, 0, &EdgeParameters::smoothing},
    {KEY_TWEAKER, "tweaker", SCRIPT_INTEGER, 0, &EdgeParameters::tweaker},
    {KEY_EDGE_EXTENT, "edge extent", SCRIPT_ENUMERATED, ENUM_EDGE_EXTENT, &EdgeParameters::edgeExtent},
    {KEY_SOURCE, "source", SCRIPT_ENUMERATED, ENUM_SOURCE, &EdgeParameters::source},
    {KEY_COLORIZE, "colorize", SCRIPT_BOOLEAN, 0, &EdgeParameters::colorize},
    {KEY_CHROME_STYLE, "chrome style", SCRIPT_ENUMERATED, ENUM_CHROME_STYLE, &EdgeParameters::chromeStyle},
    {KEY_ANGLE, "angle", SCRIPT_INTEGER, 0, &EdgeParameters::angle},
    {KEY_REMOVE_NOISE, "remove noise", SCRIPT_BOOLEAN, 0, &EdgeParameters::removeNoise},
    {KEY_GLUE, "glue", SCRIPT_ENUMERATED, ENUM_GLUE, &EdgeParameters::glue},
    {KEY_FLIP, "flip", SCRIPT_BOOLEAN, 0, &EdgeParameters::flip},
};

const uint32_t SCRIPT_KEY_LIST[SCRIPT_KEY_COUNT + 1] = {
    KEY_EDGE_STYLE, KEY_SMOOTHING, KEY_TWEAKER, KEY_EDGE_EXTENT, KEY_SOURCE,   KEY_COLORIZE,
    KEY_CHROME_STYLE, KEY_ANGLE,   KEY_REMOVE_NOISE, KEY_GLUE,  KEY_FLIP,     0,
};

const Enumeration ENUMERATIONS[ENUMERATION_COUNT] = {
    {ENUM_EDGE_STYLE, 13},
    {ENUM_EDGE_EXTENT, 3},
    {ENUM_SOURCE, 4},
    {ENUM_CHROME_STYLE, 6},
    {ENUM_GLUE, GLUE_MODE_COUNT},
};

// Terminology names by number - 1. The glue names live with the glue modes.
const char* const EDGE_STYLE_NAMES[13] = {
    "blurry", "thin/hard", "thin/soft", "chrome",      "scribble", "halo",   "tangled",
    "splotchy", "racetrack", "zero",    "antitangled", "checker",  "thorny",
};
const char* const EDGE_EXTENT_NAMES[3] = {"top to bottom", "left to right", "both"};
const char* const SOURCE_NAMES[4] = {"greyscale", "red", "green", "blue"};
const char* const CHROME_STYLE_NAMES[6] = {"Phong", "sine", "puddles", "bumps", "spike", "raw"};

// Number-indexed names of the small enumerations; null for glue, whose
// terminology list is not indexed by number.
const char* const* namesOf(uint32_t typeCode) {
  switch (typeCode) {
    case ENUM_EDGE_STYLE: return EDGE_STYLE_NAMES;
    case ENUM_EDGE_EXTENT: return EDGE_EXTENT_NAMES;
    case ENUM_SOURCE: return SOURCE_NAMES;
    case ENUM_CHROME_STYLE: return CHROME_STYLE_NAMES;
    default: return nullptr;
  }
}

// 'ED' + "07": the two leading characters of the type, then two digits.
uint32_t codeOfNumber(uint32_t typeCode, int32_t number) {
  return (typeCode & 0xFFFF0000u) | (uint32_t('0' + number / 10) << 8) | uint32_t('0' + number % 10);
}

char lowerAscii(char c) { return (c >= 'A' && c <= 'Z') ? char(c - 'A' + 'a') : c; }

bool sameTextIgnoringCase(const char* a, const char* b) {
  for (; *a != 0 && *b != 0; ++a, ++b)
    if (lowerAscii(*a) != lowerAscii(*b)) return false;
  return *a == *b;
}

}  // namespace

const ScriptKey* scriptKeyAt(int index) {
  if (index < 0 || index >= SCRIPT_KEY_COUNT) return nullptr;
  return &SCRIPT_KEYS[index];
}

const ScriptKey* findScriptKey(uint32_t key) {
  for (const ScriptKey& entry : SCRIPT_KEYS)
    if (entry.key == key) return &entry;
  return nullptr;
}

const uint32_t* scriptKeyList() { return SCRIPT_KEY_LIST; }

const Enumeration* enumerationAt(int index) {
  if (index < 0 || index >= ENUMERATION_COUNT) return nullptr;
  return &ENUMERATIONS[index];
}

const Enumeration* findEnumeration(uint32_t typeCode) {
  for (const Enumeration& e : ENUMERATIONS)
    if (e.typeCode == typeCode) return &e;
  return nullptr;
}

int enumerationTermCount(uint32_t typeCode) {
  if (typeCode == ENUM_GLUE) return GLUE_TERMINOLOGY_COUNT;
  const Enumeration* e = findEnumeration(typeCode);
  return e != nullptr ? e->count : 0;
}

bool enumerationTermAt(uint32_t typeCode, int index, const char** name, uint32_t* code) {
  if (index < 0 || index >= enumerationTermCount(typeCode)) return false;
  if (typeCode == ENUM_GLUE) {
    *name = GLUE_TERMINOLOGY[index].name;
    *code = GLUE_TERMINOLOGY[index].code;
  } else {
    *name = namesOf(typeCode)[index];
    *code = codeOfNumber(typeCode, index + 1);
  }
  return true;
}

const char* enumerationName(uint32_t typeCode, int32_t number) {
  const Enumeration* e = findEnumeration(typeCode);
  if (e == nullptr || number < 1 || number > e->count) return nullptr;
  if (typeCode != ENUM_GLUE) return namesOf(typeCode)[number - 1];
  const uint32_t code = codeOfNumber(typeCode, number);
  for (const GlueTermInfo& item : GLUE_TERMINOLOGY)
    if (item.code == code) return item.name;
  return nullptr;
}

bool findEnumerationNumber(uint32_t typeCode, const char* name, int32_t* number) {
  *number = 0;
  if (name == nullptr) return false;
  const int terms = enumerationTermCount(typeCode);
  for (int i = 0; i < terms; ++i) {
    const char* itemName = nullptr;
    uint32_t itemCode = 0;
    enumerationTermAt(typeCode, i, &itemName, &itemCode);
    if (sameTextIgnoringCase(itemName, name)) return mapCodeToNumber(typeCode, itemCode, number);
  }
  return false;
}

uint32_t mapNumberToCode(int32_t number, uint32_t typeCode) {
  const Enumeration* e = findEnumeration(typeCode);
  if (e == nullptr || number < 1 || number > e->count) return CODE_NONE;
  return codeOfNumber(typeCode, number);
}

bool mapCodeToNumber(uint32_t typeCode, uint32_t code, int32_t* number) {
  *number = 0;
  const Enumeration* e = findEnumeration(typeCode);
  if (e == nullptr || (code & 0xFFFF0000u) != (typeCode & 0xFFFF0000u)) return false;
  const int tens = int((code >> 8) & 0xFF) - '0';
  const int units = int(code & 0xFF) - '0';
  if (tens < 0 || tens > 9 || units < 0 || units > 9) return false;
  const int32_t n = tens * 10 + units;
  if (n < 1 || n > e->count) return false;
  *number = n;
  return true;
}

void codeToText(uint32_t code, char text[5]) {
  for (int i = 0; i < 4; ++i) text[i] = char((code >> (24 - 8 * i)) & 0xFF);
  text[4] = 0;
}
