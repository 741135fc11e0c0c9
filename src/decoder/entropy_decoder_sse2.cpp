// Built with -msse2; see entropy_decoder_mmx.cpp for what may be included here.
#include "decoder/entropy_decoder.h"
#include "format/mcu_workspace.h"

#if defined(__i386__) || defined(__x86_64__)
#include "decoder/coefficient_clear.h"

namespace trvx {

int32_t EntropyDecoderSse2::DecodeMcu(McuWorkspace& workspace) {
  if (workspace.blocksPerMcu > kMaxBlocksPerMcu) return kEntropyDecodeFailed;
  ClearCoefficients<ClearStores::kSse2>(workspace);
  return DecodeBlocks(workspace.coefficients);
}

}  // namespace trvx
#else
namespace trvx {
int32_t EntropyDecoderSse2::DecodeMcu(McuWorkspace& workspace) { return EntropyDecoder::DecodeMcu(workspace); }
}  // namespace trvx
#endif
