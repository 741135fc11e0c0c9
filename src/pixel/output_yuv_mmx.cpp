// YUV kernels for the MMX path (samples x 16). Built with -mmmx; see output_converter.h
// for why nothing inline from the headers may be called here but the file-local body.
#include "pixel/output_converter.h"

#if defined(__i386__) || defined(__x86_64__)
#include "pixel/output_yuv_quads.h"

namespace trvx {
namespace {

struct QuadStores {
  static void Store(uint8_t* p, __m64 value) { StoreQuad(p, value); }
};

}  // namespace

int32_t OutputUyvyMmx(uint8_t* d, const int16_t* s, uint32_t r) { return YuvKernels<QuadStores>::Uyvy(d, s, r); }
int32_t OutputYuy2Mmx(uint8_t* d, const int16_t* s, uint32_t r) { return YuvKernels<QuadStores>::Yuy2(d, s, r); }
int32_t OutputYvyuMmx(uint8_t* d, const int16_t* s, uint32_t r) { return YuvKernels<QuadStores>::Yvyu(d, s, r); }
int32_t OutputY16Mmx(uint8_t* d, const int16_t* s, uint32_t r) { return YuvKernels<QuadStores>::Y16(d, s, r); }

}  // namespace trvx
#endif
