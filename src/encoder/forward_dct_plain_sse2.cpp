// Built with -msse2. Uses no inline function from a header but the file-local pass and
// the transpose: the linker may keep this file's copy of one and run SSE2 code on a
// processor without it.
#include "encoder/encoder_kernels.h"

#if defined(__i386__) || defined(__x86_64__)
#include <emmintrin.h>

#include "encoder/block_walks_sse2.h"

namespace trvx {
namespace {

#define TRVX_INLINE inline __attribute__((always_inline))

// The plain table's constants, each twice over in every dword lane (c, c) or with the
// second negated (c, -c), for pmaddwd on two interleaved rows; single ones for pmulhw.
struct Constants {
  __m128i sum0, difference0, sum3, sum6, sum9, both10, single1, single2, single4, single5, single7, single8;
};

Constants MakeConstants(const uint16_t* t) {
  const auto pair = [](int first, int second) {
    return _mm_set1_epi32(static_cast<int32_t>(static_cast<uint16_t>(first) |
                                               static_cast<uint32_t>(static_cast<uint16_t>(second)) << 16));
  };
  const auto single = [](int c) { return _mm_set1_epi16(static_cast<int16_t>(c)); };
  return {pair(t[0], t[0]), pair(t[0], -t[0]),   pair(t[3], t[3]), pair(t[6], t[6]),
          pair(t[9], t[9]), pair(t[10], -t[10]), single(t[1]),     single(t[2]),
          single(t[4]),     single(t[5]),        single(t[7]),     single(t[8])};
}

// a x c0 + b x c1 of two rows, per dword lane: columns 0..3 in the first, 4..7 in the
// second. The table's constants are below 2^15, so the sums are the plain pass's.
struct Sums {
  __m128i low, high;
};
TRVX_INLINE Sums MulAdd(__m128i a, __m128i b, __m128i c) {
  return {_mm_madd_epi16(_mm_unpacklo_epi16(a, b), c), _mm_madd_epi16(_mm_unpackhi_epi16(a, b), c)};
}
// The sums >> 16, which fit a word ...
TRVX_INLINE __m128i High16(Sums s) { return _mm_packs_epi32(_mm_srai_epi32(s.low, 16), _mm_srai_epi32(s.high, 16)); }
// ... and the low word of the sums >> 15, which may not: bits 15..30, shifted up and
// back so the pack finds them in range.
TRVX_INLINE __m128i Word15(Sums s) {
  return _mm_packs_epi32(_mm_srai_epi32(_mm_slli_epi32(s.low, 1), 16), _mm_srai_epi32(_mm_slli_epi32(s.high, 1), 16));
}

// The plain column pass on every lane. Its 32-bit values reach the output only as
// words, through sums and differences, so they are carried as their low words where
// they may exceed one; y3 and y5 take the bits of a full product, which the dword sums
// of two pmaddwd give.
TRVX_INLINE void PlainPass(__m128i* v, const Constants& k) {
  const __m128i s07 = _mm_add_epi16(v[0], v[7]), s34 = _mm_add_epi16(v[3], v[4]);
  const __m128i s16 = _mm_add_epi16(v[1], v[6]), s25 = _mm_add_epi16(v[2], v[5]);
  const __m128i e0 = _mm_add_epi16(s07, s34), e1 = _mm_add_epi16(s16, s25);
  const Sums y0 = MulAdd(e0, e1, k.sum0), y4 = MulAdd(e0, e1, k.difference0);

  const __m128i a = _mm_sub_epi16(s16, s25), b = _mm_sub_epi16(s07, s34);
  const __m128i p = _mm_mulhi_epi16(a, k.single1), q = _mm_mulhi_epi16(b, k.single2);
  const __m128i r = _mm_sub_epi16(Word15(MulAdd(a, b, k.sum3)), q);

  const __m128i e = _mm_sub_epi16(v[0], v[7]), d = _mm_sub_epi16(v[3], v[4]);
  const __m128i f = _mm_sub_epi16(v[1], v[6]), g = _mm_sub_epi16(v[2], v[5]);
  const __m128i m = _mm_mulhi_epi16(d, k.single4), n = _mm_mulhi_epi16(e, k.single5);
  const __m128i u = _mm_sub_epi16(n, m);
  const __m128i vv = _mm_sub_epi16(_mm_sub_epi16(Word15(MulAdd(e, d, k.sum6)), n), m);
  const __m128i m2 = _mm_mulhi_epi16(g, k.single7), n2 = _mm_mulhi_epi16(f, k.single8);
  const __m128i w = _mm_sub_epi16(_mm_sub_epi16(Word15(MulAdd(f, g, k.sum9)), n2), m2);
  const __m128i z = _mm_sub_epi16(m2, n2);
  // (v - w - z + u) x t10 and (v - w + z - u) x t10 as (v, w) and (u, z) products.
  const Sums vw = MulAdd(vv, w, k.both10), uz = MulAdd(u, z, k.both10);

  v[0] = High16(y0);
  v[1] = _mm_add_epi16(w, vv);
  v[2] = _mm_sub_epi16(r, p);
  v[3] = Word15({_mm_add_epi32(vw.low, uz.low), _mm_add_epi32(vw.high, uz.high)});
  v[4] = High16(y4);
  v[5] = Word15({_mm_sub_epi32(vw.low, uz.low), _mm_sub_epi32(vw.high, uz.high)});
  v[6] = _mm_sub_epi16(q, p);
  v[7] = _mm_add_epi16(z, u);
}

}  // namespace

// The plain kernel's words exactly: down the columns, then along the rows as the
// columns of the transpose. Threads started by Windows only promise a 4-byte aligned
// stack.
#if defined(__i386__)
__attribute__((force_align_arg_pointer))
#endif
void ForwardDctPlainSse2(BlockBuffer& blocks) {
  const Constants k = MakeConstants(DctConstants());
  const auto pass = [&k](__m128i* v) __attribute__((always_inline)) { PlainPass(v, k); };
  ForwardDctBlocks(blocks, pass);
}

}  // namespace trvx
#endif
