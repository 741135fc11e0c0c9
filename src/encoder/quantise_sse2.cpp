// Built with -msse2. Uses no inline function from a header: the linker may keep this
// file's copy of one and run SSE2 code on a processor without it.
#include "encoder/encoder_kernels.h"

#if defined(__i386__) || defined(__x86_64__)
#include <emmintrin.h>

namespace trvx {

// Threads started by Windows only promise a 4-byte aligned stack.
#if defined(__i386__)
__attribute__((force_align_arg_pointer))
#endif
void QuantiseSse2(const FrameDescription& description, BlockBuffer& blocks) {
  // The MMX quantiser's arithmetic, so the same leniency about the table count.
  if (description.quantTableCount != 2) return;
  const int first = description.sampling[0] * description.sampling[1];
  int total =
      first + description.sampling[2] * description.sampling[3] + description.sampling[4] * description.sampling[5];
  if (total > kMaxBlocksPerMcu) total = kMaxBlocksPerMcu;
  const __m128i four = _mm_set1_epi16(4);
  auto* coefficient = reinterpret_cast<__m128i*>(blocks.coefficients);
  for (int block = 0; block < total; ++block) {
    const auto* reciprocals =
        reinterpret_cast<const __m128i*>(description.reciprocals + (block < first ? 0 : kQuantTableEntries));
    // Unrolled: the loop's own count and compare would cost a third of its work.
#pragma GCC unroll 8
    for (int i = 0; i < kBlockCoefficients / 8; ++i, ++coefficient) {
      const __m128i c = _mm_load_si128(coefficient);
      const __m128i scaled = _mm_mulhi_epi16(_mm_adds_epi16(c, c), _mm_load_si128(reciprocals + i));
      _mm_store_si128(coefficient, _mm_srai_epi16(_mm_adds_epi16(scaled, four), 3));
    }
  }
}

}  // namespace trvx
#endif
