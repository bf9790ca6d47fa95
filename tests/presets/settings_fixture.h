// Shared pieces of the settings file tests: a workspace whose maps come from
// the substitute host's buffer suite, and byte-level builders for files of
// every version.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "pihost/host_services.h"
#include "presets/settings_file.h"
#include "presets/settings_workspace.h"

using Bytes = std::vector<uint8_t>;

// One buffer suite for the whole process: the suite's procedures reach their
// state through the one active HostServices.
HostServices* sharedServices();

struct Workspace {
  std::unique_ptr<SettingsWorkspace> ws;
  Workspace();
  ~Workspace();
  FilterSession* session() { return &ws->session; }
  EdgeParameters* p() { return &ws->parameters; }
  PixelMap* thumbnail() { return &ws->session.presetThumbnail; }
};

void appendWord(Bytes* bytes, int32_t value);
Bytes wordsOf(std::initializer_list<int32_t> values);
int32_t wordAt(const Bytes& bytes, size_t offset);

void writeBytesTo(const std::string& path, const Bytes& bytes);
Bytes readBytesFrom(const std::string& path);
// A fresh path in this binary's scratch folder.
std::string scratchFile(const std::string& name);

// Fills the thumbnail with four coloured quarters.
void paintQuarters(PixelMap* map);
// Mean absolute difference of R, G, B over two 128 x 128 maps.
double meanDifference(const PixelMap* a, const PixelMap* b);
// Mean R, G, B of a map.
void meanColour(const PixelMap* map, double out[3]);
