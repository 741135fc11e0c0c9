// YUV kernels for the SSE2 path: the MMX values, one 16-pixel row per pass in 8-word
// vectors. Built with -msse2; see input_converter.h.
#include "pixel/input_converter.h"

#if defined(__i386__) || defined(__x86_64__)
#include <emmintrin.h>

namespace trvx {
namespace {

enum class Layout { Uyvy, Yuy2, Yvyu };

__m128i Load(const uint8_t* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }

// The block area is 16-byte aligned, so block rows store aligned.
void Store(int16_t* p, __m128i words) {
  const __m128i level = _mm_subs_epi16(_mm_slli_epi16(words, 3), _mm_set1_epi16(1024));
  _mm_store_si128(reinterpret_cast<__m128i*>(p), level);
}

__m128i LowBytes(__m128i v) { return _mm_and_si128(v, _mm_set1_epi16(0x00FF)); }
__m128i HighBytes(__m128i v) { return _mm_srli_epi16(v, 8); }

template <Layout L>
void ConvertPacked(const uint8_t* source, int16_t* samples, uint32_t rowStep) {
  for (int row = 0; row < 8; ++row, source += rowStep) {
    const __m128i left = Load(source);
    const __m128i right = Load(source + 16);
    __m128i chroma;
    if (L == Layout::Uyvy) {
      Store(samples + row * 8, HighBytes(left));
      Store(samples + 64 + row * 8, HighBytes(right));
      chroma = _mm_packus_epi16(LowBytes(left), LowBytes(right));
    } else {
      Store(samples + row * 8, LowBytes(left));
      Store(samples + 64 + row * 8, LowBytes(right));
      chroma = _mm_packus_epi16(HighBytes(left), HighBytes(right));
    }
    // chroma: eight pairs of bytes, U then V (V then U for YVYU).
    Store(samples + 128 + row * 8, L == Layout::Yvyu ? HighBytes(chroma) : LowBytes(chroma));
    Store(samples + 192 + row * 8, L == Layout::Yvyu ? LowBytes(chroma) : HighBytes(chroma));
  }
}

}  // namespace

int32_t InputUyvySse2(const uint8_t* source, int16_t* samples, uint32_t rowStep) {
  ConvertPacked<Layout::Uyvy>(source, samples, rowStep);
  return 0;
}

int32_t InputYuy2Sse2(const uint8_t* source, int16_t* samples, uint32_t rowStep) {
  ConvertPacked<Layout::Yuy2>(source, samples, rowStep);
  return 0;
}

int32_t InputYvyuSse2(const uint8_t* source, int16_t* samples, uint32_t rowStep) {
  ConvertPacked<Layout::Yvyu>(source, samples, rowStep);
  return 0;
}

int32_t InputY16Sse2(const uint8_t* source, int16_t* samples, uint32_t rowStep) {
  const __m128i zero = _mm_setzero_si128();
  for (int row = 0; row < 8; ++row, source += rowStep) {
    const __m128i luma = Load(source);
    const __m128i chroma = Load(source + 16);
    Store(samples + row * 8, _mm_unpacklo_epi8(luma, zero));
    Store(samples + 64 + row * 8, _mm_unpackhi_epi8(luma, zero));
    Store(samples + 128 + row * 8, _mm_unpacklo_epi8(chroma, zero));
    Store(samples + 192 + row * 8, _mm_unpackhi_epi8(chroma, zero));
  }
  return 0;
}

}  // namespace trvx
#endif
