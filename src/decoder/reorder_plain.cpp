#include <cstring>

#include "decoder/decoder_kernels.h"

namespace trvx {
namespace {
// Zig-zag index of each natural (row-major) position.
constexpr uint8_t kZigzagIndex[kBlockCoefficients] = {
    0,  1,  5,  6,  14, 15, 27, 28, 2,  4,  7,  13, 16, 26, 29, 42,
    3,  8,  12, 17, 25, 30, 41, 43, 9,  11, 18, 24, 31, 40, 44, 53,
    10, 19, 23, 32, 39, 45, 52, 54, 20, 22, 33, 38, 46, 51, 55, 60,
    21, 34, 37, 47, 50, 56, 59, 61, 35, 36, 48, 49, 57, 58, 62, 63};
}  // namespace

void ReorderPlain(McuWorkspace& workspace) {
  int blocks = workspace.blocksPerMcu;
  if (blocks > kMaxBlocksPerMcu) blocks = kMaxBlocksPerMcu;
  int16_t natural[kBlockCoefficients];
  for (int b = 0; b < blocks; ++b) {
    int16_t* block = workspace.coefficients + b * kBlockCoefficients;
    // Unrolled, the indices become constant offsets.
#pragma GCC unroll 64
    for (int k = 0; k < kBlockCoefficients; ++k) natural[k] = block[kZigzagIndex[k]];
    std::memcpy(block, natural, sizeof natural);
  }
}

}  // namespace trvx
