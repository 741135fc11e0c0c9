// Built with -mmmx -msse for the AMD MMX extensions (prefetch); see
// entropy_decoder_mmx.cpp for what may be included here.
#include "decoder/entropy_decoder.h"
#include "format/mcu_workspace.h"

#if defined(__i386__) || defined(__x86_64__)
#include "decoder/coefficient_clear.h"

namespace trvx {

int32_t EntropyDecoderAmd::DecodeMcu(McuWorkspace& workspace) {
  if (workspace.blocksPerMcu > kMaxBlocksPerMcu) return kEntropyDecodeFailed;
  // Prefetch never faults, so reading ahead past the field's data is harmless.
  __asm__ volatile("prefetchnta 64(%0)" : : "r"(InputPosition()));
  ClearCoefficients<ClearStores::kMmx>(workspace);
  return DecodeBlocks(workspace.coefficients);
}

}  // namespace trvx
#else
namespace trvx {
int32_t EntropyDecoderAmd::DecodeMcu(McuWorkspace& workspace) { return EntropyDecoder::DecodeMcu(workspace); }
}  // namespace trvx
#endif
