// Eight-byte loads and stores for the kernels that work in MMX registers; only files
// built with -mmmx include it. Spelled out as movq: given a memcpy, or even a plain
// load of an __m64, GCC for 32-bit x86 moves the eight bytes through two integer
// registers and the stack, and the wide load that follows stalls on the two narrow
// stores. The helpers have internal linkage, so no file shares another's copy,
// whatever instruction set that file was built with.
#pragma once

#include <mmintrin.h>

namespace trvx {
namespace {

using UnalignedQuad = __m64 __attribute__((aligned(1), may_alias));

// The sanitiser wants eight-byte alignment even for these, wrongly.
__attribute__((no_sanitize("alignment"), always_inline)) inline __m64 LoadQuad(const void* p) {
  __m64 value;
  __asm__("movq %1, %0" : "=y"(value) : "m"(*static_cast<const UnalignedQuad*>(p)));
  return value;
}

__attribute__((no_sanitize("alignment"), always_inline)) inline void StoreQuad(void* p, __m64 value) {
  __asm__("movq %1, %0" : "=m"(*static_cast<UnalignedQuad*>(p)) : "y"(value));
}

}  // namespace
}  // namespace trvx
