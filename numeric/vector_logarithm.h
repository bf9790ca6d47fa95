// The natural logarithm of many doubles at once, one entry per vector
// width. Each gives numeric::logarithm's bits for every element: positive
// normal numbers take its steps lane by lane, and anything else (zero,
// negative, subnormal, infinite, NaN) is handed to it one at a time.
// x and out may be the same array.
#pragma once

#include <cstdint>

namespace numeric {

using LogarithmsFunction = void (*)(const double* x, double* out, int32_t count);

void logarithmsScalar(const double* x, double* out, int32_t count);
void logarithmsSse2(const double* x, double* out, int32_t count);
// Call these only where the CPU has AVX2 or AVX-512F.
void logarithmsAvx2(const double* x, double* out, int32_t count);
void logarithmsAvx512(const double* x, double* out, int32_t count);

}  // namespace numeric
