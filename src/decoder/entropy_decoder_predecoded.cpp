// Built with -msse; see entropy_decoder_mmx.cpp for what may be included here.
#include "decoder/entropy_decoder.h"
#include "format/mcu_workspace.h"

#if defined(__i386__) || defined(__x86_64__)

namespace trvx {

// Aligned stores: the coefficient area starts on a 4096-byte boundary.
int32_t EntropyDecoderPredecoded::DecodeMcu(McuWorkspace& workspace) {
  if (workspace.blocksPerMcu > kMaxBlocksPerMcu) return kEntropyDecodeFailed;
  uint8_t* out = reinterpret_cast<uint8_t*>(workspace.coefficients);
  const uint32_t bytes = workspace.blocksPerMcu * kBlockCoefficients * uint32_t(sizeof(int16_t));
  for (uint32_t offset = 0; offset < bytes; offset += 64) {
    __asm__ volatile(
        "xorps %%xmm0, %%xmm0\n\t"
        "movaps %%xmm0, (%0)\n\tmovaps %%xmm0, 16(%0)\n\tmovaps %%xmm0, 32(%0)\n\tmovaps %%xmm0, 48(%0)"
        :
        : "r"(out + offset)
        : "xmm0", "memory");
  }
  return DecodeBlocksPredecoded(workspace.coefficients);
}

}  // namespace trvx
#else
#include <cstring>
namespace trvx {
int32_t EntropyDecoderPredecoded::DecodeMcu(McuWorkspace& workspace) {
  if (workspace.blocksPerMcu > kMaxBlocksPerMcu) return kEntropyDecodeFailed;
  std::memset(workspace.coefficients, 0, workspace.blocksPerMcu * kBlockCoefficients * sizeof(int16_t));
  return DecodeBlocksPredecoded(workspace.coefficients);
}
}  // namespace trvx
#endif
