// The tangled family's row, one pixel at a time and written once over a set
// of float lanes (numeric/simd_lanes_*.h). Each file that includes this
// gives its own lanes and its own compiler target; everything here has
// internal linkage.
//
// The lanes take the scalar steps in the same order: a float stays a float
// and each static_cast<float> of a double is one rounding (narrow), each
// promotion exact (widen). A branch becomes a selection between both sides,
// which are safe to compute for every value.
#pragma once

#include <cstddef>
#include <cstdint>

#include "engine/pixel_loop.h"
#include "engine/styles.h"
#include "engine/tangled_kernels.h"
#include "numeric/portable_math.h"
#include "numeric/vector_logarithm.h"

namespace {

constexpr double LOG2_E = 1.442695040888963;
constexpr double LOG2_9 = 3.169925001442312;

// Limits x to 0..K; NaN cannot occur, but gives 0 if it did.
inline float limitTo(float x, float K) {
  if (!(x > 0.0f)) return 0.0f;
  return x > K ? K : x;
}

// The soft knee: K - (K - x)^2 / K, rising with slope 2 from 0 to K.
inline float knee(float x, float K) { return K - ((K - x) * (K - x)) / K; }

// The edge value of field sample p.
inline int32_t tangledEdgeAt(const TangledRowSetup& setup, size_t p) {
  const double* GX = setup.gradientX;
  const double* GY = setup.gradientY;
  const int32_t subMode = setup.subMode;
  const int32_t s = setup.depthScale;
  const double gain = setup.gain;
  const float K = setup.limit;
  const size_t right = p + 1, down = p + setup.side;
  // Differences from this sample to the next, this minus next.
  float a, b, cc;
  if (GX && GY) {
    a = static_cast<float>(GX[p] - GX[down]);
    b = static_cast<float>(GX[p] - GX[right]);
    cc = static_cast<float>(GY[p] - GY[down]);
  } else if (GX) {
    a = static_cast<float>(GX[p] - GX[down]);
    b = static_cast<float>(GX[p] - GX[right]);
    cc = 0.0f;
  } else if (GY) {
    a = static_cast<float>(GY[p] - GY[right]);
    b = 0.0f;
    cc = static_cast<float>(GY[p] - GY[down]);
  } else {
    a = b = cc = 0.0f;  // no plane: a flat field
  }
  // Eigenvalues of [[b, a], [a, c]], both doubled.
  float bc = b - cc;
  float t = numeric::squareRootF(static_cast<float>(static_cast<double>(a) * 4.0 * a + bc * bc));
  float high = (cc + b) + t;
  float low = (cc + b) - t;

  float P, N = 0.0f;
  if (subMode == TANGLED_SPLOTCHY) {
    if (low < 0.0f) low = static_cast<float>(low * 0.2);
    if (low < 0.0f) low = -low;
    float lnValue = static_cast<float>(numeric::logarithm(static_cast<double>(static_cast<float>(low / s + 9.0))));
    float grown = static_cast<float>((lnValue * LOG2_E - LOG2_9) * 23.0);
    P = static_cast<float>(static_cast<double>(grown * static_cast<float>(s)) * gain);
  } else {
    float trough = -low > 0.0f ? -low : 0.0f;
    P = static_cast<float>(trough * gain);
    if (subMode >= TANGLED_RACETRACK) {
      float ridge = high > 0.0f ? high : 0.0f;
      N = static_cast<float>(ridge * gain);
    }
  }
  P = limitTo(P, K);
  N = limitTo(N, K);
  int32_t A = subMode == TANGLED_SPLOTCHY ? static_cast<int32_t>(P) : static_cast<int32_t>(knee(P, K));
  int32_t B = static_cast<int32_t>(knee(N, K));

  int32_t e;
  switch (subMode) {
    case TANGLED_TANGLED:
    case TANGLED_SPLOTCHY:
      e = A;
      break;
    case TANGLED_RACETRACK:
      e = A > B ? A : B;
      break;
    case TANGLED_ZERO:
      e = A > B ? A - B : B - A;
      break;
    case TANGLED_ANTITANGLED:
      e = B;
      break;
    case TANGLED_CHECKER:
      e = A < B ? A : B;
      break;
    case TANGLED_THORNY: {
      // The ridges where the edge is strong as well.
      double x = GX ? GX[p] : 0.0, y = GY ? GY[p] : 0.0;
      int32_t G = edgeFromDouble(numeric::squareRoot(x * x + y * y) * gain * 0.25, setup.maxValue);
      e = B < G ? B : G;
      break;
    }
    default:
      e = 0;
      break;
  }
  return e < 0 ? 0 : (e > setup.maxValue ? setup.maxValue : e);
}

// Columns [begin, end) of a row one at a time.
inline void tangledEdgesOneByOne(const TangledRowSetup& setup, size_t rowAt, int32_t begin, int32_t end,
                                 int32_t* edges) {
  for (int32_t c = begin; c < end; ++c) edges[c] = tangledEdgeAt(setup, rowAt + c);
}

// ---------------------------------------------------------------------------
// The same, L::width pixels at a time.

template <typename L>
struct TangledLanes {
  using DL = typename L::Double;
  using F = typename L::F;
  using D = typename L::D;
  using I = typename L::I;
  static constexpr int32_t half = DL::width;

