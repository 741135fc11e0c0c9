// RGB kernels for the SSE path: the MMX ones, with the 24-bit source's 48-byte rows
// prefetched first. Built with -mmmx -msse.
#include "pixel/input_converter.h"

#if defined(__i386__) || defined(__x86_64__)
#include "pixel/prefetched_input.h"

namespace trvx {

int32_t InputRgb24Sse(const uint8_t* s, int16_t* d, uint32_t r) {
  return Prefetched<InputRgb24Mmx, 48, Rows::Up>(s, d, r);
}
int32_t InputRgb32Sse(const uint8_t* s, int16_t* d, uint32_t r) { return InputRgb32Mmx(s, d, r); }

}  // namespace trvx
#endif
