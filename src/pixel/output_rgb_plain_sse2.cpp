// RGB kernels for the PlainSse2 path: the plain kernels' bytes from samples x 8, their
// 16.16 sums worked out exactly in 16-bit lanes, eight pixels a vector. Built with
// -msse2; see output_converter.h for why nothing inline from the headers is called.
#include "pixel/output_converter.h"

#if defined(__i386__) || defined(__x86_64__)
#include <emmintrin.h>

namespace trvx {
namespace {

#define TRVX_INLINE inline __attribute__((always_inline))

// A 32-bit value per lane as two halves. The low half is kept with its top bit
// flipped (luma) or as the complement of that (chroma), so that one signed compare
// tells whether the two low halves carry: a + b >= 2^16 exactly when a > ~b unsigned.
struct Halves {
  __m128i low, high;
};

// A chroma term for the row's 16 pixels, each pair's value twice: pixels 0-7, 8-15.
struct Doubled {
  Halves left, right;
};

TRVX_INLINE __m128i Load(const int16_t* p) { return _mm_load_si128(reinterpret_cast<const __m128i*>(p)); }

// ((s + 4) >> 3) + Offset without s + 4, which leaves 16 bits at the top.
template <int16_t Offset>
TRVX_INLINE __m128i Descale(const int16_t* p) {
  return _mm_srai_epi16(_mm_add_epi16(_mm_srai_epi16(Load(p), 2), _mm_set1_epi16(2 * Offset + 1)), 1);
}

// 76283 x (Y + 112) + 32768: the plain kernel's luma, offset and rounding half in one.
// 76283 is 65536 + 10747; adding the half flips the low half's top bit and carries
// where it was set.
TRVX_INLINE Halves Luma(const int16_t* p) {
  const __m128i y = Descale<112>(p);
  const __m128i k = _mm_set1_epi16(10747);
  const __m128i low = _mm_mullo_epi16(y, k);
  const __m128i high = _mm_add_epi16(_mm_mulhi_epi16(y, k), y);
  return {low, _mm_sub_epi16(high, _mm_srai_epi16(low, 15))};
}

// c x (131072 + k), given 2c: blue is 132251 u (k = 1179), red 104595 v (k = -26477).
TRVX_INLINE Halves Chroma(__m128i c, __m128i twice, int16_t k) {
  const __m128i factor = _mm_set1_epi16(k);
  const __m128i low = _mm_xor_si128(_mm_mullo_epi16(c, factor), _mm_set1_epi16(0x7FFF));
  return {low, _mm_add_epi16(_mm_mulhi_epi16(c, factor), twice)};
}

TRVX_INLINE Doubled Double(const Halves& h) {
  return {{_mm_unpacklo_epi16(h.low, h.low), _mm_unpacklo_epi16(h.high, h.high)},
          {_mm_unpackhi_epi16(h.low, h.low), _mm_unpackhi_epi16(h.high, h.high)}};
}

// One half (0 low, 1 high) of each of four 32-bit lanes, twice.
template <int Half>
TRVX_INLINE __m128i HalfTwice(__m128i lanes) {
  constexpr int kPattern = _MM_SHUFFLE(2 + Half, 2 + Half, Half, Half);
  return _mm_shufflehi_epi16(_mm_shufflelo_epi16(lanes, kPattern), kPattern);
}

// -25674 u - 53278 v for four pairs, a multiply-add of (u, 2v) words, each pair's
// halves twice.
TRVX_INLINE Halves DoubledGreen(__m128i uv) {
  const __m128i weights = _mm_unpacklo_epi16(_mm_set1_epi16(-25674), _mm_set1_epi16(-26639));
  const __m128i sums = _mm_madd_epi16(uv, weights);
  const __m128i flipped = _mm_xor_si128(sums, _mm_set1_epi32(0x7FFF));
  return {HalfTwice<0>(flipped), HalfTwice<1>(flipped)};
}

// The high half of luma + chroma: the channel before its clamp.
TRVX_INLINE __m128i Sum(const Halves& luma, const Halves& chroma) {
  const __m128i carry = _mm_cmpgt_epi16(luma.low, chroma.low);
  return _mm_sub_epi16(_mm_add_epi16(luma.high, chroma.high), carry);
}

// The row's 16 bytes of a channel, clamped by saturation as the plain table clamps.
TRVX_INLINE __m128i Channel(const Halves& left, const Halves& right, const Doubled& chroma) {
  return _mm_packus_epi16(Sum(left, chroma.left), Sum(right, chroma.right));
}

struct Channels {
  __m128i b, g, r;
};

TRVX_INLINE Channels ConvertRow(const int16_t* line) {
  const Halves left = Luma(line), right = Luma(line + 64);
  const __m128i u = Descale<0>(line + 128), v = Descale<0>(line + 192);
  const __m128i twiceV = _mm_add_epi16(v, v);
  const __m128i b = Channel(left, right, Double(Chroma(u, _mm_add_epi16(u, u), 1179)));
  const __m128i r = Channel(left, right, Double(Chroma(v, twiceV, -26477)));
  const Doubled green = {DoubledGreen(_mm_unpacklo_epi16(u, twiceV)), DoubledGreen(_mm_unpackhi_epi16(u, twiceV))};
  return {b, Channel(left, right, green), r};
}

TRVX_INLINE void StoreBgr32(uint8_t* out, const Channels& c) {
  const __m128i zero = _mm_setzero_si128();
  const __m128i bgLow = _mm_unpacklo_epi8(c.b, c.g), bgHigh = _mm_unpackhi_epi8(c.b, c.g);
  const __m128i rLow = _mm_unpacklo_epi8(c.r, zero), rHigh = _mm_unpackhi_epi8(c.r, zero);
  __m128i* p = reinterpret_cast<__m128i*>(out);
  _mm_storeu_si128(p, _mm_unpacklo_epi16(bgLow, rLow));
  _mm_storeu_si128(p + 1, _mm_unpackhi_epi16(bgLow, rLow));
  _mm_storeu_si128(p + 2, _mm_unpacklo_epi16(bgHigh, rHigh));
  _mm_storeu_si128(p + 3, _mm_unpackhi_epi16(bgHigh, rHigh));
}

TRVX_INLINE void StoreLow(uint8_t* p, __m128i v) { _mm_storel_epi64(reinterpret_cast<__m128i*>(p), v); }
TRVX_INLINE void StoreHigh(uint8_t* p, __m128i v) { _mm_storeh_pi(reinterpret_cast<__m64*>(p), _mm_castsi128_ps(v)); }

// Each pixel pair as three words, B0 G0, R0 B1, G1 R1, padded to eight bytes; stored
// in order 6 bytes apart, each store's padding is overwritten by the next. The last
// pair is stored with the end of the one before, so nothing lands past the row.
TRVX_INLINE void StoreBgr24(uint8_t* out, const Channels& c) {
  const __m128i even = _mm_set1_epi16(0x00FF), zero = _mm_setzero_si128();
  const __m128i first = _mm_or_si128(_mm_and_si128(c.b, even), _mm_slli_epi16(c.g, 8));
  const __m128i second = _mm_or_si128(_mm_and_si128(c.r, even), _mm_andnot_si128(even, c.b));
  const __m128i third = _mm_or_si128(_mm_srli_epi16(c.g, 8), _mm_andnot_si128(even, c.r));
  const __m128i lowPairs = _mm_unpacklo_epi16(first, second), highPairs = _mm_unpackhi_epi16(first, second);
  const __m128i lowThirds = _mm_unpacklo_epi16(third, zero), highThirds = _mm_unpackhi_epi16(third, zero);
  const __m128i pairs01 = _mm_unpacklo_epi32(lowPairs, lowThirds), pairs23 = _mm_unpackhi_epi32(lowPairs, lowThirds);
  const __m128i pairs45 = _mm_unpacklo_epi32(highPairs, highThirds),
                pairs67 = _mm_unpackhi_epi32(highPairs, highThirds);
  StoreLow(out, pairs01);
  StoreHigh(out + 6, pairs01);
  StoreLow(out + 12, pairs23);
  StoreHigh(out + 18, pairs23);
  StoreLow(out + 24, pairs45);
  StoreHigh(out + 30, pairs45);
  StoreLow(out + 36, pairs67);
  StoreLow(out + 40, _mm_or_si128(_mm_srli_epi64(pairs67, 32), _mm_slli_epi64(_mm_srli_si128(pairs67, 8), 16)));
}

template <int BytesPerPixel>
int32_t ConvertRows(uint8_t* dest, const int16_t* samples, uint32_t rowStep) {
  for (int row = 0; row < 8; ++row, dest -= rowStep, samples += 8) {
    const Channels channels = ConvertRow(samples);
    if (BytesPerPixel == 3) {
      StoreBgr24(dest, channels);
    } else {
      StoreBgr32(dest, channels);
    }
  }
  return 0;
}

}  // namespace

// Threads started by Windows only promise a 4-byte aligned stack.
#if defined(__i386__)
__attribute__((force_align_arg_pointer))
#endif
int32_t OutputRgb24PlainSse2(uint8_t* dest, const int16_t* samples, uint32_t rowStep) {
  return ConvertRows<3>(dest, samples, rowStep);
}

#if defined(__i386__)
__attribute__((force_align_arg_pointer))
#endif
int32_t OutputRgb32PlainSse2(uint8_t* dest, const int16_t* samples, uint32_t rowStep) {
  return ConvertRows<4>(dest, samples, rowStep);
}

}  // namespace trvx
#endif