  // float(here[i] - there[i]) for the lanes' pixels.
  static F differenceOf(const double* here, const double* there) {
    return L::narrow(DL::sub(DL::load(here), DL::load(there)),
                     DL::sub(DL::load(here + half), DL::load(there + half)));
  }

  // float(double(x) * k).
  static F timesInDouble(F x, D k) {
    D lo, hi;
    L::widen(x, &lo, &hi);
    return L::narrow(DL::mul(lo, k), DL::mul(hi, k));
  }

  static F limitTo(F x, F K) { return L::min(L::max(x, L::splat(0.0f)), K); }
  static F knee(F x, F K) {
    const F gap = L::sub(K, x);
    return L::sub(K, L::div(L::mul(gap, gap), K));
  }

  // Both eigenvalues (doubled) at field sample p.
  template <bool HaveX, bool HaveY>
  static void eigenvaluesAt(const TangledRowSetup& setup, size_t p, F* high, F* low) {
    const double* GX = setup.gradientX;
    const double* GY = setup.gradientY;
    const size_t right = p + 1, down = p + setup.side;
    const F zero = L::splat(0.0f);
    F a = zero, b = zero, cc = zero;
    if (HaveX) {
      a = differenceOf(GX + p, GX + down);
      b = differenceOf(GX + p, GX + right);
      if (HaveY) cc = differenceOf(GY + p, GY + down);
    } else if (HaveY) {
      a = differenceOf(GY + p, GY + right);
      cc = differenceOf(GY + p, GY + down);
    }
    const F bc = L::sub(b, cc);
    D aLo, aHi, squareLo, squareHi;
    L::widen(a, &aLo, &aHi);
    L::widen(L::mul(bc, bc), &squareLo, &squareHi);
    const D four = DL::splat(4.0);
    const F t = L::sqrt(L::narrow(DL::add(DL::mul(DL::mul(aLo, four), aLo), squareLo),
                                  DL::add(DL::mul(DL::mul(aHi, four), aHi), squareHi)));
    const F sum = L::add(cc, b);
    *high = L::add(sum, t);
    *low = L::sub(sum, t);
  }

  // "thorny"'s limit from the edge's strength, truncated as edgeFromDouble.
  template <bool HaveX, bool HaveY>
  static I strengthAt(const TangledRowSetup& setup, size_t p) {
    D x[2] = {DL::splat(0.0), DL::splat(0.0)}, y[2] = {x[0], x[1]}, v[2];
    for (int32_t h = 0; h < 2; ++h) {
      if (HaveX) x[h] = DL::load(setup.gradientX + p + h * half);
      if (HaveY) y[h] = DL::load(setup.gradientY + p + h * half);
      const D root = DL::sqrt(DL::add(DL::mul(x[h], x[h]), DL::mul(y[h], y[h])));
      const D scaled = DL::mul(DL::mul(root, DL::splat(setup.gain)), DL::splat(0.25));
      v[h] = DL::min(DL::max(scaled, DL::splat(0.0)), DL::splat(static_cast<double>(setup.maxValue)));
    }
    return L::truncate(v[0], v[1]);
  }

  // The sub-mode's edge from A (troughs), B (ridges) and, for "thorny",
  // the strength; limited to 0..maxValue.
  template <bool HaveX, bool HaveY>
  static I combine(const TangledRowSetup& setup, size_t p, I A, I B) {
    I e;
    switch (setup.subMode) {
      case TANGLED_TANGLED:
      case TANGLED_SPLOTCHY:
        e = A;
        break;
      case TANGLED_RACETRACK:
        e = L::maxInt(A, B);
        break;
      case TANGLED_ZERO:
        e = L::subInt(L::maxInt(A, B), L::minInt(A, B));
        break;
      case TANGLED_ANTITANGLED:
        e = B;
        break;
      case TANGLED_CHECKER:
        e = L::minInt(A, B);
        break;
      case TANGLED_THORNY:
        e = L::minInt(B, strengthAt<HaveX, HaveY>(setup, p));
        break;
      default:
        e = L::splatInt(0);
        break;
    }
    return L::minInt(L::maxInt(e, L::splatInt(0)), L::splatInt(setup.maxValue));
  }

