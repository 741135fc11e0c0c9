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

// One channel of the row's sixteen pixels as words: the even pixels and the odd ones.
struct Channel {
  __m128i even, odd;
};
struct Row {
  Channel b, g, r;
};

// Bytes sorted by channel (B, G, R of the even pixels, then of the odd ones) as words.
TRVX_INLINE Row Widen(__m128i b0g0, __m128i r0b1, __m128i g1r1) {
  const __m128i zero = _mm_setzero_si128();
  return {{_mm_unpacklo_epi8(b0g0, zero), _mm_unpackhi_epi8(r0b1, zero)},
          {_mm_unpackhi_epi8(b0g0, zero), _mm_unpacklo_epi8(g1r1, zero)},
          {_mm_unpacklo_epi8(r0b1, zero), _mm_unpackhi_epi8(g1r1, zero)}};
}

// One round over a row of 3-byte pixels in three registers: the bytes of the first
// three half-registers are interleaved with those of the last three. Three rounds sort
// the 48 bytes by channel, even pixels before odd ones.
TRVX_INLINE void InterleaveHalves(__m128i& a, __m128i& b, __m128i& c) {
  const __m128i first = _mm_unpacklo_epi8(a, _mm_srli_si128(b, 8));
  const __m128i second = _mm_unpackhi_epi8(a, _mm_slli_si128(c, 8));
  const __m128i third = _mm_unpacklo_epi8(b, _mm_srli_si128(c, 8));
  a = first;
  b = second;
  c = third;
}

TRVX_INLINE Row Unpack24(const uint8_t* source) {
  __m128i a = Load(source), b = Load(source + 16), c = Load(source + 32);
  for (int round = 0; round < 3; ++round) InterleaveHalves(a, b, c);
  return Widen(a, b, c);
}

// 4-byte pixels: the same rounds over four registers sort their 64 bytes likewise,
// the fourth bytes included.
TRVX_INLINE Row Unpack32(const uint8_t* source) {
  __m128i v[4] = {Load(source), Load(source + 16), Load(source + 32), Load(source + 48)};
  for (int round = 0; round < 3; ++round) {
    const __m128i next[4] = {_mm_unpacklo_epi8(v[0], v[2]), _mm_unpackhi_epi8(v[0], v[2]),
                             _mm_unpacklo_epi8(v[1], v[3]), _mm_unpackhi_epi8(v[1], v[3])};
    for (int i = 0; i < 4; ++i) v[i] = next[i];
  }
  // v: B and G of the even pixels, R and the fourth byte of them, then the odd pixels'.
  const __m128i zero = _mm_setzero_si128();
  return {{_mm_unpacklo_epi8(v[0], zero), _mm_unpacklo_epi8(v[2], zero)},
          {_mm_unpackhi_epi8(v[0], zero), _mm_unpackhi_epi8(v[2], zero)},
          {_mm_unpacklo_epi8(v[1], zero), _mm_unpacklo_epi8(v[3], zero)}};
}

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

// Threads started by Windows only promise a 4-byte aligned stack.
#if defined(__i386__)
__attribute__((force_align_arg_pointer))
#endif
int32_t InputRgb24Sse2(const uint8_t* source, int16_t* samples, uint32_t rowStep) {
  for (int row = 0; row < 8; ++row, source -= rowStep, samples += 8) ConvertRow(Unpack24(source), samples);
  return 0;
}

#if defined(__i386__)
__attribute__((force_align_arg_pointer))
#endif
int32_t InputRgb32Sse2(const uint8_t* source, int16_t* samples, uint32_t rowStep) {
  for (int row = 0; row < 8; ++row, source -= rowStep, samples += 8) ConvertRow(Unpack32(source), samples);
  return 0;
}

}  // namespace trvx
#endif
