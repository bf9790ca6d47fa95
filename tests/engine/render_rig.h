// A tile render without a host: a FilterRecord and a session filled by
// hand, a tile filled from a picture function, and an output buffer the
// size of the core. Enough for renderTile and renderStrokePlaneTile.
#pragma once

#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <vector>

#include "session/session.h"
#include "engine/render.h"
#include "glue/glue_modes.h"
#include "pi/plugin_interface.h"

struct RenderRig {
  int16_t result = 0;
  FilterRecord record{};
  FilterSession session{};
  EdgeParameters params{};
  std::unique_ptr<FilterWorkArea> work{new FilterWorkArea()};
  PixelMap tile{};
  std::vector<uint16_t> out;  // samples, 8-bit images use the low byte only
  std::vector<uint8_t> out8;
  int32_t core = 0, planes = 3;
  bool eightBit = true;

  // A core of `core` x `core` pixels; planes 1 (grey) or 3; depth 8 or 16.
  RenderRig(int32_t coreSide, int32_t planeCount, int32_t depth) : core(coreSide), planes(planeCount) {
    eightBit = depth == 8;
    session.result = &result;
    session.filterRecord = &record;
    session.parameters = &params;
    session.work = work.get();
    buildRunTables(work->glueTables);
    work->exportTarget = nullptr;
    pixelMapInit(&session.strokePlane, &session, work->kernelTable);
    pixelMapInit(&tile, &session, work->kernelTable);
    setDefaultParameters(&params);
    params.scaleDivisor = 1;
    params.renderTarget = 0;
    record.planes = static_cast<int16_t>(planes);
    record.imageMode = static_cast<int16_t>(planes == 1 ? (eightBit ? 1 : 10) : (eightBit ? 3 : 11));
    record.depth = depth;
    record.filterCase = 1;
    record.outRect = Rect{0, 0, static_cast<int16_t>(core), static_cast<int16_t>(core)};
    record.outLoPlane = 0;
    record.outHiPlane = static_cast<int16_t>(planes - 1);
    int32_t sampleBytes = eightBit ? 1 : 2;
    record.outColumnBytes = planes * sampleBytes;
    record.outRowBytes = core * planes * sampleBytes;
    for (int k = 0; k < 4; ++k) record.backColor[k] = 0, record.foreColor[k] = 255;
    session.imageRight = core - 1;
    session.imageBottom = core - 1;
    if (eightBit) {
      out8.assign(static_cast<size_t>(core) * core * planes, 0);
      record.outData = out8.data();
    } else {
      out.assign(static_cast<size_t>(core) * core * planes, 0);
      record.outData = out.data();
    }
  }
  ~RenderRig() {
    pixelMapFree(&tile);
    pixelMapFree(&session.strokePlane);
    releaseFieldBuffers(&session, &session.edgeScratchA);
    releaseFieldBuffers(&session, &session.edgeScratchB);
    releaseFieldBuffers(&session, &session.edgeSource);
  }

  // Sets the user's values and derives the working fields.
  void set(int32_t edgeStyle, int32_t smoothing = 20, int32_t tweaker = 50) {
    params.edgeStyle = edgeStyle;
    params.smoothing = smoothing;
    params.tweaker = tweaker;
    deriveRenderFieldsOf(&params);
  }

  // The tile from a picture: value(x, y) in core coordinates (the margin
  // lies at negative and beyond-core coordinates), the same in every
  // colour channel unless rgb(x, y, channel) is given.
  void fillTile(const std::function<int32_t(int32_t, int32_t, int32_t)>& sample) {
    int32_t side = core + 2 * TILE_MARGIN;
    pixelMapCreate(&tile, side, side, eightBit ? PIXEL_RGBA8 : PIXEL_RGBA16, 0);
    for (int32_t y = 0; y < side; ++y)
      for (int32_t x = 0; x < side; ++x) {
        int32_t c[3];
        for (int k = 0; k < 3; ++k) c[k] = sample(x - TILE_MARGIN, y - TILE_MARGIN, planes == 1 ? 0 : k);
        if (eightBit)
          setBytes4Fast(x, y, &tile, 0, 255, c[2], c[1], c[0]);
        else
          setWords4Fast(x, y, &tile, 0, c[0], c[1], c[2], 32768);
      }
  }
  void fillGrey(const std::function<int32_t(int32_t, int32_t)>& value) {
    fillTile([&](int32_t x, int32_t y, int32_t) { return value(x, y); });
  }

  // A stroke plane the size of the core, cleared.
  void makeStrokePlane() {
    pixelMapCreate(&session.strokePlane, core, core, PIXEL_BYTE, 0);
    pixelMapFillBytes(&session.strokePlane, 0, 0);
  }

  void fillOutput(uint16_t value) {
    if (eightBit)
      std::memset(out8.data(), value & 255, out8.size());
    else
      for (auto& v : out) v = value;
  }
  int32_t outputAt(int32_t x, int32_t y, int32_t k) const {
    size_t at = (static_cast<size_t>(y) * core + x) * planes + k;
    return eightBit ? out8[at] : out[at];
  }
  std::vector<int32_t> outputCopy() const {
    std::vector<int32_t> v;
    if (eightBit)
      v.assign(out8.begin(), out8.end());
    else
      v.assign(out.begin(), out.end());
    return v;
  }
  std::vector<uint8_t> planeCopy() const {
    const PixelMap& p = session.strokePlane;
    return std::vector<uint8_t>(p.pixels, p.pixels + static_cast<size_t>(p.baseWidth) * p.baseHeight);
  }

  void render() { renderTile(&session, &tile); }
  void renderPlane() { renderStrokePlaneTile(&session, &tile); }
};
