// Built with -msse2. Uses no inline function from a header (see idct_mmx.cpp)
// but the file-local cosine table and transpose, which stay in this file.
#include "decoder/decoder_kernels.h"

#if defined(__i386__) || defined(__x86_64__)
#include <emmintrin.h>

#include "decoder/idct_constants.h"
#include "pixel/transpose_sse2.h"

namespace trvx {
namespace {

// Inlined so the eight rows stay in registers instead of going through memory.
#define TRVX_INLINE inline __attribute__((always_inline))

// floor(x * c / 2^16) for the table's constants below 0.5 ...
TRVX_INLINE __m128i MulLow(__m128i x, __m128i c) { return _mm_mulhi_epi16(x, c); }
// ... and for those of 0.5 and more; the result never exceeds |x|, so no saturation.
TRVX_INLINE __m128i MulHigh(__m128i x, __m128i c) { return _mm_add_epi16(_mm_mulhi_epi16(x, c), x); }

// The plain one-dimensional transform without its factor 1/2, down all eight columns
// at once. LowHalf: x4..x7 are zero and left unread. Their products are then zero and
// a saturating add or subtract of zero changes nothing, so dropping those terms gives
// the same words; only o5 keeps its subtraction from zero, which saturates.
template <bool LowHalf>
TRVX_INLINE void Butterfly(__m128i* v, const __m128i* k) {
  const __m128i x0 = v[0], x1 = v[1], x2 = v[2], x3 = v[3];
  __m128i e, b, t2, t6, o1, o7, o3, o5;
  if constexpr (LowHalf) {
    e = b = MulHigh(x0, k[kC4]);
    t2 = MulHigh(x2, k[kC2]);
    t6 = MulLow(x2, k[kS2]);
    o1 = MulHigh(x1, k[kC1]);
    o7 = MulLow(x1, k[kS1]);
    o3 = MulHigh(x3, k[kC3]);
    o5 = _mm_subs_epi16(_mm_setzero_si128(), MulHigh(x3, k[kS3]));
  } else {
    const __m128i x4 = v[4], x5 = v[5], x6 = v[6], x7 = v[7];
    e = MulHigh(_mm_adds_epi16(x0, x4), k[kC4]);
    b = MulHigh(_mm_subs_epi16(x0, x4), k[kC4]);
    t2 = _mm_adds_epi16(MulHigh(x2, k[kC2]), MulLow(x6, k[kS2]));
    t6 = _mm_subs_epi16(MulLow(x2, k[kS2]), MulHigh(x6, k[kC2]));
    o1 = _mm_adds_epi16(MulHigh(x1, k[kC1]), MulLow(x7, k[kS1]));
    o7 = _mm_subs_epi16(MulLow(x1, k[kS1]), MulHigh(x7, k[kC1]));
    o3 = _mm_adds_epi16(MulHigh(x3, k[kC3]), MulHigh(x5, k[kS3]));
    o5 = _mm_subs_epi16(MulHigh(x5, k[kC3]), MulHigh(x3, k[kS3]));
  }
  const __m128i p = MulHigh(_mm_adds_epi16(o3, o5), k[kC4]);
  const __m128i q = MulHigh(_mm_adds_epi16(o1, o7), k[kC4]);
  const __m128i r = MulHigh(_mm_subs_epi16(o5, o3), k[kC4]);
  const __m128i s = MulHigh(_mm_subs_epi16(o1, o7), k[kC4]);
  const __m128i et2 = _mm_adds_epi16(e, t2), emt2 = _mm_subs_epi16(e, t2);
  const __m128i bt6 = _mm_adds_epi16(b, t6), bmt6 = _mm_subs_epi16(b, t6);
  const __m128i o13 = _mm_adds_epi16(o1, o3), o57 = _mm_adds_epi16(o5, o7);
  const __m128i qp = _mm_subs_epi16(q, p), rs = _mm_adds_epi16(r, s);
  v[0] = _mm_adds_epi16(et2, o13);
  v[1] = _mm_adds_epi16(bt6, qp);
  v[2] = _mm_adds_epi16(bmt6, rs);
  v[3] = _mm_adds_epi16(emt2, o57);
  v[4] = _mm_subs_epi16(emt2, o57);
  v[5] = _mm_subs_epi16(bmt6, rs);
  v[6] = _mm_subs_epi16(bt6, qp);
  v[7] = _mm_subs_epi16(et2, o13);
}

// Both passes of one block held in v, rows in natural order. With LowHalf rows and
// columns 4..7 are zero; they stay zero through the first pass, so both passes run
// the half transform and give the same words as the full one.
template <bool LowHalf>
TRVX_INLINE void Reconstruct(__m128i* v, const __m128i* k) {
  TransposeWords8x8<LowHalf>(v);
  for (int i = 0; i < (LowHalf ? 4 : 8); ++i) v[i] = _mm_adds_epi16(v[i], v[i]);
  Butterfly<LowHalf>(v, k);
  TransposeWords8x8<LowHalf>(v);
  Butterfly<LowHalf>(v, k);
}

}  // namespace

// Same data flow and scaling as ReconstructMmx, with whole rows in 128-bit registers.
// Threads started by Windows only promise a 4-byte aligned stack.
#if defined(__i386__)
__attribute__((force_align_arg_pointer))
#endif
void ReconstructSse2(McuWorkspace& workspace) {
  const __m128i* k = Constants<__m128i, 8>();
  int blocks = workspace.blocksPerMcu;
  if (blocks > kMaxBlocksPerMcu) blocks = kMaxBlocksPerMcu;
  for (int blockIndex = 0; blockIndex < blocks; ++blockIndex) {
    auto* rows =
        reinterpret_cast<__m128i*>(workspace.coefficients + blockIndex * kBlockCoefficients);
    __m128i v[8];
    for (int i = 0; i < 8; ++i) v[i] = _mm_load_si128(rows + i);
    // Most chrominance blocks and some luminance ones keep their coefficients in the
    // top left quarter.
    const __m128i top = _mm_or_si128(_mm_or_si128(v[0], v[1]), _mm_or_si128(v[2], v[3]));
    const __m128i bottom = _mm_or_si128(_mm_or_si128(v[4], v[5]), _mm_or_si128(v[6], v[7]));
    const __m128i outside = _mm_or_si128(bottom, _mm_srli_si128(top, 8));
    if (_mm_movemask_epi8(_mm_cmpeq_epi8(outside, _mm_setzero_si128())) == 0xFFFF) {
      Reconstruct<true>(v, k);
    } else {
      Reconstruct<false>(v, k);
    }
    for (int i = 0; i < 8; ++i) {
      _mm_store_si128(rows + i, _mm_srai_epi16(_mm_adds_epi16(v[i], k[kRound]), 2));
    }
  }
}

}  // namespace trvx
#endif
