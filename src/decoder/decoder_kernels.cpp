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
    case kProcessorAmdSse2:
      // The plain path's arithmetic, in SSE2.
      return {ReconstructPlainSse2};
    default:
      break;
  }
#else
  (void)processorFlag;
#endif
  return {ReconstructPlain};
}

}  // namespace trvx
