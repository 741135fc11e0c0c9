// YUV kernels for the SSE path: the MMX ones after a prefetch of the MCU's 32-byte
// source rows. Built with -mmmx -msse.
#include "pixel/input_converter.h"

#if defined(__i386__) || defined(__x86_64__)
#include "pixel/prefetched_input.h"

namespace trvx {

int32_t InputUyvySse(const uint8_t* s, int16_t* d, uint32_t r) { return Prefetched<InputUyvyMmx, 32>(s, d, r); }
int32_t InputYuy2Sse(const uint8_t* s, int16_t* d, uint32_t r) { return Prefetched<InputYuy2Mmx, 32>(s, d, r); }
int32_t InputYvyuSse(const uint8_t* s, int16_t* d, uint32_t r) { return Prefetched<InputYvyuMmx, 32>(s, d, r); }
int32_t InputY16Sse(const uint8_t* s, int16_t* d, uint32_t r) { return Prefetched<InputY16Mmx, 32>(s, d, r); }

}  // namespace trvx
#endif
