// The arc tangent's vector rows against the scalar function, bit for bit,
// at every width this CPU runs: random pairs over the whole range and the
// pairs where a branch of the scalar turns (ratios at the table's steps,
// the short cuts, the scalings, zeros, infinities, NaN), mixed so that lanes
// of one vector take different branches.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "numeric/arctangent_rows.h"
#include "numeric/portable_math.h"

namespace {

using RowFunction = void (*)(const double*, const double*, double*, int32_t);

struct Width {
  const char* name;
  RowFunction row;
};

std::vector<Width> widthsHere() {
  __builtin_cpu_init();
  std::vector<Width> widths = {{"sse2", numeric::arcTangent2RowSse2}};
  if (__builtin_cpu_supports("avx2")) widths.push_back({"avx2", numeric::arcTangent2RowAvx2});
  if (__builtin_cpu_supports("avx512f")) widths.push_back({"avx512", numeric::arcTangent2RowAvx512});
  return widths;
}

struct Random {
  uint64_t state;
  uint64_t next() {
    uint64_t z = (state += 0x9e3779b97f4a7c15ULL);
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ULL;
    z = (z ^ (z >> 27)) * 0x94d049bb133111ebULL;
    return z ^ (z >> 31);
  }
  double unit() { return static_cast<double>(next() >> 11) * 0x1p-53; }
};

double fromBits(uint64_t bits) {
  double v;
  std::memcpy(&v, &bits, sizeof v);
  return v;
}

uint64_t bitsOf(double v) {
  uint64_t bits;
  std::memcpy(&bits, &v, sizeof bits);
  return bits;
}

// NaN payloads may differ only where the scalar returns one of its own;
// every other result must match to the bit.
void expectScalarBits(const std::vector<double>& y, const std::vector<double>& x) {
  std::vector<double> expected(y.size()), got(y.size());
  for (size_t i = 0; i < y.size(); ++i) expected[i] = numeric::arcTangent2(y[i], x[i]);
  for (const Width& width : widthsHere()) {
    // An odd count leaves a tail at every width.
    std::fill(got.begin(), got.end(), 0.0);
    width.row(y.data(), x.data(), got.data(), static_cast<int32_t>(y.size()));
    size_t mismatches = 0;
    for (size_t i = 0; i < y.size(); ++i)
      if (bitsOf(got[i]) != bitsOf(expected[i]) && mismatches++ < 5)
        ADD_FAILURE() << width.name << ": atan2(" << y[i] << ", " << x[i] << ") gave " << got[i] << " not "
                      << expected[i] << " (pair " << i << ")";
    EXPECT_EQ(mismatches, 0u) << width.name;
  }
}

TEST(VectorArcTangent, RandomPairsGiveTheScalarBits) {
  Random random{15};
  const size_t count = 1000003;
  std::vector<double> y(count), x(count);
  // Sizes within 2^±40 with random signs: the main path's every branch.
  for (size_t i = 0; i < count; ++i) {
    y[i] = (random.next() & 1 ? -1.0 : 1.0) * (random.unit() + 0.5) * std::ldexp(1.0, int(random.next() % 81) - 40);
    x[i] = (random.next() & 1 ? -1.0 : 1.0) * (random.unit() + 0.5) * std::ldexp(1.0, int(random.next() % 81) - 40);
  }
  expectScalarBits(y, x);
  // Gradient-like values of similar size, the common case in a picture.
  for (size_t i = 0; i < count; ++i) {
    y[i] = (random.unit() - 0.5) * 2000.0;
    x[i] = (random.unit() - 0.5) * 2000.0;
  }
  expectScalarBits(y, x);
  // Any bit pattern at all: subnormals, huge, NaN, infinities.
  for (size_t i = 0; i < count; ++i) y[i] = fromBits(random.next()), x[i] = fromBits(random.next());
  expectScalarBits(y, x);
}

TEST(VectorArcTangent, PairsWhereTheScalarBranchesGiveItsBits) {
  Random random{7};
  std::vector<double> cases;
  // The table's steps: ratios at (j + 0.5) / 32 and a few ulps either side,
  // ratios just below and above 1, and the series' limit 2/32.
  for (int32_t j = 0; j <= 32; ++j) {
    const double r = (j + 0.5) / 32.0;
    for (int32_t k = -3; k <= 3; ++k) cases.push_back(fromBits(bitsOf(r) + k));
  }
  for (int32_t k = 0; k < 4; ++k) cases.push_back(fromBits(bitsOf(1.0) - k));
  // The short cuts at 2^-60 and the scalings at 2^±900.
  const double edges[] = {0x1p-60, 0x1p-61, 0x1.0000000000001p-60, 0x1.fffffffffffffp-61, 0x1p900, 0x1p901,
                          0x1.fffffffffffffp899, 0x1p-900, 0x1p-901, 0x1.0000000000001p-900, 4.9e-324, 2.2e-308,
                          1.7e308, 1e-20, 0.0, __builtin_inf(), __builtin_nan("")};
  std::vector<double> y, x;
  for (double r : cases)
    for (double size : {1.0, 3.7e5, 7.1e-6})
      for (int32_t signs = 0; signs < 4; ++signs) {
        const double sy = signs & 1 ? -1.0 : 1.0, sx = signs & 2 ? -1.0 : 1.0;
        y.push_back(sy * r * size), x.push_back(sx * size);  // |y| <= |x|
        y.push_back(sy * size), x.push_back(sx * r * size);  // |x| <= |y|
        y.push_back(sy * size), x.push_back(sx * size);      // equal sizes
      }
  for (double a : edges)
    for (double b : edges)
      for (int32_t signs = 0; signs < 4; ++signs) {
        y.push_back((signs & 1 ? -1.0 : 1.0) * a), x.push_back((signs & 2 ? -1.0 : 1.0) * b);
        y.push_back((signs & 1 ? -1.0 : 1.0) * a * 3.3), x.push_back((signs & 2 ? -1.0 : 1.0) * b);
      }
  // Shuffled, so that every vector mixes branches and rare lanes; twice, in
  // two orders.
  for (int32_t round = 0; round < 2; ++round) {
    for (size_t i = y.size(); i > 1; --i) {
      const size_t k = random.next() % i;
      std::swap(y[i - 1], y[k]);
      std::swap(x[i - 1], x[k]);
    }
    SCOPED_TRACE("round " + std::to_string(round));
    expectScalarBits(y, x);
  }
}

}  // namespace
