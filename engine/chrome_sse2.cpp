// "chrome"'s index rows, built for the sse2 target alone.
#include "numeric/lanes_sse2.h"
#include "engine/chrome_lanes.h"

int32_t chromeIndicesSse2(const double* gx, const double* gy, int32_t side, bool removeNoise, double s,
                          int32_t columns, int32_t* indices) {
  return chromeIndicesWith<LanesSse2>(gx, gy, side, removeNoise, s, columns, indices);
}
