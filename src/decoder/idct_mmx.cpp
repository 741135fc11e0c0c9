// Built with -mmmx. Uses no inline function from a header but the file-local quad
// access, cosine table and pass: the linker may keep this file's copy of one and run
// MMX code on a processor without it.
#include "decoder/decoder_kernels.h"

#if defined(__i386__) || defined(__x86_64__)
#include <mmintrin.h>

#include "decoder/idct_pass.h"
#include "pixel/mmx_access.h"

namespace trvx {
namespace {

// The block as sixteen quads, two per row; transposes each 4x4 quarter and swaps the
// off-diagonal two.
void Transpose(__m64* q) {
  __m64 t[16];
  for (int quarter = 0; quarter < 4; ++quarter) {
    const int row = (quarter >> 1) * 4, half = quarter & 1;
    const __m64* in = q + row * 2 + half;
    const __m64 ab0 = _mm_unpacklo_pi16(in[0], in[2]), ab1 = _mm_unpackhi_pi16(in[0], in[2]);
    const __m64 cd0 = _mm_unpacklo_pi16(in[4], in[6]), cd1 = _mm_unpackhi_pi16(in[4], in[6]);
    __m64* out = t + half * 4 * 2 + (row >> 2);
    out[0] = _mm_unpacklo_pi32(ab0, cd0);
    out[2] = _mm_unpackhi_pi32(ab0, cd0);
    out[4] = _mm_unpacklo_pi32(ab1, cd1);
    out[6] = _mm_unpackhi_pi32(ab1, cd1);
  }
  // Quad stores: a copy the compiler picks writes dwords, which the next wide loads
  // cannot take from the store buffer.
  for (int i = 0; i < 16; ++i) StoreQuad(q + i, t[i]);
}

}  // namespace

// Rows first as in the plain variant: transpose, transform down the columns,
// transpose back, transform down the columns again. The first pass doubles its input
// (valid coefficients x8 stay below 2^14), so the middle values carry two bits more
// than the plain row pass; the second works at four times the final scale and rounds
// those bits away at the end, leaving samples x16. Only the products truncate, at a
// finer step than the plain shifts, so this path sits closer to the exact transform
// than the plain one does.
void ReconstructMmx(McuWorkspace& workspace) {
  const __m64* k = Constants<MmxWords>();
  int blocks = workspace.blocksPerMcu;
  if (blocks > kMaxBlocksPerMcu) blocks = kMaxBlocksPerMcu;
  for (int blockIndex = 0; blockIndex < blocks; ++blockIndex) {
    auto* q = reinterpret_cast<__m64*>(workspace.coefficients + blockIndex * kBlockCoefficients);
    Transpose(q);
    for (int i = 0; i < 16; ++i) q[i] = _mm_adds_pi16(q[i], q[i]);
    InverseDctPass<MmxWords, false>(q, 2, k);
    InverseDctPass<MmxWords, false>(q + 1, 2, k);
    Transpose(q);
    InverseDctPass<MmxWords, false>(q, 2, k);
    InverseDctPass<MmxWords, false>(q + 1, 2, k);
    for (int i = 0; i < 16; ++i) q[i] = _mm_srai_pi16(_mm_adds_pi16(q[i], k[kRound]), 2);
  }
  _mm_empty();
}

}  // namespace trvx
#endif
