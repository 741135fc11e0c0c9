#include "encoder/encoder_kernels.h"

namespace trvx {
namespace {

// Products wrap like the 32-bit multiplies they stand for instead of being undefined
// on overflow; only out-of-range input gets there.
int32_t Mul(int32_t a, int32_t b) { return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b)); }
int32_t Word(int32_t value) { return static_cast<int16_t>(value); }

// One-dimensional pass down the eight columns of `in` into `out` (which may be the
// same block). Each output is half the cosine-weighted sum, so two passes give the
// JPEG normalisation. The columns are independent and read and written row by row,
// so a compiler may run them side by side.
void ColumnPass(const int16_t* in, int16_t* out, const uint16_t* t) {
  const int32_t t0 = t[0], t1 = t[1], t2 = t[2], t3 = t[3], t4 = t[4], t5 = t[5];
  const int32_t t6 = t[6], t7 = t[7], t8 = t[8], t9 = t[9], t10 = t[10];
  int16_t result[kBlockCoefficients];
  for (int c = 0; c < 8; ++c) {
    const int32_t x0 = in[c], x1 = in[8 + c], x2 = in[16 + c], x3 = in[24 + c];
    const int32_t x4 = in[32 + c], x5 = in[40 + c], x6 = in[48 + c], x7 = in[56 + c];

    const int32_t e0 = Word(x0 + x7 + x3 + x4), e1 = Word(x1 + x6 + x2 + x5);
    const int32_t y0 = Mul(e0 + e1, t0) >> 16;
    const int32_t y4 = Mul(e0 - e1, t0) >> 16;

    const int32_t a = Word(x1 + x6 - x2 - x5), b = Word(x0 + x7 - x3 - x4);
    // A 16-bit operand times a constant below 2^15 cannot overflow: plain products.
    const int32_t p = (static_cast<int16_t>(a) * static_cast<int16_t>(t1)) >> 16;
    const int32_t q = (static_cast<int16_t>(b) * static_cast<int16_t>(t2)) >> 16;
    const int32_t r = (Mul(a + b, t3) >> 15) - q;
    const int32_t y2 = r - p, y6 = q - p;

    const int32_t e = Word(x0 - x7), d = Word(x3 - x4), f = Word(x1 - x6), g = Word(x2 - x5);
    const int32_t m = (static_cast<int16_t>(d) * static_cast<int16_t>(t4)) >> 16;
    const int32_t n = (static_cast<int16_t>(e) * static_cast<int16_t>(t5)) >> 16;
    const int32_t u = n - m;
    const int32_t vv = (Mul(e + d, t6) >> 15) - n - m;
    const int32_t m2 = (static_cast<int16_t>(g) * static_cast<int16_t>(t7)) >> 16;
    const int32_t n2 = (static_cast<int16_t>(f) * static_cast<int16_t>(t8)) >> 16;
    const int32_t w = (Mul(f + g, t9) >> 15) - n2 - m2;
    const int32_t z = m2 - n2;
    const int32_t y1 = w + vv, y7 = z + u;
    const int32_t v16 = Word(vv), w16 = Word(w), z16 = Word(z), u16 = Word(u);
    const int32_t y3 = Mul(v16 - w16 - z16 + u16, t10) >> 15;
    const int32_t y5 = Mul(v16 - w16 + z16 - u16, t10) >> 15;

    result[c] = static_cast<int16_t>(y0);
    result[8 + c] = static_cast<int16_t>(y1);
    result[16 + c] = static_cast<int16_t>(y2);
    result[24 + c] = static_cast<int16_t>(y3);
    result[32 + c] = static_cast<int16_t>(y4);
    result[40 + c] = static_cast<int16_t>(y5);
    result[48 + c] = static_cast<int16_t>(y6);
    result[56 + c] = static_cast<int16_t>(y7);
  }
  for (int i = 0; i < kBlockCoefficients; ++i) out[i] = result[i];
}

void Transpose(const int16_t* in, int16_t* out) {
  for (int row = 0; row < 8; ++row) {
    for (int column = 0; column < 8; ++column) out[8 * column + row] = in[8 * row + column];
  }
}

}  // namespace

void ForwardDctPlain(BlockBuffer& blocks) {
  const uint16_t* constants = DctConstants();
  int count = blocks.blocksPerMcu;
  if (count > kMaxBlocksPerMcu) count = kMaxBlocksPerMcu;
  for (int b = 0; b < count; ++b) {
    int16_t* block = blocks.coefficients + b * kBlockCoefficients;
    // Down the columns; then the rows as the columns of the transpose, and back.
    int16_t transposed[kBlockCoefficients];
    ColumnPass(block, block, constants);
    Transpose(block, transposed);
    ColumnPass(transposed, transposed, constants);
    Transpose(transposed, block);
  }
}

}  // namespace trvx
