// Built with -mmmx. Uses no inline function from a header but the file-local quad
// access, cosine table, pass and transpose: the linker may keep this file's copy of
// one and run MMX code on a processor without it.
#include "decoder/decoder_kernels.h"

#if defined(__i386__) || defined(__x86_64__)
#include <mmintrin.h>

#include "decoder/idct_pass.h"
#include "pixel/mmx_access.h"
#include "pixel/transpose_mmx.h"

namespace trvx {
namespace {

// In place: into a copy, then back.
void Transpose(__m64* q) {
  __m64 t[16];
  TransposeWords8x8(q, t);
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
