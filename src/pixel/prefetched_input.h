// The SSE input kernels are the MMX ones after a non-temporal prefetch of the MCU's
// source rows, so a large frame does not evict the encoder's tables. Only the SSE input
// files include it, built with -mmmx -msse; it has internal linkage.
#pragma once

#include <xmmintrin.h>

#include <cstdint>

#include "pixel/input_converter.h"

namespace trvx {
namespace {

// YUV rows follow each other down in memory, RGB rows up.
enum class Rows { Down, Up };

// A row of RowBytes may straddle two cache lines: its first and last bytes are fetched.
// Prefetches never fault.
template <InputKernel Kernel, int RowBytes, Rows Direction = Rows::Down>
int32_t Prefetched(const uint8_t* source, int16_t* samples, uint32_t rowStep) {
  const char* line = reinterpret_cast<const char*>(source);
  for (int row = 0; row < 8; ++row, line = Direction == Rows::Up ? line - rowStep : line + rowStep) {
    _mm_prefetch(line, _MM_HINT_NTA);
    _mm_prefetch(line + RowBytes - 1, _MM_HINT_NTA);
  }
  return Kernel(source, samples, rowStep);
}

}  // namespace
}  // namespace trvx
