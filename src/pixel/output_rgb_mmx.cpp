// RGB kernels for the MMX path (samples x 16), four 16-bit words at a time. Built with
// -mmmx; see output_converter.h for why nothing inline from the headers is called.
#include "pixel/output_converter.h"

#if defined(__i386__) || defined(__x86_64__)
#include <mmintrin.h>

#include "pixel/mmx_access.h"

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

__m64 Load(const int16_t* p) { return LoadQuad(p); }

__m64 Scaled(__m64 samples, int row) { return _mm_mulhi_pi16(_mm_slli_pi16(samples, 2), Constant(row)); }

// B, G, R bytes of 8 pixels: Y words of pixels 0-3 and 4-7 and their 4 chroma words.
struct Channels {
  __m64 b, g, r;
};

__attribute__((always_inline)) inline Channels Convert8(const int16_t* luma, const int16_t* cb, const int16_t* cr) {
  const __m64 blue = Scaled(Load(cb), 5);
  const __m64 greenFromCb = Scaled(Load(cb), 3);
  const __m64 greenFromCr = Scaled(Load(cr), 4);
  const __m64 red = Scaled(Load(cr), 2);
  const __m64 yLow = _mm_adds_pi16(Scaled(Load(luma), 0), Constant(1));
  const __m64 yHigh = _mm_adds_pi16(Scaled(Load(luma + 4), 0), Constant(1));
  // Each chroma word serves two neighbouring pixels.
  const auto channel = [&](__m64 low, __m64 high, __m64 chroma) {
    return _mm_packs_pu16(_mm_srai_pi16(_mm_adds_pi16(low, _mm_unpacklo_pi16(chroma, chroma)), 3),
                          _mm_srai_pi16(_mm_adds_pi16(high, _mm_unpackhi_pi16(chroma, chroma)), 3));
  };
  const __m64 gbLow = _mm_adds_pi16(yLow, _mm_unpacklo_pi16(greenFromCb, greenFromCb));
  const __m64 gbHigh = _mm_adds_pi16(yHigh, _mm_unpackhi_pi16(greenFromCb, greenFromCb));
  return {channel(yLow, yHigh, blue), channel(gbLow, gbHigh, greenFromCr), channel(yLow, yHigh, red)};
}

// Pixels as B,G,R,0 dwords, two per vector. Named, not an array: GCC copies __m64
// array elements through integer registers and the stack.
struct PixelPairs {
  __m64 p01, p23, p45, p67;
};

__attribute__((always_inline)) inline PixelPairs Interleave(const Channels& c) {
  const __m64 zero = _mm_setzero_si64();
  const __m64 bgLow = _mm_unpacklo_pi8(c.b, c.g);
  const __m64 bgHigh = _mm_unpackhi_pi8(c.b, c.g);
  const __m64 rLow = _mm_unpacklo_pi8(c.r, zero);
  const __m64 rHigh = _mm_unpackhi_pi8(c.r, zero);
  return {_mm_unpacklo_pi16(bgLow, rLow), _mm_unpackhi_pi16(bgLow, rLow), _mm_unpacklo_pi16(bgHigh, rHigh),
          _mm_unpackhi_pi16(bgHigh, rHigh)};
}

// A pair's six bytes closed up in the low end of the quad.
__attribute__((always_inline)) inline __m64 CloseUp(__m64 pair) {
  return _mm_or_si64(_mm_and_si64(pair, _mm_cvtsi32_si64(0x00FFFFFF)), _mm_slli_si64(_mm_srli_si64(pair, 32), 24));
}

// Eight pixels as 24 bytes in three quads.
__attribute__((always_inline)) inline void StoreBgr24(uint8_t* out, const PixelPairs& pixels) {
  const __m64 a = CloseUp(pixels.p01), b = CloseUp(pixels.p23), c = CloseUp(pixels.p45), d = CloseUp(pixels.p67);
  StoreQuad(out, _mm_or_si64(a, _mm_slli_si64(b, 48)));
  StoreQuad(out + 8, _mm_or_si64(_mm_srli_si64(b, 16), _mm_slli_si64(c, 32)));
  StoreQuad(out + 16, _mm_or_si64(_mm_srli_si64(c, 32), _mm_slli_si64(d, 16)));
}

template <int BytesPerPixel>
void ConvertRows(uint8_t* dest, const int16_t* samples, uint32_t rowStep) {
  for (int row = 0; row < 8; ++row, dest -= rowStep) {
    const int16_t* line = samples + row * 8;
    for (int half = 0; half < 2; ++half) {
      const PixelPairs pixels = Interleave(Convert8(line + 64 * half, line + 128 + 4 * half, line + 192 + 4 * half));
      uint8_t* out = dest + half * 8 * BytesPerPixel;
      if (BytesPerPixel == 3) {
        StoreBgr24(out, pixels);
      } else {
        StoreQuad(out, pixels.p01);
        StoreQuad(out + 8, pixels.p23);
        StoreQuad(out + 16, pixels.p45);
        StoreQuad(out + 24, pixels.p67);
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
