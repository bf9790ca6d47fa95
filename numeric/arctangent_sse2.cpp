// arcTangent2 over rows, two doubles at a time (sse2).
#include "numeric/lanes_sse2.h"
#include "numeric/vector_arctangent.h"
#include "numeric/arctangent_rows.h"

void numeric::arcTangent2RowSse2(const double* y, const double* x, double* angle, int32_t count) {
  arcTangent2RowWith<LanesSse2>(y, x, angle, count);
}
