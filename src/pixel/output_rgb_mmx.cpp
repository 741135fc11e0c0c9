// RGB kernels for the MMX path (samples x 16), four words at a time. Built with -mmmx;
// see output_converter.h for why nothing inline from the headers is called.
#include "pixel/output_converter.h"

#if defined(__i386__) || defined(__x86_64__)
#include "pixel/output_rgb_quads.h"

namespace trvx {

TRVX_OUTPUT_RGB_KERNELS(Mmx, MmxVectors)

}  // namespace trvx
#endif
