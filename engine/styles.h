// The edge styles, one renderer per number. Each reads the field planes and
// the tile and renders the core through the shared pixel loop (or, for the
// two-pass styles, draws into the stroke plane).
#pragma once

#include <emmintrin.h>

#include <cstdint>
#include <vector>

#include "engine/render.h"
#include "engine/stroke_kernels.h"
#include "glue/glue_modes.h"

struct FilterSession;

// EDGE_STYLE_COUNT comes with the style names (glue/glue_modes.h).

using StyleRenderer = void (*)(FilterSession* session, const RenderContext& context, PixelMap* tile);

// Zero-based style number; a number outside the table draws nothing.
void renderStyle(int32_t zeroBasedStyle, FilterSession* session, const RenderContext& context, PixelMap* tile);

// Zero-based style numbers the dispatcher and the walk need to know by name.
constexpr int32_t STYLE_INDEX_BLURRY = 0;
constexpr int32_t STYLE_INDEX_THIN_SOFT = 2;
constexpr int32_t STYLE_INDEX_CHROME = 3;
constexpr int32_t STYLE_INDEX_SCRIBBLE = 4;

// --- the renderers ---------------------------------------------------------
void renderBlurry(FilterSession* session, const RenderContext& context, PixelMap* tile);
void renderThinHard(FilterSession* session, const RenderContext& context, PixelMap* tile);
// Draws into the session's strokePlane; the plane pass makes the pixels.
void renderThinSoft(FilterSession* session, const RenderContext& context, PixelMap* tile);
// Reads context.chromeTable, which the dispatcher fills first.
void renderChrome(FilterSession* session, const RenderContext& context, PixelMap* tile);
// Draws into the session's strokePlane; the plane pass makes the pixels.
void renderScribble(FilterSession* session, const RenderContext& context, PixelMap* tile);
void renderHalo(FilterSession* session, const RenderContext& context, PixelMap* tile);

// The tangled family: one renderer, sub-modes 0..6 for styles 7..13.
enum TangledMode : int32_t {
  TANGLED_TANGLED = 0,
  TANGLED_SPLOTCHY = 1,
  TANGLED_RACETRACK = 2,
  TANGLED_ZERO = 3,
  TANGLED_ANTITANGLED = 4,
  TANGLED_CHECKER = 5,
  TANGLED_THORNY = 6,
};
void renderTangled(FilterSession* session, const RenderContext& context, PixelMap* tile, int32_t subMode);

// --- chrome curves ---------------------------------------------------------
constexpr int32_t CHROME_TABLE_SIZE = 361;
constexpr int32_t CHROME_CURVE_COUNT = 6;
// Fills the 361 slots for the zero-based curve, turned by chromeAngle and
// bent by weight. A curve number outside 0..5 gives an all-zero table.
void buildChromeTable(int32_t zeroBasedChromeStyle, int32_t chromeAngle, int32_t weight, uint8_t table[361]);
// The shade for a fixed-point direction index: 0..360 at 8 bits, 0..360*128
// with 7 fraction bits at 16 bits, interpolated to at most 32640.
int32_t chromeShade(const uint8_t table[361], int32_t index, bool eightBit);

// --- strokes into the one-byte plane ----------------------------------------
// Bilinear splat of one dot: each of the four cells keeps the larger of its
// value and its share, at most 255. Writes outside the plane are dropped.
void drawStrokeDot(float x, float y, PixelMap* plane, float value);
// Marching squares on one cell of corner values (00, 01 on top, 10, 11
// below): one dot stands for each segment, at the segment's midpoint and
// with value times its length.
void contourCell(float a00, float a01, float a10, float a11, float threshold, int32_t x, int32_t y, PixelMap* plane,
                 int32_t value);

// A stroke pass split into bands of core rows over the render's threads.
// A band writes only the plane rows it owns, [ownTop, ownBottom); a dot
// that reaches beyond them waits in the band's spill list and is drawn on
// the calling thread once every band is done. As each cell keeps the
// largest share it is given, the plane comes out the same for any number
// of threads.
struct StrokeBand {
  PixelMap* plane;
  int32_t ownTop, ownBottom;
  std::vector<StrokeDot>* spill;
};
void drawBandDot(StrokeBand* band, float x, float y, float value);
// The same for a list of dots, four at a time.
void drawBandDots(StrokeBand* band, const StrokeDot* dots, int32_t count);
// The same for four dots in lanes, those whose bit is set in `lanes`.
void drawDotLanes(StrokeBand* band, __m128 x, __m128 y, __m128 value, uint32_t lanes);
// The dots contourCell draws, into dots[0..count-1]; returns the count.
int32_t contourDots(float a00, float a01, float a10, float a11, float threshold, int32_t x, int32_t y, int32_t value,
                    StrokeDot dots[2]);
// task(context, begin, end, band) draws the strokes of core rows
// begin .. end-1 through drawBandDot; bands run in any order, on any
// thread, and never call the host.
using StrokeBandTask = void (*)(const void* context, int32_t begin, int32_t end, StrokeBand* band);
void drawStrokesInBands(FilterSession* session, int32_t rows, StrokeBandTask task, const void* context);
template <typename BandFunction>
void drawStrokesInBands(FilterSession* session, int32_t rows, const BandFunction& bandFunction) {
  drawStrokesInBands(
      session, rows,
      [](const void* context, int32_t begin, int32_t end, StrokeBand* band) {
        (*static_cast<const BandFunction*>(context))(begin, end, band);
      },
      &bandFunction);
}

// The plane pass's brightening curve.
extern const uint8_t TONE_CURVE[256];
// The plane value a (0..255) as an edge value: without flip through the
// curve, with flip inverted; widened to 0..32768 at 16 bits.
int32_t planeEdgeValue(int32_t a, bool flip, bool eightBit);

// --- small shared helpers ----------------------------------------------------
// The preview's reduction, never below 1, so that no style divides by 0.
int32_t styleScaleDivisor(FilterSession* session);
// The core of a stroke pass: false when there is nothing to draw (no stroke
// plane, or an empty output rectangle); otherwise its rows and columns.
bool strokePassCore(FilterSession* session, int32_t* rows, int32_t* columns);
// A double to a 32-bit integer by truncation toward zero; values beyond the
// range saturate and NaN gives 0, so that no out-of-range slider can make
// the conversion undefined.
inline int32_t truncateSaturating(double v) {
  if (!(v == v)) return 0;
  if (v >= 2147483647.0) return 2147483647;
  if (v <= -2147483648.0) return -2147483647 - 1;
  return static_cast<int32_t>(v);
}
