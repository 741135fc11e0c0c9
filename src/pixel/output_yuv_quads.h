// The packed and blocked YUV kernels of the MMX and SSE paths (samples x 16), written
// once: the two differ only in how they store, the policy S (Store(p, quad)) each file
// hands to TRVX_OUTPUT_YUV_KERNELS. Only those variant files include it; everything
// here has internal linkage.
#pragma once

#include <mmintrin.h>

#include <cstdint>

#include "pixel/mmx_access.h"
#include "pixel/output_yuv_kernels.h"

namespace trvx {
namespace {

// ((s + 8) >> 4) + 128 in one saturating add and shift.
__m64 ToLevel(__m64 samples) { return _mm_srai_pi16(_mm_adds_pi16(samples, _mm_set1_pi16(0x0808)), 4); }

__m64 ToBytes(const int16_t* samples) {
  return _mm_packs_pu16(ToLevel(LoadQuad(samples)), ToLevel(LoadQuad(samples + 4)));
}

template <class Stores, Layout L>
int32_t ConvertRows(uint8_t* dest, const int16_t* samples, uint32_t rowStep) {
  for (int row = 0; row < 8; ++row, dest += rowStep, samples += 8) {
    const __m64 left = ToBytes(samples);
    const __m64 right = ToBytes(samples + 64);
    const __m64 cb = ToBytes(samples + 128);
    const __m64 cr = ToBytes(samples + 192);
    if (L == Layout::Y16) {
      Stores::Store(dest, left);
      Stores::Store(dest + 8, right);
      Stores::Store(dest + 16, cb);
      Stores::Store(dest + 24, cr);
      continue;
    }
    // Chroma pairs in byte order: U,V for UYVY and YUY2, V,U for YVYU.
    const __m64 first = L == Layout::Yvyu ? cr : cb;
    const __m64 second = L == Layout::Yvyu ? cb : cr;
    const __m64 pairsLeft = _mm_unpacklo_pi8(first, second);
    const __m64 pairsRight = _mm_unpackhi_pi8(first, second);
    if (L == Layout::Uyvy) {
      Stores::Store(dest, _mm_unpacklo_pi8(pairsLeft, left));
      Stores::Store(dest + 8, _mm_unpackhi_pi8(pairsLeft, left));
      Stores::Store(dest + 16, _mm_unpacklo_pi8(pairsRight, right));
      Stores::Store(dest + 24, _mm_unpackhi_pi8(pairsRight, right));
    } else {
      Stores::Store(dest, _mm_unpacklo_pi8(left, pairsLeft));
      Stores::Store(dest + 8, _mm_unpackhi_pi8(left, pairsLeft));
      Stores::Store(dest + 16, _mm_unpacklo_pi8(right, pairsRight));
      Stores::Store(dest + 24, _mm_unpackhi_pi8(right, pairsRight));
    }
  }
  return 0;
}

}  // namespace
}  // namespace trvx
