// RGB kernels for the SSE2 path, eight 16-bit words at a time: the MMX values, with G
// taken once in an unsigned multiply-high by 33030 instead of 2 x G by 16515. Built
// with -msse2; see input_converter.h.
#include "pixel/input_converter.h"

#if defined(__i386__) || defined(__x86_64__)
#include "pixel/input_rgb_sse2_unpack.h"

namespace trvx {
namespace {

// 16.16 multipliers of the studio-range matrix; G to Y is 33030 read as an unsigned word.
constexpr int16_t kRToY = 16843, kGToY = -32506, kBToY = 6423;
constexpr int16_t kRToCb = -9699, kGToCb = 19071, kBToCb = 28770;
constexpr int16_t kRToCr = 28770, kGToCr = 24117, kBToCr = 4653;
constexpr int16_t kLumaOffset = 112;  // 128 - 16, taken off before the x 8

// (c x (p0 + p1)) >> 17 for the eight pixel pairs: the high half of the product with
// the pair's sum, halved once more.
TRVX_INLINE __m128i PairTerm(__m128i sums, int16_t weight) {
  return _mm_srai_epi16(_mm_mulhi_epi16(sums, _mm_set1_epi16(weight)), 1);
}

TRVX_INLINE __m128i Luma(__m128i r, __m128i g, __m128i b) {
  __m128i y = _mm_subs_epi16(_mm_mulhi_epi16(r, _mm_set1_epi16(kRToY)), _mm_set1_epi16(kLumaOffset));
  y = _mm_adds_epi16(y, _mm_mulhi_epu16(g, _mm_set1_epi16(kGToY)));
  y = _mm_adds_epi16(y, _mm_mulhi_epi16(b, _mm_set1_epi16(kBToY)));
  return _mm_slli_epi16(y, 3);
}

TRVX_INLINE void ConvertRow(const Row& row, int16_t* samples) {
  const __m128i even = Luma(row.r.even, row.g.even, row.b.even), odd = Luma(row.r.odd, row.g.odd, row.b.odd);
  Store(samples, _mm_unpacklo_epi16(even, odd));
  Store(samples + 64, _mm_unpackhi_epi16(even, odd));
  const __m128i bSums = _mm_add_epi16(row.b.even, row.b.odd), gSums = _mm_add_epi16(row.g.even, row.g.odd),
                rSums = _mm_add_epi16(row.r.even, row.r.odd);
  __m128i cb = _mm_subs_epi16(PairTerm(rSums, kRToCb), PairTerm(gSums, kGToCb));
  cb = _mm_adds_epi16(cb, PairTerm(bSums, kBToCb));
  __m128i cr = _mm_subs_epi16(PairTerm(rSums, kRToCr), PairTerm(gSums, kGToCr));
  cr = _mm_subs_epi16(cr, PairTerm(bSums, kBToCr));
  Store(samples + 128, _mm_slli_epi16(cb, 3));
  Store(samples + 192, _mm_slli_epi16(cr, 3));
}

}  // namespace

TRVX_INPUT_RGB_KERNELS(Sse2)

}  // namespace trvx
#endif
