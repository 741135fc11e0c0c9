// Built with -mmmx -msse for movntq and sfence, which the AMD MMX extensions also
// have. Include nothing with inline functions here but the file-local quad access
// (see memory_copy_mmx.cpp).
#include "pixel/memory_routines.h"

#if defined(__i386__) || defined(__x86_64__)
#include <mmintrin.h>
#include <xmmintrin.h>

#include "pixel/mmx_access.h"

namespace trvx {
namespace {
using UnalignedWord = uint32_t __attribute__((aligned(1), may_alias));
}  // namespace

// The sanitiser wants 8-byte alignment even for unaligned quads, wrongly.
__attribute__((no_sanitize("alignment")))
void CopyAmd(void* dest, const void* src, std::size_t count) {
  auto* out = static_cast<uint8_t*>(dest);
  const auto* in = static_cast<const uint8_t*>(src);
  const std::size_t blocks = count >> kCopyBlockShift;
  for (std::size_t b = 0; b < blocks; ++b, out += kCopyBlockSize, in += kCopyBlockSize) {
    // One read per 128 bytes, from the block's end down, caches the block before
    // the streaming stores start.
    uint32_t touched = 0;
    for (std::size_t offset = kCopyBlockSize; offset != 0;) {
      offset -= 128;
      touched += *reinterpret_cast<const UnalignedWord*>(in + offset);
    }
    __asm__ volatile("" : : "r"(touched));
    // Non-temporal stores keep a frame-sized copy from evicting the working set.
    for (std::size_t offset = 0; offset < kCopyBlockSize; offset += 64) {
      const uint8_t* s = in + offset;
      auto* d = reinterpret_cast<__m64*>(out + offset);
      const __m64 r0 = LoadQuad(s), r1 = LoadQuad(s + 8), r2 = LoadQuad(s + 16), r3 = LoadQuad(s + 24);
      const __m64 r4 = LoadQuad(s + 32), r5 = LoadQuad(s + 40), r6 = LoadQuad(s + 48), r7 = LoadQuad(s + 56);
      _mm_stream_pi(d + 0, r0);
      _mm_stream_pi(d + 1, r1);
      _mm_stream_pi(d + 2, r2);
      _mm_stream_pi(d + 3, r3);
      _mm_stream_pi(d + 4, r4);
      _mm_stream_pi(d + 5, r5);
      _mm_stream_pi(d + 6, r6);
      _mm_stream_pi(d + 7, r7);
    }
  }
  if (blocks != 0) {
    _mm_sfence();
    _mm_empty();
  }
  CopyPlain(out, in, count & (kCopyBlockSize - 1));
}

}  // namespace trvx
#else
namespace trvx {
void CopyAmd(void* dest, const void* src, std::size_t count) { CopyPlain(dest, src, count); }
}  // namespace trvx
#endif
