// ffmpeg's M-JPEG encoder and decoder through libavcodec, in this process, one thread,
// on the same frames and bitmaps as the codec; libswscale converts between the
// bitmap layouts and libavcodec's planar 4:2:2, inside the timed frame, as the
// ffmpeg tool would.
#pragma once

#include <cstddef>
#include <cstdint>

#include "benchmark_common.h"

namespace trvx::bench {

enum class Bitmap { Bgr24, Bgra32, Uyvy, Yuy2 };  // RGB bottom-up, YUV top-down

// Decodes the codec's two-field frame whole (libavcodec sees both fields from the AVI1
// marker and the frame height) into the bitmap; 0 if it refuses. The frame must be
// followed by zero padding (AV_INPUT_BUFFER_PADDING_SIZE bytes), as the test frames are.
double FfmpegDecodeFps(const Options& options, const uint8_t* frame, std::size_t length, Size size, Bitmap output);

// Encodes each field of the bitmap as one picture with the default Huffman tables and
// the given AC quantisation tables (natural order); bytes gets both fields' size.
double FfmpegEncodeFps(const Options& options, const uint8_t* bitmap, Size size, Bitmap input,
                       const uint16_t* lumaTable, const uint16_t* chromaTable, unsigned long& bytes);

}  // namespace trvx::bench
