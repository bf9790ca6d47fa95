// The tangled family's rows at every vector width against the row one pixel
// at a time: every sub-mode, both depths, missing planes, odd widths, and
// field values from the flat to the absurd.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <vector>

#include "engine/field_kernels.h"
#include "engine/styles.h"
#include "engine/tangled_kernels.h"

namespace {

uint64_t nextRandom(uint64_t* state) {
  *state = *state * 6364136223846793005ULL + 1442695040888963407ULL;
  return *state >> 11;
}

// Field values of mixed scales: mostly ordinary slopes, some tiny, some
// large enough to pass every limit, some exact zeros and ties.
double fieldValue(uint64_t* state) {
  const uint64_t r = nextRandom(state);
  const double unit = static_cast<double>(r % 1000003) / 1000003.0 - 0.5;
  switch (r % 11) {
    case 0:
      return 0.0;
    case 1:
      return unit * 1e-4;
    case 2:
      return unit * 1e6;
    case 3:
      return unit * 1e30;
    case 4:
      return std::ldexp(unit, -1000);
    default:
      return unit * 400.0;
  }
}

struct Field {
  int32_t side;
  std::vector<double> x, y;
};

Field randomField(int32_t columns, int32_t rows, uint64_t seed) {
  Field f{columns + 2, {}, {}};
  const size_t count = static_cast<size_t>(f.side) * (rows + 2);
  f.x.resize(count);
  f.y.resize(count);
  uint64_t state = seed;
  for (size_t i = 0; i < count; ++i) {
    f.x[i] = fieldValue(&state);
    f.y[i] = i % 7 == 3 ? f.x[i] : fieldValue(&state);  // equal slopes now and then
  }
  return f;
}

TEST(TangledRows, EveryWidthGivesTheOnePixelRow) {
  const int32_t rows = 3;
  const int32_t widths[] = {1, 3, 4, 7, 8, 15, 16, 17, 31, 33, 64, 257, 300, 1031};
  const double gains[] = {0.37, 2.0, 41.5, -3.0};
  for (int32_t columns : widths) {
    const Field field = randomField(columns, rows, static_cast<uint64_t>(columns) * 977);
    for (int32_t planes = 0; planes < 4; ++planes)
      for (int32_t subMode = TANGLED_TANGLED; subMode <= TANGLED_THORNY; ++subMode)
        for (int32_t depthScale : {1, 128})
          for (double gain : gains) {
            TangledRowSetup setup;
            setup.gradientX = planes & 1 ? field.x.data() : nullptr;
            setup.gradientY = planes & 2 ? field.y.data() : nullptr;
            setup.side = field.side;
            setup.columns = columns;
            setup.subMode = subMode;
            setup.depthScale = depthScale;
            setup.gain = gain;
            setup.limit = static_cast<float>(300 * depthScale);
            setup.maxValue = depthScale == 1 ? 255 : 32768;
            for (int32_t row = 0; row < rows; ++row) {
              std::vector<int32_t> expected(columns, -1);
              tangledRowScalar(setup, row, expected.data());
              for (int32_t l = SIMD_SSE2; l <= widestSimdLevel(); ++l) {
                std::vector<int32_t> got(columns, -1);
                tangledRowFor(static_cast<SimdLevel>(l))(setup, row, got.data());
                ASSERT_EQ(got, expected) << simdLevelName(static_cast<SimdLevel>(l)) << " sub-mode " << subMode
                                         << " columns " << columns << " planes " << planes << " scale "
                                         << depthScale << " gain " << gain << " row " << row;
              }
            }
          }
  }
}

// A single rounding out of place moves an edge value only now and then, so
// every sub-mode also runs over a million pixels of ordinary slopes.
TEST(TangledRows, AMillionPixelsOfEverySubMode) {
  const int32_t columns = 1031, rows = 1000;
  Field field{columns + 2, {}, {}};
  uint64_t state = 12345;
  for (size_t i = 0; i < size_t(field.side) * (rows + 2); ++i) {
    field.x.push_back((static_cast<double>(nextRandom(&state) % 1000003) / 1000003.0 - 0.5) * 300.0);
    field.y.push_back((static_cast<double>(nextRandom(&state) % 1000003) / 1000003.0 - 0.5) * 300.0);
  }
  for (int32_t subMode = TANGLED_TANGLED; subMode <= TANGLED_THORNY; ++subMode) {
    TangledRowSetup setup{field.x.data(), field.y.data(), field.side, columns, subMode, 1, 1.7, 300.0f, 255};
    std::vector<int32_t> expected(columns), got(columns);
    int32_t differing[SIMD_AVX512 + 1] = {};
    for (int32_t row = 0; row < rows; ++row) {
      tangledRowScalar(setup, row, expected.data());
      for (int32_t l = SIMD_SSE2; l <= widestSimdLevel(); ++l) {
        tangledRowFor(static_cast<SimdLevel>(l))(setup, row, got.data());
        for (int32_t c = 0; c < columns; ++c) differing[l] += got[c] != expected[c];
      }
    }
    for (int32_t l = SIMD_SSE2; l <= widestSimdLevel(); ++l)
      EXPECT_EQ(differing[l], 0) << simdLevelName(static_cast<SimdLevel>(l)) << " sub-mode " << subMode;
  }
}

// The levels above the CPU's are lowered, never called.
TEST(TangledRows, LevelsAboveTheCpuAreLowered) {
  EXPECT_EQ(tangledRowFor(SIMD_SCALAR), &tangledRowScalar);
  if (widestSimdLevel() < SIMD_AVX512) {
    EXPECT_NE(tangledRowFor(SIMD_AVX512), &tangledRowAvx512);
  }
  if (widestSimdLevel() < SIMD_AVX2) {
    EXPECT_NE(tangledRowFor(SIMD_AVX2), &tangledRowAvx2);
  }
}

}  // namespace
