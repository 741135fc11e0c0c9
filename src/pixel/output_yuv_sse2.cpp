// YUV kernels for the SSE2 path (samples x 16), one 16-pixel row per pass. Built with
// -msse2; see output_converter.h for why nothing inline from the headers is called.
#include "pixel/output_converter.h"

#if defined(__i386__) || defined(__x86_64__)
#include <emmintrin.h>

namespace trvx {
namespace {

enum class Layout { Uyvy, Yuy2, Yvyu, Y16 };

// ((s + 8) >> 4) + 128 in one saturating add and shift. The workspace is 4096-aligned,
// so the block rows load aligned.
__m128i ToLevel(const int16_t* samples) {
  const __m128i value = _mm_load_si128(reinterpret_cast<const __m128i*>(samples));
  return _mm_srai_epi16(_mm_adds_epi16(value, _mm_set1_epi16(0x0808)), 4);
}

void Store(uint8_t* p, __m128i value) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), value); }

template <Layout L>
void ConvertRows(uint8_t* dest, const int16_t* samples, uint32_t rowStep) {
  for (int row = 0; row < 8; ++row, dest += rowStep, samples += 8) {
    const __m128i luma = _mm_packus_epi16(ToLevel(samples), ToLevel(samples + 64));
    const __m128i chroma = _mm_packus_epi16(ToLevel(samples + 128), ToLevel(samples + 192));
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
}

}  // namespace

int32_t OutputUyvySse2(uint8_t* d, const int16_t* s, uint32_t r) { return ConvertRows<Layout::Uyvy>(d, s, r), 0; }
int32_t OutputYuy2Sse2(uint8_t* d, const int16_t* s, uint32_t r) { return ConvertRows<Layout::Yuy2>(d, s, r), 0; }
int32_t OutputYvyuSse2(uint8_t* d, const int16_t* s, uint32_t r) { return ConvertRows<Layout::Yvyu>(d, s, r), 0; }
int32_t OutputY16Sse2(uint8_t* d, const int16_t* s, uint32_t r) { return ConvertRows<Layout::Y16>(d, s, r), 0; }

}  // namespace trvx
#endif
