// Built with -mmmx. Include nothing whose inline functions this file would use but the
// file-local clear: the linker may keep this file's copy of one and run MMX code on a
// processor without it.
#include "decoder/entropy_decoder.h"
#include "format/mcu_workspace.h"

#if defined(__i386__) || defined(__x86_64__)
#include "decoder/coefficient_clear.h"

namespace trvx {

int32_t EntropyDecoderMmx::DecodeMcu(McuWorkspace& workspace) {
  if (workspace.blocksPerMcu > kMaxBlocksPerMcu) return kEntropyDecodeFailed;
  ClearCoefficients<ClearStores::kMmx>(workspace);
  return DecodeBlocks(workspace.coefficients);
}

}  // namespace trvx
#else
namespace trvx {
int32_t EntropyDecoderMmx::DecodeMcu(McuWorkspace& workspace) { return EntropyDecoder::DecodeMcu(workspace); }
}  // namespace trvx
#endif
