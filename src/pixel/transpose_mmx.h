// An 8 x 8 block of 16-bit words, held as sixteen quads (two a row), transposed into
// another area, for the kernel files built with -mmmx. Internal linkage: each such
// file keeps its own copy, so none can end up in code for a processor without MMX.
#pragma once

#include <mmintrin.h>

namespace trvx {
namespace {

// Each 4x4 quarter is transposed and the two off-diagonal quarters trade places.
__attribute__((always_inline)) inline void TransposeWords8x8(const __m64* in, __m64* out) {
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
}  // namespace trvx
