// The one-way layers of the plug-in's folders: reads the declared order and
// lists every #include that reaches up or sideways.
#pragma once

#include <map>
#include <string>
#include <vector>

// Folder name -> layer number (0 at the bottom), from a text of lines of
// folder names; '#' starts a comment. A folder named twice is an error.
struct LayerOrder {
  std::map<std::string, int> layerOf;
  std::vector<std::string> errors;
};
LayerOrder parseLayerOrder(const std::string& text);

struct LayerViolation {
  std::string file;  // relative to the root, e.g. "image/region.cpp"
  int line;
  std::string included;
  std::string message;
};

// Every quoted #include of the files under the declared folders of `root`
// whose target lies in a folder of a higher layer or a sibling of the same
// layer. Includes without a folder name stay within their own folder.
std::vector<LayerViolation> findLayerViolations(const std::string& root, const LayerOrder& order);
