// Fuzz entry for the settings reader: any bytes, as a settings file found on
// disk, read from memory in both modes into a session at its defaults. The
// reader must stop cleanly wherever the bytes end, never read past its
// buffers and never take a thumbnail it could not decode.
#include <cstddef>
#include <cstdint>
#include <initializer_list>

#include "jpeg_probe.h"
#include "presets/settings_file.h"
#include "presets/settings_workspace.h"

namespace {

// Thumbnails stand at 76 in today's files; one whose frame claims more than
// this many pixels is passed over (jpeg_probe.h).
constexpr size_t THUMBNAIL_STREAM_OFFSET = 76;
constexpr uint64_t FRAME_PIXEL_LIMIT = 512 * 512;

SettingsWorkspace* workspace() {
  static SettingsWorkspace* made = [] {
    auto* w = new SettingsWorkspace();
    return openSettingsWorkspace(w, nullptr) ? w : nullptr;
  }();
  return made;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  SettingsWorkspace* w = workspace();
  if (w == nullptr) return 0;
  if (size > THUMBNAIL_STREAM_OFFSET &&
      jpeg_probe::claimedPixels(data + THUMBNAIL_STREAM_OFFSET, size - THUMBNAIL_STREAM_OFFSET) > FRAME_PIXEL_LIMIT)
    return 0;
  for (SettingsReadMode mode : {SettingsReadAll, SettingsReadThumbnailOnly}) {
    setDefaultParameters(&w->parameters);
    SettingsReadReport report;
    readSettingsBytes(&w->session, data, size, mode, &report);
    // What the reader reports must agree with the bytes it was given.
    if (report.bytesTaken < 0 || static_cast<size_t>(report.bytesTaken) > size) __builtin_trap();
    if (w->session.thumbnailWidth < 0 || w->session.thumbnailWidth > THUMBNAIL_SIDE) __builtin_trap();
  }
  return 0;
}
