// The edge styles, one renderer per number. Each reads the field planes and
// the tile and renders the core through the shared pixel loop (or, for the
// two-pass styles, draws into the stroke plane).
#pragma once

#include <cstdint>

#include "engine/render.h"
#include "glue/glue_modes.h"

struct FilterSession;

// EDGE_STYLE_COUNT comes with the style names (glue/glue_modes.h).

using StyleRenderer = void (*)(FilterSession* session, const RenderContext& context, PixelMap* tile);

// Zero-based style number; a style without a renderer draws nothing.
void renderStyle(uint16_t zeroBasedStyle, FilterSession* session, const RenderContext& context, PixelMap* tile);

// The renderers.
void renderBlurry(FilterSession* session, const RenderContext& context, PixelMap* tile);
