// Fuzz entry for readSettingsFile: any bytes, as a settings file found on
// disk, read in both modes into a session at its defaults. The reader must
// stop cleanly wherever the bytes end, never read past its buffers and never
// take a thumbnail it could not decode.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "presets/settings_file.h"
#include "presets/settings_workspace.h"

namespace {

SettingsWorkspace* workspace() {
  static SettingsWorkspace* made = [] {
    auto* w = new SettingsWorkspace();
    return openSettingsWorkspace(w, nullptr) ? w : nullptr;
  }();
  return made;
}

const std::string& inputPath() {
  static const std::string path = "/tmp/marrowline-settings-fuzz-" + std::to_string(getpid()) + ".q4t";
  return path;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  SettingsWorkspace* w = workspace();
  if (w == nullptr) return 0;
  FILE* file = std::fopen(inputPath().c_str(), "wb");
  if (file == nullptr) return 0;
  if (size > 0) std::fwrite(data, 1, size, file);
  std::fclose(file);
  for (SettingsReadMode mode : {SettingsReadAll, SettingsReadThumbnailOnly}) {
    setDefaultParameters(&w->parameters);
    SettingsReadReport report;
    readSettingsFileReported(&w->session, inputPath().c_str(), mode, &report);
    // What the reader reports must agree with the bytes it was given.
    if (report.bytesTaken < 0 || static_cast<size_t>(report.bytesTaken) > size) __builtin_trap();
    if (w->session.thumbnailWidth < 0 || w->session.thumbnailWidth > THUMBNAIL_SIDE) __builtin_trap();
  }
  return 0;
}
