// The AVX2 and AVX-512 intrinsics, for the files built for those targets.
// GCC's own headers leave a don't-care operand of the masked and gathering
// forms unset and then warn about it wherever they are inlined; the warning
// says nothing about this code, so it is off from here on.
#pragma once

#include <immintrin.h>

#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#pragma GCC diagnostic ignored "-Wuninitialized"
#endif
