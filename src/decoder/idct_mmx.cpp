// Built with -mmmx. Uses no inline function from a header but the file-local quad
// access and cosine table: the linker may keep this file's copy of one and run MMX
// code on a processor without it.
#include "decoder/decoder_kernels.h"

#if defined(__i386__) || defined(__x86_64__)
#include <mmintrin.h>

#include "decoder/idct_constants.h"
#include "pixel/mmx_access.h"

namespace trvx {
namespace {

// floor(x * c / 2^16) for the table's constants below 0.5 ...
__m64 MulLow(__m64 x, __m64 c) { return _mm_mulhi_pi16(x, c); }
// ... and for those of 0.5 and more; the result never exceeds |x|, so no saturation.
__m64 MulHigh(__m64 x, __m64 c) { return _mm_add_pi16(_mm_mulhi_pi16(x, c), x); }

// The plain one-dimensional transform without its factor 1/2, down the eight words
// of four columns at once.
void Butterfly(__m64* v, int stride, const __m64* k) {
  const __m64 x0 = v[0], x1 = v[stride], x2 = v[2 * stride], x3 = v[3 * stride];
  const __m64 x4 = v[4 * stride], x5 = v[5 * stride], x6 = v[6 * stride],
              x7 = v[7 * stride];
  const __m64 e = MulHigh(_mm_adds_pi16(x0, x4), k[kC4]);
  const __m64 b = MulHigh(_mm_subs_pi16(x0, x4), k[kC4]);
  const __m64 t2 = _mm_adds_pi16(MulHigh(x2, k[kC2]), MulLow(x6, k[kS2]));
  const __m64 t6 = _mm_subs_pi16(MulLow(x2, k[kS2]), MulHigh(x6, k[kC2]));
  const __m64 o1 = _mm_adds_pi16(MulHigh(x1, k[kC1]), MulLow(x7, k[kS1]));
  const __m64 o7 = _mm_subs_pi16(MulLow(x1, k[kS1]), MulHigh(x7, k[kC1]));
  const __m64 o3 = _mm_adds_pi16(MulHigh(x3, k[kC3]), MulHigh(x5, k[kS3]));
  const __m64 o5 = _mm_subs_pi16(MulHigh(x5, k[kC3]), MulHigh(x3, k[kS3]));
  const __m64 p = MulHigh(_mm_adds_pi16(o3, o5), k[kC4]);
  const __m64 q = MulHigh(_mm_adds_pi16(o1, o7), k[kC4]);
  const __m64 r = MulHigh(_mm_subs_pi16(o5, o3), k[kC4]);
  const __m64 s = MulHigh(_mm_subs_pi16(o1, o7), k[kC4]);
  const __m64 et2 = _mm_adds_pi16(e, t2), emt2 = _mm_subs_pi16(e, t2);
  const __m64 bt6 = _mm_adds_pi16(b, t6), bmt6 = _mm_subs_pi16(b, t6);
  const __m64 o13 = _mm_adds_pi16(o1, o3), o57 = _mm_adds_pi16(o5, o7);
  const __m64 qp = _mm_subs_pi16(q, p), rs = _mm_adds_pi16(r, s);
  v[0] = _mm_adds_pi16(et2, o13);
  v[stride] = _mm_adds_pi16(bt6, qp);
  v[2 * stride] = _mm_adds_pi16(bmt6, rs);
  v[3 * stride] = _mm_adds_pi16(emt2, o57);
  v[4 * stride] = _mm_subs_pi16(emt2, o57);
  v[5 * stride] = _mm_subs_pi16(bmt6, rs);
  v[6 * stride] = _mm_subs_pi16(bt6, qp);
  v[7 * stride] = _mm_subs_pi16(et2, o13);
}

// The block as sixteen quads, two per row; transposes each 4x4 quarter and swaps the
// off-diagonal two.
void Transpose(__m64* q) {
  __m64 t[16];
  for (int quarter = 0; quarter < 4; ++quarter) {
    const int row = (quarter >> 1) * 4, half = quarter & 1;
    const __m64* in = q + row * 2 + half;
    const __m64 ab0 = _mm_unpacklo_pi16(in[0], in[2]), ab1 = _mm_unpackhi_pi16(in[0], in[2]);
    const __m64 cd0 = _mm_unpacklo_pi16(in[4], in[6]), cd1 = _mm_unpackhi_pi16(in[4], in[6]);
    __m64* out = t + half * 4 * 2 + (row >> 2);
    out[0] = _mm_unpacklo_pi32(ab0, cd0);
    out[2] = _mm_unpackhi_pi32(ab0, cd0);
    out[4] = _mm_unpacklo_pi32(ab1, cd1);
    out[6] = _mm_unpackhi_pi32(ab1, cd1);
  }
  // Quad stores: a copy the compiler picks writes dwords, which the next wide loads
  // cannot take from the store buffer.
  for (int i = 0; i < 16; ++i) StoreQuad(q + i, t[i]);
}

}  // namespace

// Rows first as in the plain variant: transpose, transform down the columns,
// transpose back, transform down the columns again. The first pass doubles its input
// (valid coefficients x8 stay below 2^14), so the middle values carry two bits more
// than the plain row pass; the second works at four times the final scale and rounds
// those bits away at the end, leaving samples x16. Only the products truncate, at a
// finer step than the plain shifts, so this path sits closer to the exact transform
// than the plain one does.
void ReconstructMmx(McuWorkspace& workspace) {
  const __m64* k = Constants<__m64, 4>();
  int blocks = workspace.blocksPerMcu;
  if (blocks > kMaxBlocksPerMcu) blocks = kMaxBlocksPerMcu;
  for (int blockIndex = 0; blockIndex < blocks; ++blockIndex) {
    auto* q = reinterpret_cast<__m64*>(workspace.coefficients + blockIndex * kBlockCoefficients);
    Transpose(q);
    for (int i = 0; i < 16; ++i) q[i] = _mm_adds_pi16(q[i], q[i]);
    Butterfly(q, 2, k);
    Butterfly(q + 1, 2, k);
    Transpose(q);
    Butterfly(q, 2, k);
    Butterfly(q + 1, 2, k);
    for (int i = 0; i < 16; ++i) q[i] = _mm_srai_pi16(_mm_adds_pi16(q[i], k[kRound]), 2);
  }
  _mm_empty();
}

}  // namespace trvx
#endif
