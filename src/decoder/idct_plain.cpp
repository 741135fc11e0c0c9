#include "decoder/decoder_kernels.h"

namespace trvx {
namespace {

// One dimension over x[0], x[stride], ... x[7 * stride]. The shifts truncate toward
// minus infinity on purpose, without a rounding term: the plain path's output is
// defined by exactly these values. UpperZero says x[4..7] are known to be zero, which
// drops their products and changes no result. Inlined, the column loops below can be
// vectorised by the compiler where the target allows.
template <bool UpperZero>
inline __attribute__((always_inline)) void Transform8(int16_t* x, int stride) {
  const int32_t x0 = x[0], x1 = x[stride], x2 = x[2 * stride], x3 = x[3 * stride];
  const int32_t x4 = UpperZero ? 0 : x[4 * stride], x5 = UpperZero ? 0 : x[5 * stride],
                x6 = UpperZero ? 0 : x[6 * stride], x7 = UpperZero ? 0 : x[7 * stride];
  const int32_t e = ((x0 + x4) * 11585) >> 15;
  const int32_t b = ((x0 - x4) * 11585) >> 15;
  const int32_t t2 = (30274 * x2 + 12540 * x6) >> 16;
  const int32_t t6 = (12540 * x2 - 30274 * x6) >> 16;
  const int32_t o1 = (32138 * x1 + 6393 * x7) >> 16;
  const int32_t o7 = (6393 * x1 - 32138 * x7) >> 16;
  const int32_t o3 = (27246 * x3 + 18205 * x5) >> 16;
  const int32_t o5 = (27246 * x5 - 18205 * x3) >> 16;
  const int32_t p = ((o3 + o5) * 11585) >> 14;
  const int32_t q = ((o1 + o7) * 11585) >> 14;
  const int32_t r = ((o5 - o3) * 11585) >> 14;
  const int32_t s = ((o1 - o7) * 11585) >> 14;
  // Out-of-range results wrap; valid data never gets there.
  x[0] = static_cast<int16_t>(o1 + o3 + t2 + e);
  x[stride] = static_cast<int16_t>(q - p + t6 + b);
  x[2 * stride] = static_cast<int16_t>(r - t6 + s + b);
  x[3 * stride] = static_cast<int16_t>(o5 - t2 + o7 + e);
  x[4 * stride] = static_cast<int16_t>(e - o5 - o7 - t2);
  x[5 * stride] = static_cast<int16_t>(b - r - s - t6);
  x[6 * stride] = static_cast<int16_t>(p - q + t6 + b);
  x[7 * stride] = static_cast<int16_t>(t2 - o3 - o1 + e);
}

// With x[1..7] zero every output of Transform8 equals ((x0 * 11585) >> 15).
inline int16_t DcOnly(int16_t x0) { return static_cast<int16_t>((int32_t{x0} * 11585) >> 15); }

// Most blocks hold few coefficients, so whole rows are skipped or filled and columns
// skip the products of rows known to be zero.
void ReconstructBlock(int16_t* block) {
  bool upperRowsZero = true;  // rows 4..7 were zero on input, so they stay zero
  bool lowerRowsZero = true;  // rows 1..3 likewise
  for (int row = 0; row < 8; ++row) {
    int16_t* x = block + row * 8;
    const bool lowAcZero = (x[1] | x[2] | x[3]) == 0;
    const bool highZero = (x[4] | x[5] | x[6] | x[7]) == 0;
    if (lowAcZero && highZero) {
      if (x[0] == 0) continue;
      const int16_t value = DcOnly(x[0]);
      for (int i = 0; i < 8; ++i) x[i] = value;
    } else if (highZero) {
      Transform8<true>(x, 1);
    } else {
      Transform8<false>(x, 1);
    }
    if (row >= 4) {
      upperRowsZero = false;
    } else if (row >= 1) {
      lowerRowsZero = false;
    }
  }
  if (upperRowsZero && lowerRowsZero) {
    for (int column = 0; column < 8; ++column) {
      const int16_t value = DcOnly(block[column]);
      for (int row = 0; row < 8; ++row) block[row * 8 + column] = value;
    }
  } else if (upperRowsZero) {
    for (int column = 0; column < 8; ++column) Transform8<true>(block + column, 8);
  } else {
    for (int column = 0; column < 8; ++column) Transform8<false>(block + column, 8);
  }
}

}  // namespace

void ReconstructPlain(McuWorkspace& workspace) {
  int blocks = workspace.blocksPerMcu;
  if (blocks > kMaxBlocksPerMcu) blocks = kMaxBlocksPerMcu;
  for (int b = 0; b < blocks; ++b) {
    ReconstructBlock(workspace.coefficients + b * kBlockCoefficients);
  }
}

}  // namespace trvx
