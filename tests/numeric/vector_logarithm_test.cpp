// The vector logarithm at every width the CPU has must give
// numeric::logarithm's bits for every input, exceptional ones included.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

#include "numeric/portable_math.h"
#include "numeric/vector_logarithm.h"

namespace {

struct Width {
  const char* name;
  numeric::LogarithmsFunction logarithms;
};

std::vector<Width> widthsHere() {
  std::vector<Width> widths = {{"scalar", numeric::logarithmsScalar}, {"sse2", numeric::logarithmsSse2}};
  __builtin_cpu_init();
  if (__builtin_cpu_supports("avx2")) widths.push_back({"avx2", numeric::logarithmsAvx2});
  if (__builtin_cpu_supports("avx512f")) widths.push_back({"avx512", numeric::logarithmsAvx512});
  return widths;
}

uint64_t bitsOf(double x) {
  uint64_t b;
  std::memcpy(&b, &x, sizeof b);
  return b;
}

// Runs every width over xs and compares bits with the scalar function; at
// most one failure is reported per width.
void expectScalarBits(const std::vector<double>& xs, const char* what) {
  std::vector<double> expected(xs.size()), got(xs.size());
  for (size_t i = 0; i < xs.size(); ++i) expected[i] = numeric::logarithm(xs[i]);
  for (const Width& w : widthsHere()) {
    w.logarithms(xs.data(), got.data(), static_cast<int32_t>(xs.size()));
    for (size_t i = 0; i < xs.size(); ++i)
      if (bitsOf(got[i]) != bitsOf(expected[i])) {
        ADD_FAILURE() << what << ", " << w.name << ": log(" << std::hexfloat << xs[i] << ") gave " << got[i]
                      << ", not " << expected[i];
        break;
      }
  }
}

// Every float from 9 to 64 (where the splotchy style's arguments start)
// and a stride through every float above, to the largest and infinity.
TEST(VectorLogarithm, EveryFloatFromNineUpGivesTheScalarBits) {
  std::vector<double> xs;
  xs.reserve(1 << 20);
  auto flush = [&xs](const char* what) {
    expectScalarBits(xs, what);
    xs.clear();
  };
  uint32_t bits;
  const float nine = 9.0f, sixtyFour = 64.0f;
  std::memcpy(&bits, &nine, sizeof bits);
  uint32_t end;
  std::memcpy(&end, &sixtyFour, sizeof end);
  for (uint32_t b = bits; b < end; ++b) {
    float f;
    std::memcpy(&f, &b, sizeof f);
    xs.push_back(f);
    if (xs.size() == xs.capacity()) flush("floats 9..64");
  }
  flush("floats 9..64");
  for (uint32_t b = end; b <= 0x7f800000u; b += 97) {
    float f;
    std::memcpy(&f, &b, sizeof f);
    xs.push_back(f);
    if (xs.size() == xs.capacity()) flush("floats above 64");
  }
  xs.push_back(std::numeric_limits<float>::max());
  xs.push_back(std::numeric_limits<float>::infinity());
  flush("floats above 64");
}

// Random bit patterns cover every sign and exponent: negatives, zeros,
// subnormals, infinities and NaNs go the scalar way inside a vector.
TEST(VectorLogarithm, RandomDoublesAndSpecialsGiveTheScalarBits) {
  uint64_t state = 0x9e3779b97f4a7c15ULL;
  std::vector<double> xs(1 << 21);
  for (int32_t round = 0; round < 2; ++round) {
    for (double& x : xs) {
      state = state * 6364136223846793005ULL + 1442695040888963407ULL;
      uint64_t b = state ^ (state >> 29);
      if (round == 1) b &= 0x3fffffffffffffffULL | (b & 0x0010000000000000ULL);  // positive, below 2
      std::memcpy(&x, &b, sizeof x);
    }
    expectScalarBits(xs, round == 0 ? "random bits" : "random below two");
  }
  const double inf = std::numeric_limits<double>::infinity();
  std::vector<double> specials = {0.0, -0.0, 1.0, -1.0, inf, -inf, std::numeric_limits<double>::quiet_NaN(),
                                  -std::numeric_limits<double>::quiet_NaN(), 0x1p-1022, 0x1.fffffffffffffp-1023,
                                  0x1p-1074, 0x1.fffffffffffffp+1023, 2.0, 0.5, 9.0, std::nextafter(1.0, 0.0),
                                  std::nextafter(1.0, 2.0), 0x1.6a09e667f3bcdp-1, 0x1.6a09e667f3bcdp+0};
  // Each special in every lane position among ordinary neighbours.
  std::vector<double> mixed;
  for (double s : specials)
    for (int32_t at = 0; at < 17; ++at)
      for (int32_t i = 0; i < 17; ++i) mixed.push_back(i == at ? s : 9.0 + i);
  expectScalarBits(mixed, "specials");
}

// A count no width divides, written over its own input.
TEST(VectorLogarithm, InPlaceWithAnOddCount) {
  std::vector<double> xs(1031);
  for (size_t i = 0; i < xs.size(); ++i) xs[i] = i % 5 == 0 ? -static_cast<double>(i) : 9.0 + 0.37 * i;
  for (const Width& w : widthsHere()) {
    std::vector<double> data = xs;
    w.logarithms(data.data(), data.data(), static_cast<int32_t>(data.size()));
    for (size_t i = 0; i < xs.size(); ++i)
      ASSERT_EQ(bitsOf(data[i]), bitsOf(numeric::logarithm(xs[i]))) << w.name << " at " << i;
  }
}

}  // namespace
