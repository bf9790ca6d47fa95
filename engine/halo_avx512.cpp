// "halo"'s edge rows, built for the avx512 target alone.
#include "numeric/lanes_avx512.h"
#include "engine/halo_lanes.h"

int32_t haloEdgesAvx512(const double* gx, const double* gy, const int32_t* brightness, bool grey, float g, float k,
                      int32_t maxValue, int32_t columns, int32_t* edges) {
  return haloEdgesWith<LanesAvx512>(gx, gy, brightness, grey, g, k, maxValue, columns, edges);
}
