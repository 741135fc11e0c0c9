// Built with -msse2. Calls no inline function from a header that another file could
// share (the linker may keep any file's copy of one and run SSE2 code on a processor
// without it): the pass, its word operations, the block walk and the transpose have
// internal linkage.
#include "encoder/encoder_kernels.h"

#if defined(__i386__) || defined(__x86_64__)
#include <emmintrin.h>

#include "encoder/block_walks_sse2.h"
#include "encoder/forward_dct_pass.h"

namespace trvx {
namespace {

// The MMX kernel's pass on whole rows: every lane sees the same saturating sums and
// high-half products, so the results are the MMX kernel's bit for bit.
using Pass = ForwardDctPass<Sse2Words>;

}  // namespace

// Threads started by Windows only promise a 4-byte aligned stack.
#if defined(__i386__)
__attribute__((force_align_arg_pointer))
#endif
void ForwardDctSse2(BlockBuffer& blocks) {
  const int16_t* packed = PackedDctConstants();
  __m128i constants[kDctConstantCount];
  for (int i = 0; i < kDctConstantCount; ++i) constants[i] = _mm_set1_epi16(packed[i * kPackedDctLanes]);
  const auto pass = [&constants](__m128i* v) __attribute__((always_inline)) { Pass::Run(v, 1, constants); };
  ForwardDctBlocks(blocks, pass);
}

}  // namespace trvx
#endif
