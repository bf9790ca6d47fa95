// The second pass of the two-pass styles.
#include "engine/render.h"

void renderStrokePlaneTile(FilterSession*, PixelMap*) {}
