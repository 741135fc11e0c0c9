// RGB kernels for the SSE2 path, eight 16-bit words at a time: the MMX values, with G
// taken once in an unsigned multiply-high by 33030 instead of 2 x G by 16515. Built
// with -msse2; see input_converter.h.
#include "pixel/input_converter.h"

#if defined(__i386__) || defined(__x86_64__)
#include <emmintrin.h>

namespace trvx {
namespace {

#define TRVX_INLINE inline __attribute__((always_inline))

// 16.16 multipliers of the studio-range matrix; G to Y is 33030 read as an unsigned word.
constexpr int16_t kRToY = 16843, kGToY = -32506, kBToY = 6423;
constexpr int16_t kRToCb = -9699, kGToCb = 19071, kBToCb = 28770;
constexpr int16_t kRToCr = 28770, kGToCr = 24117, kBToCr = 4653;
constexpr int16_t kLumaOffset = 112;  // 128 - 16, taken off before the x 8

__m128i Load(const uint8_t* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }

void Store(int16_t* p, __m128i value) { _mm_store_si128(reinterpret_cast<__m128i*>(p), value); }

// Four 3-byte pixels from the low twelve bytes to one per 32-bit lane (top byte junk):
// lanes 2 and 3 move up two bytes, then lanes 1 and 3 one more.
TRVX_INLINE __m128i Widen(__m128i packed) {
  const __m128i halves = _mm_castpd_si128(
      _mm_move_sd(_mm_castsi128_pd(_mm_slli_si128(packed, 2)), _mm_castsi128_pd(packed)));
  const __m128i odd = _mm_set_epi32(-1, 0, -1, 0);
  return _mm_or_si128(_mm_andnot_si128(odd, halves), _mm_and_si128(odd, _mm_slli_si128(halves, 1)));
}

// One byte of every pixel, sixteen pixels to two vectors of eight words.
struct Channel {
  __m128i left, right;
};
TRVX_INLINE Channel Extract(const __m128i* pixels, int shift) {
  const __m128i byte = _mm_set1_epi32(0xFF);
  __m128i words[4];
  for (int i = 0; i < 4; ++i) words[i] = _mm_and_si128(_mm_srli_epi32(pixels[i], shift), byte);
  return {_mm_packs_epi32(words[0], words[1]), _mm_packs_epi32(words[2], words[3])};
}

// (c x (p0 + p1)) >> 17 for the eight pixel pairs: the high half of the product with
// the pair's sum, halved once more.
TRVX_INLINE __m128i PairSums(const Channel& c) {
  const __m128i one = _mm_set1_epi16(1);
  return _mm_packs_epi32(_mm_madd_epi16(c.left, one), _mm_madd_epi16(c.right, one));
}
TRVX_INLINE __m128i PairTerm(__m128i sums, int16_t weight) {
  return _mm_srai_epi16(_mm_mulhi_epi16(sums, _mm_set1_epi16(weight)), 1);
}

TRVX_INLINE __m128i Luma(__m128i r, __m128i g, __m128i b) {
  __m128i y = _mm_subs_epi16(_mm_mulhi_epi16(r, _mm_set1_epi16(kRToY)), _mm_set1_epi16(kLumaOffset));
  y = _mm_adds_epi16(y, _mm_mulhi_epu16(g, _mm_set1_epi16(kGToY)));
  y = _mm_adds_epi16(y, _mm_mulhi_epi16(b, _mm_set1_epi16(kBToY)));
  return _mm_slli_epi16(y, 3);
}

TRVX_INLINE void ConvertRow(const __m128i* pixels, int16_t* samples) {
  const Channel b = Extract(pixels, 0), g = Extract(pixels, 8), r = Extract(pixels, 16);
  Store(samples, Luma(r.left, g.left, b.left));
  Store(samples + 64, Luma(r.right, g.right, b.right));
  const __m128i bSums = PairSums(b), gSums = PairSums(g), rSums = PairSums(r);
  __m128i cb = _mm_subs_epi16(PairTerm(rSums, kRToCb), PairTerm(gSums, kGToCb));
  cb = _mm_adds_epi16(cb, PairTerm(bSums, kBToCb));
  __m128i cr = _mm_subs_epi16(PairTerm(rSums, kRToCr), PairTerm(gSums, kGToCr));
  cr = _mm_subs_epi16(cr, PairTerm(bSums, kBToCr));
  Store(samples + 128, _mm_slli_epi16(cb, 3));
  Store(samples + 192, _mm_slli_epi16(cr, 3));
}

}  // namespace

// Threads started by Windows only promise a 4-byte aligned stack.
#if defined(__i386__)
__attribute__((force_align_arg_pointer))
#endif
int32_t InputRgb24Sse2(const uint8_t* source, int16_t* samples, uint32_t rowStep) {
  for (int row = 0; row < 8; ++row, source -= rowStep, samples += 8) {
    // The last four pixels are read from byte 32 so that no load passes the row's end.
    const __m128i pixels[4] = {Widen(Load(source)), Widen(Load(source + 12)), Widen(Load(source + 24)),
                               Widen(_mm_srli_si128(Load(source + 32), 4))};
    ConvertRow(pixels, samples);
  }
  return 0;
}

#if defined(__i386__)
__attribute__((force_align_arg_pointer))
#endif
int32_t InputRgb32Sse2(const uint8_t* source, int16_t* samples, uint32_t rowStep) {
  for (int row = 0; row < 8; ++row, source -= rowStep, samples += 8) {
    const __m128i pixels[4] = {Load(source), Load(source + 16), Load(source + 32), Load(source + 48)};
    ConvertRow(pixels, samples);
  }
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
