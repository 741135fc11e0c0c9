// Built with -msse2. Uses no inline function from a header but the file-local block
// walk, and the natural-order table: the linker may keep this file's copy of one and
// run SSE2 code on a processor without it.
#include "encoder/encoder_kernels.h"

#if defined(__i386__) || defined(__x86_64__)
#include <emmintrin.h>

#include <utility>

#include "encoder/block_walks_sse2.h"
#include "format/jpeg_syntax.h"

namespace trvx {
namespace {

// How one output row of eight zig-zag words is gathered: pshufd, pshuflw and pshufhw
// bring what they can of one input row into place, the rest is inserted word by word.
// pshufd gives each half of the output two of the row's dwords, and the word shuffles
// pick any of their four words for each lane of that half.
struct RowPlan {
  int source;
  int dwords;      // pshufd immediate
  int low, high;   // pshuflw and pshufhw immediates
  int fromSource;  // bit per lane
};

constexpr int Natural(int row, int lane) { return kNaturalOrder[8 * row + lane]; }

constexpr RowPlan PlanRow(int row) {
  RowPlan best{0, 0, 0, 0, 0};
  int bestCount = -1;
  for (int source = 0; source < 8; ++source) {
    RowPlan plan{source, 0, 0, 0, 0};
    int count = 0;
    for (int half = 0; half < 2; ++half) {
      // The two dwords of this row that hold most of the half's words.
      int hits[4] = {0, 0, 0, 0};
      for (int lane = 4 * half; lane < 4 * half + 4; ++lane) {
        if (Natural(row, lane) / 8 == source) ++hits[Natural(row, lane) % 8 / 2];
      }
      int first = 0, second = 1;
      for (int d = 0; d < 4; ++d) {
        if (hits[d] > hits[first]) first = d;
      }
      if (second == first) second = 0;
      for (int d = 0; d < 4; ++d) {
        if (d != first && hits[d] > hits[second]) second = d;
      }
      plan.dwords |= (first | second << 2) << (4 * half);
      int words = 0;
      for (int lane = 0; lane < 4; ++lane) {
        const int natural = Natural(row, 4 * half + lane);
        const int dword = natural % 8 / 2;
        if (natural / 8 == source && (dword == first || dword == second)) {
          words |= ((dword == first ? 0 : 2) + natural % 2) << (2 * lane);
          plan.fromSource |= 1 << (4 * half + lane);
          ++count;
        }
      }
      (half == 0 ? plan.low : plan.high) = words;
    }
    if (count > bestCount) {
      bestCount = count;
      best = plan;
    }
  }
  return best;
}

template <int Row, int Lane>
__attribute__((always_inline)) inline __m128i Fill(__m128i v, const int16_t* block) {
  if constexpr (Lane == 8) {
    return v;
  } else {
    if constexpr (!(PlanRow(Row).fromSource & (1 << Lane))) v = _mm_insert_epi16(v, block[Natural(Row, Lane)], Lane);
    return Fill<Row, Lane + 1>(v, block);
  }
}

// The patterns as template arguments, so that they stay immediates in unoptimised
// builds too.
template <int Dwords, int Low, int High>
__attribute__((always_inline)) inline __m128i Shuffle(__m128i v) {
  return _mm_shufflehi_epi16(_mm_shufflelo_epi16(_mm_shuffle_epi32(v, Dwords), Low), High);
}

template <int Row>
__attribute__((always_inline)) inline __m128i Gather(const __m128i* in, const int16_t* block) {
  constexpr RowPlan plan = PlanRow(Row);
  return Fill<Row, 0>(Shuffle<plan.dwords, plan.low, plan.high>(in[plan.source]), block);
}

template <int... Rows>
__attribute__((always_inline)) inline void ReorderBlock(__m128i* rows, std::integer_sequence<int, Rows...>) {
  const int16_t* block = reinterpret_cast<const int16_t*>(rows);
  const __m128i in[8] = {_mm_load_si128(rows + Rows)...};
  const __m128i out[8] = {Gather<Rows>(in, block)...};
  for (int i = 0; i < 8; ++i) _mm_store_si128(rows + i, out[i]);
}

}  // namespace

// Whole-row stores, which the quantiser's row loads can take straight from the store
// buffer. Threads started by Windows only promise a 4-byte aligned stack.
#if defined(__i386__)
__attribute__((force_align_arg_pointer))
#endif
void ZigzagSse2(BlockBuffer& blocks) {
  const auto reorder = [](__m128i* rows) __attribute__((always_inline)) {
    ReorderBlock(rows, std::make_integer_sequence<int, 8>());
  };
  ForEachBlock(blocks, reorder);
}

}  // namespace trvx
#endif