  // Every sub-mode but "splotchy".
  template <bool HaveX, bool HaveY>
  static void foldColumns(const TangledRowSetup& setup, size_t rowAt, int32_t whole, int32_t* edges) {
    const F K = L::splat(setup.limit), zero = L::splat(0.0f);
    const D gain = DL::splat(setup.gain);
    const bool ridges = setup.subMode >= TANGLED_RACETRACK;
    for (int32_t c = 0; c < whole; c += L::width) {
      const size_t p = rowAt + c;
      F high, low;
      eigenvaluesAt<HaveX, HaveY>(setup, p, &high, &low);
      const F P = limitTo(timesInDouble(L::max(L::negate(low), zero), gain), K);
      const I A = L::truncate(knee(P, K));
      // "tangled" draws no ridges: B would be 0 and goes unused.
      const I B = ridges ? L::truncate(knee(limitTo(timesInDouble(L::max(high, zero), gain), K), K)) : A;
      L::storeInt(edges + c, combine<HaveX, HaveY>(setup, p, A, B));
    }
  }

  // "splotchy": the logarithms of a stretch of the row are taken together.
  template <bool HaveX, bool HaveY>
  static void splotchColumns(const TangledRowSetup& setup, size_t rowAt, int32_t whole, int32_t* edges,
                             numeric::LogarithmsFunction logarithms) {
    constexpr int32_t STRETCH = 256;  // a multiple of every width
    const F K = L::splat(setup.limit), zero = L::splat(0.0f);
    const F scale = L::splat(static_cast<float>(setup.depthScale));
    const D gain = DL::splat(setup.gain);
    double values[STRETCH];
    for (int32_t start = 0; start < whole; start += STRETCH) {
      const int32_t end = whole - start < STRETCH ? whole : start + STRETCH;
      for (int32_t c = start; c < end; c += L::width) {
        F high, low;
        eigenvaluesAt<HaveX, HaveY>(setup, rowAt + c, &high, &low);
        low = L::select(L::less(low, zero), timesInDouble(low, DL::splat(0.2)), low);
        low = L::select(L::less(low, zero), L::negate(low), low);
        D lo, hi;
        L::widen(L::div(low, scale), &lo, &hi);
        const D nine = DL::splat(9.0);
        L::widen(L::narrow(DL::add(lo, nine), DL::add(hi, nine)), &lo, &hi);
        DL::store(values + (c - start), lo);
        DL::store(values + (c - start) + half, hi);
      }
      logarithms(values, values, end - start);
      for (int32_t c = start; c < end; c += L::width) {
        const double* at = values + (c - start);
        D lo, hi;
        L::widen(L::narrow(DL::load(at), DL::load(at + half)), &lo, &hi);
        const D log2E = DL::splat(LOG2_E), log2Nine = DL::splat(LOG2_9), grow = DL::splat(23.0);
        const F grown = L::narrow(DL::mul(DL::sub(DL::mul(lo, log2E), log2Nine), grow),
                                  DL::mul(DL::sub(DL::mul(hi, log2E), log2Nine), grow));
        const F P = limitTo(timesInDouble(L::mul(grown, scale), gain), K);
        const I A = L::truncate(P);
        L::storeInt(edges + c, combine<HaveX, HaveY>(setup, rowAt + c, A, A));
      }
    }
  }

  template <bool HaveX, bool HaveY>
  static void rowWith(const TangledRowSetup& setup, size_t rowAt, int32_t whole, int32_t* edges,
                      numeric::LogarithmsFunction logarithms) {
    if (setup.subMode == TANGLED_SPLOTCHY)
      splotchColumns<HaveX, HaveY>(setup, rowAt, whole, edges, logarithms);
    else
      foldColumns<HaveX, HaveY>(setup, rowAt, whole, edges);
  }
};

// One row: whole vectors, then the rest one at a time.
template <typename L>
void tangledRowWith(const TangledRowSetup& setup, int32_t row, int32_t* edges,
                    numeric::LogarithmsFunction logarithms) {
  using T = TangledLanes<L>;
  const size_t rowAt = static_cast<size_t>(row + 1) * setup.side + 1;
  const int32_t whole = setup.columns - setup.columns % L::width;
  if (setup.gradientX && setup.gradientY)
    T::template rowWith<true, true>(setup, rowAt, whole, edges, logarithms);
  else if (setup.gradientX)
    T::template rowWith<true, false>(setup, rowAt, whole, edges, logarithms);
  else if (setup.gradientY)
    T::template rowWith<false, true>(setup, rowAt, whole, edges, logarithms);
  else
    T::template rowWith<false, false>(setup, rowAt, whole, edges, logarithms);
  tangledEdgesOneByOne(setup, rowAt, whole, setup.columns, edges);
}

}  // namespace
