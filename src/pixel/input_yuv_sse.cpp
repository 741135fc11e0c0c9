// YUV kernels for the SSE path: the MMX arithmetic after a non-temporal prefetch of the
// MCU's source rows, so a large frame does not evict the encoder's tables. Built with
// -mmmx -msse.
#include "pixel/input_converter.h"

#if defined(__i386__) || defined(__x86_64__)
#include <xmmintrin.h>

namespace trvx {
namespace {

// 32 bytes a row may straddle two cache lines. Prefetches never fault.
void PrefetchRows(const uint8_t* source, uint32_t rowStep) {
  const char* line = reinterpret_cast<const char*>(source);
  for (int row = 0; row < 8; ++row, line += rowStep) {
    _mm_prefetch(line, _MM_HINT_NTA);
    _mm_prefetch(line + 31, _MM_HINT_NTA);
  }
}

}  // namespace

int32_t InputUyvySse(const uint8_t* source, int16_t* samples, uint32_t rowStep) {
  PrefetchRows(source, rowStep);
  return InputUyvyMmx(source, samples, rowStep);
}

int32_t InputYuy2Sse(const uint8_t* source, int16_t* samples, uint32_t rowStep) {
  PrefetchRows(source, rowStep);
  return InputYuy2Mmx(source, samples, rowStep);
}

int32_t InputYvyuSse(const uint8_t* source, int16_t* samples, uint32_t rowStep) {
  PrefetchRows(source, rowStep);
  return InputYvyuMmx(source, samples, rowStep);
}

int32_t InputY16Sse(const uint8_t* source, int16_t* samples, uint32_t rowStep) {
  PrefetchRows(source, rowStep);
  return InputY16Mmx(source, samples, rowStep);
}

}  // namespace trvx
#endif
