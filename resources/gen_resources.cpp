// gen_resources OUTPUT_FOLDER
//
// Writes the module's PiPL and AETE as pipl.bin and aete.bin, and
// plugin_properties.rc, which names them as the user-defined resources
// "PiPL" and "AETE" (id 16000, English (United States)); marrowline.rc
// includes it. Runs on the build machine, also for the Windows build. A file
// whose bytes would not change is left alone, so nothing rebuilds needlessly.
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "resources/resource_bytes.h"

namespace {

bool sameAsFile(const std::string& path, const std::vector<uint8_t>& bytes) {
  FILE* f = std::fopen(path.c_str(), "rb");
  if (f == nullptr) return false;
  std::vector<uint8_t> existing;
  uint8_t chunk[4096];
  size_t n;
  while ((n = std::fread(chunk, 1, sizeof chunk, f)) > 0) existing.insert(existing.end(), chunk, chunk + n);
  std::fclose(f);
  return existing == bytes;
}

bool writeFile(const std::string& path, const std::vector<uint8_t>& bytes) {
  if (sameAsFile(path, bytes)) return true;
  FILE* f = std::fopen(path.c_str(), "wb");
  if (f == nullptr) return false;
  const bool written = std::fwrite(bytes.data(), 1, bytes.size(), f) == bytes.size();
  return std::fclose(f) == 0 && written;
}

std::vector<uint8_t> textBytes(const std::string& text) { return std::vector<uint8_t>(text.begin(), text.end()); }

// The resource compiler reads the path inside a quoted string: backslashes
// and quotes need escaping.
std::string quotedPath(const std::string& path) {
  std::string q = "\"";
  for (char c : path) {
    if (c == '\\' || c == '"') q += '\\';
    q += c;
  }
  return q + "\"";
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: gen_resources OUTPUT_FOLDER\n");
    return 2;
  }
  const std::string folder = argv[1];
  std::error_code ignored;
  std::filesystem::create_directories(folder, ignored);
  const std::string piplPath = folder + "/pipl.bin";
  const std::string aetePath = folder + "/aete.bin";
  // LANGUAGE 9, 1 is LANG_ENGLISH, SUBLANG_ENGLISH_US: 1033.
  const std::string rc = "// Written by gen_resources from the script tables; do not edit.\n"
                         "LANGUAGE 9, 1\n" +
                         std::to_string(PLUGIN_RESOURCE_ID) + " PiPL " + quotedPath(piplPath) + "\n" +
                         std::to_string(PLUGIN_RESOURCE_ID) + " AETE " + quotedPath(aetePath) + "\n";
  if (!writeFile(piplPath, buildPiPL()) || !writeFile(aetePath, buildAETE()) ||
      !writeFile(folder + "/plugin_properties.rc", textBytes(rc))) {
    std::fprintf(stderr, "gen_resources: cannot write into %s\n", folder.c_str());
    return 1;
  }
  return 0;
}
