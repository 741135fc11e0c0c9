// The one-dimensional pass of the MMX and SSE2 forward DCTs, written once over the
// vector width. Only those two variant files include it, each built with its own
// instruction set; everything here has internal linkage.
#pragma once

#include "encoder/encoder_kernels.h"
#include "pixel/word_ops.h"

namespace trvx {
namespace {

// The plain pass on every word lane (four or eight columns at once): sums
// saturate where the plain one wraps, which converter output (at most 1024 in
// magnitude) never reaches. `k` holds the packed constants, one register each, and
// rows of the pass lie `stride` registers apart.
template <class Width>
struct ForwardDctPass {
  using V = typename Width::Vector;
  using Ops = WordOps<Width>;

  // (x * c) >> 16, as the plain pass truncates it.
  __attribute__((always_inline)) static V High(V x, V c) { return Ops::MulHigh(x, c); }
  // (x * c) >> 15 exactly: the high half doubled plus the top bit of the low half.
  __attribute__((always_inline)) static V High15(V x, V c) {
    return Ops::Or(Ops::ShiftLeft(Ops::MulHigh(x, c), 1), Ops::ShiftRight(Ops::MulLow(x, c), 15));
  }

  __attribute__((always_inline)) static void Run(V* v, int stride, const V* k) {
    const V x0 = v[0], x1 = v[stride], x2 = v[2 * stride], x3 = v[3 * stride];
    const V x4 = v[4 * stride], x5 = v[5 * stride], x6 = v[6 * stride], x7 = v[7 * stride];
    const V s07 = Ops::AddS(x0, x7), s34 = Ops::AddS(x3, x4);
    const V s16 = Ops::AddS(x1, x6), s25 = Ops::AddS(x2, x5);

    const V e0 = Ops::AddS(s07, s34), e1 = Ops::AddS(s16, s25);
    const V y0 = High(Ops::AddS(e0, e1), k[kPackedC4]);
    const V y4 = High(Ops::SubS(e0, e1), k[kPackedC4]);

    const V a = Ops::SubS(s16, s25), b = Ops::SubS(s07, s34);
    const V p = High(a, k[kPackedC2]), q = High(b, k[kPackedC6]);
    const V r = Ops::SubS(High15(Ops::AddS(a, b), k[kPackedS26]), q);
    const V y2 = Ops::SubS(r, p), y6 = Ops::SubS(q, p);

    const V e = Ops::SubS(x0, x7), d = Ops::SubS(x3, x4);
    const V f = Ops::SubS(x1, x6), g = Ops::SubS(x2, x5);
    const V m = High(d, k[kPackedC1]), n = High(e, k[kPackedC7]);
    const V u = Ops::SubS(n, m);
    const V vv = Ops::SubS(Ops::SubS(High15(Ops::AddS(e, d), k[kPackedS17]), n), m);
    const V m2 = High(g, k[kPackedC3]), n2 = High(f, k[kPackedC5]);
    const V w = Ops::SubS(Ops::SubS(High15(Ops::AddS(f, g), k[kPackedS35]), n2), m2);
    const V z = Ops::SubS(m2, n2);
    const V vw = Ops::SubS(vv, w), zu = Ops::SubS(z, u);

    v[0] = y0;
    v[stride] = Ops::AddS(w, vv);
    v[2 * stride] = y2;
    v[3 * stride] = High15(Ops::SubS(vw, zu), k[kPackedT10]);
    v[4 * stride] = y4;
    v[5 * stride] = High15(Ops::AddS(vw, zu), k[kPackedT10]);
    v[6 * stride] = y6;
    v[7 * stride] = Ops::AddS(z, u);
  }
};

}  // namespace
}  // namespace trvx
