// The one table of glue names and codes, as the menus and scripting see it.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "glue/glue_modes.h"

namespace {

TEST(GlueNames, NamesByNumber) {
  EXPECT_STREQ(glueModeName(1), "normal");
  EXPECT_STREQ(glueModeName(2), "procedural +");
  EXPECT_STREQ(glueModeName(26), "hard diff");
  EXPECT_STREQ(glueModeName(60), "anterior");
  EXPECT_STREQ(glueModeName(61), "posterior");
  EXPECT_STREQ(glueModeName(62), "screendim");
  EXPECT_STREQ(glueModeName(0), "");
  EXPECT_STREQ(glueModeName(63), "");
  EXPECT_STREQ(glueModeName(-1), "");

  std::set<std::string> seen;
  for (int n = 1; n <= GLUE_MODE_COUNT; ++n) {
    EXPECT_EQ(GLUE_MODES[n - 1].number, n);
    EXPECT_STRNE(glueModeName(n), "");
    EXPECT_TRUE(seen.insert(glueModeName(n)).second) << "duplicate name of mode " << n;
  }
  EXPECT_EQ(GLUE_SCREENDIM, 62);
  EXPECT_EQ(GLUE_HARD_DIFF, 26);
  // Back from names, the terminology's spelling too.
  EXPECT_EQ(glueModeFromName("screendim"), 62);
  EXPECT_EQ(glueModeFromName("hard diff"), 26);
  EXPECT_EQ(glueModeFromName("harsh diff"), 26);
  EXPECT_EQ(glueModeFromName("posterior"), 61);
  EXPECT_EQ(glueModeFromName("Screendim"), 0);
  EXPECT_EQ(glueModeFromName(nullptr), 0);
}

TEST(GlueNames, CodesMapBothWaysForAll62) {
  EXPECT_EQ(glueModeCode(62), 0x474C3632u);  // 'GL62', first character on top
  EXPECT_EQ(glueModeCode(1), 0x474C3031u);
  EXPECT_EQ(glueModeCode(0), 0u);
  EXPECT_EQ(glueModeCode(63), 0u);
  for (int n = 1; n <= GLUE_MODE_COUNT; ++n) EXPECT_EQ(glueModeFromCode(glueModeCode(n)), n);
  // Absent from the terminology, still mapped.
  EXPECT_EQ(glueModeFromCode(fourCharCode('G', 'L', '6', '0')), 60);
  EXPECT_EQ(glueModeFromCode(fourCharCode('G', 'L', '6', '1')), 61);
  EXPECT_EQ(glueModeFromCode(fourCharCode('G', 'L', '0', '0')), 0);
  EXPECT_EQ(glueModeFromCode(fourCharCode('G', 'L', '6', '3')), 0);
  EXPECT_EQ(glueModeFromCode(fourCharCode('2', '6', 'L', 'G')), 0);  // byte-reversed
}

TEST(GlueNames, TerminologyListsSixtyItems) {
  std::set<uint32_t> codes;
  for (const GlueTermInfo& term : GLUE_TERMINOLOGY) {
    int n = glueModeFromCode(term.code);
    ASSERT_NE(n, 0) << term.name;
    EXPECT_NE(n, 60);
    EXPECT_NE(n, 61);
    EXPECT_TRUE(codes.insert(term.code).second);
    if (n == 26)
      EXPECT_STREQ(term.name, "harsh diff");
    else
      EXPECT_STREQ(term.name, glueModeName(n));
  }
  EXPECT_EQ(codes.size(), 60u);
  // Menu order: the codes rise through the list.
  for (int i = 1; i < GLUE_TERMINOLOGY_COUNT; ++i)
    EXPECT_LT(GLUE_TERMINOLOGY[i - 1].code, GLUE_TERMINOLOGY[i].code);
  EXPECT_STREQ(GLUE_TERMINOLOGY[59].name, "screendim");
}

TEST(GlueNames, EdgeStyles) {
  const char* expected[] = {"blurry",   "thin/hard", "thin/soft", "chrome",      "scribble",
                            "halo",     "tangled",   "splotchy",  "racetrack",   "zero",
                            "antitangled", "checker", "thorny"};
  for (int n = 1; n <= EDGE_STYLE_COUNT; ++n) EXPECT_STREQ(edgeStyleName(n), expected[n - 1]);
  EXPECT_STREQ(edgeStyleName(0), "");
  EXPECT_STREQ(edgeStyleName(14), "");
}

}  // namespace
