// "chrome"'s index rows, built for the avx2 target alone.
#include "numeric/lanes_avx2.h"
#include "engine/chrome_lanes.h"

int32_t chromeIndicesAvx2(const double* gx, const double* gy, int32_t side, bool removeNoise, double s,
                          int32_t columns, int32_t* indices) {
  return chromeIndicesWith<LanesAvx2>(gx, gy, side, removeNoise, s, columns, indices);
}
