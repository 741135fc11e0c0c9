// Built with -msse2; see entropy_decoder_mmx.cpp for what may be included here.
#include "decoder/entropy_decoder.h"
#include "format/mcu_workspace.h"

#if defined(__i386__) || defined(__x86_64__)

namespace trvx {

// Aligned stores: the coefficient area starts on a 4096-byte boundary.
int32_t EntropyDecoderSse2::DecodeMcu(McuWorkspace& workspace) {
  if (workspace.blocksPerMcu > kMaxBlocksPerMcu) return kEntropyDecodeFailed;
  uint8_t* out = reinterpret_cast<uint8_t*>(workspace.coefficients);
  const uint32_t bytes = workspace.blocksPerMcu * kBlockCoefficients * uint32_t(sizeof(int16_t));
  for (uint32_t offset = 0; offset < bytes; offset += 64) {
    __asm__ volatile(
        "pxor %%xmm0, %%xmm0\n\t"
        "movdqa %%xmm0, (%0)\n\tmovdqa %%xmm0, 16(%0)\n\tmovdqa %%xmm0, 32(%0)\n\tmovdqa %%xmm0, 48(%0)"
        :
        : "r"(out + offset)
        : "xmm0", "memory");
  }
  return DecodeBlocks(workspace.coefficients);
}

}  // namespace trvx
#else
namespace trvx {
int32_t EntropyDecoderSse2::DecodeMcu(McuWorkspace& workspace) { return EntropyDecoder::DecodeMcu(workspace); }
}  // namespace trvx
#endif
