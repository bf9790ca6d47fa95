// arcTangent2 over rows, eight doubles at a time (avx512f, no FMA).
#include "numeric/lanes_avx512.h"
#include "numeric/vector_arctangent.h"
#include "numeric/arctangent_rows.h"

void numeric::arcTangent2RowAvx512(const double* y, const double* x, double* angle, int32_t count) {
  arcTangent2RowWith<LanesAvx512>(y, x, angle, count);
}
