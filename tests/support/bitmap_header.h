// Bitmap headers as a host fills them in, and processor counts, for the portable tests.
#pragma once

#include <cstdint>

#include "driver/formats.h"

namespace trvx::test {

inline BitmapHeader Bitmap(int32_t width, int32_t height, uint16_t bitCount, uint32_t compression = 0) {
  return {40, width, height, 1, bitCount, compression, uint32_t(width) * uint32_t(height) * bitCount / 8u, 0, 0, 0, 0};
}

inline uint32_t OneProcessor() { return 1; }
inline uint32_t TwoProcessors() { return 2; }

}  // namespace trvx::test
