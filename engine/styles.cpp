#include "engine/styles.h"

#include "session/session.h"
#include "image/rect.h"
#include "pi/plugin_interface.h"

namespace {

void renderTangledMode0(FilterSession* s, const RenderContext& c, PixelMap* t) { renderTangled(s, c, t, TANGLED_TANGLED); }
void renderTangledMode1(FilterSession* s, const RenderContext& c, PixelMap* t) { renderTangled(s, c, t, TANGLED_SPLOTCHY); }
void renderTangledMode2(FilterSession* s, const RenderContext& c, PixelMap* t) { renderTangled(s, c, t, TANGLED_RACETRACK); }
void renderTangledMode3(FilterSession* s, const RenderContext& c, PixelMap* t) { renderTangled(s, c, t, TANGLED_ZERO); }
void renderTangledMode4(FilterSession* s, const RenderContext& c, PixelMap* t) { renderTangled(s, c, t, TANGLED_ANTITANGLED); }
void renderTangledMode5(FilterSession* s, const RenderContext& c, PixelMap* t) { renderTangled(s, c, t, TANGLED_CHECKER); }
void renderTangledMode6(FilterSession* s, const RenderContext& c, PixelMap* t) { renderTangled(s, c, t, TANGLED_THORNY); }

// By zero-based style number.
const StyleRenderer STYLE_RENDERERS[EDGE_STYLE_COUNT] = {
    renderBlurry,        // 1 blurry
    renderThinHard,      // 2 thin/hard
    renderThinSoft,      // 3 thin/soft (first pass)
    renderChrome,        // 4 chrome
    renderScribble,      // 5 scribble (first pass)
    renderHalo,          // 6 halo
    renderTangledMode0,  // 7 tangled
    renderTangledMode1,  // 8 splotchy
    renderTangledMode2,  // 9 racetrack
    renderTangledMode3,  // 10 zero
    renderTangledMode4,  // 11 antitangled
    renderTangledMode5,  // 12 checker
    renderTangledMode6,  // 13 thorny
};

}  // namespace

void renderStyle(int32_t zeroBasedStyle, FilterSession* session, const RenderContext& context, PixelMap* tile) {
  if (zeroBasedStyle < 0 || zeroBasedStyle >= EDGE_STYLE_COUNT) return;
  StyleRenderer renderer = STYLE_RENDERERS[zeroBasedStyle];
  if (renderer != nullptr) renderer(session, context, tile);
}

bool strokePassCore(FilterSession* session, int32_t* rows, int32_t* columns) {
  if (pixelMapEmpty(&session->strokePlane)) return false;
  const FilterRecord* record = session->filterRecord;
  *rows = rectHeight(record->outRect);
  *columns = rectWidth(record->outRect);
  return *rows > 0 && *columns > 0;
}

int32_t styleScaleDivisor(FilterSession* session) {
  int32_t divisor = sessionParameters(session)->scaleDivisor;
  return divisor < 1 ? 1 : divisor;
}
