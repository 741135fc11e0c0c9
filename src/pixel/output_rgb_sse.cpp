// RGB kernels for the SSE path (samples x 16): the MMX arithmetic, chroma doubled by
// word shuffles, and whole rows written with non-temporal 8-byte stores so the frame
// does not evict the decoder's tables. Built with -mmmx -msse.
#include "pixel/output_converter.h"

#if defined(__i386__) || defined(__x86_64__)
#include <xmmintrin.h>

#include "pixel/output_rgb_quads.h"

namespace trvx {
namespace {

struct SseVectors : MmxVectors {
  static void Store(uint8_t* p, __m64 value) { _mm_stream_pi(reinterpret_cast<__m64*>(p), value); }
  static Halves<MmxVectors> Doubled(__m64 v) { return {_mm_shuffle_pi16(v, 0x50), _mm_shuffle_pi16(v, 0xFA)}; }
};

}  // namespace

TRVX_OUTPUT_RGB_KERNELS(Sse, SseVectors)

}  // namespace trvx
#endif
