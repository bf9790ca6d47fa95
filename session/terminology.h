// The script interface's vocabulary: the eleven descriptor keys with the
// field of EdgeParameters each one carries, and the five enumerations whose
// codes stand for the numbers of those fields. The descriptor reader and
// writer, the AETE and PiPL resources, the substitute host's options and the
// tests all read these tables; nothing else spells a key or a code.
//
// A four-character code is a 32-bit integer with its first character in the
// top byte ('EDky' is 0x45446B79).
#pragma once

#include <cstdint>

#include "session/parameters.h"
#include "pi/plugin_interface.h"

// Script keys, in the order of the key list.
constexpr uint32_t KEY_EDGE_STYLE = fourCharCode("EDky");
constexpr uint32_t KEY_SMOOTHING = fourCharCode("0002");
constexpr uint32_t KEY_TWEAKER = fourCharCode("0003");
constexpr uint32_t KEY_EDGE_EXTENT = fourCharCode("EEky");
constexpr uint32_t KEY_SOURCE = fourCharCode("Esky");
constexpr uint32_t KEY_COLORIZE = fourCharCode("0006");
constexpr uint32_t KEY_CHROME_STYLE = fourCharCode("ECky");
constexpr uint32_t KEY_ANGLE = fourCharCode("0008");
constexpr uint32_t KEY_REMOVE_NOISE = fourCharCode("0009");
constexpr uint32_t KEY_GLUE = fourCharCode("GLUE");
constexpr uint32_t KEY_FLIP = fourCharCode("0011");

// Enumeration types.
constexpr uint32_t ENUM_EDGE_STYLE = fourCharCode("EDty");
constexpr uint32_t ENUM_EDGE_EXTENT = fourCharCode("EEty");
constexpr uint32_t ENUM_SOURCE = fourCharCode("Esty");
constexpr uint32_t ENUM_CHROME_STYLE = fourCharCode("ECty");
constexpr uint32_t ENUM_GLUE = fourCharCode("GLty");

// What a number out of range maps to.
constexpr uint32_t CODE_NONE = fourCharCode("<NO>");  // 0x3C4E4F3E

// The plug-in's suite, class and event in the terminology.
constexpr uint32_t PLUGIN_SUITE_CODE = fourCharCode("QMLR");
// The AETE's type of the integer and boolean keys.
constexpr uint32_t TERM_TYPE_LONG = fourCharCode("long");

constexpr int SCRIPT_KEY_COUNT = 11;
constexpr int ENUMERATION_COUNT = 5;

enum ScriptValueKind : int32_t {
  SCRIPT_ENUMERATED = 0,  // getEnumeratedProc / putEnumeratedProc, through the code mapping
  SCRIPT_INTEGER = 1,     // getIntegerProc / putIntegerProc, straight into the field
  SCRIPT_BOOLEAN = 2,     // getBooleanProc / putBooleanProc, 0 or 1 in the field
};

struct ScriptKey {
  uint32_t key;
  const char* name;           // as the terminology names it
  ScriptValueKind kind;
  uint32_t enumerationType;   // 0 unless kind is SCRIPT_ENUMERATED
  int32_t EdgeParameters::*field;
};

// The eleven keys in key-list order; index 0..10, null outside.
const ScriptKey* scriptKeyAt(int index);
// The key's entry, or null for a key that is not ours.
const ScriptKey* findScriptKey(uint32_t key);
// The key list handed to the host when a read token is opened: the eleven
// keys ended by a zero word.
const uint32_t* scriptKeyList();
// The field a key carries, in the given record.
inline int32_t* scriptField(EdgeParameters* p, const ScriptKey& key) { return &(p->*key.field); }

// Enumerations. Number n of a type has the code of the type's two leading
// characters and n in two digits ('ED03', 'GL62').
struct Enumeration {
  uint32_t typeCode;
  int32_t count;  // numbers 1..count map both ways
};
// In the order EDty, EEty, Esty, ECty, GLty; null outside 0..4.
const Enumeration* enumerationAt(int index);
const Enumeration* findEnumeration(uint32_t typeCode);

// Items the terminology lists for an enumeration (60 for GLty, which names
// neither 60 nor 61; count for the others), in terminology order.
int enumerationTermCount(uint32_t typeCode);
// Item i of that list; false when out of range.
bool enumerationTermAt(uint32_t typeCode, int index, const char** name, uint32_t* code);

// The terminology name of a number, or null when the number has none (out
// of range, or glue 60 and 61).
const char* enumerationName(uint32_t typeCode, int32_t number);

// The number whose terminology name is `name` (ASCII case ignored).
bool findEnumerationNumber(uint32_t typeCode, const char* name, int32_t* number);
// The code of a number, or CODE_NONE when it is out of range for the type.
uint32_t mapNumberToCode(int32_t number, uint32_t typeCode);
// The number of a code. Writes 0 first, so a code that does not belong to
// the type leaves 0 and gives false.
bool mapCodeToNumber(uint32_t typeCode, uint32_t code, int32_t* number);

// The four characters of a code, NUL-terminated, for messages and records.
void codeToText(uint32_t code, char text[5]);
