// RGB kernels for the SSE2 path (samples x 16), one 16-pixel row per pass in 8-word
// vectors. Built with -msse2; see output_converter.h for why nothing inline from the
// headers is called.
#include "pixel/output_converter.h"

#if defined(__i386__) || defined(__x86_64__)
#include <emmintrin.h>

namespace trvx {
namespace {

// Samples are taken x 4 so that (s x 4 x c) >> 16 keeps enough bits; with x 16 input
// these are 1.16394 Y, 1.59607 Cr, 0.39172 Cb, 0.81299 Cr, 2.01721 Cb and 130.75.
alignas(16) const int16_t kColour[6][8] = {
    {9535, 9535, 9535, 9535, 9535, 9535, 9535, 9535},
    {1046, 1046, 1046, 1046, 1046, 1046, 1046, 1046},
    {13075, 13075, 13075, 13075, 13075, 13075, 13075, 13075},
    {-3209, -3209, -3209, -3209, -3209, -3209, -3209, -3209},
    {-6660, -6660, -6660, -6660, -6660, -6660, -6660, -6660},
    {16525, 16525, 16525, 16525, 16525, 16525, 16525, 16525},
};

__m128i Constant(int row) { return _mm_load_si128(reinterpret_cast<const __m128i*>(kColour[row])); }

// The workspace is 4096-aligned, so block rows load aligned.
__m128i Scaled(const int16_t* samples, int row) {
  const __m128i value = _mm_load_si128(reinterpret_cast<const __m128i*>(samples));
  return _mm_mulhi_epi16(_mm_slli_epi16(value, 2), Constant(row));
}

__m128i Channel(__m128i luma, __m128i chroma) { return _mm_srai_epi16(_mm_adds_epi16(luma, chroma), 3); }

// Two B,G,R,0 pixels per 64-bit lane become 12 bytes at the low end.
__m128i Squeeze(__m128i pixels) {
  const __m128i first = _mm_and_si128(pixels, _mm_set_epi32(0, 0x00FFFFFF, 0, 0x00FFFFFF));
  const __m128i second = _mm_and_si128(_mm_srli_epi64(pixels, 8),
                                       _mm_set_epi32(0x0000FFFF, static_cast<int>(0xFF000000u),
                                                     0x0000FFFF, static_cast<int>(0xFF000000u)));
  const __m128i lanes = _mm_or_si128(first, second);
  return _mm_or_si128(_mm_move_epi64(lanes), _mm_slli_si128(_mm_srli_si128(lanes, 8), 6));
}

void Store(uint8_t* p, __m128i value) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), value); }

template <int BytesPerPixel>
void ConvertRows(uint8_t* dest, const int16_t* samples, uint32_t rowStep) {
  for (int row = 0; row < 8; ++row, dest -= rowStep, samples += 8) {
    const __m128i blue = Scaled(samples + 128, 5);
    const __m128i greenFromCb = Scaled(samples + 128, 3);
    const __m128i greenFromCr = Scaled(samples + 192, 4);
    const __m128i red = Scaled(samples + 192, 2);
    __m128i channel[3][2];
    for (int half = 0; half < 2; ++half) {
      const __m128i y = _mm_adds_epi16(Scaled(samples + 64 * half, 0), Constant(1));
      // Each chroma word serves two neighbouring pixels.
      const __m128i b = half ? _mm_unpackhi_epi16(blue, blue) : _mm_unpacklo_epi16(blue, blue);
      const __m128i gb = half ? _mm_unpackhi_epi16(greenFromCb, greenFromCb)
                              : _mm_unpacklo_epi16(greenFromCb, greenFromCb);
      const __m128i gr = half ? _mm_unpackhi_epi16(greenFromCr, greenFromCr)
                              : _mm_unpacklo_epi16(greenFromCr, greenFromCr);
      const __m128i r = half ? _mm_unpackhi_epi16(red, red) : _mm_unpacklo_epi16(red, red);
      channel[0][half] = Channel(y, b);
      channel[1][half] = Channel(_mm_adds_epi16(y, gb), gr);
      channel[2][half] = Channel(y, r);
    }
    const __m128i b = _mm_packus_epi16(channel[0][0], channel[0][1]);
    const __m128i g = _mm_packus_epi16(channel[1][0], channel[1][1]);
    const __m128i r = _mm_packus_epi16(channel[2][0], channel[2][1]);
    const __m128i zero = _mm_setzero_si128();
    const __m128i bgLow = _mm_unpacklo_epi8(b, g);
    const __m128i bgHigh = _mm_unpackhi_epi8(b, g);
    const __m128i rLow = _mm_unpacklo_epi8(r, zero);
    const __m128i rHigh = _mm_unpackhi_epi8(r, zero);
    const __m128i pixels[4] = {_mm_unpacklo_epi16(bgLow, rLow), _mm_unpackhi_epi16(bgLow, rLow),
                               _mm_unpacklo_epi16(bgHigh, rHigh), _mm_unpackhi_epi16(bgHigh, rHigh)};
    if (BytesPerPixel == 4) {
      for (int k = 0; k < 4; ++k) Store(dest + 16 * k, pixels[k]);
      continue;
    }
    // Sixteen pixels are 48 bytes: three whole vectors.
    const __m128i p0 = Squeeze(pixels[0]);
    const __m128i p1 = Squeeze(pixels[1]);
    const __m128i p2 = Squeeze(pixels[2]);
    const __m128i p3 = Squeeze(pixels[3]);
    Store(dest, _mm_or_si128(p0, _mm_slli_si128(p1, 12)));
    Store(dest + 16, _mm_or_si128(_mm_srli_si128(p1, 4), _mm_slli_si128(p2, 8)));
    Store(dest + 32, _mm_or_si128(_mm_srli_si128(p2, 8), _mm_slli_si128(p3, 4)));
  }
}

}  // namespace

int32_t OutputRgb24Sse2(uint8_t* dest, const int16_t* samples, uint32_t rowStep) {
  ConvertRows<3>(dest, samples, rowStep);
  return 0;
}

int32_t OutputRgb32Sse2(uint8_t* dest, const int16_t* samples, uint32_t rowStep) {
  ConvertRows<4>(dest, samples, rowStep);
  return 0;
}

}  // namespace trvx
#else
// Off x86 DetectProcessor gives 0 and these are never chosen; they keep the link whole.
namespace trvx {
int32_t OutputRgb24Sse2(uint8_t* d, const int16_t* s, uint32_t r) { return OutputRgb24Plain(d, s, r); }
int32_t OutputRgb32Sse2(uint8_t* d, const int16_t* s, uint32_t r) { return OutputRgb32Plain(d, s, r); }
}  // namespace trvx
#endif
