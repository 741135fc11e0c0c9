// Built with -msse2. Uses no inline function from a header (see idct_mmx.cpp)
// but the file-local cosine table, pass and transpose, which stay in this file.
#include "decoder/decoder_kernels.h"

#if defined(__i386__) || defined(__x86_64__)
#include <emmintrin.h>

#include "decoder/idct_pass.h"
#include "pixel/transpose_sse2.h"

namespace trvx {
namespace {

// Inlined so the eight rows stay in registers instead of going through memory.
#define TRVX_INLINE inline __attribute__((always_inline))

// Both passes of one block held in v, rows in natural order. With LowHalf rows and
// columns 4..7 are zero; they stay zero through the first pass, so both passes run
// the half transform and give the same words as the full one.
template <bool LowHalf>
TRVX_INLINE void Reconstruct(__m128i* v, const __m128i* k) {
  TransposeWords8x8<LowHalf>(v);
  for (int i = 0; i < (LowHalf ? 4 : 8); ++i) v[i] = _mm_adds_epi16(v[i], v[i]);
  InverseDctPass<Sse2Words, LowHalf>(v, 1, k);
  TransposeWords8x8<LowHalf>(v);
  InverseDctPass<Sse2Words, LowHalf>(v, 1, k);
}

}  // namespace

// Same data flow and scaling as ReconstructMmx, with whole rows in 128-bit registers.
// Threads started by Windows only promise a 4-byte aligned stack.
#if defined(__i386__)
__attribute__((force_align_arg_pointer))
#endif
void ReconstructSse2(McuWorkspace& workspace) {
  const __m128i* k = Constants<Sse2Words>();
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
