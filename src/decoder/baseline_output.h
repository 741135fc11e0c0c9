// Hands decoded planes to the output converter as the 16 x 8 4:2:2 MCUs its kernels
// take: chrominance is brought to half the width and the full height on the way,
// averaging pairs across and interpolating between lines (3:1, as libjpeg's fancy
// upsampling does) down.
#pragma once

#include <cstdint>

#include "decoder/baseline_scan.h"
#include "format/frame_description.h"
#include "pixel/output_converter.h"

namespace trvx {

// Converts the 8-line bands [firstBand, endBand) of the image, width / 16 MCUs each,
// as field description.fieldIndex; `tile` receives each MCU's 256 samples. Returns 0
// or the converter's error.
int32_t ConvertPlanes(const ImagePlanes& planes, const FrameDescription& description, const OutputConverter& converter,
                      McuWorkspace& tile, uint32_t firstBand, uint32_t endBand);

}  // namespace trvx
