#include "encoder/encoder_kernels.h"
#include "format/jpeg_syntax.h"

namespace trvx {

void ZigzagPlain(BlockBuffer& blocks) {
  int count = blocks.blocksPerMcu;
  if (count > kMaxBlocksPerMcu) count = kMaxBlocksPerMcu;
  for (int b = 0; b < count; ++b) {
    int16_t* block = blocks.coefficients + b * kBlockCoefficients;
    int16_t natural[kBlockCoefficients];
    for (int i = 0; i < kBlockCoefficients; ++i) natural[i] = block[i];
    // Unrolled, every index is a constant.
#pragma GCC unroll 64
    for (int i = 0; i < kBlockCoefficients; ++i) block[i] = natural[kNaturalOrder[i]];
  }
}

}  // namespace trvx
