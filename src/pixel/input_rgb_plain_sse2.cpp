// RGB kernels for the PlainSse2 path: the plain kernels' samples, each 16.16 sum taken
// whole in 32-bit lanes of multiply-adds, chroma from the left pixel of each pair.
// Built with -msse2; see input_converter.h.
#include "pixel/input_converter.h"

#if defined(__i386__) || defined(__x86_64__)
#include "pixel/input_rgb_sse2_unpack.h"

namespace trvx {
namespace {

// A multiply-add's two weights, for the lanes' (B, G) and (R, 256) word pairs.
constexpr int32_t Weights(int16_t first, int16_t second) {
  return static_cast<int32_t>(static_cast<uint32_t>(static_cast<uint16_t>(second)) << 16 |
                              static_cast<uint16_t>(first));
}
// 256 x 128 is the rounding half; luma's 256 x -28544 is that half less 112 x 65536,
// the offset it takes off before the x 8. Luma also takes 33030 x G as -32506 x G,
// 65536 x G short, and adds G back after the shift.
constexpr int32_t kBgToY = Weights(6423, -32506), kRToY = Weights(16843, -28544);
constexpr int32_t kBgToCb = Weights(28770, -19071), kRToCb = Weights(-9699, 128);
constexpr int32_t kBgToCr = Weights(-4653, -24117), kRToCr = Weights(28770, 128);

// A channel's eight pixels as (B, G) and (R, 256) pairs, four pixels a register.
struct Pairs {
  __m128i bgLow, bgHigh, rLow, rHigh;
};

TRVX_INLINE Pairs Pair(__m128i b, __m128i g, __m128i r) {
  const __m128i rounding = _mm_set1_epi16(256);
  return {_mm_unpacklo_epi16(b, g), _mm_unpackhi_epi16(b, g), _mm_unpacklo_epi16(r, rounding),
          _mm_unpackhi_epi16(r, rounding)};
}

// (weights . pixel) >> 16 for the eight pixels, as words.
TRVX_INLINE __m128i Sum(const Pairs& p, int32_t bgWeights, int32_t rWeights) {
  const __m128i bg = _mm_set1_epi32(bgWeights), r = _mm_set1_epi32(rWeights);
  const __m128i low = _mm_add_epi32(_mm_madd_epi16(p.bgLow, bg), _mm_madd_epi16(p.rLow, r));
  const __m128i high = _mm_add_epi32(_mm_madd_epi16(p.bgHigh, bg), _mm_madd_epi16(p.rHigh, r));
  return _mm_packs_epi32(_mm_srai_epi32(low, 16), _mm_srai_epi32(high, 16));
}

// (y - 112) x 8.
TRVX_INLINE __m128i Luma(const Pairs& p, __m128i g) {
  return _mm_slli_epi16(_mm_add_epi16(Sum(p, kBgToY, kRToY), g), 3);
}

TRVX_INLINE void ConvertRow(const Row& row, int16_t* samples) {
  const Pairs even = Pair(row.b.even, row.g.even, row.r.even);
  const __m128i evenY = Luma(even, row.g.even);
  const __m128i oddY = Luma(Pair(row.b.odd, row.g.odd, row.r.odd), row.g.odd);
  Store(samples, _mm_unpacklo_epi16(evenY, oddY));
  Store(samples + 64, _mm_unpackhi_epi16(evenY, oddY));
  Store(samples + 128, _mm_slli_epi16(Sum(even, kBgToCb, kRToCb), 3));
  Store(samples + 192, _mm_slli_epi16(Sum(even, kBgToCr, kRToCr), 3));
}

}  // namespace

TRVX_INPUT_RGB_KERNELS(PlainSse2)

}  // namespace trvx
#endif
