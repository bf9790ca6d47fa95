// The PiPL and AETE bytes against expectations written out here from the
// resource layout: Windows conventions, little-endian numbers, codes stored
// as their four characters reversed.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "resources/resource_bytes.h"

namespace {

struct Expected {
  std::vector<uint8_t> bytes;
  Expected& raw(const char* text, size_t n) {
    bytes.insert(bytes.end(), text, text + n);
    return *this;
  }
  Expected& text(const char* s) { return raw(s, std::strlen(s)); }  // e.g. reversed codes "ykDE"
  Expected& cText(const char* s) { return raw(s, std::strlen(s) + 1); }
  Expected& pascal(const char* s) {
    bytes.push_back(uint8_t(std::strlen(s)));
    return text(s);
  }
  Expected& u16(uint16_t v) {
    bytes.push_back(uint8_t(v));
    bytes.push_back(uint8_t(v >> 8));
    return *this;
  }
  Expected& u32(uint32_t v) {
    for (int i = 0; i < 4; ++i) bytes.push_back(uint8_t(v >> (8 * i)));
    return *this;
  }
  Expected& zeros(int n) {
    bytes.insert(bytes.end(), size_t(n), uint8_t(0));
    return *this;
  }
  // Property header: vendor "8BIM" and the key, both reversed, id 0, length.
  Expected& property(const char* reversedKey, uint32_t length) { return text("MIB8").text(reversedKey).u32(0).u32(length); }
};

std::string firstDifference(const std::vector<uint8_t>& got, const std::vector<uint8_t>& want) {
  size_t i = 0;
  while (i < got.size() && i < want.size() && got[i] == want[i]) ++i;
  return "sizes " + std::to_string(got.size()) + "/" + std::to_string(want.size()) + ", first difference at " +
         std::to_string(i);
}

}  // namespace

TEST(Resources, PropertyListBytes) {
  Expected e;
  e.u16(1).u32(0).u32(9);                                  // prefix, version 0, nine properties
  e.property("dnik", 4).text("MFB8");                      // kind 8BFM
  e.property("eman", 14).pascal("Marrowline...").zeros(2); // 13 characters + length byte, padded to 16
  e.property("gtac", 10).pascal("Quellfire").zeros(2);
  e.property("srev", 4).u32(0x00040000);
  e.property("4668", 11).cText("PluginMain").zeros(1);
  e.property("mtsh", 35).u32(0).text("RLMQ").text("RLMQ").u16(16000).cText("Quellfire Marrowline").zeros(1);
  e.property("edom", 4).raw("\x50\x00\x00\x00", 4);
  const char* enable = "in (PSHOP_ImageMode, RGBMode, GrayScaleMode, RGB48Mode, Gray16Mode) ";
  e.property("lbne", 69).cText(enable).zeros(3);
  e.property("icif", 28);
  for (int i = 0; i < 7; ++i) e.raw("\x01\x01\x00\x00", 4);

  const std::vector<uint8_t> pipl = buildPiPL();
  EXPECT_EQ(pipl.size(), 342u);
  EXPECT_TRUE(pipl == e.bytes) << firstDifference(pipl, e.bytes);
}

TEST(Resources, TerminologyBytes) {
  Expected e;
  e.u16(1).raw("\x01\x00", 2).u16(0).u16(0).u16(1);  // prefix, version 1.0, language, script, one suite
  e.pascal("Quellfire").pascal("Marrowline").text("RLMQ").u16(1).u16(1).u16(1);
  e.pascal("Marrowline").pascal("Enhances edges").text("RLMQ").text("RLMQ");
  e.text("llun").pascal("").u16(0);        // reply
  e.text("RmI#").pascal("").u16(0xB000);   // direct parameter

  struct Param {
    const char* name;
    const char* key;
    const char* type;
    uint16_t flags;
  } params[] = {
      {"edge style", "ykDE", "ytDE", 0xA000}, {"smoothing", "2000", "gnol", 0x8000},
      {"tweaker", "3000", "gnol", 0x8000},    {"edge extent", "ykEE", "ytEE", 0xA000},
      {"source", "yksE", "ytsE", 0xA000},     {"colorize", "6000", "gnol", 0x8000},
      {"chrome style", "ykCE", "ytCE", 0xA000}, {"angle", "8000", "gnol", 0x8000},
      {"remove noise", "9000", "gnol", 0x8000}, {"glue", "EULG", "ytLG", 0xA000},
      {"flip", "1100", "gnol", 0x8000},
  };
  e.u16(11);
  for (const Param& p : params) e.pascal(p.name).text(p.key).text(p.type).pascal(p.name).u16(p.flags);
  e.u16(0).u16(0).u16(5);  // classes, comparison operators, enumerations

  const std::vector<const char*> styles = {"blurry", "thin/hard", "thin/soft", "chrome", "scribble",
                                           "halo", "tangled", "splotchy", "racetrack", "zero",
                                           "antitangled", "checker", "thorny"};
  const std::vector<const char*> extents = {"top to bottom", "left to right", "both"};
  const std::vector<const char*> sources = {"greyscale", "red", "green", "blue"};
  const std::vector<const char*> chromes = {"Phong", "sine", "puddles", "bumps", "spike", "raw"};
  const std::vector<const char*> glues = {
      "normal", "procedural +", "procedural -", "difference", "lighten", "darken", "add", "subtract",
      "multiply", "screen", "hard light", "overlay", "superlay", "exclusion", "color", "luminance",
      "linear light", "pin light", "spin light", "vivid a", "vivid b", "saturation", "hue", "similarity",
      "cross", "harsh diff", "soft light", "bright", "dim", "dodge", "burn", "ace", "king", "queen", "jack",
      "and", "or", "xor", "multibright", "hot", "cold", "wet", "dry", "up", "down", "wax", "wane", "north",
      "south", "east", "west", "hard mix", "frontal", "parietal", "temporal", "occipital", "limbic",
      "dextrous", "sinister", "screendim"};
  ASSERT_EQ(glues.size(), 60u);
  struct Enum {
    const char* reversedType;
    char first, second;  // the code's leading characters
    const std::vector<const char*>* names;
  } enums[] = {{"ytDE", 'E', 'D', &styles}, {"ytEE", 'E', 'E', &extents}, {"ytsE", 'E', 's', &sources},
               {"ytCE", 'E', 'C', &chromes}, {"ytLG", 'G', 'L', &glues}};
  for (const Enum& en : enums) {
    e.text(en.reversedType).u16(uint16_t(en.names->size()));
    for (size_t i = 0; i < en.names->size(); ++i) {
      const int number = en.names == &glues && i == 59 ? 62 : int(i + 1);  // the last glue item is GL62
      const char code[4] = {char('0' + number % 10), char('0' + number / 10), en.second, en.first};
      e.pascal((*en.names)[i]).raw(code, 4).pascal((*en.names)[i]);
    }
  }

  const std::vector<uint8_t> aete = buildAETE();
  EXPECT_TRUE(aete == e.bytes) << firstDifference(aete, e.bytes);
}
