// arcTangent2 over a row of pairs, one entry per vector width, each built
// for its own target: call a wider one only where the CPU has it. Every
// width gives numeric::arcTangent2's bits.
#pragma once

#include <cstdint>

namespace numeric {

void arcTangent2RowSse2(const double* y, const double* x, double* angle, int32_t count);
void arcTangent2RowAvx2(const double* y, const double* x, double* angle, int32_t count);
void arcTangent2RowAvx512(const double* y, const double* x, double* angle, int32_t count);

}  // namespace numeric
