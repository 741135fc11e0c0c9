// Built with -mmmx -msse for pshufw and pinsrw, the SSE integer extension that AMD's
// MMX extensions also have. Calls no inline function from a header but the file-local
// quad access: the linker may keep this file's copy of one and run it on a processor
// without those instructions. The natural-order table it reads is data.
#include "encoder/encoder_kernels.h"

#if defined(__i386__) || defined(__x86_64__)
#include <xmmintrin.h>

#include <utility>

#include "format/jpeg_syntax.h"
#include "pixel/mmx_access.h"

namespace trvx {
namespace {

// How one output quad is gathered: the input quad that holds most of its words is
// shuffled into place, the others are inserted one by one.
struct QuadPlan {
  int source;
  int shuffle;
  int fromSource;  // bit per lane
};

constexpr QuadPlan PlanQuad(int quad) {
  QuadPlan plan{0, 0, 0};
  int best = -1;
  for (int source = 0; source < 16; ++source) {
    int hits = 0;
    for (int lane = 0; lane < 4; ++lane) hits += kNaturalOrder[4 * quad + lane] / 4 == source;
    if (hits > best) {
      best = hits;
      plan.source = source;
    }
  }
  for (int lane = 0; lane < 4; ++lane) {
    const int natural = kNaturalOrder[4 * quad + lane];
    if (natural / 4 == plan.source) {
      plan.shuffle |= (natural % 4) << (2 * lane);
      plan.fromSource |= 1 << lane;
    }
  }
  return plan;
}

template <int Quad, int Lane>
__m64 Fill(__m64 v, const int16_t* block) {
  if constexpr (Lane == 4) {
    return v;
  } else {
    if constexpr (!(PlanQuad(Quad).fromSource & (1 << Lane))) {
      v = _mm_insert_pi16(v, block[kNaturalOrder[4 * Quad + Lane]], Lane);
    }
    return Fill<Quad, Lane + 1>(v, block);
  }
}

// The shuffle pattern as a template argument, so that it stays an immediate in
// unoptimised builds too.
template <int Pattern>
__m64 Shuffle(__m64 v) {
  return _mm_shuffle_pi16(v, Pattern);
}

template <int Quad>
__m64 Gather(const __m64* in, const int16_t* block) {
  return Fill<Quad, 0>(Shuffle<PlanQuad(Quad).shuffle>(in[PlanQuad(Quad).source]), block);
}

template <int... Quads>
void ReorderBlock(int16_t* block, std::integer_sequence<int, Quads...>) {
  const auto* in = reinterpret_cast<const __m64*>(block);
  const __m64 out[16] = {Gather<Quads>(in, block)...};
  // Quad stores: a copy the compiler picks would write dwords, which the next stage's
  // wide loads cannot take from the store buffer.
  for (int i = 0; i < 16; ++i) StoreQuad(block + 4 * i, out[i]);
}

}  // namespace

void ZigzagSse(BlockBuffer& blocks) {
  int count = blocks.blocksPerMcu;
  if (count > kMaxBlocksPerMcu) count = kMaxBlocksPerMcu;
  for (int b = 0; b < count; ++b) {
    ReorderBlock(blocks.coefficients + b * kBlockCoefficients, std::make_integer_sequence<int, 16>());
  }
  _mm_empty();
}

}  // namespace trvx
#endif
