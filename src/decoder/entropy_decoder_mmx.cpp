// Built with -mmmx. Include nothing whose inline functions this file would use: the
// linker may keep this file's copy of one and run MMX code on a processor without it.
#include "decoder/entropy_decoder.h"
#include "format/mcu_workspace.h"

#if defined(__i386__) || defined(__x86_64__)

namespace trvx {

// Spelled out: the compiler turns a loop of zero stores into a call to memset.
int32_t EntropyDecoderMmx::DecodeMcu(McuWorkspace& workspace) {
  if (workspace.blocksPerMcu > kMaxBlocksPerMcu) return kEntropyDecodeFailed;
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
  return DecodeBlocks(workspace.coefficients);
}

}  // namespace trvx
#else
namespace trvx {
int32_t EntropyDecoderMmx::DecodeMcu(McuWorkspace& workspace) { return EntropyDecoder::DecodeMcu(workspace); }
}  // namespace trvx
#endif
