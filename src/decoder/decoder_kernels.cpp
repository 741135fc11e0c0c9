#include "decoder/decoder_kernels.h"

#include "pixel/processor.h"

namespace trvx {

DecoderKernels SelectDecoderKernels(int32_t processorFlag) {
#if defined(__i386__) || defined(__x86_64__)
  switch (processorFlag) {
    case kProcessorAmdMmx:
    case kProcessorIntelMmx:
    case kProcessorIntelSse:
    case kProcessorAmdMmxExtensions:
    case kProcessorAmdSse:
      return {ReconstructMmx};
    case kProcessorIntelSse2:
      return {ReconstructSse2};
    default:
      // AMD with SSE2 (159) deliberately takes the plain path too.
      break;
  }
#else
  (void)processorFlag;
#endif
  return {ReconstructPlain};
}

}  // namespace trvx
