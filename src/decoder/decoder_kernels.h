// The per-MCU kernel that follows entropy decoding (which leaves the coefficients
// dequantised and in natural order), in every processor variant. The vector variants
// exist only on x86 builds and may only be called on a processor that has their
// instructions; SelectDecoderKernels knows which. ReconstructMmx ends with EMMS
// itself, so plain or floating-point code may run after it.
#pragma once

#include <cstdint>

#include "format/frame_description.h"
#include "format/mcu_workspace.h"

namespace trvx {

// The inverse DCT after entropy decoding, chosen once per session by processor class.
// A path never mixes its kernels with another path's: the vector paths leave samples
// at sixteen times their level-shifted value, the plain path at eight times, and each
// output converter expects its own path's scale.
using ReconstructKernel = void (*)(McuWorkspace& workspace);

struct DecoderKernels {
  ReconstructKernel reconstruct;
};

// One path per processor class; the paths must never be mixed (see McuWorkspace).
DecoderKernels SelectDecoderKernels(int32_t processorFlag);

// Two-dimensional inverse DCT in place. Plain leaves samples x8, the vector
// variants x16; PlainSse2 is the plain one's arithmetic in SSE2, word for word.
void ReconstructPlain(McuWorkspace& workspace);
void ReconstructPlainSse2(McuWorkspace& workspace);
void ReconstructMmx(McuWorkspace& workspace);
void ReconstructSse2(McuWorkspace& workspace);

}  // namespace trvx
