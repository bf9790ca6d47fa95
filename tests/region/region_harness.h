// A small host for the region and preview tests: a picture in memory, an
// advanceState that cuts the requested rectangles out of it (reduced by the
// sampling rate: the sample at scaled (x, y) is pixel (x * n, y * n)), a
// displayPixels that keeps what it was shown, and the plug-in's Prepare
// selector followed by Start's set-up without dialog or final run.
#pragma once

#include <cstdint>
#include <vector>

#include "pi/plugin_interface.h"

struct FilterSession;
struct EdgeParameters;

struct HarnessPicture {
  int32_t width = 0, height = 0;
  int32_t colorPlanes = 3;  // 1 or 3
  bool alpha = false;
  int32_t depth = 8;        // 8 or 16
  std::vector<uint16_t> samples;  // interleaved, alpha last
  int32_t planes() const { return colorPlanes + (alpha ? 1 : 0); }
  uint16_t* at(int32_t x, int32_t y) { return &samples[(static_cast<size_t>(y) * width + x) * planes()]; }
  const uint16_t* at(int32_t x, int32_t y) const { return &samples[(static_cast<size_t>(y) * width + x) * planes()]; }
};

// A deterministic picture with edges in it: rings, a ramp and some noise.
HarnessPicture makeTestPicture(int32_t width, int32_t height, int32_t colorPlanes, int32_t depth, bool alpha);

struct Harness {
  FilterRecord record{};
  HarnessPicture picture;
  std::vector<uint8_t> mask;  // one byte a pixel of the picture; empty: no selection
  HarnessPicture output;      // the picture with the final run's buffers laid in
  bool commitOutput = false;  // copy each output buffer back (final runs)
  std::vector<uint8_t> inBuffer, outBuffer, maskBuffer;
  Rect committedRect{};  // the output rectangle of the last advanceState
  int32_t committedRate = 1, committedLo = 0, committedHi = -1;
  int32_t advanceCalls = 0;
  // What displayPixels received: the 8-bit rows of its source rectangle.
  int32_t displayCalls = 0;
  int32_t shownMode = 0, shownColBytes = 0, shownRow = 0, shownColumn = 0;
  VRect shownBounds{};
  std::vector<uint8_t> shown;
  intptr_t data = 0;
  int16_t result = 0;
  FilterSession* session = nullptr;

  Harness() = default;
  Harness(const Harness&) = delete;
  Harness& operator=(const Harness&) = delete;
  // Frees the plug-in's session and parameter handles, as a host does when
  // it quits.
  ~Harness();
};

// Sets up the record for the picture and the filter rectangle; a mask makes
// it a selection. filterCase follows (with alpha: 4 or 5).
void harnessInit(Harness* h, const HarnessPicture& picture, const Rect& filterRect,
                 const std::vector<uint8_t>* mask = nullptr);
// Prepare through PluginMain, then Start's set-up; false on failure. The
// parameters are set to `style`'s defaults for the tests (edge style 1).
bool harnessStart(Harness* h);
EdgeParameters* harnessParameters(Harness* h);
// The final run (renderTarget 0) with the output laid into h->output; ends
// the session.
void harnessFinalRun(Harness* h);
// Start's clean-up after a preview or an export.
void harnessEnd(Harness* h);

// Sample (plane k) of the host's current outData at buffer pixel (x, y).
int32_t harnessOutSample(const Harness& h, int32_t x, int32_t y, int32_t k);
