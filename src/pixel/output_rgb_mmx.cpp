// RGB kernels for the MMX path (samples x 16), four words at a time. Built with -mmmx;
// see output_converter.h for why nothing inline from the headers is called.
#include "pixel/output_converter.h"

#if defined(__i386__) || defined(__x86_64__)
#include "pixel/output_rgb_quads.h"

namespace trvx {

int32_t OutputRgb24Mmx(uint8_t* d, const int16_t* s, uint32_t r) { return RgbKernels<MmxVectors>::Rgb24(d, s, r); }
int32_t OutputRgb32Mmx(uint8_t* d, const int16_t* s, uint32_t r) { return RgbKernels<MmxVectors>::Rgb32(d, s, r); }

}  // namespace trvx
#endif
