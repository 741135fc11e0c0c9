// Built with -mmmx -msse for pshufw and pinsrw, the SSE integer extension that AMD's
// MMX extensions also have. Uses no inline function from a header (see
// dequantise_mmx.cpp).
#include "decoder/decoder_kernels.h"

#if defined(__i386__) || defined(__x86_64__)
#include <xmmintrin.h>

namespace trvx {
namespace {

template <int A>
__m64 Put(__m64 v, int a) {
  return _mm_insert_pi16(v, a, A);
}
template <int A, int B>
__m64 Put(__m64 v, int a, int b) {
  return _mm_insert_pi16(_mm_insert_pi16(v, a, A), b, B);
}
template <int A, int B, int C>
__m64 Put(__m64 v, int a, int b, int c) {
  return _mm_insert_pi16(_mm_insert_pi16(_mm_insert_pi16(v, a, A), b, B), c, C);
}

// Each natural-order quad comes from the zig-zag quad that holds most of its words,
// shuffled into place; the stragglers are inserted one by one.
void ReorderBlock(int16_t* block) {
  const auto* in = reinterpret_cast<const __m64*>(block);
  const int16_t* zz = block;
  __m64 out[16];
  out[0] = Put<2, 3>(_mm_shuffle_pi16(in[0], 0xE4), zz[5], zz[6]);
  out[1] = Put<2, 3>(_mm_shuffle_pi16(in[3], 0xEE), zz[27], zz[28]);
  out[2] = Put<0, 3>(_mm_shuffle_pi16(in[1], 0xF0), zz[2], zz[13]);
  out[3] = Put<1, 2, 3>(_mm_shuffle_pi16(in[4], 0xE4), zz[26], zz[29], zz[42]);
  out[4] = Put<1, 2, 3>(_mm_shuffle_pi16(in[0], 0xE7), zz[8], zz[12], zz[17]);
  out[5] = Put<0, 1>(_mm_shuffle_pi16(in[10], 0xD4), zz[25], zz[30]);
  out[6] = Put<2, 3>(_mm_shuffle_pi16(in[2], 0xED), zz[18], zz[24]);
  out[7] = Put<1, 2, 3>(_mm_shuffle_pi16(in[7], 0xE7), zz[40], zz[44], zz[53]);
  out[8] = Put<1, 2, 3>(_mm_shuffle_pi16(in[2], 0xE6), zz[19], zz[23], zz[32]);
  out[9] = Put<0, 1>(_mm_shuffle_pi16(in[13], 0x84), zz[39], zz[45]);
  out[10] = Put<2, 3>(_mm_shuffle_pi16(in[5], 0xE8), zz[33], zz[38]);
  out[11] = Put<1, 2, 3>(_mm_shuffle_pi16(in[11], 0xE6), zz[51], zz[55], zz[60]);
  out[12] = Put<1, 2, 3>(_mm_shuffle_pi16(in[5], 0xE5), zz[34], zz[37], zz[47]);
  out[13] = Put<0, 3>(_mm_shuffle_pi16(in[14], 0xF0), zz[50], zz[61]);
  out[14] = Put<0, 1>(_mm_shuffle_pi16(in[12], 0x44), zz[35], zz[36]);
  out[15] = Put<2, 3>(_mm_shuffle_pi16(in[14], 0xE9), zz[62], zz[63]);
  auto* target = reinterpret_cast<__m64*>(block);
  for (int i = 0; i < 16; ++i) target[i] = out[i];
}

}  // namespace

void ReorderSse(McuWorkspace& workspace) {
  int blocks = workspace.blocksPerMcu;
  if (blocks > kMaxBlocksPerMcu) blocks = kMaxBlocksPerMcu;
  for (int b = 0; b < blocks; ++b) ReorderBlock(workspace.coefficients + b * kBlockCoefficients);
  _mm_empty();
}

}  // namespace trvx
#endif
