// The per-MCU kernels that follow entropy decoding, in every processor variant.
// The vector variants exist only on x86 builds and may only be called on a
// processor that has their instructions; SelectDecoderKernels knows which.
//
// The MMX-register kernels (DequantiseMmx, ReorderMmx, ReorderSse, ReconstructMmx)
// each end with EMMS themselves, so plain or floating-point code may run between any
// two stages.
#pragma once

#include <cstdint>

#include "decoder/frame_description.h"
#include "decoder/mcu_workspace.h"

namespace trvx {

struct DecoderKernels {
  DequantKernel dequantise;
  ReorderKernel reorder;
  ReconstructKernel reconstruct;
};

// One path per processor class; the paths must never be mixed (see McuWorkspace).
DecoderKernels SelectDecoderKernels(int32_t processorFlag);

// Multiply every coefficient, still in zig-zag order, by its table entry: table 0 for
// component 1's blocks, table 1 for the rest. Any table count but 2 is a deliberate
// fault.
void DequantisePlain(const FrameDescription& description, McuWorkspace& workspace);
void DequantiseMmx(const FrameDescription& description, McuWorkspace& workspace);
void DequantiseSse2(const FrameDescription& description, McuWorkspace& workspace);

// Zig-zag to natural order, in place, for each of the MCU's blocks.
void ReorderPlain(McuWorkspace& workspace);
void ReorderMmx(McuWorkspace& workspace);
void ReorderSse(McuWorkspace& workspace);  // pshufw: MMX with the SSE integer extension

// Two-dimensional inverse DCT in place. Plain leaves samples x8, the vector
// variants x16.
void ReconstructPlain(McuWorkspace& workspace);
void ReconstructMmx(McuWorkspace& workspace);
void ReconstructSse2(McuWorkspace& workspace);

}  // namespace trvx
