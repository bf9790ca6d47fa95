#include "tests/presets/settings_fixture.h"

#include <cstdio>
#include <fstream>
#include <iterator>

#include "tests/e2e/host_runner.h"

HostServices* sharedServices() {
  static HostServices* services = [] {
    auto* s = new HostServices();
    hostServicesInit(s);
    return s;
  }();
  hostServicesActivate(services);
  return services;
}

Workspace::Workspace() : ws(new SettingsWorkspace()) {
  openSettingsWorkspace(ws.get(), &sharedServices()->bufferProcs);
}

Workspace::~Workspace() { closeSettingsWorkspace(ws.get()); }

void appendWord(Bytes* bytes, int32_t value) {
  uint32_t v = static_cast<uint32_t>(value);
  for (int shift = 24; shift >= 0; shift -= 8) bytes->push_back(static_cast<uint8_t>(v >> shift));
}

Bytes wordsOf(std::initializer_list<int32_t> values) {
  Bytes bytes;
  for (int32_t v : values) appendWord(&bytes, v);
  return bytes;
}

int32_t wordAt(const Bytes& bytes, size_t offset) {
  return static_cast<int32_t>((uint32_t(bytes[offset]) << 24) | (uint32_t(bytes[offset + 1]) << 16) |
                              (uint32_t(bytes[offset + 2]) << 8) | uint32_t(bytes[offset + 3]));
}

void writeBytesTo(const std::string& path, const Bytes& bytes) {
  std::remove(path.c_str());
  std::ofstream out(path, std::ios::binary);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

Bytes readBytesFrom(const std::string& path) { return fileBytes(path); }

std::string scratchFile(const std::string& name) {
  const std::string path = scratchPath(name);
  std::remove(path.c_str());
  return path;
}

void paintQuarters(PixelMap* map) {
  for (int32_t y = 0; y < map->baseHeight; ++y)
    for (int32_t x = 0; x < map->baseWidth; ++x) {
      const bool right = x >= map->baseWidth / 2, bottom = y >= map->baseHeight / 2;
      if (!right && !bottom) setBytes4(x, y, map, 0, 220, 30, 30, 255);
      else if (right && !bottom) setBytes4(x, y, map, 0, 30, 200, 40, 255);
      else if (!right) setBytes4(x, y, map, 0, 20, 40, 210, 255);
      else setBytes4(x, y, map, 0, 240, 240, 60, 255);
    }
  pixelMapBuildLevels(map);
}

double meanDifference(const PixelMap* a, const PixelMap* b) {
  double total = 0;
  for (int32_t y = 0; y < THUMBNAIL_SIDE; ++y)
    for (int32_t x = 0; x < THUMBNAIL_SIDE; ++x) {
      int32_t ca[4], cb[4];
      getBytes4(x, y, a, 0, ca);
      getBytes4(x, y, b, 0, cb);
      for (int c = 0; c < 3; ++c) total += ca[c] > cb[c] ? ca[c] - cb[c] : cb[c] - ca[c];
    }
  return total / (3.0 * THUMBNAIL_SIDE * THUMBNAIL_SIDE);
}

void meanColour(const PixelMap* map, double out[3]) {
  out[0] = out[1] = out[2] = 0;
  for (int32_t y = 0; y < map->baseHeight; ++y)
    for (int32_t x = 0; x < map->baseWidth; ++x) {
      int32_t c[4];
      getBytes4(x, y, map, 0, c);
      for (int k = 0; k < 3; ++k) out[k] += c[k];
    }
  const double count = double(map->baseWidth) * map->baseHeight;
  for (int k = 0; k < 3; ++k) out[k] /= count;
}
