// Built with -msse2. Uses no inline function from a header (see dequantise_mmx.cpp).
#include "decoder/decoder_kernels.h"
#include "platform/fault_guard.h"

#if defined(__i386__) || defined(__x86_64__)
#include <emmintrin.h>

namespace trvx {

// Threads started by Windows only promise a 4-byte aligned stack.
#if defined(__i386__)
__attribute__((force_align_arg_pointer))
#endif
void DequantiseSse2(const FrameDescription& description, McuWorkspace& workspace) {
  if (description.quantTableCount != 2) DeliberateFault();
  const int first = description.sampling[0] * description.sampling[1];
  int total = first + description.sampling[2] * description.sampling[3] +
              description.sampling[4] * description.sampling[5];
  if (total > kMaxBlocksPerMcu) total = kMaxBlocksPerMcu;
  auto* coefficient = reinterpret_cast<__m128i*>(workspace.coefficients);
  for (int block = 0; block < total; ++block) {
    const auto* table = reinterpret_cast<const __m128i*>(
        description.quantTables + (block < first ? 0 : kQuantTableEntries));
    for (int i = 0; i < kBlockCoefficients / 8; ++i, ++coefficient) {
      // The workspace is 4096-aligned; the tables normally are too, but nothing
      // outside the session promises it.
      _mm_store_si128(coefficient,
                      _mm_mullo_epi16(_mm_load_si128(coefficient), _mm_loadu_si128(table + i)));
    }
  }
}

}  // namespace trvx
#endif
