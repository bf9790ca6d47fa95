// The vector width of the glue modes' row forms: the widest the CPU and the
// operating system support, unless MARROWLINE_SIMD (scalar, sse2, avx2,
// avx512) asks for a narrower one. Every width gives the bytes of the
// per-pixel functions; glueRowFunction asks here once per call.
#pragma once

#include "glue/glue_modes.h"
#include "numeric/simd_level.h"

// The process's choice: made once, from the CPU and MARROWLINE_SIMD.
SimdLevel activeGlueLanes();
// Tests and benchmarks switch the width for the rest of the process; a
// width the CPU lacks is lowered to what it has.
void forceGlueLanes(SimdLevel lanes);

// The row form at one width (lowered to what the CPU has). Null for mode 1
// and any number outside 2..62.
GlueRowFunction glueRowFunctionAt(SimdLevel lanes, int mode, int depth);

// Each width's own forms, null for a mode without one at that width.
GlueRowFunction glueRowFunctionSse2(int mode, int depth);
GlueRowFunction glueRowFunctionAvx2(int mode, int depth);
GlueRowFunction glueRowFunctionAvx512(int mode, int depth);
