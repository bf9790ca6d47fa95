// The tangled family's rows sixteen floats at a time, built for AVX-512F alone;
// chosen at run time only where the CPU has it.

#include "engine/tangled_kernels.h"
#include "engine/tangled_rows.h"
#include "numeric/simd_lanes_avx512.h"

void tangledRowAvx512(const TangledRowSetup& setup, int32_t row, int32_t* edges) {
  tangledRowWith<FloatLanesAvx512>(setup, row, edges, numeric::logarithmsAvx512);
}
