#include "dialog/randomize.h"

#include <cstdlib>
#include <ctime>

#include "presets/settings_file.h"
#include "session/parameters.h"

namespace {

RandomSource randomSource = nullptr;

int nextRandom() { return randomSource != nullptr ? randomSource() : std::rand(); }

}  // namespace

void setRandomSource(RandomSource source) { randomSource = source; }

void seedRandom() { std::srand(static_cast<unsigned>(std::time(nullptr))); }

int32_t randomInRange(int32_t low, int32_t high) {
  if (low > high) {
    const int32_t t = low;
    low = high;
    high = t;
  }
  const int64_t span = static_cast<int64_t>(high) - low;
  int64_t mask = 1;
  if (span >= 2)
    while (mask < span) mask = mask * 2 + 1;
  for (;;) {
    // The draw as a signed 16-bit number, shifted arithmetically: the low
    // bits of some generators are poor.
    const int32_t bits = static_cast<int16_t>(nextRandom()) >> 4;
    const int64_t value = (bits & mask) + low;
    if (value <= high) return static_cast<int32_t>(value);
  }
}

void randomizeParameters(EdgeParameters* p) {
  p->edgeStyle = randomInRange(1, 12);
  if (p->edgeStyle == 8) p->edgeStyle = randomInRange(1, 12);  // "splotchy" only on a second draw
  const int32_t smoothingHigh = randomInRange(20, 90);
  p->smoothing = smoothingHigh * randomInRange(0, 90) / 100 + 10;
  p->tweaker = randomInRange(20, 100);
  p->edgeExtent = randomInRange(1, 3);
  if (randomInRange(0, 100) > 8) p->edgeExtent = 3;
  p->source = randomInRange(1, 4);
  int32_t colorize = 1;
  for (int i = 0; i < 4; ++i) colorize *= randomInRange(0, 1);
  p->colorize = colorize;
  p->edgeSpare = randomInRange(1, 6);
  p->chromeStyle = randomInRange(1, 6);
  p->angle = randomInRange(0, 359);
  p->removeNoise = randomInRange(0, 1);
  p->flip = randomInRange(0, 1);
  p->glue = randomInRange(1, 62);
  if (randomInRange(0, 100) > 12) {
    static constexpr int32_t COMMON_GLUES[4] = {7, 9, 12, 18};  // add, multiply, overlay, pin light
    p->glue = COMMON_GLUES[randomInRange(0, 3)];
  }
  copyPathText(p->settingsName, RANDOM_SETTINGS_NAME);
  if (randomInRange(0, 100) > 92) {
    p->glue = 9;       // multiply
    p->edgeStyle = 3;  // "thin/soft"
    p->flip = 1;
    p->tweaker = randomInRange(35, 100);
  }
}
