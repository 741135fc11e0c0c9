// Built with -msse2. Uses no inline function from a header but the file-local block
// walk: the linker may keep this file's copy of one and run SSE2 code on a processor
// without it.
#include "encoder/encoder_kernels.h"

#if defined(__i386__) || defined(__x86_64__)
#include <emmintrin.h>

#include "encoder/block_walks_sse2.h"
#include "platform/fault_guard.h"

namespace trvx {

// The plain rounding, ((c x R + 2^14) >> 15 + 4) >> 3, is one shift of the product:
// (c x R + 9 x 2^14) >> 18. With the product's high word h and low word l that is
// (h + 2 + carry) >> 2, the carry coming from l + 2^14 past 2^16, that is from the top
// two bits of l both set. Exact for every coefficient and reciprocal; the result stays
// within +-4096. Threads started by Windows only promise a 4-byte aligned stack.
#if defined(__i386__)
__attribute__((force_align_arg_pointer))
#endif
void QuantisePlainSse2(const FrameDescription& description, BlockBuffer& blocks) {
  if (description.quantTableCount != 2) DeliberateFault();
  const __m128i two = _mm_set1_epi16(2), ones = _mm_set1_epi16(-1);
  const auto quantise = [two, ones](__m128i c, const int16_t* reciprocals) __attribute__((always_inline)) {
    // The plain kernel takes the reciprocals at any alignment.
    const __m128i r = _mm_loadu_si128(reinterpret_cast<const __m128i*>(reciprocals));
    const __m128i carry = _mm_cmpeq_epi16(_mm_srai_epi16(_mm_mullo_epi16(c, r), 14), ones);
    return _mm_srai_epi16(_mm_sub_epi16(_mm_add_epi16(_mm_mulhi_epi16(c, r), two), carry), 2);
  };
  QuantiseBlocks(description, blocks, quantise);
}

}  // namespace trvx
#endif
