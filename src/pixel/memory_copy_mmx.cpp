// Built with -mmmx. Include nothing with inline functions here but the file-local quad
// access: the linker may keep this file's copy of one and run MMX code on a processor
// without it.
#include "pixel/memory_routines.h"

#if defined(__i386__) || defined(__x86_64__)
#include <mmintrin.h>

#include "pixel/mmx_access.h"

namespace trvx {
namespace {
using UnalignedWord = uint32_t __attribute__((aligned(1), may_alias));
}  // namespace

// The sanitiser wants 8-byte alignment even for unaligned quads, wrongly.
__attribute__((no_sanitize("alignment")))
void CopyMmx(void* dest, const void* src, std::size_t count) {
  auto* out = static_cast<uint8_t*>(dest);
  const auto* in = static_cast<const uint8_t*>(src);
  const std::size_t blocks = count >> kCopyBlockShift;
  for (std::size_t b = 0; b < blocks; ++b, out += kCopyBlockSize, in += kCopyBlockSize) {
    // Two reads per 64 bytes pull the whole block into the cache before the copy.
    uint32_t touched = 0;
    for (std::size_t offset = 0; offset < kCopyBlockSize; offset += 64) {
      touched += *reinterpret_cast<const UnalignedWord*>(in + offset);
      touched += *reinterpret_cast<const UnalignedWord*>(in + offset + 32);
    }
    __asm__ volatile("" : : "r"(touched));
    for (std::size_t offset = 0; offset < kCopyBlockSize; offset += 64) {
      const uint8_t* s = in + offset;
      uint8_t* d = out + offset;
      const __m64 r0 = LoadQuad(s), r1 = LoadQuad(s + 8), r2 = LoadQuad(s + 16), r3 = LoadQuad(s + 24);
      const __m64 r4 = LoadQuad(s + 32), r5 = LoadQuad(s + 40), r6 = LoadQuad(s + 48), r7 = LoadQuad(s + 56);
      StoreQuad(d, r0), StoreQuad(d + 8, r1), StoreQuad(d + 16, r2), StoreQuad(d + 24, r3);
      StoreQuad(d + 32, r4), StoreQuad(d + 40, r5), StoreQuad(d + 48, r6), StoreQuad(d + 56, r7);
    }
  }
  if (blocks != 0) _mm_empty();
  CopyPlain(out, in, count & (kCopyBlockSize - 1));
}

void ClearMmxState() { _mm_empty(); }

}  // namespace trvx
#else
namespace trvx {
void CopyMmx(void* dest, const void* src, std::size_t count) { CopyPlain(dest, src, count); }
void ClearMmxState() {}
}  // namespace trvx
#endif
