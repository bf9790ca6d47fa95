#include "resources/resource_bytes.h"

#include <cstring>

#include "session/terminology.h"

namespace {

// Little-endian writer of the resource conventions.
struct ResourceWriter {
  std::vector<uint8_t> bytes;

  void byte(uint8_t v) { bytes.push_back(v); }
  void word(uint16_t v) {
    byte(uint8_t(v & 0xFF));
    byte(uint8_t(v >> 8));
  }
  void longWord(uint32_t v) {
    for (int shift = 0; shift < 32; shift += 8) byte(uint8_t((v >> shift) & 0xFF));
  }
  // A four-character code as a little-endian word: its characters reversed.
  void code(uint32_t c) { longWord(c); }
  // Length byte, then the characters.
  void pascalText(const char* text) {
    const size_t n = std::strlen(text);
    byte(uint8_t(n));
    bytes.insert(bytes.end(), text, text + n);
  }
  // The characters, then a NUL.
  void cText(const char* text) {
    bytes.insert(bytes.end(), text, text + std::strlen(text));
    byte(0);
  }
};

// ---------------------------------------------------------------------------
// PiPL

constexpr uint16_t RESOURCE_PREFIX = 1;  // first word of a Windows PiPL or AETE
constexpr uint32_t PIPL_VERSION = 0;
constexpr int PIPL_PROPERTY_COUNT = 9;
constexpr uint32_t VENDOR_PHOTOSHOP = fourCharCode("8BIM");
constexpr uint32_t KIND_FILTER = fourCharCode("8BFM");
constexpr uint32_t INTERFACE_VERSION = 0x00040000;  // version 4 in the high half, subversion 0
constexpr uint8_t MODE_GREY_AND_RGB = 0x50;         // grey scale 0x40 | RGB colour 0x10
constexpr int FILTER_CASE_COUNT = 7;
constexpr uint8_t FILTER_DATA_HANDLING_NONE = 1;    // pass the layer's pixels as they are

// One property: vendor, key, id 0, the data's length without padding, then
// the data padded with zeros to a multiple of four. Hosts step over a
// property by its length rounded up to four.
void property(ResourceWriter& out, uint32_t key, const ResourceWriter& data) {
  out.code(VENDOR_PHOTOSHOP);
  out.code(key);
  out.longWord(0);
  out.longWord(uint32_t(data.bytes.size()));
  out.bytes.insert(out.bytes.end(), data.bytes.begin(), data.bytes.end());
  for (size_t n = data.bytes.size(); n % 4 != 0; ++n) out.byte(0);
}

// ---------------------------------------------------------------------------
// AETE

constexpr uint8_t AETE_VERSION_MAJOR = 1;
constexpr uint8_t AETE_VERSION_MINOR = 0;
constexpr uint16_t SUITE_LEVEL = 1;
constexpr uint16_t SUITE_VERSION = 1;
constexpr uint32_t TYPE_NULL = fourCharCode("null");
constexpr uint32_t TYPE_IMAGE_REFERENCE = fourCharCode("#ImR");
constexpr uint16_t DIRECT_PARAMETER_FLAGS = 0xB000;
constexpr uint16_t FLAGS_OPTIONAL = 0x8000;
constexpr uint16_t FLAGS_OPTIONAL_ENUMERATED = 0xA000;

}  // namespace

