// YUV kernels for the SSE2 path (samples x 16). Built with -msse2; see
// output_converter.h for why nothing inline from the headers is called.
#include "pixel/output_converter.h"

#if defined(__i386__) || defined(__x86_64__)
#include "pixel/output_yuv_sse2_rows.h"

namespace trvx {

TRVX_OUTPUT_YUV_KERNELS(Sse2, 4)

}  // namespace trvx
#endif
