// YUV kernels for the MMX path: bytes widened to words, x 8, minus 1024 with
// saturation, which equals the plain b x 8 - 1024. Built with -mmmx; see
// input_converter.h.
#include "pixel/input_converter.h"

#if defined(__i386__) || defined(__x86_64__)
#include <mmintrin.h>

#include "pixel/mmx_access.h"

namespace trvx {
namespace {

enum class Layout { Uyvy, Yuy2, Yvyu };

__m64 Load(const uint8_t* p) { return LoadQuad(p); }

void Store(int16_t* p, __m64 words) {
  const __m64 level = _mm_subs_pi16(_mm_slli_pi16(words, 3), _mm_set1_pi16(1024));
  StoreQuad(p, level);
}

__m64 LowBytes(__m64 v) { return _mm_and_si64(v, _mm_set1_pi16(0x00FF)); }
__m64 HighBytes(__m64 v) { return _mm_srli_pi16(v, 8); }

template <Layout L>
void ConvertPacked(const uint8_t* source, int16_t* samples, uint32_t rowStep) {
  for (int row = 0; row < 8; ++row, source += rowStep) {
    // Each quarter holds four pixels: as words, the luma byte of each pair and the
    // chroma byte next to it sit at the same end of every word.
    for (int half = 0; half < 2; ++half) {
      const __m64 first = Load(source + 16 * half);
      const __m64 second = Load(source + 16 * half + 8);
      int16_t* luma = samples + 64 * half + row * 8;
      __m64 chroma;
      if (L == Layout::Uyvy) {
        Store(luma, HighBytes(first));
        Store(luma + 4, HighBytes(second));
        chroma = _mm_packs_pu16(LowBytes(first), LowBytes(second));
      } else {
        Store(luma, LowBytes(first));
        Store(luma + 4, LowBytes(second));
        chroma = _mm_packs_pu16(HighBytes(first), HighBytes(second));
      }
      // chroma: four pairs of bytes, U then V (V then U for YVYU).
      const __m64 u = L == Layout::Yvyu ? HighBytes(chroma) : LowBytes(chroma);
      const __m64 v = L == Layout::Yvyu ? LowBytes(chroma) : HighBytes(chroma);
      Store(samples + 128 + row * 8 + 4 * half, u);
      Store(samples + 192 + row * 8 + 4 * half, v);
    }
  }
}

}  // namespace

int32_t InputUyvyMmx(const uint8_t* source, int16_t* samples, uint32_t rowStep) {
  ConvertPacked<Layout::Uyvy>(source, samples, rowStep);
  return 0;
}

int32_t InputYuy2Mmx(const uint8_t* source, int16_t* samples, uint32_t rowStep) {
  ConvertPacked<Layout::Yuy2>(source, samples, rowStep);
  return 0;
}

int32_t InputYvyuMmx(const uint8_t* source, int16_t* samples, uint32_t rowStep) {
  ConvertPacked<Layout::Yvyu>(source, samples, rowStep);
  return 0;
}

int32_t InputY16Mmx(const uint8_t* source, int16_t* samples, uint32_t rowStep) {
  const __m64 zero = _mm_setzero_si64();
  for (int row = 0; row < 8; ++row, source += rowStep) {
    for (int block = 0; block < 4; ++block) {
      const __m64 bytes = Load(source + 8 * block);
      Store(samples + 64 * block + row * 8, _mm_unpacklo_pi8(bytes, zero));
      Store(samples + 64 * block + row * 8 + 4, _mm_unpackhi_pi8(bytes, zero));
    }
  }
  return 0;
}

}  // namespace trvx
#endif