std::vector<uint8_t> buildPiPL() {
  ResourceWriter out;
  out.word(RESOURCE_PREFIX);
  out.longWord(PIPL_VERSION);
  out.longWord(PIPL_PROPERTY_COUNT);

  ResourceWriter kind;  // a filter
  kind.code(KIND_FILTER);
  property(out, fourCharCode("kind"), kind);

  ResourceWriter name;  // the menu item
  name.pascalText(PLUGIN_MENU_NAME);
  property(out, fourCharCode("name"), name);

  ResourceWriter category;  // the sub-menu
  category.pascalText(PLUGIN_CATEGORY);
  property(out, fourCharCode("catg"), category);

  ResourceWriter version;
  version.longWord(INTERFACE_VERSION);
  property(out, fourCharCode("vers"), version);

  ResourceWriter entry;  // exported entry of the x64 Windows module
  entry.cText(kPluginEntryName);
  property(out, fourCharCode("8664"), entry);

  ResourceWriter terminology;  // where the AETE is and what it scripts
  terminology.longWord(0);     // version
  terminology.code(PLUGIN_SUITE_CODE);  // class
  terminology.code(PLUGIN_SUITE_CODE);  // event
  terminology.word(uint16_t(PLUGIN_RESOURCE_ID));
  terminology.cText(TERM_SCOPE);
  property(out, fourCharCode("hstm"), terminology);

  ResourceWriter modes;  // 16 mode flags and 16 spare bits
  modes.byte(MODE_GREY_AND_RGB);
  modes.byte(0);
  modes.word(0);
  property(out, fourCharCode("mode"), modes);

  ResourceWriter enable;
  enable.cText(PLUGIN_ENABLE_CONDITION);
  property(out, fourCharCode("enbl"), enable);

  ResourceWriter filterCases;  // the seven filter cases alike
  for (int i = 0; i < FILTER_CASE_COUNT; ++i) {
    filterCases.byte(FILTER_DATA_HANDLING_NONE);  // input handling
    filterCases.byte(FILTER_DATA_HANDLING_NONE);  // output handling
    filterCases.byte(0);                          // flags
    filterCases.byte(0);                          // reserved
  }
  property(out, fourCharCode("fici"), filterCases);
  return out.bytes;
}

std::vector<uint8_t> buildAETE() {
  ResourceWriter out;
  out.word(RESOURCE_PREFIX);
  out.byte(AETE_VERSION_MAJOR);
  out.byte(AETE_VERSION_MINOR);
  out.word(0);  // language
  out.word(0);  // script
  out.word(1);  // suites

  out.pascalText(TERM_SUITE_NAME);
  out.pascalText(TERM_SUITE_DESCRIPTION);
  out.code(PLUGIN_SUITE_CODE);
  out.word(SUITE_LEVEL);
  out.word(SUITE_VERSION);
  out.word(1);  // events

  out.pascalText(TERM_EVENT_NAME);
  out.pascalText(TERM_EVENT_DESCRIPTION);
  out.code(PLUGIN_SUITE_CODE);  // event class
  out.code(PLUGIN_SUITE_CODE);  // event id
  out.code(TYPE_NULL);          // reply: type, description, flags
  out.pascalText("");
  out.word(0);
  out.code(TYPE_IMAGE_REFERENCE);  // direct parameter: type, description, flags
  out.pascalText("");
  out.word(DIRECT_PARAMETER_FLAGS);

  out.word(SCRIPT_KEY_COUNT);
  for (int i = 0; i < SCRIPT_KEY_COUNT; ++i) {
    const ScriptKey& key = *scriptKeyAt(i);
    const bool enumerated = key.kind == SCRIPT_ENUMERATED;
    out.pascalText(key.name);
    out.code(key.key);
    // Integers and booleans alike are declared as 'long'.
    out.code(enumerated ? key.enumerationType : TERM_TYPE_LONG);
    out.pascalText(key.name);  // the description repeats the name
    out.word(enumerated ? FLAGS_OPTIONAL_ENUMERATED : FLAGS_OPTIONAL);
  }

  out.word(0);  // classes
  out.word(0);  // comparison operators
  out.word(ENUMERATION_COUNT);
  for (int e = 0; e < ENUMERATION_COUNT; ++e) {
    const uint32_t type = enumerationAt(e)->typeCode;
    const int items = enumerationTermCount(type);
    out.code(type);
    out.word(uint16_t(items));
    for (int i = 0; i < items; ++i) {
      const char* name = nullptr;
      uint32_t code = 0;
      enumerationTermAt(type, i, &name, &code);
      out.pascalText(name);
      out.code(code);
      out.pascalText(name);  // the description repeats the name
    }
  }
  return out.bytes;
}
