// Built with -mmmx. Calls no inline function from a header that another file could
// share (the linker may keep any file's copy of one and run MMX code on a processor
// without it): the pass template gets a type of this file.
#include "encoder/encoder_kernels.h"

#if defined(__i386__) || defined(__x86_64__)
#include <mmintrin.h>

#include "encoder/forward_dct_pass.h"

namespace trvx {
namespace {

#define TRVX_INLINE inline __attribute__((always_inline))

// Inlined, like the pass, so that the quads stay in registers.
struct MmxOps {
  using Vector = __m64;
  TRVX_INLINE static __m64 AddS(__m64 a, __m64 b) { return _mm_adds_pi16(a, b); }
  TRVX_INLINE static __m64 SubS(__m64 a, __m64 b) { return _mm_subs_pi16(a, b); }
  TRVX_INLINE static __m64 MulHigh(__m64 a, __m64 b) { return _mm_mulhi_pi16(a, b); }
  TRVX_INLINE static __m64 MulLow(__m64 a, __m64 b) { return _mm_mullo_pi16(a, b); }
  TRVX_INLINE static __m64 Or(__m64 a, __m64 b) { return _mm_or_si64(a, b); }
  TRVX_INLINE static __m64 ShiftLeft1(__m64 a) { return _mm_slli_pi16(a, 1); }
  TRVX_INLINE static __m64 ShiftRight15(__m64 a) { return _mm_srli_pi16(a, 15); }
};
using Pass = ForwardDctPass<MmxOps>;

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
