#include "encoder/encoder_kernels.h"

namespace trvx {
namespace {

// Products wrap like the 32-bit multiplies they stand for instead of being undefined
// on overflow; only out-of-range input gets there.
int32_t Mul(int32_t a, int32_t b) { return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b)); }
int32_t Word(int32_t value) { return static_cast<int16_t>(value); }

// One-dimensional pass over eight values `stride` apart. Each output is half the
// cosine-weighted sum, so two passes give the JPEG normalisation.
void Pass(int16_t* v, int stride, const uint16_t* t) {
  const int32_t x0 = v[0], x1 = v[stride], x2 = v[2 * stride], x3 = v[3 * stride];
  const int32_t x4 = v[4 * stride], x5 = v[5 * stride], x6 = v[6 * stride], x7 = v[7 * stride];

  const int32_t e0 = Word(x0 + x7 + x3 + x4), e1 = Word(x1 + x6 + x2 + x5);
  const int32_t y0 = Mul(e0 + e1, t[0]) >> 16;
  const int32_t y4 = Mul(e0 - e1, t[0]) >> 16;

  const int32_t a = Word(x1 + x6 - x2 - x5), b = Word(x0 + x7 - x3 - x4);
  const int32_t p = Mul(t[1], a) >> 16;
  const int32_t q = Mul(t[2], b) >> 16;
  const int32_t r = (Mul(a + b, t[3]) >> 15) - q;
  const int32_t y2 = r - p, y6 = q - p;

  const int32_t e = Word(x0 - x7), d = Word(x3 - x4), f = Word(x1 - x6), g = Word(x2 - x5);
  const int32_t m = Mul(t[4], d) >> 16, n = Mul(t[5], e) >> 16;
  const int32_t u = n - m;
  const int32_t vv = (Mul(e + d, t[6]) >> 15) - n - m;
  const int32_t m2 = Mul(t[7], g) >> 16, n2 = Mul(t[8], f) >> 16;
  const int32_t w = (Mul(f + g, t[9]) >> 15) - n2 - m2;
  const int32_t z = m2 - n2;
  const int32_t y1 = w + vv, y7 = z + u;
  const int32_t v16 = Word(vv), w16 = Word(w), z16 = Word(z), u16 = Word(u);
  const int32_t y3 = Mul(v16 - w16 - z16 + u16, t[10]) >> 15;
  const int32_t y5 = Mul(v16 - w16 + z16 - u16, t[10]) >> 15;

  v[0] = static_cast<int16_t>(y0);
  v[stride] = static_cast<int16_t>(y1);
  v[2 * stride] = static_cast<int16_t>(y2);
  v[3 * stride] = static_cast<int16_t>(y3);
  v[4 * stride] = static_cast<int16_t>(y4);
  v[5 * stride] = static_cast<int16_t>(y5);
  v[6 * stride] = static_cast<int16_t>(y6);
  v[7 * stride] = static_cast<int16_t>(y7);
}

}  // namespace

void ForwardDctPlain(BlockBuffer& blocks) {
  const uint16_t* constants = DctConstants();
  int count = blocks.blocksPerMcu;
  if (count > kMaxBlocksPerMcu) count = kMaxBlocksPerMcu;
  for (int b = 0; b < count; ++b) {
    int16_t* block = blocks.coefficients + b * kBlockCoefficients;
    for (int column = 0; column < 8; ++column) Pass(block + column, 8, constants);
    for (int row = 0; row < 8; ++row) Pass(block + 8 * row, 1, constants);
  }
}

}  // namespace trvx
