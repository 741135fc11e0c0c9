// Built with -mmmx. Calls no inline function from a header that another file could
// share (the linker may keep any file's copy of one and run MMX code on a processor
// without it): the pass, its word operations and the transpose have internal linkage.
#include "encoder/encoder_kernels.h"

#if defined(__i386__) || defined(__x86_64__)
#include <mmintrin.h>

#include "encoder/forward_dct_pass.h"
#include "pixel/transpose_mmx.h"

namespace trvx {
namespace {

using Pass = ForwardDctPass<MmxWords>;

}  // namespace

void ForwardDctMmx(BlockBuffer& blocks) {
  const auto* constants = reinterpret_cast<const __m64*>(PackedDctConstants());
  int count = blocks.blocksPerMcu;
  if (count > kMaxBlocksPerMcu) count = kMaxBlocksPerMcu;
  for (int b = 0; b < count; ++b) {
    auto* quads = reinterpret_cast<__m64*>(blocks.coefficients + b * kBlockCoefficients);
    // Down the columns, four at a time; then the rows as the columns of the
    // transpose, and back to row-major order.
    __m64 transposed[16];
    Pass::Run(quads, 2, constants);
    Pass::Run(quads + 1, 2, constants);
    TransposeWords8x8(quads, transposed);
    Pass::Run(transposed, 2, constants);
    Pass::Run(transposed + 1, 2, constants);
    TransposeWords8x8(transposed, quads);
  }
  _mm_empty();
}

}  // namespace trvx
#endif
