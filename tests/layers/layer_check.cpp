#include "tests/layers/layer_check.h"

#include <filesystem>
#include <fstream>
#include <sstream>

namespace fs = std::filesystem;

LayerOrder parseLayerOrder(const std::string& text) {
  LayerOrder order;
  std::istringstream lines(text);
  std::string line;
  int layer = 0;
  while (std::getline(lines, line)) {
    const size_t hash = line.find('#');
    if (hash != std::string::npos) line.erase(hash);
    std::istringstream words(line);
    std::string folder;
    bool any = false;
    while (words >> folder) {
      if (!order.layerOf.emplace(folder, layer).second) order.errors.push_back("folder named twice: " + folder);
      any = true;
    }
    if (any) ++layer;
  }
  if (order.layerOf.empty()) order.errors.push_back("no layers declared");
  return order;
}

namespace {

bool isSourceFile(const fs::path& path) {
  const std::string ext = path.extension().string();
  return ext == ".cpp" || ext == ".h" || ext == ".c" || ext == ".inc";
}

// The quoted name of an #include line, or empty.
std::string quotedInclude(const std::string& line) {
  size_t i = line.find_first_not_of(" \t");
  if (i == std::string::npos || line[i] != '#') return {};
  i = line.find_first_not_of(" \t", i + 1);
  if (i == std::string::npos || line.compare(i, 7, "include") != 0) return {};
  const size_t open = line.find('"', i + 7);
  if (open == std::string::npos) return {};
  const size_t close = line.find('"', open + 1);
  if (close == std::string::npos) return {};
  return line.substr(open + 1, close - open - 1);
}

std::string topFolder(const std::string& path) {
  const size_t slash = path.find('/');
  return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

}  // namespace

std::vector<LayerViolation> findLayerViolations(const std::string& root, const LayerOrder& order) {
  std::vector<LayerViolation> found;
  for (const auto& [folder, layer] : order.layerOf) {
    const fs::path dir = fs::path(root) / folder;
    if (!fs::is_directory(dir)) continue;
    for (const auto& entry : fs::recursive_directory_iterator(dir)) {
      if (!entry.is_regular_file() || !isSourceFile(entry.path())) continue;
      const std::string file = fs::relative(entry.path(), root).generic_string();
      std::ifstream in(entry.path());
      std::string text;
      int lineNumber = 0;
      while (std::getline(in, text)) {
        ++lineNumber;
        const std::string included = quotedInclude(text);
        if (included.empty()) continue;
        const std::string target = topFolder(included);
        if (target.empty() || target == folder) continue;
        const auto it = order.layerOf.find(target);
        if (it == order.layerOf.end()) {
          found.push_back({file, lineNumber, included, "includes a folder outside the plug-in's layers"});
        } else if (it->second > layer) {
          found.push_back({file, lineNumber, included, "reaches up from " + folder + " to " + target});
        } else if (it->second == layer) {
          found.push_back({file, lineNumber, included, "reaches sideways from " + folder + " to " + target});
        }
      }
    }
  }
  return found;
}
