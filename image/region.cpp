#include "image/region.h"

// The one-tile render comes with the preview; until then a region render
// draws nothing.
void renderRegion(FilterSession*) {}
