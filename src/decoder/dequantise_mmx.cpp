// Built with -mmmx. Uses no inline function from a header: the linker may keep this
// file's copy of one and run MMX code on a processor without it.
#include "decoder/decoder_kernels.h"
#include "platform/fault_guard.h"

#if defined(__i386__) || defined(__x86_64__)
#include <mmintrin.h>

namespace trvx {

void DequantiseMmx(const FrameDescription& description, McuWorkspace& workspace) {
  if (description.quantTableCount != 2) DeliberateFault();
  const int first = description.sampling[0] * description.sampling[1];
  int total = first + description.sampling[2] * description.sampling[3] +
              description.sampling[4] * description.sampling[5];
  if (total > kMaxBlocksPerMcu) total = kMaxBlocksPerMcu;
  auto* coefficient = reinterpret_cast<__m64*>(workspace.coefficients);
  for (int block = 0; block < total; ++block) {
    const auto* table = reinterpret_cast<const __m64*>(
        description.quantTables + (block < first ? 0 : kQuantTableEntries));
    for (int i = 0; i < kBlockCoefficients / 4; ++i, ++coefficient) {
      *coefficient = _mm_mullo_pi16(*coefficient, table[i]);
    }
  }
  _mm_empty();
}

}  // namespace trvx
#endif
