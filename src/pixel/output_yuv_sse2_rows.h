// The packed and blocked YUV output kernels of the SSE2 and PlainSse2 paths, one
// 16-pixel row per pass, written once over the sample scale x 2^Shift, which each file
// hands to TRVX_OUTPUT_YUV_KERNELS. Only those variant files include it; everything
// here has internal linkage.
#pragma once

#include <emmintrin.h>

#include <cstdint>

#include "pixel/output_yuv_kernels.h"

namespace trvx {
namespace {

// Samples x 2^Shift to ((s + half) >> Shift) + 128 in one saturating add and shift:
// the add saturates only where the byte is 255 anyway. The workspace is 4096-aligned,
// so the block rows load aligned.
template <int Shift>
__m128i ToLevel(const int16_t* samples) {
  constexpr int16_t kBiasAndHalf = (128 << Shift) + (1 << (Shift - 1));
  const __m128i value = _mm_load_si128(reinterpret_cast<const __m128i*>(samples));
  return _mm_srai_epi16(_mm_adds_epi16(value, _mm_set1_epi16(kBiasAndHalf)), Shift);
}

void Store(uint8_t* p, __m128i value) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), value); }

template <int Shift, Layout L>
int32_t ConvertRows(uint8_t* dest, const int16_t* samples, uint32_t rowStep) {
  for (int row = 0; row < 8; ++row, dest += rowStep, samples += 8) {
    const __m128i luma = _mm_packus_epi16(ToLevel<Shift>(samples), ToLevel<Shift>(samples + 64));
    const __m128i chroma = _mm_packus_epi16(ToLevel<Shift>(samples + 128), ToLevel<Shift>(samples + 192));
    if (L == Layout::Y16) {
      Store(dest, luma);
      Store(dest + 16, chroma);
      continue;
    }
    // chroma holds the row's 8 Cb bytes, then its 8 Cr bytes.
    const __m128i cb = chroma;
    const __m128i cr = _mm_srli_si128(chroma, 8);
    const __m128i pairs = L == Layout::Yvyu ? _mm_unpacklo_epi8(cr, cb) : _mm_unpacklo_epi8(cb, cr);
    if (L == Layout::Uyvy) {
      Store(dest, _mm_unpacklo_epi8(pairs, luma));
      Store(dest + 16, _mm_unpackhi_epi8(pairs, luma));
    } else {
      Store(dest, _mm_unpacklo_epi8(luma, pairs));
      Store(dest + 16, _mm_unpackhi_epi8(luma, pairs));
    }
  }
  return 0;
}

}  // namespace
}  // namespace trvx
