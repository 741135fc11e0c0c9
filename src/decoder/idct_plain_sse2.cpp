// Built with -msse2. Uses no inline function from a header but the file-local pass and
// the transpose (see idct_mmx.cpp).
#include "decoder/decoder_kernels.h"

#if defined(__i386__) || defined(__x86_64__)
#include <emmintrin.h>

#include "pixel/transpose_sse2.h"

namespace trvx {
namespace {

#define TRVX_INLINE inline __attribute__((always_inline))

// Two words side by side in a dword lane, the first one low, as pmaddwd pairs them.
constexpr int32_t Pair(int first, int second) {
  return static_cast<int32_t>(static_cast<uint32_t>(static_cast<uint16_t>(first)) |
                              static_cast<uint32_t>(static_cast<uint16_t>(second)) << 16);
}

// floor((a x c0 + b x c1) / 2^16) on every lane. pmaddwd forms the exact 32-bit sums
// the plain transform takes, and every such result of it fits a word, so the pack
// does not saturate.
TRVX_INLINE __m128i HighOfSums(__m128i low, __m128i high, int32_t constants) {
  const __m128i c = _mm_set1_epi32(constants);
  return _mm_packs_epi32(_mm_srai_epi32(_mm_madd_epi16(low, c), 16), _mm_srai_epi32(_mm_madd_epi16(high, c), 16));
}

TRVX_INLINE __m128i MulHigh(__m128i x, int c) { return _mm_mulhi_epi16(x, _mm_set1_epi16(static_cast<int16_t>(c))); }

// The plain one-dimensional transform on every lane, rows of the pass in v[0..7].
// Its shifts by 15 become shifts by 16 of twice the constant. The odd sums o3 + o5,
// o5 - o3 and o1 +- o7 stay within +-32139, so (s x 11585) >> 14 is s plus a
// high-half product; the outputs wrap, so they are summed in words in any grouping.
// LowHalf: v[4..7] are zero and left unread, so the products are single ones.
template <bool LowHalf>
TRVX_INLINE void PlainPass(__m128i* v) {
  __m128i e, b, t2, t6, o1, o7, o3, o5;
  if constexpr (LowHalf) {
    e = b = MulHigh(v[0], 23170);
    t2 = MulHigh(v[2], 30274);
    t6 = MulHigh(v[2], 12540);
    o1 = MulHigh(v[1], 32138);
    o7 = MulHigh(v[1], 6393);
    o3 = MulHigh(v[3], 27246);
    o5 = MulHigh(v[3], -18205);
  } else {
    const __m128i l04 = _mm_unpacklo_epi16(v[0], v[4]), h04 = _mm_unpackhi_epi16(v[0], v[4]);
    const __m128i l26 = _mm_unpacklo_epi16(v[2], v[6]), h26 = _mm_unpackhi_epi16(v[2], v[6]);
    const __m128i l17 = _mm_unpacklo_epi16(v[1], v[7]), h17 = _mm_unpackhi_epi16(v[1], v[7]);
    const __m128i l35 = _mm_unpacklo_epi16(v[3], v[5]), h35 = _mm_unpackhi_epi16(v[3], v[5]);
    e = HighOfSums(l04, h04, Pair(23170, 23170));
    b = HighOfSums(l04, h04, Pair(23170, -23170));
    t2 = HighOfSums(l26, h26, Pair(30274, 12540));
    t6 = HighOfSums(l26, h26, Pair(12540, -30274));
    o1 = HighOfSums(l17, h17, Pair(32138, 6393));
    o7 = HighOfSums(l17, h17, Pair(6393, -32138));
    o3 = HighOfSums(l35, h35, Pair(27246, 18205));
    o5 = HighOfSums(l35, h35, Pair(-18205, 27246));
  }
  // 46340 = 11585 x 4, less 2^16 to fit a signed word.
  const auto scaled = [](__m128i s) { return _mm_add_epi16(s, MulHigh(s, 46340 - 65536)); };
  const __m128i p = scaled(_mm_add_epi16(o3, o5)), q = scaled(_mm_add_epi16(o1, o7));
  const __m128i r = scaled(_mm_sub_epi16(o5, o3)), s = scaled(_mm_sub_epi16(o1, o7));
  // Outputs i and 7 - i are the sum and the difference of the same two terms.
  const __m128i first[4] = {_mm_add_epi16(e, t2), _mm_add_epi16(b, t6), _mm_sub_epi16(b, t6), _mm_sub_epi16(e, t2)};
  const __m128i second[4] = {_mm_add_epi16(o1, o3), _mm_sub_epi16(q, p), _mm_add_epi16(r, s), _mm_add_epi16(o5, o7)};
  for (int i = 0; i < 4; ++i) {
    v[i] = _mm_add_epi16(first[i], second[i]);
    v[7 - i] = _mm_sub_epi16(first[i], second[i]);
  }
}

// Rows, then columns, as the plain kernel runs them. RowsLow: columns 4..7 are zero,
// so each row's x4..x7 are; ColumnsLow: rows 4..7 are zero, and stay zero through the
// row pass.
template <bool RowsLow, bool ColumnsLow>
TRVX_INLINE void Reconstruct(__m128i* v) {
  TransposeWords8x8<RowsLow>(v);
  PlainPass<RowsLow>(v);
  TransposeWords8x8<ColumnsLow>(v);
  PlainPass<ColumnsLow>(v);
}

}  // namespace

// The plain kernel's words exactly, eight columns or rows at a time. The plain
// shortcuts give the full transform's words, so this kernel takes its own: the DC
// alone, and zero halves whose products drop out. Threads started by Windows only
// promise a 4-byte aligned stack.
#if defined(__i386__)
__attribute__((force_align_arg_pointer))
#endif
void ReconstructPlainSse2(McuWorkspace& workspace) {
  int blocks = workspace.blocksPerMcu;
  if (blocks > kMaxBlocksPerMcu) blocks = kMaxBlocksPerMcu;
  const __m128i zero = _mm_setzero_si128();
  for (int blockIndex = 0; blockIndex < blocks; ++blockIndex) {
    auto* rows = reinterpret_cast<__m128i*>(workspace.coefficients + blockIndex * kBlockCoefficients);
    __m128i v[8];
    for (int i = 0; i < 8; ++i) v[i] = _mm_load_si128(rows + i);
    const __m128i bottom = _mm_or_si128(_mm_or_si128(v[4], v[5]), _mm_or_si128(v[6], v[7]));
    const __m128i rest = _mm_or_si128(_mm_or_si128(v[1], v[2]), _mm_or_si128(v[3], bottom));
    const int bottomZero = _mm_movemask_epi8(_mm_cmpeq_epi16(bottom, zero));
    const int restZero = _mm_movemask_epi8(_mm_cmpeq_epi16(rest, zero));
    const int firstZero = _mm_movemask_epi8(_mm_cmpeq_epi16(v[0], zero));
    if (restZero == 0xFFFF && (firstZero | 3) == 0xFFFF) {
      // One value, the DC scaled by each pass; common in chrominance.
      const __m128i dc = MulHigh(MulHigh(_mm_shufflelo_epi16(v[0], 0), 23170), 23170);
      const __m128i value = _mm_unpacklo_epi64(dc, dc);
      for (int i = 0; i < 8; ++i) _mm_store_si128(rows + i, value);
      continue;
    }
    const bool rightZero = (restZero & firstZero & 0xFF00) == 0xFF00;
    if (rightZero) {
      if (bottomZero == 0xFFFF) {
        Reconstruct<true, true>(v);
      } else {
        Reconstruct<true, false>(v);
      }
    } else if (bottomZero == 0xFFFF) {
      Reconstruct<false, true>(v);
    } else {
      Reconstruct<false, false>(v);
    }
    for (int i = 0; i < 8; ++i) _mm_store_si128(rows + i, v[i]);
  }
}

}  // namespace trvx
#endif
