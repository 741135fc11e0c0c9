// RGB kernels for the plain path: BT.601 studio range in 16.16 fixed point, rounded,
// samples x 8. Chroma comes from the left pixel of each pair only; the vector paths
// average the pair instead, so streams differ slightly between processors.
#include "pixel/input_converter.h"

namespace trvx {
namespace {

template <int BytesPerPixel>
void ConvertRows(const uint8_t* source, int16_t* samples, uint32_t rowStep) {
  for (int row = 0; row < 8; ++row, source -= rowStep) {
    int16_t* cb = samples + 128 + row * 8;
    int16_t* cr = samples + 192 + row * 8;
    for (int x = 0; x < 16; ++x) {
      const uint8_t* pixel = source + x * BytesPerPixel;
      const int32_t b = pixel[0], g = pixel[1], r = pixel[2];
      const int32_t y = (6423 * b + 33030 * g + 16843 * r + 32768) >> 16;
      samples[(x >> 3) * 64 + row * 8 + (x & 7)] = static_cast<int16_t>(y * 8 - 896);
      if ((x & 1) == 0) {
        cb[x >> 1] = static_cast<int16_t>(((28770 * b - 19071 * g - 9699 * r + 32768) >> 16) * 8);
        cr[x >> 1] = static_cast<int16_t>(((28770 * r - 24117 * g - 4653 * b + 32768) >> 16) * 8);
      }
    }
  }
}

}  // namespace

int32_t InputRgb24Plain(const uint8_t* source, int16_t* samples, uint32_t rowStep) {
  ConvertRows<3>(source, samples, rowStep);
  return 0;
}

int32_t InputRgb32Plain(const uint8_t* source, int16_t* samples, uint32_t rowStep) {
  ConvertRows<4>(source, samples, rowStep);
  return 0;
}

}  // namespace trvx
