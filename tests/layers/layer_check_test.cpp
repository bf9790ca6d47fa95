// The plug-in's folders include only downward, in the order of layers.txt.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "tests/layers/layer_check.h"

namespace fs = std::filesystem;

namespace {

std::string readText(const fs::path& path) {
  std::ifstream in(path);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

void writeText(const fs::path& path, const std::string& text) {
  fs::create_directories(path.parent_path());
  std::ofstream(path) << text;
}

}  // namespace

TEST(Layers, EveryIncludeOfThePlugInReachesDown) {
  const LayerOrder order = parseLayerOrder(readText(fs::path(ML_SOURCE_DIR) / "layers.txt"));
  ASSERT_TRUE(order.errors.empty()) << order.errors.front();
  // The folders that hold the plug-in are all declared.
  for (const char* folder : {"pi", "platform", "session", "engine", "region", "dialog", "entry"})
    EXPECT_EQ(order.layerOf.count(folder), 1u) << folder;
  std::string report;
  for (const LayerViolation& v : findLayerViolations(ML_SOURCE_DIR, order))
    report += v.file + ":" + std::to_string(v.line) + ": #include \"" + v.included + "\" " + v.message + "\n";
  EXPECT_TRUE(report.empty()) << report;
}

// The checker itself, on a small tree made for it: it must name the file and
// line of each include that goes up or sideways, and pass the rest.
TEST(Layers, TheCheckNamesUpwardAndSidewaysIncludes) {
  const fs::path root = fs::temp_directory_path() / "marrowline-layer-check";
  fs::remove_all(root);
  writeText(root / "low/a.h", "#pragma once\n#include <vector>\n");
  writeText(root / "low/a.cpp", "#include \"low/a.h\"\n#include \"local.inc\"\n");
  writeText(root / "side/b.h", "#include \"low/a.h\"\n");
  writeText(root / "top/c.cpp", "#include \"side/b.h\"\n  #  include \"low/a.h\"\n");
  writeText(root / "low/deep/d.cpp", "// up\n#include \"top/c.h\"\n");
  writeText(root / "side/e.cpp", "#include \"low/a.h\"\n#include \"low2/x.h\"\n");
  const LayerOrder order = parseLayerOrder("# bottom\nlow low2\nside\ntop\n");
  ASSERT_TRUE(order.errors.empty());
  std::vector<LayerViolation> found = findLayerViolations(root.string(), order);
  std::sort(found.begin(), found.end(), [](const auto& a, const auto& b) { return a.file < b.file; });
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(found[0].file, "low/deep/d.cpp");
  EXPECT_EQ(found[0].line, 2);
  EXPECT_EQ(found[0].included, "top/c.h");

  const LayerOrder flat = parseLayerOrder("low side\ntop\n");
  found = findLayerViolations(root.string(), flat);
  bool sideways = false;
  for (const auto& v : found) sideways |= v.file == "side/b.h" && v.message.find("sideways") != std::string::npos;
  EXPECT_TRUE(sideways);
  EXPECT_FALSE(parseLayerOrder("a\nb a\n").errors.empty());
  fs::remove_all(root);
}
