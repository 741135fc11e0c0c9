// RGB kernels for the plain path: samples x 8, 16.16 fixed-point studio-range matrix.
#include "pixel/output_converter.h"

namespace trvx {
namespace {

constexpr int32_t kLuma = 76283;        // 1.164
constexpr int32_t kCbToBlue = 132251;   // 2.018
constexpr int32_t kCbToGreen = 25674;   // 0.392
constexpr int32_t kCrToGreen = 53278;   // 0.813
constexpr int32_t kCrToRed = 104595;    // 1.596
// (128 - 16) x 1.164 plus one half for rounding.
constexpr int32_t kOffset = 8576464;

uint8_t Clamp(int32_t value) {
  if (value <= 0) return 0;
  if (value >= 255) return 255;
  return static_cast<uint8_t>(value);
}

int32_t Descale(int16_t sample) { return (sample + 4) >> 3; }

template <int BytesPerPixel>
void ConvertRows(uint8_t* dest, const int16_t* samples, uint32_t rowStep) {
  for (int row = 0; row < 8; ++row, dest -= rowStep) {
    const int16_t* cb = samples + 128 + row * 8;
    const int16_t* cr = samples + 192 + row * 8;
    uint8_t* out = dest;
    for (int x = 0; x < 16; ++x, out += BytesPerPixel) {
      const int32_t y = Descale(samples[(x >> 3) * 64 + row * 8 + (x & 7)]);
      const int32_t u = Descale(cb[x >> 1]);
      const int32_t v = Descale(cr[x >> 1]);
      const int32_t luma = kLuma * y + kOffset;
      out[0] = Clamp((luma + kCbToBlue * u) >> 16);
      out[1] = Clamp((luma - kCbToGreen * u - kCrToGreen * v) >> 16);
      out[2] = Clamp((luma + kCrToRed * v) >> 16);
      if (BytesPerPixel == 4) out[3] = 0;
    }
  }
}

}  // namespace

int32_t OutputRgb24Plain(uint8_t* dest, const int16_t* samples, uint32_t rowStep) {
  ConvertRows<3>(dest, samples, rowStep);
  return 0;
}

int32_t OutputRgb32Plain(uint8_t* dest, const int16_t* samples, uint32_t rowStep) {
  ConvertRows<4>(dest, samples, rowStep);
  return 0;
}

}  // namespace trvx
