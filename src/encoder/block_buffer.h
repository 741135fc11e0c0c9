#pragma once

#include "decoder/frame_description.h"
#include "decoder/mcu_workspace.h"

namespace trvx {

// The encoder's MCU block set is the same aligned area of eight blocks that the decoder
// decodes into: the two luminance blocks (left, right), then Cb, then Cr.
using BlockBuffer = McuWorkspace;

// The per-MCU stages after input conversion, chosen once per session by processor class.
using ForwardDctKernel = void (*)(BlockBuffer& blocks);
using ZigzagKernel = void (*)(BlockBuffer& blocks);
using QuantiseKernel = void (*)(const FrameDescription& description, BlockBuffer& blocks);

}  // namespace trvx
