// Built with -mmmx. Uses no inline function from a header: the linker may keep this
// file's copy of one and run MMX code on a processor without it.
#include "encoder/encoder_kernels.h"

#if defined(__i386__) || defined(__x86_64__)
#include <mmintrin.h>

namespace trvx {
namespace {

// The helpers are inlined so that the quads stay in registers between them.
#define TRVX_INLINE inline __attribute__((always_inline))

// Positions in the packed table.
enum Constant { kC7, kC1, kS17, kC3, kC5, kS35, kT10, kC2, kC6, kS26, kC4 };

// (x * c) >> 16, as the plain pass truncates it.
TRVX_INLINE __m64 High(__m64 x, __m64 c) { return _mm_mulhi_pi16(x, c); }
// (x * c) >> 15 exactly: the high half doubled plus the top bit of the low half.
TRVX_INLINE __m64 High15(__m64 x, __m64 c) {
  return _mm_or_si64(_mm_slli_pi16(_mm_mulhi_pi16(x, c), 1), _mm_srli_pi16(_mm_mullo_pi16(x, c), 15));
}

// The plain pass on four lanes; sums saturate where the plain one wraps, which
// converter output (at most 1024 in magnitude) never reaches.
TRVX_INLINE void Pass(__m64* v, int stride, const __m64* k) {
  const __m64 x0 = v[0], x1 = v[stride], x2 = v[2 * stride], x3 = v[3 * stride];
  const __m64 x4 = v[4 * stride], x5 = v[5 * stride], x6 = v[6 * stride], x7 = v[7 * stride];
  const __m64 s07 = _mm_adds_pi16(x0, x7), s34 = _mm_adds_pi16(x3, x4);
  const __m64 s16 = _mm_adds_pi16(x1, x6), s25 = _mm_adds_pi16(x2, x5);

  const __m64 e0 = _mm_adds_pi16(s07, s34), e1 = _mm_adds_pi16(s16, s25);
  const __m64 y0 = High(_mm_adds_pi16(e0, e1), k[kC4]);
  const __m64 y4 = High(_mm_subs_pi16(e0, e1), k[kC4]);

  const __m64 a = _mm_subs_pi16(s16, s25), b = _mm_subs_pi16(s07, s34);
  const __m64 p = High(a, k[kC2]), q = High(b, k[kC6]);
  const __m64 r = _mm_subs_pi16(High15(_mm_adds_pi16(a, b), k[kS26]), q);
  const __m64 y2 = _mm_subs_pi16(r, p), y6 = _mm_subs_pi16(q, p);

  const __m64 e = _mm_subs_pi16(x0, x7), d = _mm_subs_pi16(x3, x4);
  const __m64 f = _mm_subs_pi16(x1, x6), g = _mm_subs_pi16(x2, x5);
  const __m64 m = High(d, k[kC1]), n = High(e, k[kC7]);
  const __m64 u = _mm_subs_pi16(n, m);
  const __m64 vv = _mm_subs_pi16(_mm_subs_pi16(High15(_mm_adds_pi16(e, d), k[kS17]), n), m);
  const __m64 m2 = High(g, k[kC3]), n2 = High(f, k[kC5]);
  const __m64 w = _mm_subs_pi16(_mm_subs_pi16(High15(_mm_adds_pi16(f, g), k[kS35]), n2), m2);
  const __m64 z = _mm_subs_pi16(m2, n2);
  const __m64 vw = _mm_subs_pi16(vv, w), zu = _mm_subs_pi16(z, u);

  v[0] = y0;
  v[stride] = _mm_adds_pi16(w, vv);
  v[2 * stride] = y2;
  v[3 * stride] = High15(_mm_subs_pi16(vw, zu), k[kT10]);
  v[4 * stride] = y4;
  v[5 * stride] = High15(_mm_adds_pi16(vw, zu), k[kT10]);
  v[6 * stride] = y6;
  v[7 * stride] = _mm_adds_pi16(z, u);
}

// The block as sixteen quads, two per row, from `in` to `out`: each 4x4 quarter is
// transposed and the two off-diagonal quarters trade places.
TRVX_INLINE void Transpose(const __m64* in, __m64* out) {
  for (int rowQuarter = 0; rowQuarter < 2; ++rowQuarter) {
    for (int half = 0; half < 2; ++half) {
      const __m64* from = in + 8 * rowQuarter + half;
      const __m64 ab0 = _mm_unpacklo_pi16(from[0], from[2]), ab1 = _mm_unpackhi_pi16(from[0], from[2]);
      const __m64 cd0 = _mm_unpacklo_pi16(from[4], from[6]), cd1 = _mm_unpackhi_pi16(from[4], from[6]);
      __m64* to = out + 8 * half + rowQuarter;
      to[0] = _mm_unpacklo_pi32(ab0, cd0);
      to[2] = _mm_unpackhi_pi32(ab0, cd0);
      to[4] = _mm_unpacklo_pi32(ab1, cd1);
      to[6] = _mm_unpackhi_pi32(ab1, cd1);
    }
  }
}

}  // namespace

void ForwardDctMmx(BlockBuffer& blocks) {
  const auto* constants = reinterpret_cast<const __m64*>(PackedDctConstants());
  int count = blocks.blocksPerMcu;
  if (count > kMaxBlocksPerMcu) count = kMaxBlocksPerMcu;
  for (int b = 0; b < count; ++b) {
    auto* quads = reinterpret_cast<__m64*>(blocks.coefficients + b * kBlockCoefficients);
    // Down the columns, four at a time; then the rows as the columns of the
    // transpose, and back to row-major order.
    __m64 transposed[16];
    Pass(quads, 2, constants);
    Pass(quads + 1, 2, constants);
    Transpose(quads, transposed);
    Pass(transposed, 2, constants);
    Pass(transposed + 1, 2, constants);
    Transpose(transposed, quads);
  }
  _mm_empty();
}

}  // namespace trvx
#endif
