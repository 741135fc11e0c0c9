// RGB kernels for the SSE path: the MMX arithmetic, with the 24-bit source prefetched
// non-temporally first so a large frame does not evict the encoder's tables. Built with
// -mmmx -msse.
#include "pixel/input_converter.h"

#if defined(__i386__) || defined(__x86_64__)
#include <xmmintrin.h>

namespace trvx {

int32_t InputRgb24Sse(const uint8_t* source, int16_t* samples, uint32_t rowStep) {
  // 48 bytes a row may straddle two cache lines. Prefetches never fault.
  const char* line = reinterpret_cast<const char*>(source);
  for (int row = 0; row < 8; ++row, line -= rowStep) {
    _mm_prefetch(line, _MM_HINT_NTA);
    _mm_prefetch(line + 47, _MM_HINT_NTA);
  }
  return InputRgb24Mmx(source, samples, rowStep);
}

int32_t InputRgb32Sse(const uint8_t* source, int16_t* samples, uint32_t rowStep) {
  return InputRgb32Mmx(source, samples, rowStep);
}

}  // namespace trvx
#endif
