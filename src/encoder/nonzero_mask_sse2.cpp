// Built with -msse2. Uses no inline function from a header: the linker may keep this
// file's copy of one and run SSE2 code on a processor without it.
#include "encoder/entropy_writer.h"

#if defined(__i386__) || defined(__x86_64__)
#include <emmintrin.h>

namespace trvx {

// Threads started by Windows only promise a 4-byte aligned stack.
#if defined(__i386__)
__attribute__((force_align_arg_pointer))
#endif
uint64_t NonZeroCoefficientMaskSse2(const int16_t* block) {
  const auto* rows = reinterpret_cast<const __m128i*>(block);
  const __m128i zero = _mm_setzero_si128();
  // Zero flags of sixteen coefficients as bytes, then as bits.
  const auto zeros = [&](int row) {
    const __m128i flags = _mm_packs_epi16(_mm_cmpeq_epi16(_mm_load_si128(rows + row), zero),
                                          _mm_cmpeq_epi16(_mm_load_si128(rows + row + 1), zero));
    return uint32_t(_mm_movemask_epi8(flags));
  };
  const uint32_t low = zeros(0) | zeros(2) << 16, high = zeros(4) | zeros(6) << 16;
  return ~(uint64_t(high) << 32 | low);
}

}  // namespace trvx
#endif
