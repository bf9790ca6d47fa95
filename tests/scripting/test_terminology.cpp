// The script vocabulary: codes and numbers both ways for all five
// enumerations, names, and the key table's fields.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>

#include "session/terminology.h"
#include "glue/glue_modes.h"

namespace {

uint32_t codeOf(const char* text) {
  return (uint32_t(uint8_t(text[0])) << 24) | (uint32_t(uint8_t(text[1])) << 16) |
         (uint32_t(uint8_t(text[2])) << 8) | uint32_t(uint8_t(text[3]));
}

struct EnumCase {
  const char* type;
  const char* prefix;
  int count;
};
const EnumCase ENUMS[] = {{"EDty", "ED", 13}, {"EEty", "EE", 3}, {"Esty", "Es", 4}, {"ECty", "EC", 6}, {"GLty", "GL", 62}};

}  // namespace

TEST(Terminology, EveryNumberMapsToItsCodeAndBack) {
  for (const EnumCase& e : ENUMS) {
    const uint32_t type = codeOf(e.type);
    for (int n = 1; n <= e.count; ++n) {
      char text[16];
      std::snprintf(text, sizeof text, "%s%02d", e.prefix, n);
      EXPECT_EQ(mapNumberToCode(n, type), codeOf(text)) << text;
      int32_t back = -7;
      EXPECT_TRUE(mapCodeToNumber(type, codeOf(text), &back)) << text;
      EXPECT_EQ(back, n) << text;
    }
    for (int n : {0, -1, e.count + 1, 100}) EXPECT_EQ(mapNumberToCode(n, type), 0x3C4E4F3Eu) << e.type << n;
  }
}

TEST(Terminology, CodesOutsideAnEnumerationGiveFalseAndZero) {
  const uint32_t edty = codeOf("EDty");
  int32_t n = 99;
  EXPECT_FALSE(mapCodeToNumber(edty, codeOf("ED14"), &n));
  EXPECT_EQ(n, 0);
  for (const char* bad : {"ED00", "EE01", "GL01", "ED1x", "<NO>", "\0\0\0\0"}) {
    n = 99;
    EXPECT_FALSE(mapCodeToNumber(edty, codeOf(bad), &n)) << bad;
    EXPECT_EQ(n, 0) << bad;
  }
  n = 99;
  EXPECT_FALSE(mapCodeToNumber(codeOf("XXty"), codeOf("XX01"), &n));
  EXPECT_EQ(n, 0);
  EXPECT_EQ(mapNumberToCode(1, codeOf("XXty")), 0x3C4E4F3Eu);
}

TEST(Terminology, GlueSixtyAndSixtyOneMapButHaveNoName) {
  const uint32_t glty = codeOf("GLty");
  int32_t n = 0;
  EXPECT_TRUE(mapCodeToNumber(glty, codeOf("GL60"), &n));
  EXPECT_EQ(n, 60);
  EXPECT_TRUE(mapCodeToNumber(glty, codeOf("GL61"), &n));
  EXPECT_EQ(n, 61);
  EXPECT_EQ(enumerationName(glty, 60), nullptr);
  EXPECT_EQ(enumerationName(glty, 61), nullptr);
  EXPECT_STREQ(enumerationName(glty, 62), "screendim");
  EXPECT_STREQ(enumerationName(glty, 26), "harsh diff");
  EXPECT_EQ(enumerationTermCount(glty), 60);
  // The glue modes' own table agrees with the mapping.
  for (int m = 1; m <= GLUE_MODE_COUNT; ++m) EXPECT_EQ(GLUE_MODES[m - 1].code, mapNumberToCode(m, glty)) << m;
}

TEST(Terminology, NamesFindTheirNumbers) {
  struct {
    const char* type;
    const char* name;
    int32_t number;
  } cases[] = {
      {"EDty", "blurry", 1},    {"EDty", "thin/soft", 3},     {"EDty", "thorny", 13},
      {"EEty", "left to right", 2}, {"Esty", "blue", 4},     {"ECty", "Phong", 1},
      {"ECty", "phong", 1},     {"ECty", "raw", 6},           {"GLty", "pin light", 18},
      {"GLty", "harsh diff", 26}, {"GLty", "sinister", 59},  {"GLty", "screendim", 62},
  };
  for (const auto& c : cases) {
    int32_t n = -1;
    EXPECT_TRUE(findEnumerationNumber(codeOf(c.type), c.name, &n)) << c.name;
    EXPECT_EQ(n, c.number) << c.name;
    EXPECT_NE(enumerationName(codeOf(c.type), c.number), nullptr) << c.name;
  }
  int32_t n = -1;
  EXPECT_FALSE(findEnumerationNumber(codeOf("EDty"), "pin light", &n));
  EXPECT_EQ(n, 0);
  EXPECT_FALSE(findEnumerationNumber(codeOf("EDty"), "blurr", &n));
  EXPECT_FALSE(findEnumerationNumber(codeOf("EDty"), nullptr, &n));
}

TEST(Terminology, KeyTableInListOrderWithItsFields) {
  const char* keys[] = {"EDky", "0002", "0003", "EEky", "Esky", "0006", "ECky", "0008", "0009", "GLUE", "0011"};
  const uint32_t* list = scriptKeyList();
  for (int i = 0; i < 11; ++i) {
    ASSERT_NE(scriptKeyAt(i), nullptr);
    EXPECT_EQ(scriptKeyAt(i)->key, codeOf(keys[i]));
    EXPECT_EQ(list[i], codeOf(keys[i]));
    EXPECT_EQ(findScriptKey(codeOf(keys[i])), scriptKeyAt(i));
  }
  EXPECT_EQ(list[11], 0u);
  EXPECT_EQ(scriptKeyAt(11), nullptr);
  EXPECT_EQ(findScriptKey(codeOf("zzzz")), nullptr);

  // Each key writes its own field and no other; edgeSpare has none.
  EdgeParameters p{};
  for (int i = 0; i < 11; ++i) *scriptField(&p, *scriptKeyAt(i)) = 100 + i;
  const int32_t expected[] = {p.edgeStyle, p.smoothing, p.tweaker, p.edgeExtent, p.source,  p.colorize,
                              p.chromeStyle, p.angle,   p.removeNoise, p.glue,   p.flip};
  for (int i = 0; i < 11; ++i) EXPECT_EQ(expected[i], 100 + i) << keys[i];
  EXPECT_EQ(p.edgeSpare, 0);

  EXPECT_EQ(findScriptKey(codeOf("GLUE"))->enumerationType, codeOf("GLty"));
  EXPECT_EQ(findScriptKey(codeOf("0006"))->kind, SCRIPT_BOOLEAN);
  EXPECT_EQ(findScriptKey(codeOf("0008"))->kind, SCRIPT_INTEGER);
}
