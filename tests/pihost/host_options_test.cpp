// The command line: script values typed by the key table, names through the
// terminology, and the errors a user can make.
#include <gtest/gtest.h>

#include <initializer_list>

#include "pihost/host_options.h"

namespace {

struct Parsed {
  ParseOutcome outcome;
  HostOptions options;
  std::string error;
};

Parsed parse(std::initializer_list<const char*> args) {
  std::vector<const char*> argv = {"marrowline-host"};
  argv.insert(argv.end(), args.begin(), args.end());
  Parsed p;
  p.outcome = parseHostOptions(int(argv.size()), argv.data(), &p.options, &p.error);
  return p;
}

TEST(HostOptions, ScriptValuesFollowTheKeyTableOrderAndTypes) {
  Parsed p = parse({"--flip", "1", "--glue", "pin light", "--smoothing", "35", "--edge-style", "thin/soft",
                    "--edge-extent", "left to right", "--chrome-style=Phong", "--source", "4", "in.png",
                    "out.png"});
  ASSERT_EQ(p.outcome, ParseOutcome::Run) << p.error;
  EXPECT_EQ(p.options.inputPath, "in.png");
  EXPECT_EQ(p.options.outputPath, "out.png");
  const auto& items = p.options.descriptorItems;
  ASSERT_EQ(items.size(), 7u);
  const uint32_t expectedKeys[] = {fourCharCode("EDky"), fourCharCode("0002"), fourCharCode("EEky"),
                                   fourCharCode("Esky"), fourCharCode("ECky"), fourCharCode("GLUE"),
                                   fourCharCode("0011")};
  for (size_t i = 0; i < items.size(); ++i) EXPECT_EQ(items[i].key, expectedKeys[i]) << i;
  EXPECT_EQ(items[0].type, typeEnumerated);
  EXPECT_EQ(items[0].enumType, fourCharCode("EDty"));
  EXPECT_EQ(uint32_t(items[0].value), fourCharCode("ED03"));
  EXPECT_EQ(items[1].type, typeInteger);
  EXPECT_EQ(items[1].value, 35);
  EXPECT_EQ(uint32_t(items[2].value), fourCharCode("EE02"));
  EXPECT_EQ(uint32_t(items[3].value), fourCharCode("Es04"));
  EXPECT_EQ(uint32_t(items[4].value), fourCharCode("EC01"));
  EXPECT_EQ(uint32_t(items[5].value), fourCharCode("GL18"));
  EXPECT_EQ(items[6].type, typeBoolean);
  EXPECT_EQ(items[6].value, 1);
}

TEST(HostOptions, NumbersOutsideAnEnumerationTravelAsNoCode) {
  Parsed p = parse({"--edge-style", "14", "--glue", "62", "a.png", "b.png"});
  ASSERT_EQ(p.outcome, ParseOutcome::Run) << p.error;
  EXPECT_EQ(uint32_t(p.options.descriptorItems[0].value), fourCharCode("<NO>"));
  EXPECT_EQ(uint32_t(p.options.descriptorItems[1].value), fourCharCode("GL62"));
}

TEST(HostOptions, HostSwitchesAndValues) {
  Parsed p = parse({"--selection", "1,2,30,40", "--fore", "10,20,30", "--back", "1,2,3", "--no-buffer-procs",
                    "--no-handle-procs", "--no-descriptors", "--no-display-pixels", "--no-advance-state",
                    "--no-sampling", "--buffer-procs-version", "3", "--host-sig", "PSP8", "--cancel-after", "0",
                    "--fail-alloc-size", "1000", "--dialog", "--", "--in.png", "out.png"});
  ASSERT_EQ(p.outcome, ParseOutcome::Run) << p.error;
  const HostOptions& o = p.options;
  EXPECT_TRUE(o.haveSelection);
  EXPECT_EQ(o.selectionLeft, 1);
  EXPECT_EQ(o.selectionTop, 2);
  EXPECT_EQ(o.selectionRight, 30);
  EXPECT_EQ(o.selectionBottom, 40);
  EXPECT_EQ(o.foreground[2], 30);
  EXPECT_EQ(o.background[0], 1);
  EXPECT_FALSE(o.bufferProcs || o.handleProcs || o.descriptors || o.displayPixels || o.advanceState || o.sampling);
  EXPECT_EQ(o.bufferProcsVersion, 3);
  EXPECT_EQ(o.hostSig, 0x50535038u);
  EXPECT_EQ(o.cancelAfter, 0);
  EXPECT_EQ(o.failAllocateSize, 1000);
  EXPECT_TRUE(o.dialog);
  EXPECT_EQ(o.inputPath, "--in.png");
  EXPECT_EQ(parse({"--help"}).outcome, ParseOutcome::Help);
}

TEST(HostOptions, MistakesGiveOneClearMessage) {
  const struct {
    std::initializer_list<const char*> args;
    const char* fragment;
  } cases[] = {
      {{"a.png"}, "expected INPUT and OUTPUT"},
      {{"a.png", "b.png", "c.png"}, "too many arguments"},
      {{"--frobnicate", "a.png", "b.png"}, "unknown option --frobnicate"},
      {{"a.png", "b.png", "--smoothing"}, "--smoothing needs a value"},
      {{"--smoothing", "ten", "a.png", "b.png"}, "whole number"},
      {{"--smoothing", "99999999999", "a.png", "b.png"}, "whole number"},
      {{"--colorize", "2", "a.png", "b.png"}, "takes 0 or 1"},
      {{"--edge-style", "wobbly", "a.png", "b.png"}, "unknown edge style \"wobbly\""},
      {{"--glue", "normall", "a.png", "b.png"}, "unknown glue"},
      {{"--selection", "5,0,5,10", "a.png", "b.png"}, "bad selection"},
      {{"--selection", "0,0,10", "a.png", "b.png"}, "bad selection"},
      {{"--selection", "-1,0,10,10", "a.png", "b.png"}, "bad selection"},
      {{"--fore", "0,0,256", "a.png", "b.png"}, "bad colour"},
      {{"--back", "red", "a.png", "b.png"}, "bad colour"},
      {{"--host-sig", "PSP", "a.png", "b.png"}, "four characters"},
      {{"--buffer-procs-version", "x", "a.png", "b.png"}, "16-bit number"},
      {{"--cancel-after", "-1", "a.png", "b.png"}, "--cancel-after"},
      {{"--dialog=1", "a.png", "b.png"}, "takes no value"},
  };
  for (const auto& c : cases) {
    std::vector<const char*> argv = {"marrowline-host"};
    argv.insert(argv.end(), c.args.begin(), c.args.end());
    HostOptions options;
    std::string error;
    EXPECT_EQ(parseHostOptions(int(argv.size()), argv.data(), &options, &error), ParseOutcome::Error) << c.fragment;
    EXPECT_NE(error.find(c.fragment), std::string::npos) << "got: " << error;
    EXPECT_EQ(error.find('\n'), std::string::npos);
  }
}

}  // namespace
