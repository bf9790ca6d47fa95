// The tangled family's rows eight floats at a time, built for AVX2 alone;
// chosen at run time only where the CPU has it.

#include "engine/tangled_kernels.h"
#include "engine/tangled_rows.h"
#include "numeric/simd_lanes_avx2.h"

void tangledRowAvx2(const TangledRowSetup& setup, int32_t row, int32_t* edges) {
  tangledRowWith<FloatLanesAvx2>(setup, row, edges, numeric::logarithmsAvx2);
}
