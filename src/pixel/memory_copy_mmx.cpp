// Built with -mmmx. Include nothing with inline functions here but the file-local copy
// body and quad access: the linker may keep this file's copy of one and run MMX code
// on a processor without it.
#include "pixel/memory_routines.h"

#if defined(__i386__) || defined(__x86_64__)
#include <mmintrin.h>

#include "pixel/quad_copy.h"

namespace trvx {
namespace {

struct CachedStores {
  __attribute__((no_sanitize("alignment"))) static void Store(uint8_t* d, __m64 r) { StoreQuad(d, r); }
  static void Finish() { _mm_empty(); }
  // Two reads per 64 bytes pull the whole block into the cache before the copy.
  static uint32_t Touch(const uint8_t* in) {
    uint32_t touched = 0;
    for (std::size_t offset = 0; offset < kCopyBlockSize; offset += 64) {
      touched += *reinterpret_cast<const UnalignedWord*>(in + offset);
      touched += *reinterpret_cast<const UnalignedWord*>(in + offset + 32);
    }
    return touched;
  }
};

}  // namespace

void CopyMmx(void* dest, const void* src, std::size_t count) { QuadCopy<CachedStores>(dest, src, count); }

void ClearMmxState() { _mm_empty(); }

}  // namespace trvx
#endif
