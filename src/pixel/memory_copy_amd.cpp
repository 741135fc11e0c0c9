// Built with -mmmx -msse for movntq and sfence, which the AMD MMX extensions also
// have. Include nothing with inline functions here but the file-local copy body and
// quad access (see memory_copy_mmx.cpp).
#include "pixel/memory_routines.h"

#if defined(__i386__) || defined(__x86_64__)
#include <mmintrin.h>
#include <xmmintrin.h>

#include "pixel/quad_copy.h"

namespace trvx {
namespace {

struct StreamingStores {
  // Non-temporal stores keep a frame-sized copy from evicting the working set.
  static void Store(uint8_t* d, __m64 r) { _mm_stream_pi(reinterpret_cast<__m64*>(d), r); }
  static void Finish() {
    _mm_sfence();
    _mm_empty();
  }
  // One read per 128 bytes, from the block's end down, caches the block before the
  // streaming stores start.
  static uint32_t Touch(const uint8_t* in) {
    uint32_t touched = 0;
    for (std::size_t offset = kCopyBlockSize; offset != 0;) {
      offset -= 128;
      touched += *reinterpret_cast<const UnalignedWord*>(in + offset);
    }
    return touched;
  }
};

}  // namespace

void CopyAmd(void* dest, const void* src, std::size_t count) { QuadCopy<StreamingStores>(dest, src, count); }

}  // namespace trvx
#endif
