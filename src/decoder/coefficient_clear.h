// Clearing an MCU's coefficients with vector stores, written once for the decoder
// classes that do it, each with the stores of its own instruction set. Only their
// files include it; it has internal linkage.
#pragma once

#include <cstdint>

#include "format/mcu_workspace.h"

namespace trvx {
namespace {

enum class ClearStores { kMmx, kSse, kSse2 };

// Spelled out: the compiler turns a loop of zero stores into a call to memset. The
// SSE stores are aligned: the coefficient area starts on a 4096-byte boundary.
template <ClearStores kStores>
void ClearCoefficients(McuWorkspace& workspace) {
  uint8_t* out = reinterpret_cast<uint8_t*>(workspace.coefficients);
  const uint32_t bytes = workspace.blocksPerMcu * kBlockCoefficients * uint32_t(sizeof(int16_t));
  for (uint32_t offset = 0; offset < bytes; offset += 64) {
    if constexpr (kStores == ClearStores::kMmx) {
      __asm__ volatile(
          "pxor %%mm0, %%mm0\n\t"
          "movq %%mm0, (%0)\n\tmovq %%mm0, 8(%0)\n\tmovq %%mm0, 16(%0)\n\tmovq %%mm0, 24(%0)\n\t"
          "movq %%mm0, 32(%0)\n\tmovq %%mm0, 40(%0)\n\tmovq %%mm0, 48(%0)\n\tmovq %%mm0, 56(%0)"
          :
          : "r"(out + offset)
          : "mm0", "memory");
    } else if constexpr (kStores == ClearStores::kSse) {
      __asm__ volatile(
          "xorps %%xmm0, %%xmm0\n\t"
          "movaps %%xmm0, (%0)\n\tmovaps %%xmm0, 16(%0)\n\tmovaps %%xmm0, 32(%0)\n\tmovaps %%xmm0, 48(%0)"
          :
          : "r"(out + offset)
          : "xmm0", "memory");
    } else {
      __asm__ volatile(
          "pxor %%xmm0, %%xmm0\n\t"
          "movdqa %%xmm0, (%0)\n\tmovdqa %%xmm0, 16(%0)\n\tmovdqa %%xmm0, 32(%0)\n\tmovdqa %%xmm0, 48(%0)"
          :
          : "r"(out + offset)
          : "xmm0", "memory");
    }
  }
  if constexpr (kStores == ClearStores::kMmx) __asm__ volatile("emms");
}

}  // namespace
}  // namespace trvx
