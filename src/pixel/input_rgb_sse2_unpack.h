// A row of 16 pixels of 3 or 4 bytes sorted into channels as words, for the SSE2 and
// PlainSse2 RGB input kernels. Only those variant files include it; everything here
// has internal linkage.
#pragma once

#include <emmintrin.h>

#include <cstdint>

namespace trvx {
namespace {

#define TRVX_INLINE inline __attribute__((always_inline))

TRVX_INLINE __m128i Load(const uint8_t* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }

TRVX_INLINE void Store(int16_t* p, __m128i value) { _mm_store_si128(reinterpret_cast<__m128i*>(p), value); }

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

}  // namespace
}  // namespace trvx

// Defines a variant file's two kernels, InputRgb24<Set> and InputRgb32<Set>, which
// hand each row, sorted, to the file's ConvertRow(const Row&, int16_t* samples).
// Threads started by Windows only promise a 4-byte aligned stack.
#if defined(__i386__)
#define TRVX_REALIGN_STACK __attribute__((force_align_arg_pointer))
#else
#define TRVX_REALIGN_STACK
#endif
#define TRVX_INPUT_RGB_KERNELS(Set)                                                                           \
  TRVX_REALIGN_STACK int32_t InputRgb24##Set(const uint8_t* source, int16_t* samples, uint32_t rowStep) {     \
    for (int row = 0; row < 8; ++row, source -= rowStep, samples += 8) ConvertRow(Unpack24(source), samples); \
    return 0;                                                                                                 \
  }                                                                                                           \
  TRVX_REALIGN_STACK int32_t InputRgb32##Set(const uint8_t* source, int16_t* samples, uint32_t rowStep) {     \
    for (int row = 0; row < 8; ++row, source -= rowStep, samples += 8) ConvertRow(Unpack32(source), samples); \
    return 0;                                                                                                 \
  }
