// YUV kernels for the PlainSse2 path: the plain kernels' bytes from samples x 8, the
// clamp by saturation instead of by table. Built with -msse2; see output_converter.h
// for why nothing inline from the headers is called.
#include "pixel/output_converter.h"

#if defined(__i386__) || defined(__x86_64__)
#include "pixel/output_yuv_sse2_rows.h"

namespace trvx {

TRVX_OUTPUT_YUV_KERNELS(PlainSse2, 3)

}  // namespace trvx
#endif
