// YUV kernels for the MMX path: bytes widened to words, x 8, minus 1024 with
// saturation, which equals the plain b x 8 - 1024. Built with -mmmx; see
// input_converter.h.
#include "pixel/input_converter.h"

#if defined(__i386__) || defined(__x86_64__)
#include <mmintrin.h>

#include "pixel/input_yuv_rows.h"
#include "pixel/mmx_access.h"

namespace trvx {
namespace {

struct MmxWidening {
  static constexpr int kWords = 4;

  static __m64 Load(const uint8_t* p) { return LoadQuad(p); }
  static __m64 Levels(__m64 words) { return _mm_subs_pi16(_mm_slli_pi16(words, 3), _mm_set1_pi16(1024)); }
  static __m64 LowBytes(__m64 v) { return _mm_and_si64(v, _mm_set1_pi16(0x00FF)); }
  static __m64 HighBytes(__m64 v) { return _mm_srli_pi16(v, 8); }
  static __m64 Pack(__m64 a, __m64 b) { return _mm_packs_pu16(a, b); }
  static Halves<MmxWidening> Widen(__m64 bytes) {
    return {_mm_unpacklo_pi8(bytes, _mm_setzero_si64()), _mm_unpackhi_pi8(bytes, _mm_setzero_si64())};
  }
  static void Store(int16_t* p, __m64 words) { StoreQuad(p, words); }
};

}  // namespace

TRVX_INPUT_YUV_KERNELS(Mmx, MmxWidening)

}  // namespace trvx
#endif
