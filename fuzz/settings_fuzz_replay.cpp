// Runs the readSettingsFile fuzz entry without libFuzzer, so that every build
// exercises it under ctest:
//   settings_fuzz_replay FILE...   replays saved inputs (a crash's reproducer)
//   settings_fuzz_replay           a fixed series of mutated files
// The seeds are files of each kind the reader tells apart: today's with a
// thumbnail and without, an old one, and one with a legacy raw block. The
// mutations flip bytes, cut the file, and plant large or negative words at
// the places where sizes and lengths stand.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <vector>

#include "pihost/host_services.h"
#include "presets/settings_file.h"
#include "presets/settings_workspace.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

using Bytes = std::vector<uint8_t>;

uint32_t nextRandom(uint32_t* state) {
  *state = *state * 1664525u + 1013904223u;
  return *state >> 8;
}

void putWord(Bytes* bytes, int32_t value) {
  for (int shift = 24; shift >= 0; shift -= 8) bytes->push_back(static_cast<uint8_t>(uint32_t(value) >> shift));
}

Bytes head(int32_t version) {
  Bytes bytes;
  for (int32_t v : {version, 4, 20, 80, 3, 1, 0, 4, 1, 45, 1}) putWord(&bytes, v);
  return bytes;
}

Bytes tail(Bytes bytes) {
  for (int32_t v : {1, 7, 0}) putWord(&bytes, v);
  return bytes;
}

// Today's file with a thumbnail, made by the writer itself.
Bytes writtenFile() {
  HostServices services;
  hostServicesInit(&services);
  auto w = std::make_unique<SettingsWorkspace>();
  Bytes bytes;
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

Bytes mutate(const Bytes& seed, uint32_t* state) {
  Bytes data = seed;
  if (data.empty()) return data;
  static const int32_t planted[] = {0, 1, 2, -1, -5, 64, 128, 129, 300, 49152, 49153, 0x7FFFFFFF,
                                    int32_t(0x80000000)};
  int edits = 1 + static_cast<int>(nextRandom(state) % 3);
  for (int e = 0; e < edits && !data.empty(); ++e) {
    size_t at = nextRandom(state) % data.size();
    switch (nextRandom(state) % 4) {
      case 0: data[at] ^= static_cast<uint8_t>(1u << (nextRandom(state) % 8)); break;
      case 1: data.resize(at); break;
      default: {  // a telling word at a word boundary of the head or block
        size_t word = (nextRandom(state) % 20) * 4;
        int32_t value = planted[nextRandom(state) % (sizeof planted / sizeof planted[0])];
        for (int i = 0; i < 4 && word + size_t(i) < data.size(); ++i)
          data[word + size_t(i)] = static_cast<uint8_t>(uint32_t(value) >> (24 - 8 * i));
      }
    }
  }
  return data;
}

}  // namespace

int main(int argc, char** argv) {
  int replayed = 0;
  for (int i = 1; i < argc; ++i) {
    if (argv[i][0] == '-') continue;  // libFuzzer-style flags are ignored here
    std::ifstream in(argv[i], std::ios::binary);
    Bytes data((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    LLVMFuzzerTestOneInput(data.data(), data.size());
    ++replayed;
  }
  if (replayed > 0) {
    std::printf("replayed %d inputs\n", replayed);
    return 0;
  }

  Bytes written = writtenFile();
  if (written.size() <= 76) {
    std::fprintf(stderr, "could not make a seed file\n");
    return 1;
  }
  Bytes bare(written.begin(), written.begin() + 60);
  putWord(&bare, 0);
  Bytes legacy = head(189);
  for (int32_t v : {1, 8, 0}) putWord(&legacy, v);
  for (int i = 0; i < 8 * 8; ++i) legacy.insert(legacy.end(), {200, 100, 50});
  std::vector<Bytes> seeds = {written, bare, tail(head(188)), tail(legacy)};

  uint32_t state = 20240612u;
  int runs = 0;
  for (const Bytes& seed : seeds) {
    LLVMFuzzerTestOneInput(seed.data(), seed.size());
    for (int i = 0; i < 400; ++i, ++runs) {
      Bytes data = mutate(seed, &state);
      LLVMFuzzerTestOneInput(data.data(), data.size());
    }
  }
  std::printf("ran %d mutated files\n", runs);
  return 0;
}
