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

TRVX_OUTPUT_YUV_KERNELS(Mmx, QuadStores)

}  // namespace trvx
#endif
