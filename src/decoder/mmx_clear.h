// Clearing an MCU's coefficients with MMX stores, written once for the two decoder
// classes that do it. Only their files include it; it has internal linkage.
#pragma once

#include <cstdint>

#include "format/mcu_workspace.h"

namespace trvx {
namespace {

// Spelled out: the compiler turns a loop of zero stores into a call to memset.
void ClearWithMmx(McuWorkspace& workspace) {
  uint8_t* out = reinterpret_cast<uint8_t*>(workspace.coefficients);
  const uint32_t bytes = workspace.blocksPerMcu * kBlockCoefficients * uint32_t(sizeof(int16_t));
  for (uint32_t offset = 0; offset < bytes; offset += 64) {
    __asm__ volatile(
        "pxor %%mm0, %%mm0\n\t"
        "movq %%mm0, (%0)\n\tmovq %%mm0, 8(%0)\n\tmovq %%mm0, 16(%0)\n\tmovq %%mm0, 24(%0)\n\t"
        "movq %%mm0, 32(%0)\n\tmovq %%mm0, 40(%0)\n\tmovq %%mm0, 48(%0)\n\tmovq %%mm0, 56(%0)"
        :
        : "r"(out + offset)
        : "mm0", "memory");
  }
  __asm__ volatile("emms");
}

}  // namespace
}  // namespace trvx
