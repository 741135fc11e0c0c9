// Built with -mmmx. Uses no inline function from a header (see dequantise_mmx.cpp).
#include "decoder/decoder_kernels.h"

#if defined(__i386__) || defined(__x86_64__)
#include <mmintrin.h>

namespace trvx {
namespace {
// Zig-zag index of each natural (row-major) position.
constexpr uint8_t kZigzagIndex[kBlockCoefficients] = {
    0,  1,  5,  6,  14, 15, 27, 28, 2,  4,  7,  13, 16, 26, 29, 42,
    3,  8,  12, 17, 25, 30, 41, 43, 9,  11, 18, 24, 31, 40, 44, 53,
    10, 19, 23, 32, 39, 45, 52, 54, 20, 22, 33, 38, 46, 51, 55, 60,
    21, 34, 37, 47, 50, 56, 59, 61, 35, 36, 48, 49, 57, 58, 62, 63};
}  // namespace

void ReorderMmx(McuWorkspace& workspace) {
  int blocks = workspace.blocksPerMcu;
  if (blocks > kMaxBlocksPerMcu) blocks = kMaxBlocksPerMcu;
  __m64 natural[kBlockCoefficients / 4];
  for (int b = 0; b < blocks; ++b) {
    int16_t* block = workspace.coefficients + b * kBlockCoefficients;
    const uint8_t* index = kZigzagIndex;
    // Plain MMX cannot pick a word out of a register, so each quad is unpacked
    // together from four single-word loads; the garbage above each word drops out.
    for (int q = 0; q < kBlockCoefficients / 4; ++q, index += 4) {
      const __m64 w0 = _mm_cvtsi32_si64(block[index[0]]);
      const __m64 w1 = _mm_cvtsi32_si64(block[index[1]]);
      const __m64 w2 = _mm_cvtsi32_si64(block[index[2]]);
      const __m64 w3 = _mm_cvtsi32_si64(block[index[3]]);
      natural[q] = _mm_unpacklo_pi32(_mm_unpacklo_pi16(w0, w1), _mm_unpacklo_pi16(w2, w3));
    }
    auto* target = reinterpret_cast<__m64*>(block);
    for (int q = 0; q < kBlockCoefficients / 4; ++q) target[q] = natural[q];
  }
  _mm_empty();
}

}  // namespace trvx
#endif
