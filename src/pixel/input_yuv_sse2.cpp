// YUV kernels for the SSE2 path: the MMX values, one 16-pixel row per pass in 8-word
// vectors. Built with -msse2; see input_converter.h.
#include "pixel/input_converter.h"

#if defined(__i386__) || defined(__x86_64__)
#include <emmintrin.h>

#include "pixel/input_yuv_rows.h"

namespace trvx {
namespace {

struct Sse2Widening {
  static constexpr int kWords = 8;

  static __m128i Load(const uint8_t* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
  static __m128i Levels(__m128i words) { return _mm_subs_epi16(_mm_slli_epi16(words, 3), _mm_set1_epi16(1024)); }
  static __m128i LowBytes(__m128i v) { return _mm_and_si128(v, _mm_set1_epi16(0x00FF)); }
  static __m128i HighBytes(__m128i v) { return _mm_srli_epi16(v, 8); }
  static __m128i Pack(__m128i a, __m128i b) { return _mm_packus_epi16(a, b); }
  static Halves<Sse2Widening> Widen(__m128i bytes) {
    const __m128i zero = _mm_setzero_si128();
    return {_mm_unpacklo_epi8(bytes, zero), _mm_unpackhi_epi8(bytes, zero)};
  }
  // The block area is 16-byte aligned, so block rows store aligned.
  static void Store(int16_t* p, __m128i words) { _mm_store_si128(reinterpret_cast<__m128i*>(p), words); }
};

}  // namespace

TRVX_INPUT_YUV_KERNELS(Sse2, Sse2Widening)

}  // namespace trvx
#endif
