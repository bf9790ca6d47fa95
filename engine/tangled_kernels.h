// The tangled family's edge values, a row at a time, at each vector width.
// Every width gives the bits of the one-at-a-time row.
#pragma once

#include <cstddef>
#include <cstdint>

#include "engine/field_kernels.h"

// What one render of the family needs for its rows. The field planes have
// side `side`; core pixel (r, c) reads sample (r + 1) * side + c + 1 and its
// neighbours to the right and below. A missing plane is null.
struct TangledRowSetup {
  const double* gradientX;
  const double* gradientY;
  int32_t side;
  int32_t columns;
  int32_t subMode;   // TANGLED_TANGLED .. TANGLED_THORNY
  int32_t depthScale;  // 1 at 8 bits, 128 at 16
  double gain;
  float limit;       // K, 300 * depthScale
  int32_t maxValue;
};

using TangledRowFunction = void (*)(const TangledRowSetup& setup, int32_t row, int32_t* edges);

void tangledRowScalar(const TangledRowSetup& setup, int32_t row, int32_t* edges);
void tangledRowSse2(const TangledRowSetup& setup, int32_t row, int32_t* edges);
void tangledRowAvx2(const TangledRowSetup& setup, int32_t row, int32_t* edges);
void tangledRowAvx512(const TangledRowSetup& setup, int32_t row, int32_t* edges);

// The row function of a level, lowered to what the CPU offers.
TangledRowFunction tangledRowFor(SimdLevel level);
