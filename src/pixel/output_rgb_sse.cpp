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
  static Halves<MmxVectors> Doubled(__m64 v) { return {_mm_shuffle_pi16(v, 0x50), _mm_shuffle_pi16(v, 0xFA)}; }
  static void Store(uint8_t* p, __m64 value) { _mm_stream_pi(reinterpret_cast<__m64*>(p), value); }
};

}  // namespace

int32_t OutputRgb24Sse(uint8_t* d, const int16_t* s, uint32_t r) { return RgbKernels<SseVectors>::Rgb24(d, s, r); }
int32_t OutputRgb32Sse(uint8_t* d, const int16_t* s, uint32_t r) { return RgbKernels<SseVectors>::Rgb32(d, s, r); }

}  // namespace trvx
#endif
