// Built with -mmmx. Uses no inline function from a header: the linker may keep this
// file's copy of one and run MMX code on a processor without it.
#include "encoder/encoder_kernels.h"

#if defined(__i386__) || defined(__x86_64__)
#include <mmintrin.h>

namespace trvx {

void QuantiseMmx(const FrameDescription& description, BlockBuffer& blocks) {
  // Unlike the plain quantiser this one lets an impossible table count pass.
  if (description.quantTableCount != 2) return;
  const int first = description.sampling[0] * description.sampling[1];
  int total =
      first + description.sampling[2] * description.sampling[3] + description.sampling[4] * description.sampling[5];
  if (total > kMaxBlocksPerMcu) total = kMaxBlocksPerMcu;
  const __m64 four = _mm_set1_pi16(4);
  auto* coefficient = reinterpret_cast<__m64*>(blocks.coefficients);
  for (int block = 0; block < total; ++block) {
    const auto* reciprocals =
        reinterpret_cast<const __m64*>(description.reciprocals + (block < first ? 0 : kQuantTableEntries));
    for (int i = 0; i < kBlockCoefficients / 4; ++i, ++coefficient) {
      // Doubling first makes the high half of the product c x R / 2^15, truncated.
      const __m64 doubled = _mm_adds_pi16(*coefficient, *coefficient);
      const __m64 scaled = _mm_mulhi_pi16(doubled, reciprocals[i]);
      *coefficient = _mm_srai_pi16(_mm_adds_pi16(scaled, four), 3);
    }
  }
  _mm_empty();
}

}  // namespace trvx
#endif
