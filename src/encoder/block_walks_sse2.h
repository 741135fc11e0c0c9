// The block walks of the SSE2 encoder kernels, written once. Only those variant files
// include it, each built with -msse2; everything here has internal linkage.
#pragma once

#include <emmintrin.h>

#include "encoder/encoder_kernels.h"
#include "pixel/transpose_sse2.h"

namespace trvx {
namespace {

// body(rows) on every block of the MCU, rows pointing at its eight rows.
template <class Body>
__attribute__((always_inline)) inline void ForEachBlock(BlockBuffer& blocks, Body body) {
  int count = blocks.blocksPerMcu;
  if (count > kMaxBlocksPerMcu) count = kMaxBlocksPerMcu;
  for (int b = 0; b < count; ++b) body(reinterpret_cast<__m128i*>(blocks.coefficients + b * kBlockCoefficients));
}

// pass(v) on every block with its rows in eight registers: down the columns, then
// along the rows as the columns of the transpose.
template <class Pass>
__attribute__((always_inline)) inline void ForwardDctBlocks(BlockBuffer& blocks, Pass pass) {
  const auto transform = [pass](__m128i* rows) __attribute__((always_inline)) {
    __m128i v[8];
    for (int i = 0; i < 8; ++i) v[i] = _mm_load_si128(rows + i);
    pass(v);
    TransposeWords8x8(v);
    pass(v);
    TransposeWords8x8(v);
    for (int i = 0; i < 8; ++i) _mm_store_si128(rows + i, v[i]);
  };
  ForEachBlock(blocks, transform);
}

// quantise(c, r) on each eight coefficients c of the blocks the sampling gives, r
// pointing at their eight reciprocals: from 0 for the first H1 x V1 blocks, from 64
// for the rest.
template <class Quantise>
__attribute__((always_inline)) inline void QuantiseBlocks(const FrameDescription& description, BlockBuffer& blocks,
                                                          Quantise quantise) {
  const int first = description.sampling[0] * description.sampling[1];
  int total =
      first + description.sampling[2] * description.sampling[3] + description.sampling[4] * description.sampling[5];
  if (total > kMaxBlocksPerMcu) total = kMaxBlocksPerMcu;
  auto* coefficient = reinterpret_cast<__m128i*>(blocks.coefficients);
  for (int block = 0; block < total; ++block) {
    const int16_t* reciprocals = description.reciprocals + (block < first ? 0 : kQuantTableEntries);
    // Unrolled: the loop's own count and compare would cost a third of its work.
#pragma GCC unroll 8
    for (int i = 0; i < kBlockCoefficients / 8; ++i, ++coefficient) {
      _mm_store_si128(coefficient, quantise(_mm_load_si128(coefficient), reciprocals + 8 * i));
    }
  }
}

}  // namespace
}  // namespace trvx
