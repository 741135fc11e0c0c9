// Built with -mmmx. Calls no inline function from a header that another file could
// share (the linker may keep any file's copy of one and run MMX code on a processor
// without it): the pass and its word operations have internal linkage.
#include "encoder/encoder_kernels.h"

#if defined(__i386__) || defined(__x86_64__)
#include <mmintrin.h>

#include "encoder/forward_dct_pass.h"

namespace trvx {
namespace {

#define TRVX_INLINE inline __attribute__((always_inline))

using Pass = ForwardDctPass<MmxWords>;

// The block as sixteen quads, two per row, from `in` to `out`: each 4x4 quarter is
// transposed and the two off-diagonal quarters trade places.
TRVX_INLINE void Transpose(const __m64* in, __m64* out) {
  for (int rowQuarter = 0; rowQuarter < 2; ++rowQuarter) {
    for (int half = 0; half < 2; ++half) {
      const __m64* from = in + 8 * rowQuarter + half;
      const __m64 ab0 = _mm_unpacklo_pi16(from[0], from[2]), ab1 = _mm_unpackhi_pi16(from[0], from[2]);
      const __m64 cd0 = _mm_unpacklo_pi16(from[4], from[6]), cd1 = _mm_unpackhi_pi16(from[4], from[6]);
      __m64* to = out + 8 * half + rowQuarter;
      to[0] = _mm_unpacklo_pi32(ab0, cd0);
      to[2] = _mm_unpackhi_pi32(ab0, cd0);
      to[4] = _mm_unpacklo_pi32(ab1, cd1);
      to[6] = _mm_unpackhi_pi32(ab1, cd1);
    }
  }
}

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
    Transpose(quads, transposed);
    Pass::Run(transposed, 2, constants);
    Pass::Run(transposed + 1, 2, constants);
    Transpose(transposed, quads);
  }
  _mm_empty();
}

}  // namespace trvx
#endif
