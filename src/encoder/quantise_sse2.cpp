// Built with -msse2. Uses no inline function from a header but the file-local block
// walk: the linker may keep this file's copy of one and run SSE2 code on a processor
// without it.
#include "encoder/encoder_kernels.h"

#if defined(__i386__) || defined(__x86_64__)
#include <emmintrin.h>

#include "encoder/block_walks_sse2.h"

namespace trvx {

// Threads started by Windows only promise a 4-byte aligned stack.
#if defined(__i386__)
__attribute__((force_align_arg_pointer))
#endif
void QuantiseSse2(const FrameDescription& description, BlockBuffer& blocks) {
  // The MMX quantiser's arithmetic, so the same leniency about the table count.
  if (description.quantTableCount != 2) return;
  const __m128i four = _mm_set1_epi16(4);
  const auto quantise = [four](__m128i c, const int16_t* reciprocals) __attribute__((always_inline)) {
    const __m128i r = _mm_load_si128(reinterpret_cast<const __m128i*>(reciprocals));
    const __m128i scaled = _mm_mulhi_epi16(_mm_adds_epi16(c, c), r);
    return _mm_srai_epi16(_mm_adds_epi16(scaled, four), 3);
  };
  QuantiseBlocks(description, blocks, quantise);
}

}  // namespace trvx
#endif
