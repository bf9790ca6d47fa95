// The readSettingsFile entry's replay series (main is replay_driver.cpp).
// The seeds are files of each kind the reader tells apart: today's with a
// thumbnail and without, an old one, and one with a legacy raw block. The
// mutations flip bits, cut the file, and plant large or negative words at
// the places where sizes and lengths stand.
#include <cstdio>
#include <fstream>
#include <iterator>
#include <memory>

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

// Today's file with a thumbnail, made by the writer itself.
FuzzBytes writtenFile() {
  HostServices services;
  hostServicesInit(&services);
  auto w = std::make_unique<SettingsWorkspace>();
  FuzzBytes bytes;
  if (openSettingsWorkspace(w.get(), &services.bufferProcs)) {
    PixelMap* thumbnail = &w->session.presetThumbnail;
    for (int32_t y = 0; y < 128; ++y)
      for (int32_t x = 0; x < 128; ++x) setBytes4(x, y, thumbnail, 0, x * 2, y * 2, (x ^ y) & 255, 255);
    const char* path = "/tmp/marrowline-settings-seed.q4t";
    std::remove(path);
    writeSettingsFile(&w->session, path);
    std::ifstream in(path, std::ios::binary);
    bytes.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    std::remove(path);
  }
  closeSettingsWorkspace(w.get());
  hostServicesRelease(&services);
  hostServicesActivate(nullptr);
  return bytes;
}

}  // namespace

bool makeReplayPlan(ReplayPlan* plan) {
  plan->inputNoun = "files";
  FuzzBytes written = writtenFile();
  if (written.size() <= 76) return false;  // no thumbnail block was written
  FuzzBytes bare(written.begin(), written.begin() + THUMBNAIL_BLOCK_OFFSET);
  appendWord(&bare, 0);  // the block's flag: no thumbnail
  FuzzBytes legacy = head(189);
  for (int32_t v : {1, 8, 0}) appendWord(&legacy, v);
  for (int i = 0; i < 8 * 8; ++i) legacy.insert(legacy.end(), {200, 100, 50});
  plan->seeds = {written, bare, tail(head(188)), tail(legacy)};

  plan->mutations = {MUTATE_FLIP_BIT, MUTATE_CUT, MUTATE_PLANT_WORD, MUTATE_PLANT_WORD};
  plan->plantedWordSlots = 20;  // the head and the first block's words
  plan->plantedWords = {0, 1, 2, -1, -5, 64, 128, 129, 300, 49152, 49153, 0x7FFFFFFF, int32_t(0x80000000)};
  plan->randomStart = 20240612u;
  plan->mutantsPerSeed = 400;
  plan->maxEdits = 3;
  return true;
}
