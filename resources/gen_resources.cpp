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

#include "resources/generated_files.h"
#include "resources/resource_bytes.h"

namespace {

std::vector<uint8_t> textBytes(const std::string& text) { return std::vector<uint8_t>(text.begin(), text.end()); }

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
                         std::to_string(PLUGIN_RESOURCE_ID) + " PiPL " + rcQuotedPath(piplPath) + "\n" +
                         std::to_string(PLUGIN_RESOURCE_ID) + " AETE " + rcQuotedPath(aetePath) + "\n";
  if (!writeFileIfChanged(piplPath, buildPiPL()) || !writeFileIfChanged(aetePath, buildAETE()) ||
      !writeFileIfChanged(folder + "/plugin_properties.rc", textBytes(rc))) {
    std::fprintf(stderr, "gen_resources: cannot write into %s\n", folder.c_str());
    return 1;
  }
  return 0;
}
