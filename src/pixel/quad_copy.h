// The body of the MMX and AMD frame copies, written once: 64 bytes at a time through
// eight MMX registers, after reads that pull each block into the cache. Only those two
// variant files include it; it has internal linkage.
#pragma once

#include <cstddef>
#include <cstdint>

#include "pixel/memory_routines.h"
#include "pixel/mmx_access.h"

namespace trvx {
namespace {

using UnalignedWord = uint32_t __attribute__((aligned(1), may_alias));

// Stores: Store (one quad), Finish (after the last block) and Touch (the reads that
// cache a block before its copy).
template <class Stores>
__attribute__((no_sanitize("alignment")))  // the sanitiser wants 8-byte alignment for unaligned quads
void QuadCopy(void* dest, const void* src, std::size_t count) {
  auto* out = static_cast<uint8_t*>(dest);
  const auto* in = static_cast<const uint8_t*>(src);
  const std::size_t blocks = count >> kCopyBlockShift;
  for (std::size_t b = 0; b < blocks; ++b, out += kCopyBlockSize, in += kCopyBlockSize) {
    __asm__ volatile("" : : "r"(Stores::Touch(in)));
    for (std::size_t offset = 0; offset < kCopyBlockSize; offset += 64) {
      const uint8_t* s = in + offset;
      uint8_t* d = out + offset;
      const __m64 r0 = LoadQuad(s), r1 = LoadQuad(s + 8), r2 = LoadQuad(s + 16), r3 = LoadQuad(s + 24);
      const __m64 r4 = LoadQuad(s + 32), r5 = LoadQuad(s + 40), r6 = LoadQuad(s + 48), r7 = LoadQuad(s + 56);
      Stores::Store(d, r0), Stores::Store(d + 8, r1), Stores::Store(d + 16, r2), Stores::Store(d + 24, r3);
      Stores::Store(d + 32, r4), Stores::Store(d + 40, r5), Stores::Store(d + 48, r6), Stores::Store(d + 56, r7);
    }
  }
  if (blocks != 0) Stores::Finish();
  CopyPlain(out, in, count & (kCopyBlockSize - 1));
}

}  // namespace
}  // namespace trvx
