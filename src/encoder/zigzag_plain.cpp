#include "encoder/encoder_kernels.h"

namespace trvx {
namespace {

// Zig-zag index of each natural (row-major) position.
constexpr uint16_t kZigzag[kBlockCoefficients] = {0,  1,  5,  6,  14, 15, 27, 28,  //
                                                  2,  4,  7,  13, 16, 26, 29, 42,  //
                                                  3,  8,  12, 17, 25, 30, 41, 43,  //
                                                  9,  11, 18, 24, 31, 40, 44, 53,  //
                                                  10, 19, 23, 32, 39, 45, 52, 54,  //
                                                  20, 22, 33, 38, 46, 51, 55, 60,  //
                                                  21, 34, 37, 47, 50, 56, 59, 61,  //
                                                  35, 36, 48, 49, 57, 58, 62, 63};

// Natural position of each zig-zag index, the inverse of kZigzag.
struct NaturalOrder {
  uint8_t position[kBlockCoefficients];
};
constexpr NaturalOrder MakeNaturalOrder() {
  NaturalOrder order = {};
  for (int i = 0; i < kBlockCoefficients; ++i) order.position[kZigzag[i]] = static_cast<uint8_t>(i);
  return order;
}
constexpr NaturalOrder kNatural = MakeNaturalOrder();

}  // namespace

void ZigzagPlain(BlockBuffer& blocks) {
  int count = blocks.blocksPerMcu;
  if (count > kMaxBlocksPerMcu) count = kMaxBlocksPerMcu;
  for (int b = 0; b < count; ++b) {
    int16_t* block = blocks.coefficients + b * kBlockCoefficients;
    int16_t natural[kBlockCoefficients];
    for (int i = 0; i < kBlockCoefficients; ++i) natural[i] = block[i];
    // Unrolled, every index is a constant.
#pragma GCC unroll 64
    for (int i = 0; i < kBlockCoefficients; ++i) block[i] = natural[kNatural.position[i]];
  }
}

}  // namespace trvx
