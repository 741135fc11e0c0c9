// RGB kernels for the MMX path (samples x 16), four 16-bit words at a time. Built with
// -mmmx; see output_converter.h for why nothing inline from the headers is called.
#include "pixel/output_converter.h"

#if defined(__i386__) || defined(__x86_64__)
#include <mmintrin.h>

#include <cstring>

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

__m64 Constant(int row) { return *reinterpret_cast<const __m64*>(kColour[row]); }

__m64 Load(const int16_t* p) {
  __m64 value;
  std::memcpy(&value, p, 8);
  return value;
}

__m64 Scaled(__m64 samples, int row) { return _mm_mulhi_pi16(_mm_slli_pi16(samples, 2), Constant(row)); }

// B, G, R bytes of 8 pixels: Y words of pixels 0-3 and 4-7 and their 4 chroma words.
struct Channels {
  __m64 b, g, r;
};

Channels Convert8(const int16_t* luma, const int16_t* cb, const int16_t* cr) {
  const __m64 blue = Scaled(Load(cb), 5);
  const __m64 greenFromCb = Scaled(Load(cb), 3);
  const __m64 greenFromCr = Scaled(Load(cr), 4);
  const __m64 red = Scaled(Load(cr), 2);
  __m64 out[3][2];
  for (int half = 0; half < 2; ++half) {
    const __m64 y = _mm_adds_pi16(Scaled(Load(luma + 4 * half), 0), Constant(1));
    // Each chroma word serves two neighbouring pixels.
    const __m64 b = half ? _mm_unpackhi_pi16(blue, blue) : _mm_unpacklo_pi16(blue, blue);
    const __m64 gb = half ? _mm_unpackhi_pi16(greenFromCb, greenFromCb)
                          : _mm_unpacklo_pi16(greenFromCb, greenFromCb);
    const __m64 gr = half ? _mm_unpackhi_pi16(greenFromCr, greenFromCr)
                          : _mm_unpacklo_pi16(greenFromCr, greenFromCr);
    const __m64 r = half ? _mm_unpackhi_pi16(red, red) : _mm_unpacklo_pi16(red, red);
    out[0][half] = _mm_srai_pi16(_mm_adds_pi16(y, b), 3);
    out[1][half] = _mm_srai_pi16(_mm_adds_pi16(_mm_adds_pi16(y, gb), gr), 3);
    out[2][half] = _mm_srai_pi16(_mm_adds_pi16(y, r), 3);
  }
  return {_mm_packs_pu16(out[0][0], out[0][1]), _mm_packs_pu16(out[1][0], out[1][1]),
          _mm_packs_pu16(out[2][0], out[2][1])};
}

// Pixels as B,G,R,0 dwords, two per vector.
void Interleave(const Channels& c, __m64 pixels[4]) {
  const __m64 zero = _mm_setzero_si64();
  const __m64 bgLow = _mm_unpacklo_pi8(c.b, c.g);
  const __m64 bgHigh = _mm_unpackhi_pi8(c.b, c.g);
  const __m64 rLow = _mm_unpacklo_pi8(c.r, zero);
  const __m64 rHigh = _mm_unpackhi_pi8(c.r, zero);
  pixels[0] = _mm_unpacklo_pi16(bgLow, rLow);
  pixels[1] = _mm_unpackhi_pi16(bgLow, rLow);
  pixels[2] = _mm_unpacklo_pi16(bgHigh, rHigh);
  pixels[3] = _mm_unpackhi_pi16(bgHigh, rHigh);
}

template <int BytesPerPixel>
void ConvertRows(uint8_t* dest, const int16_t* samples, uint32_t rowStep) {
  for (int row = 0; row < 8; ++row, dest -= rowStep) {
    const int16_t* line = samples + row * 8;
    for (int half = 0; half < 2; ++half) {
      __m64 pixels[4];
      Interleave(Convert8(line + 64 * half, line + 128 + 4 * half, line + 192 + 4 * half), pixels);
      uint8_t* out = dest + half * 8 * BytesPerPixel;
      for (int k = 0; k < 4; ++k) {
        if (BytesPerPixel == 4) {
          std::memcpy(out + 8 * k, &pixels[k], 8);
          continue;
        }
        // Each dword's zero byte is overwritten by the next pixel; the row's last
        // pixel stores three bytes so the row ends exactly at its 48th byte.
        const int32_t first = _mm_cvtsi64_si32(pixels[k]);
        const int32_t second = _mm_cvtsi64_si32(_mm_srli_si64(pixels[k], 32));
        std::memcpy(out + 6 * k, &first, 4);
        std::memcpy(out + 6 * k + 3, &second, half == 1 && k == 3 ? 3 : 4);
      }
    }
  }
}

}  // namespace

int32_t OutputRgb24Mmx(uint8_t* dest, const int16_t* samples, uint32_t rowStep) {
  ConvertRows<3>(dest, samples, rowStep);
  return 0;
}

int32_t OutputRgb32Mmx(uint8_t* dest, const int16_t* samples, uint32_t rowStep) {
  ConvertRows<4>(dest, samples, rowStep);
  return 0;
}

}  // namespace trvx
#else
// Off x86 DetectProcessor gives 0 and these are never chosen; they keep the link whole.
namespace trvx {
int32_t OutputRgb24Mmx(uint8_t* d, const int16_t* s, uint32_t r) { return OutputRgb24Plain(d, s, r); }
int32_t OutputRgb32Mmx(uint8_t* d, const int16_t* s, uint32_t r) { return OutputRgb32Plain(d, s, r); }
}  // namespace trvx
#endif
