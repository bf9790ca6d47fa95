#include "session/parameters.h"

#include <cstring>

void copyPathText(char* field, const char* text) {
  size_t n = text ? std::strlen(text) : 0;
  if (n > PATH_TEXT_BYTES - 1) n = PATH_TEXT_BYTES - 1;
  if (n) std::memcpy(field, text, n);
  field[n] = 0;
}

void setDefaultParameters(EdgeParameters* p) {
  p->edgeStyle = DEFAULT_EDGE_STYLE;
  p->smoothing = DEFAULT_SMOOTHING;
  p->tweaker = DEFAULT_TWEAKER;
  p->edgeExtent = DEFAULT_EDGE_EXTENT;
  p->source = DEFAULT_SOURCE;
  p->colorize = DEFAULT_COLORIZE;
  p->edgeSpare = DEFAULT_EDGE_SPARE;
  p->chromeStyle = DEFAULT_CHROME_STYLE;
  p->angle = DEFAULT_ANGLE;
  p->removeNoise = DEFAULT_REMOVE_NOISE;
  p->flip = DEFAULT_FLIP;
  p->glue = DEFAULT_GLUE;
  // Working copies as a render at full size would leave them.
  p->renderSmoothing = 10;
  p->renderSource = 0;
  p->renderStyle = 0;
  p->renderChromeStyle = 0;
  p->renderAngle = DEFAULT_ANGLE;
  p->renderTweaker = 50;
  p->horizontalField = 1;
  p->verticalField = 1;
  p->renderColorize = 0;
  p->renderRemoveNoise = 0;
}

namespace {

int32_t minusOne(int32_t v) { return static_cast<int32_t>(static_cast<uint32_t>(v) - 1u); }

}  // namespace

void deriveRenderFieldsOf(EdgeParameters* p) {
  int32_t divisor = p->scaleDivisor != 0 ? p->scaleDivisor : 1;
  p->renderSmoothing = p->smoothing / divisor;
  if (p->renderSmoothing == 0) p->renderSmoothing = 1;
  p->renderTweaker = p->tweaker;
  p->renderAngle = p->angle;
  p->horizontalField = (p->edgeExtent == 1 || p->edgeExtent == 3) ? 1 : 0;
  p->verticalField = (p->edgeExtent == 2 || p->edgeExtent == 3) ? 1 : 0;
  p->renderColorize = static_cast<uint8_t>(p->colorize & 255);
  p->renderRemoveNoise = static_cast<uint8_t>(p->removeNoise & 255);
  // A script may send any 32-bit value; the subtraction wraps rather than
  // overflows, and the readers treat what comes out as out of range.
  p->renderSource = minusOne(p->source);
  p->renderStyle = minusOne(p->edgeStyle);
  p->renderChromeStyle = minusOne(p->chromeStyle);
}

void copyStyleFields(EdgeParameters* snapshot, EdgeParameters* live, CopyDirection direction) {
  EdgeParameters* from = direction == COPY_TO_SNAPSHOT ? live : snapshot;
  EdgeParameters* to = direction == COPY_TO_SNAPSHOT ? snapshot : live;
  std::memcpy(to->settingsName, from->settingsName, PATH_TEXT_BYTES);
  to->edgeStyle = from->edgeStyle;
  to->smoothing = from->smoothing;
  to->tweaker = from->tweaker;
  to->edgeExtent = from->edgeExtent;
  to->source = from->source;
  to->colorize = from->colorize;
  to->edgeSpare = from->edgeSpare;
  to->chromeStyle = from->chromeStyle;
  to->angle = from->angle;
  to->removeNoise = from->removeNoise;
  to->flip = from->flip;
  to->glue = from->glue;
}
