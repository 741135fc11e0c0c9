// YUV kernels for the SSE path (samples x 16): the MMX arithmetic with non-temporal
// stores, so the frame does not evict the decoder's tables, and the fence that ends
// them. Built with -mmmx -msse.
#include "pixel/output_converter.h"

#if defined(__i386__) || defined(__x86_64__)
#include <xmmintrin.h>

#include "pixel/output_yuv_quads.h"

namespace trvx {
namespace {

struct StreamingStores {
  static void Store(uint8_t* p, __m64 value) { _mm_stream_pi(reinterpret_cast<__m64*>(p), value); }
};

}  // namespace

TRVX_OUTPUT_YUV_KERNELS(Sse, StreamingStores)

void FenceStreamingStores() { _mm_sfence(); }

}  // namespace trvx
#endif
