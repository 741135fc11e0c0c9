// Built with -msse; see entropy_decoder_mmx.cpp for what may be included here.
#include "decoder/entropy_decoder.h"
#include "format/mcu_workspace.h"

#if defined(__i386__) || defined(__x86_64__)
#include "decoder/coefficient_clear.h"

namespace trvx {

int32_t EntropyDecoderPredecoded::DecodeMcu(McuWorkspace& workspace) {
  if (workspace.blocksPerMcu > kMaxBlocksPerMcu) return kEntropyDecodeFailed;
  ClearCoefficients<ClearStores::kSse>(workspace);
  return DecodeBlocksPredecoded(workspace.coefficients);
}

}  // namespace trvx
#else
namespace trvx {
int32_t EntropyDecoderPredecoded::DecodeMcu(McuWorkspace& workspace) { return EntropyDecoder::DecodeMcu(workspace); }
}  // namespace trvx
#endif
