// arcTangent2 over rows, four doubles at a time (avx2, no FMA).
#include "numeric/lanes_avx2.h"
#include "numeric/vector_arctangent.h"
#include "numeric/arctangent_rows.h"

void numeric::arcTangent2RowAvx2(const double* y, const double* x, double* angle, int32_t count) {
  arcTangent2RowWith<LanesAvx2>(y, x, angle, count);
}
