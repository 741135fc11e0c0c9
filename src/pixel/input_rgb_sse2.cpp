// RGB kernels for the SSE2 path, eight 16-bit words at a time: the MMX values, with G
// taken once in an unsigned multiply-high by 33030 instead of 2 x G by 16515. Built
// with -msse2; see input_converter.h.
#include "pixel/input_converter.h"

#if defined(__i386__) || defined(__x86_64__)
#include <emmintrin.h>

namespace trvx {
namespace {

enum Row { kRToY, kGToY, kBToY, kRToCb, kBToCb, kGToCb, kGToCr, kRToCr, kBToCr, kRowCount };
// Row kGToY is 33030 read as an unsigned word.
alignas(16) const int16_t kMatrix[kRowCount][8] = {
    {16843, 16843, 16843, 16843, 16843, 16843, 16843, 16843},
    {-32506, -32506, -32506, -32506, -32506, -32506, -32506, -32506},
    {6423, 6423, 6423, 6423, 6423, 6423, 6423, 6423},
    {-9699, -9699, -9699, -9699, -9699, -9699, -9699, -9699},
    {28770, 28770, 28770, 28770, 28770, 28770, 28770, 28770},
    {19071, 19071, 19071, 19071, 19071, 19071, 19071, 19071},
    {24117, 24117, 24117, 24117, 24117, 24117, 24117, 24117},
    {28770, 28770, 28770, 28770, 28770, 28770, 28770, 28770},
    {4653, 4653, 4653, 4653, 4653, 4653, 4653, 4653},
};
alignas(16) const int16_t kLumaOffset[8] = {112, 112, 112, 112, 112, 112, 112, 112};

__m128i Aligned(const int16_t* p) { return _mm_load_si128(reinterpret_cast<const __m128i*>(p)); }

__m128i Constant(Row row) { return Aligned(kMatrix[row]); }

void Store(int16_t* p, __m128i value) { _mm_store_si128(reinterpret_cast<__m128i*>(p), value); }

// One term of the pair mean for the eight pairs of a row.
__m128i PairTerm(const int16_t* channel, Row row) {
  const __m128i low = _mm_srai_epi32(_mm_madd_epi16(Aligned(channel), Constant(row)), 17);
  const __m128i high = _mm_srai_epi32(_mm_madd_epi16(Aligned(channel + 8), Constant(row)), 17);
  return _mm_packs_epi32(low, high);
}

template <int BytesPerPixel>
void ConvertRows(const uint8_t* source, int16_t* samples, uint32_t rowStep) {
  const __m128i lumaOffset = Aligned(kLumaOffset);
  alignas(16) int16_t b[16], g[16], r[16];
  for (int row = 0; row < 8; ++row, source -= rowStep) {
    for (int x = 0; x < 16; ++x) {
      b[x] = source[x * BytesPerPixel];
      g[x] = source[x * BytesPerPixel + 1];
      r[x] = source[x * BytesPerPixel + 2];
    }
    for (int half = 0; half < 2; ++half) {
      const int x = 8 * half;
      __m128i y = _mm_subs_epi16(_mm_mulhi_epi16(Aligned(r + x), Constant(kRToY)), lumaOffset);
      y = _mm_adds_epi16(y, _mm_mulhi_epu16(Aligned(g + x), Constant(kGToY)));
      y = _mm_adds_epi16(y, _mm_mulhi_epi16(Aligned(b + x), Constant(kBToY)));
      Store(samples + half * 64 + row * 8, _mm_slli_epi16(y, 3));
    }
    __m128i cb = _mm_subs_epi16(PairTerm(r, kRToCb), PairTerm(g, kGToCb));
    cb = _mm_adds_epi16(cb, PairTerm(b, kBToCb));
    __m128i cr = _mm_subs_epi16(PairTerm(r, kRToCr), PairTerm(g, kGToCr));
    cr = _mm_subs_epi16(cr, PairTerm(b, kBToCr));
    Store(samples + 128 + row * 8, _mm_slli_epi16(cb, 3));
    Store(samples + 192 + row * 8, _mm_slli_epi16(cr, 3));
  }
}

}  // namespace

int32_t InputRgb24Sse2(const uint8_t* source, int16_t* samples, uint32_t rowStep) {
  ConvertRows<3>(source, samples, rowStep);
  return 0;
}

int32_t InputRgb32Sse2(const uint8_t* source, int16_t* samples, uint32_t rowStep) {
  ConvertRows<4>(source, samples, rowStep);
  return 0;
}

}  // namespace trvx
#else
// Off x86 DetectProcessor gives 0 and these are never chosen; they keep the link whole.
namespace trvx {
int32_t InputRgb24Sse2(const uint8_t* s, int16_t* d, uint32_t r) { return InputRgb24Plain(s, d, r); }
int32_t InputRgb32Sse2(const uint8_t* s, int16_t* d, uint32_t r) { return InputRgb32Plain(s, d, r); }
}  // namespace trvx
#endif
