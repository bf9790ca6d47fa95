#include "engine/styles.h"

namespace {

// By zero-based style number; null: the style draws nothing yet.
const StyleRenderer STYLE_RENDERERS[EDGE_STYLE_COUNT] = {
    renderBlurry,  // 1 blurry
    nullptr,       // 2 thin/hard
    nullptr,       // 3 thin/soft
    nullptr,       // 4 chrome
    nullptr,       // 5 scribble
    nullptr,       // 6 halo
    nullptr,       // 7 tangled
    nullptr,       // 8 splotchy
    nullptr,       // 9 racetrack
    nullptr,       // 10 zero
    nullptr,       // 11 antitangled
    nullptr,       // 12 checker
    nullptr,       // 13 thorny
};

}  // namespace

void renderStyle(uint16_t zeroBasedStyle, FilterSession* session, const RenderContext& context, PixelMap* tile) {
  if (zeroBasedStyle >= EDGE_STYLE_COUNT) return;
  StyleRenderer renderer = STYLE_RENDERERS[zeroBasedStyle];
  if (renderer != nullptr) renderer(session, context, tile);
}
