// The one-dimensional pass of the MMX and SSE2 inverse DCTs, written once over the
// vector width. Only those two variant files include it, each built with its own
// instruction set; everything here has internal linkage.
#pragma once

#include "decoder/idct_constants.h"
#include "pixel/word_ops.h"

namespace trvx {
namespace {

// The plain one-dimensional transform without its factor 1/2, on every word lane (four
// or eight columns at once); rows of the pass lie `stride` vectors apart and `k` holds
// the cosine table at the same width. LowHalf: x4..x7 are zero and left unread. Their
// products are then zero and a saturating add or subtract of zero changes nothing, so
// dropping those terms gives the same words; only o5 keeps its subtraction from zero,
// which saturates.
template <class Width, bool LowHalf>
__attribute__((always_inline)) inline void InverseDctPass(typename Width::Vector* v, int stride,
                                                          const typename Width::Vector* k) {
  using V = typename Width::Vector;
  using Ops = WordOps<Width>;
  // floor(x * c / 2^16) for the table's constants below 0.5 ...
  const auto small = [](V x, V c) { return Ops::MulHigh(x, c); };
  // ... and for those of 0.5 and more; the result never exceeds |x|, so no saturation.
  const auto large = [](V x, V c) { return Ops::Add(Ops::MulHigh(x, c), x); };

  const V x0 = v[0], x1 = v[stride], x2 = v[2 * stride], x3 = v[3 * stride];
  V e, b, t2, t6, o1, o7, o3, o5;
  if constexpr (LowHalf) {
    e = b = large(x0, k[kC4]);
    t2 = large(x2, k[kC2]);
    t6 = small(x2, k[kS2]);
    o1 = large(x1, k[kC1]);
    o7 = small(x1, k[kS1]);
    o3 = large(x3, k[kC3]);
    o5 = Ops::SubS(V(), large(x3, k[kS3]));
  } else {
    const V x4 = v[4 * stride], x5 = v[5 * stride], x6 = v[6 * stride], x7 = v[7 * stride];
    e = large(Ops::AddS(x0, x4), k[kC4]);
    b = large(Ops::SubS(x0, x4), k[kC4]);
    t2 = Ops::AddS(large(x2, k[kC2]), small(x6, k[kS2]));
    t6 = Ops::SubS(small(x2, k[kS2]), large(x6, k[kC2]));
    o1 = Ops::AddS(large(x1, k[kC1]), small(x7, k[kS1]));
    o7 = Ops::SubS(small(x1, k[kS1]), large(x7, k[kC1]));
    o3 = Ops::AddS(large(x3, k[kC3]), large(x5, k[kS3]));
    o5 = Ops::SubS(large(x5, k[kC3]), large(x3, k[kS3]));
  }
  const V p = large(Ops::AddS(o3, o5), k[kC4]);
  const V q = large(Ops::AddS(o1, o7), k[kC4]);
  const V r = large(Ops::SubS(o5, o3), k[kC4]);
  const V s = large(Ops::SubS(o1, o7), k[kC4]);
  const V et2 = Ops::AddS(e, t2), emt2 = Ops::SubS(e, t2);
  const V bt6 = Ops::AddS(b, t6), bmt6 = Ops::SubS(b, t6);
  const V o13 = Ops::AddS(o1, o3), o57 = Ops::AddS(o5, o7);
  const V qp = Ops::SubS(q, p), rs = Ops::AddS(r, s);
  v[0] = Ops::AddS(et2, o13);
  v[stride] = Ops::AddS(bt6, qp);
  v[2 * stride] = Ops::AddS(bmt6, rs);
  v[3 * stride] = Ops::AddS(emt2, o57);
  v[4 * stride] = Ops::SubS(emt2, o57);
  v[5 * stride] = Ops::SubS(bmt6, rs);
  v[6 * stride] = Ops::SubS(bt6, qp);
  v[7 * stride] = Ops::SubS(et2, o13);
}

}  // namespace
}  // namespace trvx
