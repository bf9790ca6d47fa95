// numeric::logarithm written over a set of double lanes (see
// numeric/simd_lanes_sse2.h): the same table, the same error-free steps
// (no fused multiply-add) and the polynomial in the same order, so every
// lane gives the scalar bits. Only positive normal finite lanes take this
// path; the caller hands the others to the scalar function.
#pragma once

#include <cstdint>

#include "numeric/portable_math.h"

namespace {

template <typename L>
struct LanePair {
  typename L::V hi, lo;
};

template <typename L>
LanePair<L> twoSumLanes(typename L::V a, typename L::V b) {
  const typename L::V s = L::add(a, b);
  const typename L::V bPart = L::sub(s, a);
  const typename L::V aPart = L::sub(s, bPart);
  return {s, L::add(L::sub(a, aPart), L::sub(b, bPart))};
}

template <typename L>
LanePair<L> splitHalvesLanes(typename L::V a) {
  const typename L::V t = L::mul(L::splat(134217729.0), a);  // 2^27 + 1
  const typename L::V hi = L::sub(t, L::sub(t, a));
  return {hi, L::sub(a, hi)};
}

template <typename L>
LanePair<L> twoProductLanes(typename L::V a, typename L::V b) {
  const typename L::V p = L::mul(a, b);
  const LanePair<L> as = splitHalvesLanes<L>(a);
  const LanePair<L> bs = splitHalvesLanes<L>(b);
  typename L::V err = L::add(L::sub(L::mul(as.hi, bs.hi), p), L::mul(as.hi, bs.lo));
  err = L::add(L::add(err, L::mul(as.lo, bs.hi)), L::mul(as.lo, bs.lo));
  return {p, err};
}

// log(x) for lanes holding positive normal finite doubles.
template <typename L>
typename L::V logarithmOfNormals(typename L::V x, const numeric::LogarithmTables& tables) {
  using V = typename L::V;
  using U = typename L::U;
  const U ix = L::bits(x);
  const U tmp = L::subBits(ix, L::splatBits(tables.offsetBits));
  const U index = L::andBits(L::template shiftRight<45>(tmp), L::splatBits(127));
  const U row = L::addBits(L::addBits(index, index), index);  // three doubles a row
  // The exponent is tmp's top 12 bits in two's complement; as a double via
  // the bits of 2^52 + e, then wrapped from 2048 up.
  const U top = L::template shiftRight<52>(tmp);
  const V biased = L::sub(L::fromBits(L::orBits(top, L::splatBits(0x4330000000000000ULL))), L::splat(0x1p52));
  const V kd = L::sub(biased, L::select(L::greaterEqual(biased, L::splat(2048.0)), L::splat(4096.0), L::splat(0.0)));
  const V z = L::fromBits(L::subBits(ix, L::andBits(tmp, L::splatBits(0xfffULL << 52))));

  const double* table = &tables.table[0][0];
  const V inverseCentre = L::gather(table, row);
  const V logHigh = L::gather(table + 1, row);
  const V logLow = L::gather(table + 2, row);

  const LanePair<L> product = twoProductLanes<L>(z, inverseCentre);
  const V rh = L::sub(product.hi, L::splat(1.0));
  const V rl = product.lo;

  const LanePair<L> square = twoProductLanes<L>(rh, rh);
  V poly = L::add(L::splat(1.0 / 9), L::mul(rh, L::splat(-1.0 / 10)));
  poly = L::add(L::splat(-1.0 / 8), L::mul(rh, poly));
  poly = L::add(L::splat(1.0 / 7), L::mul(rh, poly));
  poly = L::add(L::splat(-1.0 / 6), L::mul(rh, poly));
  poly = L::add(L::splat(1.0 / 5), L::mul(rh, poly));
  poly = L::add(L::splat(-1.0 / 4), L::mul(rh, poly));
  poly = L::add(L::splat(1.0 / 3), L::mul(rh, poly));
  const V cubic = L::mul(L::mul(rh, square.hi), poly);

  const LanePair<L> s1 = twoSumLanes<L>(L::mul(kd, L::splat(tables.ln2Hi)), logHigh);
  const LanePair<L> s2 = twoSumLanes<L>(s1.hi, rh);
  const LanePair<L> s3 = twoSumLanes<L>(s2.hi, L::mul(L::splat(-0.5), square.hi));
  const V carried = L::add(L::add(s1.lo, s2.lo), s3.lo);
  const V constants = L::add(L::mul(kd, L::splat(tables.ln2Lo)), logLow);
  const V tail = L::add(L::sub(L::div(rl, L::add(L::splat(1.0), rh)), L::mul(L::splat(0.5), square.lo)), cubic);
  const V lo = L::add(L::add(carried, constants), tail);
  return L::add(s3.hi, lo);
}

template <typename L>
void logarithmsWith(const double* x, double* out, int32_t count) {
  using V = typename L::V;
  const numeric::LogarithmTables& tables = numeric::logarithmTables();
  const V smallestNormal = L::splat(0x1p-1022), largest = L::splat(0x1.fffffffffffffp+1023);
  int32_t c = 0;
  for (; c + L::width <= count; c += L::width) {
    const V v = L::load(x + c);
    const V result = logarithmOfNormals<L>(v, tables);
    // Ordered comparisons: NaN fails both.
    if (L::all(L::both(L::greaterEqual(v, smallestNormal), L::lessEqual(v, largest)))) {
      L::store(out + c, result);
      continue;
    }
    double given[L::width], lanes[L::width];
    L::store(given, v);
    L::store(lanes, result);
    for (int32_t i = 0; i < L::width; ++i)
      out[c + i] = given[i] >= 0x1p-1022 && given[i] <= 0x1.fffffffffffffp+1023 ? lanes[i] : numeric::logarithm(given[i]);
  }
  for (; c < count; ++c) out[c] = numeric::logarithm(x[c]);
}

}  // namespace
