// The readSettingsFile entry's replay series (main is replay_driver.cpp).
// The seeds are files of each kind the reader tells apart: today's with a
// thumbnail and without, old ones, and one with a legacy raw block. The
// mutations flip bits, cut the file, and plant large or negative words at
// the places where sizes and lengths stand.
#include <sys/mman.h>
#include <unistd.h>

#include <memory>
#include <string>

#include "pihost/host_services.h"
#include "presets/settings_file.h"
#include "presets/settings_workspace.h"
#include "replay_driver.h"

namespace {

// Today's files keep their thumbnail block from this offset on.
constexpr size_t THUMBNAIL_BLOCK_OFFSET = 60;

FuzzBytes head(int32_t version) {
  FuzzBytes bytes;
  for (int32_t v : {version, 4, 20, 80, 3, 1, 0, 4, 1, 45, 1}) appendWord(&bytes, v);
  return bytes;
}

FuzzBytes tail(FuzzBytes bytes) {
  for (int32_t v : {1, 7, 0}) appendWord(&bytes, v);
  return bytes;
}

// Today's file, made by the writer itself with the given parameters and a
// thumbnail of the given pattern. The writer takes a path: it writes into
// an anonymous in-memory file, so that nothing lands on the disk.
FuzzBytes writtenFile(int32_t edgeStyle, int32_t glue, int pattern) {
  HostServices services;
  hostServicesInit(&services);
  auto w = std::make_unique<SettingsWorkspace>();
  FuzzBytes bytes;
  const int fd = memfd_create("marrowline-settings-seed", MFD_CLOEXEC);
  if (fd >= 0 && openSettingsWorkspace(w.get(), &services.bufferProcs)) {
    w->parameters.edgeStyle = edgeStyle;
    w->parameters.glue = glue;
    PixelMap* thumbnail = &w->session.presetThumbnail;
    for (int32_t y = 0; y < 128; ++y)
      for (int32_t x = 0; x < 128; ++x) {
        const int32_t r = pattern == 0 ? x * 2 : (x / 32 + y / 32) % 2 * 255;
        setBytes4(x, y, thumbnail, 0, r, y * 2, (x ^ y) & 255, 255);
      }
    const std::string path = "/proc/self/fd/" + std::to_string(fd);
    writeSettingsFile(&w->session, path.c_str());
    const off_t length = lseek(fd, 0, SEEK_END);
    bytes.resize(length > 0 ? static_cast<size_t>(length) : 0);
    if (!bytes.empty() && pread(fd, bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) bytes.clear();
  }
  if (fd >= 0) close(fd);
  closeSettingsWorkspace(w.get());
  hostServicesRelease(&services);
  hostServicesActivate(nullptr);
  return bytes;
}

}  // namespace

bool makeReplayPlan(ReplayPlan* plan) {
  plan->inputNoun = "files";
  FuzzBytes written = writtenFile(5, 30, 0);
  FuzzBytes checkered = writtenFile(13, 62, 1);
  if (written.size() <= 76 || checkered.size() <= 76) return false;  // no thumbnail block was written
  FuzzBytes bare(written.begin(), written.begin() + THUMBNAIL_BLOCK_OFFSET);
  appendWord(&bare, 0);  // the block's flag: no thumbnail
  FuzzBytes legacy = head(189);
  for (int32_t v : {1, 8, 0}) appendWord(&legacy, v);
  for (int i = 0; i < 8 * 8; ++i) legacy.insert(legacy.end(), {200, 100, 50});
  plan->seeds = {written, checkered, bare, tail(head(188)), tail(head(189)), tail(legacy)};

  plan->mutations = {MUTATE_FLIP_BIT, MUTATE_CUT, MUTATE_PLANT_WORD, MUTATE_PLANT_WORD};
  plan->plantedWordSlots = 20;  // the head and the first block's words
  plan->plantedWords = {0, 1, 2, -1, -5, 64, 128, 129, 300, 49152, 49153, 0x7FFFFFFF, int32_t(0x80000000)};
  plan->randomStart = 20240612u;
  plan->mutantsPerSeed = 400;
  plan->maxEdits = 3;
  return true;
}
