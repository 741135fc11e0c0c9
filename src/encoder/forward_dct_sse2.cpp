// Built with -msse2. Uses no inline function from a header: the linker may keep this
// file's copy of one and run SSE2 code on a processor without it.
#include "encoder/encoder_kernels.h"

#if defined(__i386__) || defined(__x86_64__)
#include <emmintrin.h>

namespace trvx {
namespace {

#define TRVX_INLINE inline __attribute__((always_inline))

// Positions in the packed table, as the MMX kernel reads it.
enum Constant { kC7, kC1, kS17, kC3, kC5, kS35, kT10, kC2, kC6, kS26, kC4 };

// The MMX kernel's arithmetic on whole rows: every lane sees the same saturating sums
// and high-half products, so the results are the MMX kernel's bit for bit.
TRVX_INLINE __m128i High(__m128i x, __m128i c) { return _mm_mulhi_epi16(x, c); }
TRVX_INLINE __m128i High15(__m128i x, __m128i c) {
  return _mm_or_si128(_mm_slli_epi16(_mm_mulhi_epi16(x, c), 1), _mm_srli_epi16(_mm_mullo_epi16(x, c), 15));
}

TRVX_INLINE void Pass(__m128i* v, const __m128i* k) {
  const __m128i s07 = _mm_adds_epi16(v[0], v[7]), s34 = _mm_adds_epi16(v[3], v[4]);
  const __m128i s16 = _mm_adds_epi16(v[1], v[6]), s25 = _mm_adds_epi16(v[2], v[5]);

  const __m128i e0 = _mm_adds_epi16(s07, s34), e1 = _mm_adds_epi16(s16, s25);
  const __m128i y0 = High(_mm_adds_epi16(e0, e1), k[kC4]);
  const __m128i y4 = High(_mm_subs_epi16(e0, e1), k[kC4]);

  const __m128i a = _mm_subs_epi16(s16, s25), b = _mm_subs_epi16(s07, s34);
  const __m128i p = High(a, k[kC2]), q = High(b, k[kC6]);
  const __m128i r = _mm_subs_epi16(High15(_mm_adds_epi16(a, b), k[kS26]), q);

  const __m128i e = _mm_subs_epi16(v[0], v[7]), d = _mm_subs_epi16(v[3], v[4]);
  const __m128i f = _mm_subs_epi16(v[1], v[6]), g = _mm_subs_epi16(v[2], v[5]);
  const __m128i m = High(d, k[kC1]), n = High(e, k[kC7]);
  const __m128i u = _mm_subs_epi16(n, m);
  const __m128i vv = _mm_subs_epi16(_mm_subs_epi16(High15(_mm_adds_epi16(e, d), k[kS17]), n), m);
  const __m128i m2 = High(g, k[kC3]), n2 = High(f, k[kC5]);
  const __m128i w = _mm_subs_epi16(_mm_subs_epi16(High15(_mm_adds_epi16(f, g), k[kS35]), n2), m2);
  const __m128i z = _mm_subs_epi16(m2, n2);
  const __m128i vw = _mm_subs_epi16(vv, w), zu = _mm_subs_epi16(z, u);

  v[0] = y0;
  v[1] = _mm_adds_epi16(w, vv);
  v[2] = _mm_subs_epi16(r, p);
  v[3] = High15(_mm_subs_epi16(vw, zu), k[kT10]);
  v[4] = y4;
  v[5] = High15(_mm_adds_epi16(vw, zu), k[kT10]);
  v[6] = _mm_subs_epi16(q, p);
  v[7] = _mm_adds_epi16(z, u);
}

TRVX_INLINE void Transpose(__m128i* v) {
  const __m128i a0 = _mm_unpacklo_epi16(v[0], v[1]), a1 = _mm_unpackhi_epi16(v[0], v[1]);
  const __m128i a2 = _mm_unpacklo_epi16(v[2], v[3]), a3 = _mm_unpackhi_epi16(v[2], v[3]);
  const __m128i a4 = _mm_unpacklo_epi16(v[4], v[5]), a5 = _mm_unpackhi_epi16(v[4], v[5]);
  const __m128i a6 = _mm_unpacklo_epi16(v[6], v[7]), a7 = _mm_unpackhi_epi16(v[6], v[7]);
  const __m128i b0 = _mm_unpacklo_epi32(a0, a2), b1 = _mm_unpackhi_epi32(a0, a2);
  const __m128i b2 = _mm_unpacklo_epi32(a1, a3), b3 = _mm_unpackhi_epi32(a1, a3);
  const __m128i b4 = _mm_unpacklo_epi32(a4, a6), b5 = _mm_unpackhi_epi32(a4, a6);
  const __m128i b6 = _mm_unpacklo_epi32(a5, a7), b7 = _mm_unpackhi_epi32(a5, a7);
  v[0] = _mm_unpacklo_epi64(b0, b4);
  v[1] = _mm_unpackhi_epi64(b0, b4);
  v[2] = _mm_unpacklo_epi64(b1, b5);
  v[3] = _mm_unpackhi_epi64(b1, b5);
  v[4] = _mm_unpacklo_epi64(b2, b6);
  v[5] = _mm_unpackhi_epi64(b2, b6);
  v[6] = _mm_unpacklo_epi64(b3, b7);
  v[7] = _mm_unpackhi_epi64(b3, b7);
}

}  // namespace

// Threads started by Windows only promise a 4-byte aligned stack.
#if defined(__i386__)
__attribute__((force_align_arg_pointer))
#endif
void ForwardDctSse2(BlockBuffer& blocks) {
  const int16_t* packed = PackedDctConstants();
  __m128i constants[kDctConstantCount];
  for (int i = 0; i < kDctConstantCount; ++i) constants[i] = _mm_set1_epi16(packed[i * kPackedDctLanes]);
  int count = blocks.blocksPerMcu;
  if (count > kMaxBlocksPerMcu) count = kMaxBlocksPerMcu;
  for (int b = 0; b < count; ++b) {
    auto* rows = reinterpret_cast<__m128i*>(blocks.coefficients + b * kBlockCoefficients);
    __m128i v[8];
    for (int i = 0; i < 8; ++i) v[i] = _mm_load_si128(rows + i);
    // Down the columns, then along the rows as the columns of the transpose.
    Pass(v, constants);
    Transpose(v);
    Pass(v, constants);
    Transpose(v);
    for (int i = 0; i < 8; ++i) _mm_store_si128(rows + i, v[i]);
  }
}

}  // namespace trvx
#endif
