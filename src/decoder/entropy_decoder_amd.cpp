// Built with -mmmx -msse for the AMD MMX extensions (prefetch); see
// entropy_decoder_mmx.cpp for what may be included here.
#include "decoder/entropy_decoder.h"
#include "format/mcu_workspace.h"

#if defined(__i386__) || defined(__x86_64__)

namespace trvx {

int32_t EntropyDecoderAmd::DecodeMcu(McuWorkspace& workspace) {
  if (workspace.blocksPerMcu > kMaxBlocksPerMcu) return kEntropyDecodeFailed;
  // Prefetch never faults, so reading ahead past the field's data is harmless.
  __asm__ volatile("prefetchnta 64(%0)" : : "r"(InputPosition()));
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
int32_t EntropyDecoderAmd::DecodeMcu(McuWorkspace& workspace) { return EntropyDecoder::DecodeMcu(workspace); }
}  // namespace trvx
#endif
