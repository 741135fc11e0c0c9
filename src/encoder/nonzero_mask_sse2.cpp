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
  uint64_t zeros = 0;
  // Sixteen coefficients per step: their zero flags as bytes, then as bits.
  for (int i = 0; i < 4; ++i) {
    const __m128i flags = _mm_packs_epi16(_mm_cmpeq_epi16(_mm_load_si128(rows + 2 * i), zero),
                                          _mm_cmpeq_epi16(_mm_load_si128(rows + 2 * i + 1), zero));
    zeros |= uint64_t(uint32_t(_mm_movemask_epi8(flags))) << (16 * i);
  }
  return ~zeros;
}

}  // namespace trvx
#endif
