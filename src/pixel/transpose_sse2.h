// An 8 x 8 block of 16-bit words transposed in eight SSE2 registers, for the kernel
// files built with -msse2 only. Static: each such file keeps its own copy, so none
// can end up in code that runs on a processor without SSE2.
#pragma once

#include <emmintrin.h>

namespace trvx {

// LowHalf: only rows 0..3 of the result, for a half transform that reads no more.
template <bool LowHalf = false>
__attribute__((always_inline)) static inline void TransposeWords8x8(__m128i* v) {
  const __m128i a = _mm_unpacklo_epi16(v[0], v[1]), c = _mm_unpacklo_epi16(v[2], v[3]);
  const __m128i e = _mm_unpacklo_epi16(v[4], v[5]), g = _mm_unpacklo_epi16(v[6], v[7]);
  const __m128i ac0 = _mm_unpacklo_epi32(a, c), ac1 = _mm_unpackhi_epi32(a, c);
  const __m128i eg0 = _mm_unpacklo_epi32(e, g), eg1 = _mm_unpackhi_epi32(e, g);
  // Read before v[0..3] are replaced.
  const __m128i b = _mm_unpackhi_epi16(v[0], v[1]), d = _mm_unpackhi_epi16(v[2], v[3]);
  const __m128i f = _mm_unpackhi_epi16(v[4], v[5]), h = _mm_unpackhi_epi16(v[6], v[7]);
  v[0] = _mm_unpacklo_epi64(ac0, eg0);
  v[1] = _mm_unpackhi_epi64(ac0, eg0);
  v[2] = _mm_unpacklo_epi64(ac1, eg1);
  v[3] = _mm_unpackhi_epi64(ac1, eg1);
  if constexpr (LowHalf) return;
  const __m128i bd0 = _mm_unpacklo_epi32(b, d), bd1 = _mm_unpackhi_epi32(b, d);
  const __m128i fh0 = _mm_unpacklo_epi32(f, h), fh1 = _mm_unpackhi_epi32(f, h);
  v[4] = _mm_unpacklo_epi64(bd0, fh0);
  v[5] = _mm_unpackhi_epi64(bd0, fh0);
  v[6] = _mm_unpacklo_epi64(bd1, fh1);
  v[7] = _mm_unpackhi_epi64(bd1, fh1);
}

}  // namespace trvx
