// The MMX vector policy of the RGB kernels (output_rgb_rows.h), four words a vector:
// the MMX file takes it as it is, the SSE file with its own doubling and stores. Only
// those two include it; everything here has internal linkage.
#pragma once

#include <mmintrin.h>

#include <cstdint>

#include "pixel/mmx_access.h"
#include "pixel/output_rgb_rows.h"

namespace trvx {
namespace {

struct MmxVectors {
  using Vector = __m64;
  static constexpr int kWords = 4;

  static __m64 Constant(const int16_t* words) { return *reinterpret_cast<const __m64*>(words); }
  static __m64 Scaled(const int16_t* samples, const int16_t* colour) {
    return _mm_mulhi_pi16(_mm_slli_pi16(LoadQuad(samples), 2), Constant(colour));
  }
  static __m64 Adds(__m64 a, __m64 b) { return _mm_adds_pi16(a, b); }
  static Halves<MmxVectors> Doubled(__m64 v) { return {_mm_unpacklo_pi16(v, v), _mm_unpackhi_pi16(v, v)}; }
  static __m64 Narrow(__m64 low, __m64 high) { return _mm_packs_pu16(_mm_srai_pi16(low, 3), _mm_srai_pi16(high, 3)); }

  static Halves<MmxVectors> Bytes(__m64 a, __m64 b) { return {_mm_unpacklo_pi8(a, b), _mm_unpackhi_pi8(a, b)}; }
  static Halves<MmxVectors> Words(__m64 a, __m64 b) { return {_mm_unpacklo_pi16(a, b), _mm_unpackhi_pi16(a, b)}; }
  static __m64 Zero() { return _mm_setzero_si64(); }

  // A pixel pair's six bytes closed up at the low end.
  static __m64 CloseUp(__m64 pair) {
    return _mm_or_si64(_mm_and_si64(pair, _mm_cvtsi32_si64(0x00FFFFFF)), _mm_slli_si64(_mm_srli_si64(pair, 32), 24));
  }
  template <int Bytes>
  static __m64 Up(__m64 v) {
    return _mm_slli_si64(v, 8 * Bytes);
  }
  template <int Bytes>
  static __m64 Down(__m64 v) {
    return _mm_srli_si64(v, 8 * Bytes);
  }
  static __m64 Or(__m64 a, __m64 b) { return _mm_or_si64(a, b); }
  static void Store(uint8_t* p, __m64 value) { StoreQuad(p, value); }
};

}  // namespace
}  // namespace trvx
