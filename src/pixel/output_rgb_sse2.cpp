// RGB kernels for the SSE2 path (samples x 16), one 16-pixel row per pass in 8-word
// vectors. Built with -msse2; see output_converter.h for why nothing inline from the
// headers is called.
#include "pixel/output_converter.h"

#if defined(__i386__) || defined(__x86_64__)
#include <emmintrin.h>

#include "pixel/output_rgb_rows.h"

namespace trvx {
namespace {

struct Sse2Vectors {
  using Vector = __m128i;
  static constexpr int kWords = 8;

  // The workspace is 4096-aligned, so block rows load aligned.
  static __m128i Constant(const int16_t* words) { return _mm_load_si128(reinterpret_cast<const __m128i*>(words)); }
  static __m128i Scaled(const int16_t* samples, const int16_t* colour) {
    return _mm_mulhi_epi16(_mm_slli_epi16(Constant(samples), 2), Constant(colour));
  }
  static __m128i Adds(__m128i a, __m128i b) { return _mm_adds_epi16(a, b); }
  static Halves<Sse2Vectors> Doubled(__m128i v) { return {_mm_unpacklo_epi16(v, v), _mm_unpackhi_epi16(v, v)}; }
  static __m128i Narrow(__m128i low, __m128i high) {
    return _mm_packus_epi16(_mm_srai_epi16(low, 3), _mm_srai_epi16(high, 3));
  }

  static Halves<Sse2Vectors> Bytes(__m128i a, __m128i b) { return {_mm_unpacklo_epi8(a, b), _mm_unpackhi_epi8(a, b)}; }
  static Halves<Sse2Vectors> Words(__m128i a, __m128i b) {
    return {_mm_unpacklo_epi16(a, b), _mm_unpackhi_epi16(a, b)};
  }
  static __m128i Zero() { return _mm_setzero_si128(); }

  // Two pixel pairs, one a lane, closed up into twelve bytes at the low end.
  static __m128i CloseUp(__m128i pairs) {
    const __m128i first = _mm_and_si128(pairs, _mm_set_epi32(0, 0x00FFFFFF, 0, 0x00FFFFFF));
    const __m128i second = _mm_and_si128(
        _mm_srli_epi64(pairs, 8),
        _mm_set_epi32(0x0000FFFF, static_cast<int>(0xFF000000u), 0x0000FFFF, static_cast<int>(0xFF000000u)));
    const __m128i lanes = _mm_or_si128(first, second);
    return _mm_or_si128(_mm_move_epi64(lanes), _mm_slli_si128(_mm_srli_si128(lanes, 8), 6));
  }
  template <int Bytes>
  static __m128i Up(__m128i v) {
    return _mm_slli_si128(v, Bytes);
  }
  template <int Bytes>
  static __m128i Down(__m128i v) {
    return _mm_srli_si128(v, Bytes);
  }
  static __m128i Or(__m128i a, __m128i b) { return _mm_or_si128(a, b); }
  static void Store(uint8_t* p, __m128i value) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), value); }
};

}  // namespace

TRVX_OUTPUT_RGB_KERNELS(Sse2, Sse2Vectors)

}  // namespace trvx
#endif
