// The tangled family's rows four floats at a time (SSE2, which every x86-64 CPU has);
// chosen at run time only where the CPU has it.

#include "engine/tangled_kernels.h"
#include "engine/tangled_rows.h"
#include "numeric/simd_lanes_sse2.h"

void tangledRowSse2(const TangledRowSetup& setup, int32_t row, int32_t* edges) {
  tangledRowWith<FloatLanesSse2>(setup, row, edges, numeric::logarithmsSse2);
}
