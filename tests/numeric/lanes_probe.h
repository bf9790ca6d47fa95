// What one width's shared lanes make of given doubles and floats, a whole
// vector at a time, so that a test built without the wide instructions can
// hold every lane against the scalar operation it stands for. Included by
// one probe file per width, built with that width's flags; the probe's entry
// is a plain function, and nothing here is shared between the widths.
#pragma once

#include <cstdint>

constexpr int32_t PROBE_LANES = 16;  // whole vectors at every width
constexpr int32_t PROBE_SPARE = 16;  // past the lanes: must stay untouched

// The arithmetic both precisions have, lane by lane of a and b.
template <typename X>
struct LaneArithmetic {
  X sum[PROBE_LANES], difference[PROBE_LANES], product[PROBE_LANES], quotient[PROBE_LANES];
  X root[PROBE_LANES], least[PROBE_LANES], most[PROBE_LANES];  // root of a
};

struct LaneProbe {
  LaneArithmetic<double> doubles;
  double atLeastPicked[PROBE_LANES], atMostPicked[PROBE_LANES];  // a where a >= b (a <= b), else b
  double abovePicked[PROBE_LANES], negatedDoubles[PROBE_LANES];  // a where a > b, else b; -a
  bool allAtLeast;                                                // a >= b in every lane
  int32_t truncated[PROBE_LANES + PROBE_SPARE];                   // of t, then untouched spare
  // Floats: a and b narrowed, then their lanes worked as floats.
  LaneArithmetic<float> floats;
  float narrowA[PROBE_LANES], narrowB[PROBE_LANES];
  double widened[PROBE_LANES];                          // narrowA widened back
  float negated[PROBE_LANES], lessPicked[PROBE_LANES];  // a where a < b, else b
  int32_t floatTruncated[PROBE_LANES], pairTruncated[PROBE_LANES];  // of t as floats, of t as doubles
  int32_t intLeast[PROBE_LANES], intMost[PROBE_LANES], intDifference[PROBE_LANES];  // of the two truncations
};

void probeLanesSse2(const double* a, const double* b, const double* t, LaneProbe* out);
void probeLanesAvx2(const double* a, const double* b, const double* t, LaneProbe* out);
void probeLanesAvx512(const double* a, const double* b, const double* t, LaneProbe* out);

namespace {

// The float lanes have no store of their own: they go out widened (exact)
// through the double lanes.
template <typename Floats>
void storeWidened(typename Floats::F v, double* wide) {
  using L = typename Floats::Double;
  typename L::V lo, hi;
  Floats::widen(v, &lo, &hi);
  L::store(wide, lo);
  L::store(wide + L::width, hi);
}

template <typename Floats>
void storeFloats(typename Floats::F v, float* out) {
  double wide[Floats::width];
  storeWidened<Floats>(v, wide);
  for (int32_t k = 0; k < Floats::width; ++k) out[k] = static_cast<float>(wide[k]);
}

template <typename Floats>
void probeLanesWith(const double* a, const double* b, const double* t, LaneProbe* out) {
  using L = typename Floats::Double;
  out->allAtLeast = true;
  for (int32_t i = 0; i < PROBE_LANES; i += L::width) {
    const typename L::V x = L::load(a + i), y = L::load(b + i);
    LaneArithmetic<double>& d = out->doubles;
    L::store(d.sum + i, L::add(x, y));
    L::store(d.difference + i, L::sub(x, y));
    L::store(d.product + i, L::mul(x, y));
    L::store(d.quotient + i, L::div(x, y));
    L::store(d.root + i, L::sqrt(x));
    L::store(d.least + i, L::min(x, y));
    L::store(d.most + i, L::max(x, y));
    L::store(out->atLeastPicked + i, L::select(L::greaterEqual(x, y), x, y));
    L::store(out->atMostPicked + i, L::select(L::lessEqual(x, y), x, y));
    L::store(out->abovePicked + i, L::select(L::greater(x, y), x, y));
    L::store(out->negatedDoubles + i, L::negate(x));
    out->allAtLeast = out->allAtLeast && L::all(L::greaterEqual(x, y));
    L::storeTruncated(out->truncated + i, L::load(t + i));
  }
  for (int32_t i = 0; i < PROBE_LANES; i += Floats::width) {
    const int32_t half = Floats::width / 2;
    const typename Floats::F x = Floats::narrow(L::load(a + i), L::load(a + i + half));
    const typename Floats::F y = Floats::narrow(L::load(b + i), L::load(b + i + half));
    storeWidened<Floats>(x, out->widened + i);
    storeFloats<Floats>(x, out->narrowA + i);
    storeFloats<Floats>(y, out->narrowB + i);
    const typename Floats::F results[] = {
        Floats::add(x, y), Floats::sub(x, y), Floats::mul(x, y), Floats::div(x, y),
        Floats::sqrt(x),   Floats::min(x, y), Floats::max(x, y), Floats::negate(x),
        Floats::select(Floats::less(x, y), x, y)};
    LaneArithmetic<float>& f = out->floats;
    float* targets[] = {f.sum,  f.difference, f.product,    f.quotient,     f.root,
                        f.least, f.most,      out->negated, out->lessPicked};
    for (int32_t r = 0; r < 9; ++r) storeFloats<Floats>(results[r], targets[r] + i);
    const typename L::V tLo = L::load(t + i), tHi = L::load(t + i + half);
    const typename Floats::I fromFloats = Floats::truncate(Floats::narrow(tLo, tHi));
    const typename Floats::I fromDoubles = Floats::truncate(tLo, tHi);
    Floats::storeInt(out->floatTruncated + i, fromFloats);
    Floats::storeInt(out->pairTruncated + i, fromDoubles);
    Floats::storeInt(out->intLeast + i, Floats::minInt(fromFloats, fromDoubles));
    Floats::storeInt(out->intMost + i, Floats::maxInt(fromFloats, fromDoubles));
    Floats::storeInt(out->intDifference + i, Floats::subInt(fromFloats, fromDoubles));
  }
}

}  // namespace
